// COsThread and COsThreadTpl: the state table, arguments, exit codes, forced ends, priorities, resident mode.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>

#include <Veltrane.h>

namespace {

using Clock = std::chrono::steady_clock;

long long MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// Waits up to two seconds for `condition`; the result says whether it came true.
template <class Condition>
bool WaitFor(Condition condition)
{
    for (int waited = 0; waited < 2000 && !condition(); ++waited)
        COsThread::Sleep(1);
    return condition();
}

std::atomic<int> g_runs{0};
std::atomic<int> g_closes{0};
std::atomic<bool> g_release{false};
void** g_receivedArgs = nullptr;

void ResetGlobals()
{
    g_runs = g_closes = 0;
    g_release = false;
    g_receivedArgs = nullptr;
}

// Runs until the test releases it, sleeping so that a forced end finds a cancellation point.
void RunUntilReleased()
{
    for (++g_runs; !g_release;)
        COsThread::Sleep(1);
}

void CountClose() { ++g_closes; }
void RecordArgs(void** ppArgs) { g_receivedArgs = ppArgs, ++g_runs; }

// Exposes the protected state that the contract describes, for the tests to look at.
class ThreadProbe : public COsThread
{
public:
    ThreadProbe(uint32_t result, bool resident) : m_result(result) { m_bResident = resident; }
    ~ThreadProbe() override { EndBeforeDestruction(); }
    using COsThread::ShutDown, COsThread::TryEnter, COsThread::Leave;
    using COsThread::m_bRunning, COsThread::m_nThreadId, COsThread::m_szName;
    std::atomic<int> m_nRuns{0};
    std::atomic<int64_t> m_nLastWorker{0};
    std::atomic<bool> m_bHoldRun{false};

protected:
    uint32_t Run() override
    {
        m_nLastWorker = GetCurrentThreadId();
        for (++m_nRuns; m_bHoldRun;)
            Sleep(1);
        return m_result;
    }

private:
    uint32_t m_result;
};

struct Owner
{
    void Work() { ++m_nWork; }
    void WorkWithArgs(void** ppArgs) { m_pArgs = ppArgs, ++m_nWork; }
    void Closed() { m_bClosed = true; }
    void Spin()
    {
        for (m_bSpinning = true;;)
            COsThread::Sleep(1);
    }
    std::atomic<bool> m_bSpinning{false};
    std::atomic<int> m_nWork{0};
    std::atomic<bool> m_bClosed{false};
    void** m_pArgs = nullptr;
};

TEST(COsThread, FollowsTheStateTableAndForcesThreadsThatDoNotEnd)
{
    ResetGlobals();
    COsThread* thread = COsThread::CreateThread(&RunUntilReleased, &CountClose);
    EXPECT_TRUE(thread->Finish(100)) << "Finish on an object never started";
    EXPECT_FALSE(thread->IsRunning());

    ASSERT_TRUE(thread->Start());
    ASSERT_TRUE(WaitFor([] { return g_runs == 1; }));
    EXPECT_TRUE(thread->IsRunning());
    EXPECT_TRUE(thread->Start()) << "Start while running reports true and starts nothing";

    g_release = true;
    ASSERT_TRUE(WaitFor([&] { return !thread->IsRunning(); }));
    EXPECT_EQ(g_runs, 1) << "only one thread ran";
    EXPECT_EQ(g_closes, 1);
    EXPECT_FALSE(thread->Start()) << "Ended but not finished";
    EXPECT_EQ(g_runs, 1);

    EXPECT_TRUE(thread->Finish(100));
    EXPECT_TRUE(thread->Start()) << "Finish makes the object Idle again";
    ASSERT_TRUE(WaitFor([] { return g_closes == 2; }));
    EXPECT_EQ(g_runs, 2);
    EXPECT_TRUE(thread->Finish(1000));
    EXPECT_EQ(thread->GetExitCode(), 0u);

    // Finish(0) forces a thread that does not end.
    g_release = false;
    ASSERT_TRUE(thread->Start());
    ASSERT_TRUE(WaitFor([] { return g_runs == 3; }));
    Clock::time_point start = Clock::now();
    EXPECT_FALSE(thread->Finish(0));
    EXPECT_LT(MillisecondsSince(start), 1000);
    EXPECT_FALSE(thread->IsRunning());
    EXPECT_EQ(g_closes, 2) << "a forced end skips the close callback";

    // The forced end leaves the object Idle: it starts a fresh thread, which freeing the running object
    // ends after about 100 ms.
    EXPECT_TRUE(thread->Start());
    ASSERT_TRUE(WaitFor([] { return g_runs == 4; }));
    start = Clock::now();
    COsThread::FreeThread(&thread);
    long long elapsed = MillisecondsSince(start);
    EXPECT_EQ(thread, nullptr);
    EXPECT_GE(elapsed, 90);
    EXPECT_LT(elapsed, 1000);
    EXPECT_EQ(g_closes, 2);
    g_release = true;
    COsThread::FreeThread(&thread);  // null pointers do nothing
    COsThread::FreeThread(nullptr);
}

TEST(COsThread, ArgumentFormPassesThePointerOnceAndThenNull)
{
    ResetGlobals();
    COsThread* thread = COsThread::CreateThread(&RecordArgs);
    void* args[] = {&thread};
    ASSERT_TRUE(thread->Start(args));
    ASSERT_TRUE(WaitFor([&] { return g_runs == 1 && !thread->IsRunning(); }));
    EXPECT_EQ(g_receivedArgs, args);
    EXPECT_TRUE(thread->Finish(100));

    g_receivedArgs = args;
    ASSERT_TRUE(thread->Start());
    ASSERT_TRUE(WaitFor([&] { return g_runs == 2 && !thread->IsRunning(); }));
    EXPECT_EQ(g_receivedArgs, nullptr) << "the argument of the first run is not reused";
    EXPECT_TRUE(thread->Finish(100));
    COsThread::FreeThread(&thread);
}

TEST(COsThread, ExitCodesOfRunsWithoutCallbackOrObjectAndOf259)
{
    ResetGlobals();
    // Nothing to call: the thread still runs, reports 0x80000000, and the close callback runs.
    COsThread* withoutCallback = COsThread::CreateThread(static_cast<PFN_THREAD_RUN>(nullptr), &CountClose);
    COsThread* withoutObject = COsThreadTpl<Owner>::CreateThread(nullptr, &Owner::Work);
    for (COsThread* thread : {withoutCallback, withoutObject}) {
        ASSERT_TRUE(thread->Start());
        ASSERT_TRUE(WaitFor([&] { return !thread->IsRunning(); }));
        EXPECT_TRUE(thread->Finish(1000));
        EXPECT_EQ(thread->GetExitCode(), 0x80000000u);
        COsThread::FreeThread(&thread);
    }
    EXPECT_EQ(g_closes, 1);

    // 259 is the host's "still active": a thread that ended with it would look alive for ever, and
    // Finish would have to force it.
    ThreadProbe still(259, false);
    ASSERT_TRUE(still.Start());
    ASSERT_TRUE(WaitFor([&] { return still.m_nRuns == 1 && !still.IsRunning(); }));
    still.m_bRunning = true;  // with the flag set, IsRunning asks the host for the thread's exit code
    EXPECT_TRUE(WaitFor([&] { return !still.IsRunning(); }));
    still.m_bRunning = false;
    EXPECT_EQ(still.GetExitCode(), 259u);
    EXPECT_TRUE(still.Finish(100)) << "the thread ended by itself";
    EXPECT_EQ(still.GetExitCode(), 259u) << "the exit code survives Finish";
}

TEST(COsThread, NameAndIdentityAndPriorityStoredBeforeStartAndAppliedByIt)
{
    ThreadProbe thread(0, false);
    ThreadProbe other(0, false);
    EXPECT_EQ(std::strlen(thread.m_szName), 36u);
    EXPECT_STRNE(thread.m_szName, other.m_szName);
    EXPECT_EQ(thread.GetPriority(), PRIORITY_NORMAL);
    thread.SetPriority(PRIORITY_LOWEST);

    thread.m_bHoldRun = true;
    ASSERT_TRUE(thread.Start());
    ASSERT_TRUE(WaitFor([&] { return thread.m_nRuns == 1; }));
    EXPECT_EQ(static_cast<int64_t>(thread.m_nThreadId), thread.m_nLastWorker.load());
    EXPECT_NE(thread.m_nLastWorker.load(), COsThread::GetCurrentThreadId());
    EXPECT_EQ(thread.GetPriority(), PRIORITY_LOWEST) << "read back from the running thread";

    // Lowering is always allowed and reads back as itself; raising needs privilege: refused, the
    // thread keeps its level, granted it reads back as asked.
    for (EThreadPriority level : {PRIORITY_BELOW_NORMAL, PRIORITY_LOWEST_EXTENDED, PRIORITY_IDLE,
                                  PRIORITY_ABOVE_NORMAL, PRIORITY_HIGHEST, PRIORITY_TIME_CRITICAL}) {
        EThreadPriority before = thread.GetPriority();
        thread.SetPriority(level);
        EThreadPriority after = thread.GetPriority();
        EXPECT_TRUE(after == level || (level < PRIORITY_NORMAL && after == before)) << level;
    }
    thread.m_bHoldRun = false;
    EXPECT_TRUE(thread.Finish(1000));
}

TEST(COsThread, ResidentWorkerRunsAgainOnEachStartAndEndsOnShutDownOrDestruction)
{
    Clock::time_point start;
    {
        ThreadProbe worker(5, true);
        ASSERT_TRUE(worker.Start());  // the controlling thread now holds the gate
        ASSERT_TRUE(WaitFor([&] { return worker.m_nRuns == 1 && !worker.IsRunning(); }));
        int64_t firstWorker = worker.m_nLastWorker;
        EXPECT_FALSE(worker.Finish(100)) << "Finish refuses a resident object";
        EXPECT_TRUE(worker.TryEnter(0)) << "the holder of the gate enters again";
        worker.Leave();

        ASSERT_TRUE(worker.Start());
        ASSERT_TRUE(WaitFor([&] { return worker.m_nRuns == 2 && !worker.IsRunning(); }));
        EXPECT_EQ(worker.m_nLastWorker.load(), firstWorker) << "the same thread outlives its runs";
        EXPECT_EQ(worker.GetExitCode(), 5u);
        EXPECT_EQ(worker.m_nRuns, 2) << "the gate holds the worker between starts";

        start = Clock::now();
        worker.ShutDown();
        EXPECT_LT(MillisecondsSince(start), 200);
        EXPECT_FALSE(worker.IsRunning());
        EXPECT_EQ(worker.m_nRuns, 2);

        // After ShutDown the object is Idle: Start makes a new worker, which runs at once and then
        // waits at the gate until the destructor ends it.
        ASSERT_TRUE(worker.Start());
        ASSERT_TRUE(WaitFor([&] { return worker.m_nRuns == 3 && !worker.IsRunning(); }));
        start = Clock::now();
    }
    EXPECT_LT(MillisecondsSince(start), 1000);
}

TEST(COsThreadTpl, CallsMemberFunctionsInEveryForm)
{
    Owner owner;
    COsThreadTpl<Owner>* plain = COsThreadTpl<Owner>::CreateThread(&owner, &Owner::Work, &Owner::Closed);
    ASSERT_TRUE(plain->Start());
    ASSERT_TRUE(WaitFor([&] { return owner.m_bClosed.load(); }));
    EXPECT_TRUE(plain->Finish(1000));
    EXPECT_EQ(owner.m_nWork, 1);
    EXPECT_EQ(plain->GetExitCode(), 0u);
    delete plain;

    void* args[] = {&owner};
    COsThreadTpl<Owner>* withArgs = COsThreadTpl<Owner>::CreateThread(&owner, &Owner::WorkWithArgs);
    ASSERT_TRUE(withArgs->Start(args));
    ASSERT_TRUE(WaitFor([&] { return owner.m_nWork == 2 && !withArgs->IsRunning(); }));
    EXPECT_EQ(owner.m_pArgs, args);
    EXPECT_TRUE(withArgs->Finish(100));
    COsThread* base = withArgs;
    COsThread::FreeThread(&base);

    // Deleting a running template object ends its thread before the member-calling part goes.
    Owner spinner;
    COsThreadTpl<Owner>* spinning = COsThreadTpl<Owner>::CreateThread(&spinner, &Owner::Spin, &Owner::Closed);
    ASSERT_TRUE(spinning->Start());
    ASSERT_TRUE(WaitFor([&] { return spinner.m_bSpinning.load(); }));
    Clock::time_point start = Clock::now();
    delete spinning;
    EXPECT_GE(MillisecondsSince(start), 90);
    EXPECT_LT(MillisecondsSince(start), 1000);
    EXPECT_FALSE(spinner.m_bClosed) << "a forced end runs no close member";
}

}  // namespace
