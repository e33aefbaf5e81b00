// The log hub's test fixture: a private working directory with a port file, a raw viewer over TCP, the real
// log viewer as a child process, and the checks for a quick teardown and for leaks.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <random>
#include <thread>
#include <utility>

#include <Veltrane.h>

#include "tests/support/ProcessCounts.h"  // also <filesystem>, <fstream> and <string>

namespace loghub_test {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

inline long long MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start).count();
}

// Tries `done` every `step` until it holds or `limit` has passed; gives whether it held.
template <typename Condition>
bool WaitFor(Condition done, milliseconds limit, milliseconds step = milliseconds(20))
{
    for (Clock::time_point start = Clock::now(); !done(); std::this_thread::sleep_for(step)) {
        if (MillisecondsSince(start) >= limit.count())
            return false;
    }
    return true;
}

// The process's open descriptors and threads at the moment of construction.
struct ResourceCount
{
    int descriptors = veltrane_test::OpenDescriptorCount();
    int threads = veltrane_test::ThreadCount();
};

// Ends the hub, which must take under a second whatever its viewer is doing, and expects the counts back
// at `baseline` plus the test's own open sockets within three seconds: a thread that was told to end and
// a socket that it closes take a moment.
inline void EndHubLeakingNothing(const ResourceCount& baseline, int ownSockets)
{
    Clock::time_point start = Clock::now();
    COsLog::FreeInstance();
    EXPECT_LT(MillisecondsSince(start), 1000) << "FreeInstance was held up";
    ResourceCount now;
    EXPECT_TRUE(WaitFor([&] {
        now = ResourceCount();
        return now.descriptors <= baseline.descriptors + ownSockets && now.threads <= baseline.threads;
    }, milliseconds(3000), milliseconds(10))) << "leaked " << now.descriptors - baseline.descriptors - ownSockets
                                              << " descriptors and " << now.threads - baseline.threads << " threads";
}

// A viewer made of one COsSocket, which sees the wire exactly as the hub writes it.
struct RawViewer
{
    // An object without a connection, for a viewer that connects in a way of its own.
    RawViewer() : socket(COsSocket::CreateInstance()) {}
    explicit RawViewer(int port) : socket(COsSocket::CreateInstance())
    {
        connected = socket->Create(eSocketTypeTcp, 0, 0) && socket->Connect("127.0.0.1", static_cast<unsigned short>(port));
    }
    ~RawViewer() { COsSocket::FreeInstance(&socket); }

    // Reads until `count` bytes have come, the connection ends or `limit` has passed; with `dropHeartbeats`
    // only the bytes of messages count (the messages read so must hold no 0x07 of their own).
    std::string ReadBytes(size_t count, milliseconds limit = milliseconds(3000), bool dropHeartbeats = false)
    {
        std::string bytes;
        char chunk[4096];
        WaitFor([&] {
            size_t wanted = std::min(sizeof(chunk), count - bytes.size());
            int received = socket->ReceiveWithTimeout(chunk, static_cast<unsigned int>(wanted), 50, 0);
            bytes.append(chunk, static_cast<size_t>(std::max(received, 0)));
            if (dropHeartbeats)
                bytes.erase(std::remove(bytes.begin(), bytes.end(), '\x07'), bytes.end());
            return received < 0 || bytes.size() >= count;
        }, limit, milliseconds(0));
        return bytes;
    }
    std::string ReadMessages(size_t count) { return ReadBytes(count, milliseconds(3000), true); }

    // The hub's first heartbeat says that it has accepted and now queues.
    bool AwaitHeartbeat() { return connected && ReadBytes(1) == "\x07"; }

    COsSocket* socket;
    bool connected = false;
};

// The real log viewer as a child process: its stdin is a pipe from the test, its output goes to a file.
struct ChildViewer
{
    ChildViewer(const std::filesystem::path& file, int port) : outputFile(file)
    {
        const std::string arguments = " 127.0.0.1 " + std::to_string(port);
#ifdef _WIN32
        // cmd.exe runs the command: double quotes, and the viewer beside the test program, named as Windows
        // names it (the build's path is the build machine's).
        std::string program = COsSystem::GetProcessPath();
        program = program.substr(0, program.rfind('/') + 1) + VELTRANE_LOGVIEWER_FILE_NAME;
        input = popen(("\"\"" + program + "\"" + arguments + " > \"" + outputFile.string() + "\" 2>&1\"").c_str(), "w");
#else
        input = popen(("exec '" + std::string(VELTRANE_LOGVIEWER_PATH) + "'" + arguments + " > '" + outputFile.string() +
                       "' 2>&1").c_str(), "w");
#endif
    }
    ~ChildViewer() { Close(); }

    // Ends the viewer by ending its input and waits for it; gives its exit status, or -1.
    int Close()
    {
        FILE* pipe = std::exchange(input, nullptr);
        return pipe == nullptr ? -1 : pclose(pipe);
    }

    // Whether the viewer's output shows `text` within `limit` (a zero limit looks once).
    bool Shows(const std::string& text, milliseconds limit = milliseconds(5000)) const
    {
        return WaitFor([&] {
            std::ifstream file(outputFile, std::ios::binary);
            return std::string(std::istreambuf_iterator<char>(file), {}).find(text) != std::string::npos;
        }, limit);
    }

    // Pushes `message` until the viewer shows it: the viewer's connect can come a moment before the hub has
    // accepted, and until then the hub drops what is pushed.
    bool PushUntilShown(const std::string& message)
    {
        return input != nullptr && WaitFor([&] {
            COsLog::GetInstance()->LogMsgPush(message.c_str());
            return Shows(message, milliseconds(100));
        }, milliseconds(10000), milliseconds(0));
    }

    std::filesystem::path outputFile;
    FILE* input = nullptr;
};

// Each test runs in a directory of its own, with a port file whose base is drawn at random, so that test
// processes running side by side do not meet on one port.
class LogHubTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::thread([] {}).join();  // a sanitizer's helper thread comes with the first thread: not in a baseline
        std::filesystem::create_directories(m_directory);
        std::filesystem::current_path(m_directory);
        WritePortFile(std::to_string(m_basePort));
    }

    void TearDown() override
    {
        COsLog::FreeInstance();
        std::filesystem::current_path(m_previousDirectory);
        std::filesystem::remove_all(m_directory);
    }

    void WritePortFile(const std::string& content) { std::ofstream(m_directory / "LogOutputPort.txt") << content; }

    // Starts the hub and gives its port.
    int StartHub()
    {
        EXPECT_EQ(COsLog::GetInstance()->Start(), 0);
        EXPECT_TRUE(COsLog::GetInstance()->IsRunning());
        return COsLog::GetLogOutputPort();
    }

    std::random_device m_random;
    const std::filesystem::path m_previousDirectory = std::filesystem::current_path();
    const std::filesystem::path m_directory =
        std::filesystem::temp_directory_path() / ("veltrane-loghub-" + std::to_string(m_random()));
    const int m_basePort = 20000 + static_cast<int>(m_random() % 40000);
};

}  // namespace loghub_test
