// The thread factories and the facade when memory runs out: null, never an exception, and no leak.
#include <gtest/gtest.h>

#include <functional>

#include <Veltrane.h>

#include "tests/support/FailingAllocations.h"
#include "tests/support/HostSystem.h"

namespace {

struct Owner
{
    void Work() {}
    void WorkWithArgs(void**) {}
    void Closed() {}
};

void Work() {}
void WorkWithArgs(void**) {}
void Closed() {}

// Fails the first, the second, ... allocation of `make` until it no longer needs to fail; each time the
// result must be null, and once nothing failed, a thread object whose Start fails in the same way.
void ExpectNullOnEveryFailure(const std::function<COsThread*()>& make)
{
    using veltrane_test::ForEachFailingAllocation;
    COsThread* made = nullptr;
    const int needed = ForEachFailingAllocation(make, [&](COsThread* thread, bool threw, bool failed, int count) {
        EXPECT_FALSE(threw) << "allocation " << count << " failed with an exception";
        if (!failed) {
            made = thread;
            return;
        }
        EXPECT_EQ(thread, nullptr) << "allocation " << count << " failed, yet an object came";
        COsThread::FreeThread(&thread);
    });
    EXPECT_GT(needed, 0) << "the factory allocates, so a failure was reached at least once";
    ASSERT_NE(made, nullptr);
    // Start refused for want of memory leaves the object Idle, ready for the next Start.
    ForEachFailingAllocation([&] { return made->Start(); }, [](bool started, bool threw, bool failed, int count) {
        EXPECT_FALSE(threw) << "allocation " << count << " of Start failed with an exception";
        EXPECT_EQ(started, !failed) << "allocation " << count << " of Start failed";
    });
    EXPECT_TRUE(made->Finish(5000));
    EXPECT_EQ(made->GetExitCode(), 0u);
    COsThread::FreeThread(&made);
}

}  // namespace

TEST(COsThread, FactoriesGiveNullWhenMemoryRunsOut)
{
    // A program's own operator new does not reach into a DLL: on Windows the library allocates through its
    // own C++ runtime, where the test cannot make an allocation fail.
    if (veltrane_test::kWindowsHost)
        GTEST_SKIP() << "on Windows the test's replaced operator new does not reach the library's DLL";
    Owner owner;
    const std::function<COsThread*()> factories[] = {
        [] { return COsThread::CreateThread(&Work); },
        [] { return COsThread::CreateThread(&Work, &Closed); },
        [] { return COsThread::CreateThread(&WorkWithArgs); },
        [] { return COsThread::CreateThread(&WorkWithArgs, &Closed); },
        [&] { return COsThreadTpl<Owner>::CreateThread(&owner, &Owner::Work); },
        [&] { return COsThreadTpl<Owner>::CreateThread(&owner, &Owner::Work, &Owner::Closed); },
        [&] { return COsThreadTpl<Owner>::CreateThread(&owner, &Owner::WorkWithArgs); },
        [&] { return COsThreadTpl<Owner>::CreateThread(&owner, &Owner::WorkWithArgs, &Owner::Closed); },
    };
    for (const auto& make : factories) {
        SCOPED_TRACE(&make - factories);
        ExpectNullOnEveryFailure(make);
    }
}

TEST(CVeltrane, GetInstanceGivesNullWhenMemoryRunsOutAndLeaksNothing)
{
    if (veltrane_test::kWindowsHost)
        GTEST_SKIP() << "on Windows the test's replaced operator new does not reach the library's DLL";
    CVeltrane::FreeInstance();
    const int needed = veltrane_test::ForEachFailingAllocation(
        [] { return CVeltrane::GetInstance(); }, [](CVeltrane* facade, bool threw, bool failed, int count) {
            EXPECT_FALSE(threw) << "allocation " << count << " failed with an exception";
            EXPECT_EQ(facade == nullptr, failed) << "allocation " << count;
            if (facade != nullptr) {
                EXPECT_EQ(facade->VeltraneVersion(), "1.25.0104.00");
            }
        });
    EXPECT_GT(needed, 0);
    CVeltrane::FreeInstance();  // what a failed construction made is checked for leaks at the end of the process
}
