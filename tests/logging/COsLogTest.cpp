// COsLog: the port file, the wire as a viewer sees it, filter words, and teardown in every state.
#include "tests/logging/LogHubFixture.h"

namespace loghub_test {
namespace {

TEST(COsLogPort, IsMinusOneBeforeAnyStart)
{
    // Only meaningful in a process where no hub has started yet: each test runs as its own process.
    COsLog::GetInstance();
    EXPECT_EQ(COsLog::GetLogOutputPort(), -1);
    EXPECT_FALSE(COsLog::GetInstance()->IsRunning());
    COsLog::FreeInstance();
}

TEST_F(LogHubTest, PortFileSetsTheBasePortAndBadValuesFallBackTo61234)
{
    struct Row
    {
        const char* content;
        int base;
    };
    const Row rows[] = {
        {"0", 61234}, {"-1", 61234}, {"65526", 61234}, {"not a number", 61234}, {"", 61234}, {"65525", 65525},
    };
    for (const Row& row : rows) {
        WritePortFile(row.content);
        int port = StartHub();
        EXPECT_GE(port, row.base) << '"' << row.content << '"';
        EXPECT_LT(port, row.base + 10) << '"' << row.content << '"';
        COsLog::FreeInstance();
    }
    EXPECT_GE(COsLog::GetLogOutputPort(), 65525) << "the port is not reset at teardown";
}

TEST_F(LogHubTest, TakenBasePortMovesToTheNextOneAndStartTwiceOpensNothingNew)
{
    COsSocket* squatter = COsSocket::CreateInstance();
    int taken = 0;
    for (int port = m_basePort; port < m_basePort + 5 && taken == 0; ++port) {
        if (squatter->Create(eSocketTypeTcp, 0, 0) && squatter->Bind("127.0.0.1", static_cast<unsigned short>(port)) &&
            squatter->Listen())
            taken = port;
    }
    ASSERT_NE(taken, 0);
    WritePortFile(std::to_string(taken));

    int port = StartHub();
    EXPECT_GT(port, taken);
    EXPECT_LT(port, taken + 10);
    ResourceCount afterFirst = CountResources();
    EXPECT_EQ(COsLog::GetInstance()->Start(), 0);
    EXPECT_EQ(COsLog::GetLogOutputPort(), port);
    ResourceCount afterSecond = CountResources();
    EXPECT_EQ(afterSecond.descriptors, afterFirst.descriptors);
    EXPECT_EQ(afterSecond.threads, afterFirst.threads);
    COsSocket::FreeInstance(&squatter);
}

TEST_F(LogHubTest, AllTenPortsTakenFailsWithNetworkAndStartCanBeTriedAgain)
{
    int previousPort = COsLog::GetLogOutputPort();
    COsSocket* squatters[10] = {};
    int base = 0;
    // Find ten free ports in a row, from the fixture's random base on.
    for (int candidate = m_basePort; candidate < m_basePort + 200 && base == 0; candidate += 10) {
        int held = 0;
        for (; held < 10; ++held) {
            squatters[held] = COsSocket::CreateInstance();
            if (!squatters[held]->Create(eSocketTypeTcp, 0, 0) ||
                !squatters[held]->Bind("127.0.0.1", static_cast<unsigned short>(candidate + held)) ||
                !squatters[held]->Listen())
                break;
        }
        if (held == 10) {
            base = candidate;
            break;
        }
        for (int index = 0; index <= held && index < 10; ++index)
            COsSocket::FreeInstance(&squatters[index]);
    }
    ASSERT_NE(base, 0);
    WritePortFile(std::to_string(base));

    COsLog* hub = COsLog::GetInstance();
    EXPECT_EQ(hub->Start(), OS_ERR_NETWORK);
    EXPECT_FALSE(hub->IsRunning());
    EXPECT_EQ(COsLog::GetLogOutputPort(), previousPort) << "the port is kept when no bind succeeded";

    COsSocket::FreeInstance(&squatters[9]);
    EXPECT_EQ(hub->Start(), 0) << "a failed Start can be tried again";
    EXPECT_TRUE(hub->IsRunning());
    EXPECT_EQ(COsLog::GetLogOutputPort(), base + 9);
    for (COsSocket*& squatter : squatters)
        COsSocket::FreeInstance(&squatter);
}

TEST_F(LogHubTest, MessagesArriveByteExactInOrderAndEmptyOnesBecomeHeartbeats)
{
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    hub->LogMsgPush("pushed before any viewer\r\n");
    hub->LogMsgPush(nullptr);

    RawViewer viewer(port);
    ASSERT_TRUE(ConnectAndAwaitHeartbeat(viewer));
    const std::string binary("\x01\x7f\x80\xff \t\r\n", 8);
    hub->LogMsgPush("first\r\n");
    hub->WriteLogToPort(binary.c_str());
    hub->LogMsgPush("");
    hub->LogMsgPush("bell\x07inside");
    std::string expected = "first\r\n" + binary + "\x07" + "bell\x07inside";
    EXPECT_EQ(viewer.ReadBytes(expected.size()), expected);
    EXPECT_EQ(viewer.ReadBytes(1, milliseconds(300)), "") << "nothing else, and the early message never came";
}

TEST_F(LogHubTest, IdleConnectionGetsAHeartbeatAboutEveryThreeSeconds)
{
    int port = StartHub();
    RawViewer viewer(port);
    ASSERT_TRUE(ConnectAndAwaitHeartbeat(viewer));
    Clock::time_point start = Clock::now();
    EXPECT_EQ(viewer.ReadBytes(1, milliseconds(5000)), "\x07");
    long long interval = MillisecondsSince(start);
    EXPECT_GE(interval, 2500);
    EXPECT_LE(interval, 4500);
}

TEST_F(LogHubTest, FilterWordsNarrowToggleAndAreClearedByTheNextConnection)
{
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    {
        RawViewer viewer(port);
        ASSERT_TRUE(ConnectAndAwaitHeartbeat(viewer));
        viewer.SendWord("abc");
        viewer.SendWord(std::string("def\0ignored after the NUL", 26));
        hub->LogMsgPush("xxdefxx|");
        hub->LogMsgPush("ABC|");
        hub->LogMsgPush("ignored|");
        hub->LogMsgPush("zabcz|");
        EXPECT_EQ(viewer.ReadMessages(14), "xxdefxx|zabcz|");
        viewer.ReadBytes(16, milliseconds(200));  // whatever heartbeats came meanwhile
        hub->LogMsgPush("no match|");
        EXPECT_EQ(viewer.ReadBytes(1, milliseconds(1000)), "\x07") << "a dropped message leaves an empty queue: heartbeat";

        viewer.SendWord("abc");  // the same word again switches it off
        hub->LogMsgPush("zabcz|");
        hub->LogMsgPush("def|");
        EXPECT_EQ(viewer.ReadMessages(4), "def|");

        viewer.SendWord(std::string("\0tail", 5));  // the empty word passes every message
        hub->LogMsgPush("ABC|");
        EXPECT_EQ(viewer.ReadMessages(4), "ABC|");
    }
    RawViewer next(port);
    ASSERT_TRUE(ConnectAndAwaitHeartbeat(next));
    hub->LogMsgPush("ignored|");
    EXPECT_EQ(next.ReadMessages(8), "ignored|") << "a new connection starts without filters";
}

TEST_F(LogHubTest, LogMsgPollTakesTheHeadAndFreeInstanceEndsAnIdleHubQuickly)
{
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    EXPECT_EQ(hub->LogMsgPoll(), "");
    {
        RawViewer viewer(port);
        ASSERT_TRUE(ConnectAndAwaitHeartbeat(viewer));
    }
    Clock::time_point start = Clock::now();
    COsLog::FreeInstance();
    EXPECT_LT(MillisecondsSince(start), 1000);
}

}  // namespace
}  // namespace loghub_test
