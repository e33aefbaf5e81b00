// The log hub under faults and with the real viewer: abrupt viewers, connection storms, floods of filter
// words, a viewer that never reads, restarts. The process stays alive and nothing leaks.
#include "tests/logging/LogHubFixture.h"

namespace loghub_test {

TEST_F(LogHubTest, RealViewerPrintsMessagesSendsFiltersAndReconnectsAfterARestart)
{
    ResourceCount baseline;
    int port = StartHub();
    COsLog* hub = COsLog::GetInstance();
    ChildViewer viewer(m_directory / "viewer.out", port);
    ASSERT_TRUE(viewer.PushUntilShown("one\r\n"));
    hub->LogMsgPush("two\r\n");
    ASSERT_TRUE(viewer.Shows("one\r\ntwo\r\n"));
    EXPECT_FALSE(viewer.Shows("\x07", milliseconds(0))) << "heartbeats are not printed";

    std::fputs("two\n", viewer.input);  // a filter word typed at the viewer
    std::fflush(viewer.input);
    std::this_thread::sleep_for(milliseconds(300));
    hub->LogMsgPush("one again\r\n");
    hub->LogMsgPush("two again\r\n");
    ASSERT_TRUE(viewer.Shows("two again\r\n"));
    EXPECT_FALSE(viewer.Shows("one again", milliseconds(0)));

    EndHubLeakingNothing(baseline, 1);  // a reading viewer does not hold it; the pipe to the viewer stays
    ASSERT_TRUE(viewer.Shows("went away"));
    ASSERT_EQ(StartHub(), port) << "the port comes back at once";
    EXPECT_TRUE(viewer.PushUntilShown("after restart|"));
    EXPECT_EQ(viewer.Close(), 0);
    EndHubLeakingNothing(baseline, 0);
}

// One hub through a row of misbehaving viewers: each must leave it serving the next, and nothing may leak.
TEST_F(LogHubTest, FloodingAbruptStormingAndNeverReadingViewersNeitherStopNorHoldTheHub)
{
    ResourceCount baseline;
    int port = StartHub();
    {
        RawViewer abrupt(port);
        ASSERT_TRUE(abrupt.AwaitHeartbeat());
        std::string words;
        for (int word = 0; word < 5000; ++word)
            words += "word" + std::to_string(word) + '\0';
        for (int round = 0; round < 21; ++round)  // an odd count, so that filters are left switched on
            abrupt.socket->Send(words.data(), static_cast<unsigned int>(words.size()));
        std::this_thread::sleep_for(milliseconds(200));  // the receiver works through the flood
        COsLog::GetInstance()->LogMsgPush("unread\r\n");
    }  // closed without a word, with data in flight
    for (int cycle = 0; cycle < 1000; ++cycle)
        ASSERT_TRUE(RawViewer(port).connected) << "cycle " << cycle;

    RawViewer sleeper(port);
    ASSERT_EQ(sleeper.ReadBytes(1, milliseconds(60000)), "\x07") << "the hub works through the backlog and serves again";
    COsLog::GetInstance()->LogMsgPush("still here|");
    EXPECT_EQ(sleeper.ReadMessages(11), "still here|") << "the flood's filters went with its connection";

    // From here on no viewer reads: the socket buffers fill and a send waits.
    auto fillTheSocketBuffers = [big = std::string(1 << 20, 'x')] {
        for (int message = 0; message < 24; ++message)
            COsLog::GetInstance()->LogMsgPush(big.c_str());
        std::this_thread::sleep_for(milliseconds(400));
    };
    fillTheSocketBuffers();
    RawViewer next(port);
    // Served means a first byte: the heartbeat, or the start of a message pushed while the hub was ending the
    // stuck connection (such a message stays queued for the next viewer).
    EXPECT_EQ(next.ReadBytes(1, milliseconds(8000)).size(), 1u) << "a send that cannot finish ends the connection";
    fillTheSocketBuffers();
    EndHubLeakingNothing(baseline, 2);  // ending while a send to `next` waits; only the viewers' own sockets stay
}

}  // namespace loghub_test
