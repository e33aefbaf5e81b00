// The log hub under faults and with the real viewer: abrupt viewers, connection storms, floods of filter
// words, a viewer that never reads, restarts. The process stays alive and nothing leaks.
#include "tests/logging/LogHubFixture.h"

namespace loghub_test {
namespace {

TEST_F(LogHubTest, RealViewerPrintsMessagesSendsFiltersAndReconnectsAfterARestart)
{
    ResourceCount baseline = CountResources();
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    ChildViewer viewer(m_directory / "viewer.out", port);
    ASSERT_TRUE(viewer.Started());
    ASSERT_TRUE(viewer.WaitForOutput("[logviewer] connected"));

    // The hub queues once it has accepted; the viewer's connect can come a moment before that.
    for (int attempt = 0; attempt < 100 && viewer.Output().find("ready|") == std::string::npos; ++attempt) {
        hub->LogMsgPush("ready|");
        std::this_thread::sleep_for(milliseconds(50));
    }
    ASSERT_TRUE(viewer.WaitForOutput("ready|"));
    hub->LogMsgPush("one\r\n");
    hub->LogMsgPush("two\r\n");
    ASSERT_TRUE(viewer.WaitForOutput("one\r\ntwo\r\n"));
    EXPECT_EQ(viewer.Output().find('\x07'), std::string::npos) << "heartbeats are not printed";

    viewer.TypeLine("two");
    std::this_thread::sleep_for(milliseconds(300));
    hub->LogMsgPush("one again\r\n");
    hub->LogMsgPush("two again\r\n");
    ASSERT_TRUE(viewer.WaitForOutput("two again\r\n"));
    EXPECT_EQ(ChildViewer::Occurrences(viewer.Output(), "one again"), 0);

    Clock::time_point start = Clock::now();
    COsLog::FreeInstance();
    EXPECT_LT(MillisecondsSince(start), 1000) << "a reading viewer does not hold the teardown";
    ASSERT_TRUE(viewer.WaitForOutput("went away"));

    ASSERT_EQ(StartHub(), port) << "the port comes back at once";
    ASSERT_TRUE(viewer.WaitForOutput("[logviewer] connected", 2));
    for (int attempt = 0; attempt < 100 && viewer.Output().find("after restart|") == std::string::npos; ++attempt) {
        COsLog::GetInstance()->LogMsgPush("after restart|");
        std::this_thread::sleep_for(milliseconds(50));
    }
    EXPECT_TRUE(viewer.WaitForOutput("after restart|"));
    EXPECT_EQ(viewer.Close(), 0);

    // A viewer started anew is served once the hub has noticed the first one is gone.
    ChildViewer second(m_directory / "second.out", port);
    ASSERT_TRUE(second.WaitForOutput("[logviewer] connected"));
    for (int attempt = 0; attempt < 100 && second.Output().find("second|") == std::string::npos; ++attempt) {
        COsLog::GetInstance()->LogMsgPush("second|");
        std::this_thread::sleep_for(milliseconds(50));
    }
    EXPECT_TRUE(second.WaitForOutput("second|"));
    EXPECT_EQ(second.Close(), 0);

    COsLog::FreeInstance();
    ResourceCount after = SettledResources(baseline);
    EXPECT_LE(after.descriptors, baseline.descriptors);
    EXPECT_LE(after.threads, baseline.threads);
}

TEST_F(LogHubTest, AbruptViewersAndAThousandConnectCloseCyclesLeakNothing)
{
    ResourceCount baseline = CountResources();
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    {
        RawViewer abrupt(port);
        ASSERT_TRUE(ConnectAndAwaitHeartbeat(abrupt));
        hub->LogMsgPush("unread\r\n");
    }  // closed without a word, with data in flight

    for (int cycle = 0; cycle < 1000; ++cycle) {
        RawViewer brief(port);
        ASSERT_TRUE(brief.Connected()) << "cycle " << cycle;
    }

    RawViewer last(port);
    ASSERT_TRUE(last.Connected());
    ASSERT_EQ(last.ReadBytes(1, milliseconds(60000)), "\x07") << "the hub works through the backlog and serves again";
    hub->LogMsgPush("still here|");
    EXPECT_EQ(last.ReadMessages(11), "still here|");

    Clock::time_point start = Clock::now();
    COsLog::FreeInstance();
    EXPECT_LT(MillisecondsSince(start), 1000);
    ResourceCount after = SettledResources(baseline);
    EXPECT_LE(after.descriptors, baseline.descriptors + 1) << "the last viewer's own socket is still open";
    EXPECT_LE(after.threads, baseline.threads);
}

TEST_F(LogHubTest, FloodOfFilterWordsLeavesTheHubWorking)
{
    ResourceCount baseline = CountResources();
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    {
        RawViewer flooder(port);
        ASSERT_TRUE(ConnectAndAwaitHeartbeat(flooder));
        std::string words;
        for (int word = 0; word < 5000; ++word)
            words += "word" + std::to_string(word) + '\0';
        for (int round = 0; round < 20; ++round)
            flooder.Socket()->Send(words.data(), static_cast<unsigned int>(words.size()));
        hub->LogMsgPush("after the flood|");
        std::this_thread::sleep_for(milliseconds(200));
    }
    RawViewer next(port);
    ASSERT_TRUE(ConnectAndAwaitHeartbeat(next));
    hub->LogMsgPush("unfiltered|");
    EXPECT_EQ(next.ReadMessages(11), "unfiltered|");

    Clock::time_point start = Clock::now();
    COsLog::FreeInstance();
    EXPECT_LT(MillisecondsSince(start), 1000);
    ResourceCount after = SettledResources(baseline);
    EXPECT_LE(after.threads, baseline.threads);
}

TEST_F(LogHubTest, ViewerThatNeverReadsCannotHoldTheHubOrItsTeardown)
{
    ResourceCount baseline = CountResources();
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    RawViewer sleeper(port);
    ASSERT_TRUE(ConnectAndAwaitHeartbeat(sleeper));
    const std::string big(1 << 20, 'x');
    for (int message = 0; message < 24; ++message)
        hub->LogMsgPush(big.c_str());
    std::this_thread::sleep_for(milliseconds(400));  // the socket buffers fill and a send waits

    Clock::time_point start = Clock::now();
    COsLog::FreeInstance();
    EXPECT_LT(MillisecondsSince(start), 1000);
    ResourceCount after = SettledResources(baseline);
    EXPECT_LE(after.descriptors, baseline.descriptors + 1) << "only the sleeper's own socket";
    EXPECT_LE(after.threads, baseline.threads);
}

TEST_F(LogHubTest, ViewerThatStopsReadingIsDroppedAndTheNextOneServed)
{
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    RawViewer sleeper(port);
    ASSERT_TRUE(ConnectAndAwaitHeartbeat(sleeper));
    const std::string big(1 << 20, 'y');
    for (int message = 0; message < 24; ++message)
        hub->LogMsgPush(big.c_str());

    RawViewer next(port);
    ASSERT_TRUE(next.Connected());
    EXPECT_EQ(next.ReadBytes(1, milliseconds(8000)), "\x07") << "a send that cannot finish in time ends the connection";
}

}  // namespace
}  // namespace loghub_test
