// The log hub's test fixture: a private working directory with a port file, a raw viewer over TCP, and the
// real log viewer as a child process.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <thread>

#include <Veltrane.h>

#include "tests/support/ProcessCounts.h"

namespace loghub_test {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

inline long long MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start).count();
}

struct ResourceCount
{
    int descriptors;
    int threads;
};

inline ResourceCount CountResources()
{
    return {veltrane_test::OpenDescriptorCount(), veltrane_test::ThreadCount()};
}

// Waits up to three seconds for the counts to come down to `baseline`: a thread that was told to end and a
// socket that it closes take a moment. Gives the counts seen last.
inline ResourceCount SettledResources(ResourceCount baseline)
{
    Clock::time_point start = Clock::now();
    ResourceCount now = CountResources();
    while ((now.descriptors > baseline.descriptors || now.threads > baseline.threads) && MillisecondsSince(start) < 3000) {
        std::this_thread::sleep_for(milliseconds(10));
        now = CountResources();
    }
    return now;
}

// A viewer made of one COsSocket, which sees the wire exactly as the hub writes it.
class RawViewer
{
public:
    explicit RawViewer(int port) : m_socket(COsSocket::CreateInstance())
    {
        m_connected = m_socket->Create(eSocketTypeTcp, 0, 0) && m_socket->Connect("127.0.0.1", static_cast<unsigned short>(port));
    }
    ~RawViewer() { COsSocket::FreeInstance(&m_socket); }
    RawViewer(const RawViewer&) = delete;
    RawViewer& operator=(const RawViewer&) = delete;

    bool Connected() const { return m_connected; }

    // Reads until `count` bytes have come or `limit` has passed.
    std::string ReadBytes(size_t count, milliseconds limit = milliseconds(3000))
    {
        std::string bytes;
        Clock::time_point start = Clock::now();
        char chunk[4096];
        while (bytes.size() < count && MillisecondsSince(start) < limit.count()) {
            unsigned int wanted = static_cast<unsigned int>(std::min(sizeof(chunk), count - bytes.size()));
            int received = m_socket->ReceiveWithTimeout(chunk, wanted, 50, 0);
            if (received < 0)
                break;
            bytes.append(chunk, static_cast<size_t>(received));
        }
        return bytes;
    }

    // Reads, dropping heartbeats, until `expected` bytes of messages have come or `limit` has passed.
    std::string ReadMessages(size_t expected, milliseconds limit = milliseconds(3000))
    {
        std::string messages;
        Clock::time_point start = Clock::now();
        while (messages.size() < expected && MillisecondsSince(start) < limit.count()) {
            std::string bytes = ReadBytes(1, milliseconds(50));
            if (!bytes.empty() && bytes[0] != '\x07')
                messages += bytes;
        }
        return messages;
    }

    // Sends one filter word and waits until the hub has surely read it on its own.
    void SendWord(const std::string& chunk)
    {
        m_socket->Send(chunk.data(), static_cast<unsigned int>(chunk.size()));
        std::this_thread::sleep_for(milliseconds(150));
    }

    COsSocket* Socket() { return m_socket; }

private:
    COsSocket* m_socket;
    bool m_connected = false;
};

// The real log viewer as a child process: its stdin is a pipe from the test, its output goes to a file.
class ChildViewer
{
public:
    ChildViewer(const std::filesystem::path& outputFile, int port) : m_outputFile(outputFile)
    {
        std::ostringstream command;
        command << "exec '" << VELTRANE_LOGVIEWER_PATH << "' 127.0.0.1 " << port << " > '" << outputFile.string()
                << "' 2>&1";
        m_stdin = popen(command.str().c_str(), "w");
    }
    ~ChildViewer() { Close(); }
    ChildViewer(const ChildViewer&) = delete;
    ChildViewer& operator=(const ChildViewer&) = delete;

    bool Started() const { return m_stdin != nullptr; }

    void TypeLine(const std::string& line)
    {
        std::fputs((line + "\n").c_str(), m_stdin);
        std::fflush(m_stdin);
    }

    // Ends the viewer by ending its input and waits for it; gives its exit status, or -1.
    int Close()
    {
        if (m_stdin == nullptr)
            return -1;
        int status = pclose(m_stdin);
        m_stdin = nullptr;
        return status;
    }

    std::string Output() const
    {
        std::ifstream file(m_outputFile, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    // Waits up to `limit` until the output holds `text` `times` times.
    bool WaitForOutput(const std::string& text, int times = 1, milliseconds limit = milliseconds(5000)) const
    {
        Clock::time_point start = Clock::now();
        do {
            if (Occurrences(Output(), text) >= times)
                return true;
            std::this_thread::sleep_for(milliseconds(20));
        } while (MillisecondsSince(start) < limit.count());
        return false;
    }

    static int Occurrences(const std::string& haystack, const std::string& needle)
    {
        int count = 0;
        for (size_t at = haystack.find(needle); at != std::string::npos; at = haystack.find(needle, at + needle.size()))
            ++count;
        return count;
    }

private:
    std::filesystem::path m_outputFile;
    FILE* m_stdin = nullptr;
};

// Each test runs in a directory of its own, with a port file whose base is drawn at random, so that test
// processes running side by side do not meet on one port.
class LogHubTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::random_device random;
        m_previousDirectory = std::filesystem::current_path();
        m_directory = std::filesystem::temp_directory_path() / ("veltrane-loghub-" + std::to_string(random()));
        std::filesystem::create_directories(m_directory);
        std::filesystem::current_path(m_directory);
        m_basePort = 20000 + static_cast<int>(random() % 40000);
        WritePortFile(std::to_string(m_basePort));
    }

    void TearDown() override
    {
        COsLog::FreeInstance();
        std::filesystem::current_path(m_previousDirectory);
        std::error_code ignored;
        std::filesystem::remove_all(m_directory, ignored);
    }

    void WritePortFile(const std::string& content)
    {
        std::ofstream(m_directory / "LogOutputPort.txt", std::ios::binary | std::ios::trunc) << content;
    }

    // Starts the hub and gives its port.
    int StartHub()
    {
        COsLog* hub = COsLog::GetInstance();
        EXPECT_EQ(hub->Start(), 0);
        EXPECT_TRUE(hub->IsRunning());
        return COsLog::GetLogOutputPort();
    }

    // Connects a raw viewer and waits for the hub's first heartbeat, which says that the hub now queues.
    static bool ConnectAndAwaitHeartbeat(RawViewer& viewer)
    {
        return viewer.Connected() && viewer.ReadBytes(1) == "\x07";
    }

    std::filesystem::path m_directory;
    std::filesystem::path m_previousDirectory;
    int m_basePort = 0;
};

}  // namespace loghub_test
