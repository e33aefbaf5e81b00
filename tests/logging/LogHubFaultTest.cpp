// The log hub under faults and with the real viewer: abrupt viewers, connection storms, floods of filter
// words, a viewer that never reads, restarts. The process stays alive and nothing leaks.
#include "tests/logging/LogHubFixture.h"

namespace loghub_test {
namespace {

TEST_F(LogHubTest, RealViewerPrintsMessagesSendsFiltersAndReconnectsAfterARestart)
{
    ResourceCount baseline;
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    ChildViewer viewer(m_directory / "viewer.out", port);
    ASSERT_TRUE(viewer.PushUntilShown("ready|"));
    hub->LogMsgPush("one\r\n");
    hub->LogMsgPush("two\r\n");
    ASSERT_TRUE(viewer.WaitForOutput("one\r\ntwo\r\n"));
    EXPECT_FALSE(viewer.Shows("\x07")) << "heartbeats are not printed";

    std::fputs("two\n", viewer.input);  // a filter word typed at the viewer
    std::fflush(viewer.input);
    std::this_thread::sleep_for(milliseconds(300));
    hub->LogMsgPush("one again\r\n");
    hub->LogMsgPush("two again\r\n");
    ASSERT_TRUE(viewer.WaitForOutput("two again\r\n"));
    EXPECT_FALSE(viewer.Shows("one again"));

    EndHubLeakingNothing(baseline, 1);  // a reading viewer does not hold it; the pipe to the viewer stays
    ASSERT_TRUE(viewer.WaitForOutput("went away"));
    ASSERT_EQ(StartHub(), port) << "the port comes back at once";
    EXPECT_TRUE(viewer.PushUntilShown("after restart|"));
    EXPECT_EQ(viewer.Close(), 0);

    // A viewer started anew is served once the hub has noticed the first one is gone.
    ChildViewer second(m_directory / "second.out", port);
    EXPECT_TRUE(second.PushUntilShown("second|"));
    EXPECT_EQ(second.Close(), 0);
    EndHubLeakingNothing(baseline, 0);
}

TEST_F(LogHubTest, AbruptViewersAndAThousandConnectCloseCyclesLeakNothing)
{
    ResourceCount baseline;
    int port = StartHub();
    {
        RawViewer abrupt(port);
        ASSERT_TRUE(abrupt.AwaitHeartbeat());
        COsLog::GetInstance()->LogMsgPush("unread\r\n");
    }  // closed without a word, with data in flight
    for (int cycle = 0; cycle < 1000; ++cycle)
        ASSERT_TRUE(RawViewer(port).connected) << "cycle " << cycle;

    RawViewer last(port);
    ASSERT_EQ(last.ReadBytes(1, milliseconds(60000)), "\x07") << "the hub works through the backlog and serves again";
    COsLog::GetInstance()->LogMsgPush("still here|");
    EXPECT_EQ(last.ReadMessages(11), "still here|");
    EndHubLeakingNothing(baseline, 1);  // the last viewer's own socket is still open
}

TEST_F(LogHubTest, FloodOfFilterWordsLeavesTheHubWorking)
{
    ResourceCount baseline;
    int port = StartHub();
    {
        RawViewer flooder(port);
        ASSERT_TRUE(flooder.AwaitHeartbeat());
        std::string words;
        for (int word = 0; word < 5000; ++word)
            words += "word" + std::to_string(word) + '\0';
        for (int round = 0; round < 20; ++round)
            flooder.socket->Send(words.data(), static_cast<unsigned int>(words.size()));
        COsLog::GetInstance()->LogMsgPush("after the flood|");
        std::this_thread::sleep_for(milliseconds(200));
    }
    RawViewer next(port);
    ASSERT_TRUE(next.AwaitHeartbeat());
    COsLog::GetInstance()->LogMsgPush("unfiltered|");
    EXPECT_EQ(next.ReadMessages(11), "unfiltered|");
    EndHubLeakingNothing(baseline, 1);  // the next viewer's own socket is still open
}

TEST_F(LogHubTest, ViewerThatNeverReadsIsDroppedAndCannotHoldTheTeardown)
{
    for (bool endWhileASendWaits : {true, false}) {
        SCOPED_TRACE(endWhileASendWaits ? "teardown while a send waits" : "the next viewer is served");
        ResourceCount baseline;
        int port = StartHub();
        {
            RawViewer sleeper(port);
            ASSERT_TRUE(sleeper.AwaitHeartbeat());
            const std::string big(1 << 20, 'x');
            for (int message = 0; message < 24; ++message)
                COsLog::GetInstance()->LogMsgPush(big.c_str());
            std::this_thread::sleep_for(milliseconds(400));  // the socket buffers fill and a send waits
            if (!endWhileASendWaits) {
                RawViewer next(port);
                EXPECT_EQ(next.ReadBytes(1, milliseconds(8000)), "\x07") << "a send that cannot finish ends the connection";
            }
            EndHubLeakingNothing(baseline, 1);  // only the sleeper's own socket is open
        }
    }
}

}  // namespace
}  // namespace loghub_test
