// CMonitoredSection: recursion, and TryEnter's step-counted polling against a holder in another thread.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <Veltrane.h>

namespace {

using std::chrono::milliseconds;

bool EntersFromAnotherThread(CMonitoredSection& section)
{
    bool entered = false;
    std::thread([&] {
        if ((entered = section.TryEnter(0)))
            section.Leave();
    }).join();
    return entered;
}

}  // namespace

TEST(CMonitoredSection, OwnerMayReenterMustLeaveAsOftenAndMayDestroyItWhileInsideAtAnyDepth)
{
    auto* section = new CMonitoredSection;
    section->Enter();
    EXPECT_TRUE(section->TryEnter(0));
    section->Leave();
    EXPECT_FALSE(EntersFromAnotherThread(*section)) << "still held once";
    section->Leave();
    EXPECT_TRUE(EntersFromAnotherThread(*section));
    section->Enter();
    section->Enter();
    delete section;  // inside twice: every level is released, so the lock is never destroyed while held
}

TEST(CMonitoredSection, TryEnterOnForeignHoldCountsDownInTenMillisecondSteps)
{
    CMonitoredSection section;
    std::atomic<int> stage{0};  // 1: the holder is inside; 2: it leaves 30 ms later
    std::thread holder([&] {
        section.Enter();
        for (stage = 1; stage == 1;)
            std::this_thread::sleep_for(milliseconds(1));
        std::this_thread::sleep_for(milliseconds(30));
        section.Leave();
    });
    while (stage == 0)
        std::this_thread::sleep_for(milliseconds(1));
    // 0 returns at once; 30 ms are three sleeps of 10 ms; 31 counts its last millisecond as a fourth step.
    struct { uint32_t time; long long atLeast, below; } rows[] = {{0, 0, 9}, {30, 30, 1000}, {31, 40, 1000}};
    for (auto row : rows) {
        SCOPED_TRACE(row.time);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(section.TryEnter(row.time));
        const auto elapsed = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
        EXPECT_GE(elapsed.count(), row.atLeast);
        EXPECT_LT(elapsed.count(), row.below);
    }
    stage = 2;  // a TryEnter that waits gets in once the holder leaves
    EXPECT_TRUE(section.TryEnter(1000));
    section.Leave();
    holder.join();
}

TEST(CMonitoredSection, ExcludesConcurrentWritersThatEnterTwice)
{
    CMonitoredSection section;
    long long counter = 0;
    auto work = [&] {
        for (int i = 0; i < 100000; ++i) {
            section.Enter();
            section.Enter();
            ++counter;
            section.Leave();
            section.Leave();
        }
    };
    std::thread first(work), second(work);
    first.join(), second.join();
    EXPECT_EQ(counter, 200000);
}
