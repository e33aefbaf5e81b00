// The thread factories when memory runs out: null, as their headers say, never an exception, and no leak.
#include <gtest/gtest.h>

#include <functional>
#include <new>

#include <Veltrane.h>

#include "tests/support/FailingAllocations.h"

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
// result must be null, and once nothing failed, a thread object that starts, in the same way.
void ExpectNullOnEveryFailure(const std::function<COsThread*()>& make)
{
    for (int count = 0; count < 1000; ++count) {
        COsThread* thread = nullptr;
        bool threw = false, reached = false;
        {
            veltrane_test::FailingAllocations failing(count);
            try {
                thread = make();
            } catch (const std::bad_alloc&) {
                threw = true;
            }
            reached = failing.Reached();
        }
        EXPECT_FALSE(threw) << "allocation " << count << " failed with an exception";
        if (reached) {
            EXPECT_EQ(thread, nullptr) << "allocation " << count << " failed, yet an object came";
            COsThread::FreeThread(&thread);
            continue;
        }
        ASSERT_NE(thread, nullptr);
        // Start refused for want of memory leaves the object Idle, ready for the next Start.
        for (int startCount = 0;; ++startCount) {
            bool started = false;
            {
                veltrane_test::FailingAllocations failing(startCount);
                started = thread->Start();
                reached = failing.Reached();
            }
            EXPECT_EQ(started, !reached) << "allocation " << startCount << " of Start failed";
            if (started || startCount >= 1000)
                break;
        }
        EXPECT_TRUE(thread->Finish(5000));
        EXPECT_EQ(thread->GetExitCode(), 0u);
        COsThread::FreeThread(&thread);
        EXPECT_GT(count, 0) << "the factory allocates, so a failure was reached at least once";
        return;
    }
    ADD_FAILURE() << "the factory never got through";
}

}  // namespace

TEST(COsThread, FactoriesGiveNullWhenMemoryRunsOut)
{
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
