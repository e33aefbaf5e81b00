// COsLog: the port file, the wire as a viewer sees it, filter words, and teardown in every state.
#ifdef _WIN32
#include <winsock2.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <fcntl.h>
#include <unistd.h>
#endif

#include "tests/logging/LogHubFixture.h"

#include <functional>
#include <memory>
#include <vector>

#include "tests/support/FailingAllocations.h"
#include "tests/support/HostSystem.h"

namespace loghub_test {

// A viewer that shuts its sending side once the hub has accepted it (a half-close) and only reads from then on.
// The connection is the host's own, so that its sending side alone can be shut; a COsSocket adopts it.
struct HalfClosedViewer : RawViewer
{
    explicit HalfClosedViewer(int port)
    {
#ifdef _WIN32
        SOCKET handle = ::socket(AF_INET, SOCK_STREAM, 0);
        const int sendSide = SD_SEND;
#else
        int handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int sendSide = SHUT_WR;
#endif
        sockaddr_in hub = {};
        hub.sin_family = AF_INET;
        hub.sin_port = htons(static_cast<unsigned short>(port));
        hub.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected = socket->InitConnectedSocket(static_cast<SOCKET>(handle)) &&
                    ::connect(handle, reinterpret_cast<const sockaddr*>(&hub), sizeof(hub)) == 0;
        connected = AwaitHeartbeat() && ::shutdown(handle, sendSide) == 0;
    }
};

// The port reads -1 only in a process where no bind has succeeded yet, so this case comes first.
TEST_F(LogHubTest, PortFileSetsTheBaseTakenPortsAreSkippedAndAllTenTakenFailsKeepingThePort)
{
    EXPECT_EQ(COsLog::GetLogOutputPort(), -1) << "before any bind";
    // Ten listening sockets on ten free ports in a row, from the fixture's random base on.
    std::vector<std::unique_ptr<COsSocket, void (*)(COsSocket*)>> squatters;
    int base = m_basePort;
    for (int port = base; squatters.size() < 10 && port < m_basePort + 200; ++port) {
        COsSocket* squatter =
            squatters.emplace_back(COsSocket::CreateInstance(), [](COsSocket* socket) { COsSocket::FreeInstance(&socket); }).get();
        if (squatter->Create(eSocketTypeTcp, 0, 0) && squatter->Bind("127.0.0.1", static_cast<unsigned short>(port)) &&
            squatter->Listen())
            continue;
        squatters.clear();
        base = port + 1;
    }
    ASSERT_EQ(squatters.size(), 10u);
    WritePortFile(std::to_string(base));

    COsLog* hub = COsLog::GetInstance();
    EXPECT_EQ(hub->Start(), OS_ERR_NETWORK);
    EXPECT_FALSE(hub->IsRunning());
    EXPECT_EQ(COsLog::GetLogOutputPort(), -1) << "the port is kept when no bind succeeded";
    squatters[9].reset();
    EXPECT_EQ(StartHub(), base + 9) << "a failed Start can be tried again, and taken ports are skipped";
    ResourceCount afterFirst;
    EXPECT_EQ(hub->Start(), 0);
    ResourceCount afterSecond;
    EXPECT_EQ(std::make_pair(afterSecond.descriptors, afterSecond.threads),
              std::make_pair(afterFirst.descriptors, afterFirst.threads)) << "a second Start opens nothing new";
    COsLog::FreeInstance();

    // atoi's reading (blanks, a sign, digits up to the first other byte), but a number too big for an int is
    // out of range, not what its overflow would leave.
    const std::pair<const char*, int> rows[] = {
        {"0", 61234}, {"-1", 61234}, {"65526", 61234}, {"not a number", 61234}, {"", 61234}, {"65525", 65525},
        {"4294972296", 61234}, {" \t+65525 and more", 65525},
    };
    for (const auto& [content, rowBase] : rows) {
        WritePortFile(content);
        int port = StartHub();
        EXPECT_TRUE(port >= rowBase && port < rowBase + 10) << '"' << content << "\" gave port " << port;
        COsLog::FreeInstance();
    }
    EXPECT_GE(COsLog::GetLogOutputPort(), 65525) << "the port is not reset at teardown";
}

// A port file that is a FIFO would hold an open for ever, a directory has no size to read, and a huge file
// would be read whole: none of them may hold Start up or make it allocate what the file claims.
TEST_F(LogHubTest, PortFileThatIsAFifoADirectoryOrHugeNeitherHoldsStartNorCostsItsSize)
{
    const std::filesystem::path portFile = m_directory / "LogOutputPort.txt";
    struct
    {
        const char* name;
        std::function<void()> make;
        int base;
    } rows[] = {
#ifndef _WIN32
        // Windows has no FIFO that a name in a directory stands for.
        {"FIFO", [&] { ASSERT_EQ(mkfifo(portFile.c_str(), 0600), 0); }, 61234},
#endif
        {"directory", [&] { std::filesystem::create_directory(portFile); }, 61234},
        {"3 GiB sparse file",
         [&] {
             WritePortFile(std::to_string(m_basePort));
             std::filesystem::resize_file(portFile, 3ull << 30);
         },
         m_basePort},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::filesystem::remove(portFile);
        row.make();
        const long peakBefore = veltrane_test::PeakMemoryKilobytes();
        std::atomic<bool> started{false};
        int status = 1;
        std::thread starter([&] {
            status = COsLog::GetInstance()->Start();
            started = true;
        });
        const bool inTime = WaitFor([&] { return started.load(); }, milliseconds(3000));
        if (!inTime) {
#ifndef _WIN32
            // A Start that waits for a writer of the FIFO is let go, so that the test can end.
            int writer = open(portFile.c_str(), O_WRONLY | O_NONBLOCK);
            WaitFor([&] { return started.load(); }, milliseconds(3000));
            if (writer >= 0)
                close(writer);
#endif
        }
        starter.join();
        EXPECT_TRUE(inTime) << "Start was held up";
        EXPECT_EQ(status, 0);
        const int port = COsLog::GetLogOutputPort();
        EXPECT_TRUE(port >= row.base && port < row.base + 10) << port;
        EXPECT_LT(veltrane_test::PeakMemoryKilobytes() - peakBefore, 256 * 1024) << "kilobytes taken at the peak";
        COsLog::FreeInstance();
    }
    std::filesystem::remove(portFile);
}

TEST_F(LogHubTest, GetInstanceGivesNullWhenMemoryRunsOut)
{
    // A program's own operator new does not reach into a DLL: on Windows the library allocates through its
    // own C++ runtime, where the test cannot make an allocation fail.
    if (veltrane_test::kWindowsHost)
        GTEST_SKIP() << "on Windows the test's replaced operator new does not reach the library's DLL";
    COsLog* made = nullptr;
    const int needed = veltrane_test::ForEachFailingAllocation(&COsLog::GetInstance, [&](COsLog* hub, bool threw,
                                                                                          bool failed, int count) {
        EXPECT_FALSE(threw) << "allocation " << count << " failed with an exception";
        EXPECT_EQ(hub == nullptr, failed) << "allocation " << count << (failed ? " failed, yet a hub came" : "");
        made = hub;
    });
    EXPECT_GT(needed, 0) << "making the hub allocates, so a failure was reached at least once";
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->Start(), 0) << "the hub made after the failures works";
    EXPECT_TRUE(made->IsRunning());
    COsLog::FreeInstance();
}

TEST_F(LogHubTest, ViewerGetsMessagesByteExactInOrderHeartbeatsWhenIdleAndWhatItsFilterWordsLetThrough)
{
    ResourceCount baseline;
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    hub->LogMsgPush("pushed before any viewer\r\n");
    hub->LogMsgPush(nullptr);
    EXPECT_EQ(hub->LogMsgPoll(), "") << "without a viewer nothing is queued";
    {
        RawViewer viewer(port);
        ASSERT_TRUE(viewer.AwaitHeartbeat());
        const std::string binary("\x01\x7f\x80\xff \t\r\n", 8);
        for (const char* message : {"first\r\n", binary.c_str(), "", "bell\x07inside"})
            hub->WriteLogToPort(message);
        std::string expected = "first\r\n" + binary + "\x07" + "bell\x07inside";  // the empty message as a heartbeat
        EXPECT_EQ(viewer.ReadBytes(expected.size()), expected);
        // Nothing else comes, the early message least of all, until the heartbeat about 3 s after the last send.
        Clock::time_point start = Clock::now();
        EXPECT_EQ(viewer.ReadBytes(1, milliseconds(5000)), "\x07");
        long long interval = MillisecondsSince(start);
        EXPECT_TRUE(interval >= 2500 && interval <= 4500) << interval << " ms";

        auto sendWord = [&viewer](const std::string& word) {
            viewer.socket->Send(word.data(), static_cast<unsigned int>(word.size()));
            std::this_thread::sleep_for(milliseconds(150));  // until the hub has surely read it on its own
        };
        sendWord("abc");
        sendWord(std::string("def\0ignored after the NUL", 26));
        // The next regular heartbeat is about 3 s away; a dropped message leaves an empty queue: one at once.
        hub->LogMsgPush("no match|");
        EXPECT_EQ(viewer.ReadBytes(1, milliseconds(1000)), "\x07");
        for (const char* message : {"xxdefxx|", "ABC|", "ignored|", "zabcz|"})
            hub->LogMsgPush(message);
        EXPECT_EQ(viewer.ReadMessages(14), "xxdefxx|zabcz|");

        sendWord("abc");  // the same word again switches it off
        hub->LogMsgPush("zabcz|");
        hub->LogMsgPush("def|");
        EXPECT_EQ(viewer.ReadMessages(4), "def|");

        sendWord(std::string("\0tail", 5));  // the empty word passes every message
        hub->LogMsgPush("ABC|");
        EXPECT_EQ(viewer.ReadMessages(4), "ABC|");
    }
    {
        HalfClosedViewer next(port);
        ASSERT_TRUE(next.connected);
        std::this_thread::sleep_for(milliseconds(50));  // the hub's receiver sees the end of the words
        hub->LogMsgPush("ignored|");
        EXPECT_EQ(next.ReadMessages(8), "ignored|")
            << "a new connection starts without filters, and a viewer that sends no more words still reads";
    }
    EndHubLeakingNothing(baseline, 0);  // the viewer has just gone and the hub may not have noticed yet
}

}  // namespace loghub_test
