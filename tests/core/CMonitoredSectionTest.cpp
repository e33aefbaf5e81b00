// CMonitoredSection: recursion, and TryEnter's step-counted polling against a holder in another thread.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <Veltrane.h>

namespace {

using Clock = std::chrono::steady_clock;

long long MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// Holds `section` in another thread until `release` comes true; returns once the section is held.
std::thread HoldIn(CMonitoredSection& section, std::atomic<bool>& release)
{
    std::atomic<bool> held{false};
    std::thread holder([&section, &release, &held] {
        section.Enter();
        held = true;
        while (!release)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        section.Leave();
    });
    while (!held)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return holder;
}

bool TryEnterFromAnotherThread(CMonitoredSection& section)
{
    std::atomic<bool> entered{false};
    std::thread([&] {
        entered = section.TryEnter(0);
        if (entered)
            section.Leave();
    }).join();
    return entered;
}

}  // namespace

TEST(CMonitoredSection, OwnerMayReenterAndMustLeaveAsOften)
{
    CMonitoredSection section;
    section.Enter();
    EXPECT_TRUE(section.TryEnter(0));
    section.Leave();
    EXPECT_FALSE(TryEnterFromAnotherThread(section)) << "still held once";
    section.Leave();
    EXPECT_TRUE(TryEnterFromAnotherThread(section));
}

TEST(CMonitoredSection, TryEnterOnForeignHoldCountsDownInTenMillisecondSteps)
{
    CMonitoredSection section;
    std::atomic<bool> release{false};
    std::thread holder = HoldIn(section, release);
    Clock::time_point start = Clock::now();
    EXPECT_FALSE(section.TryEnter(0));
    EXPECT_LT(MillisecondsSince(start), 9) << "zero returns at once";
    // 30 ms are three sleeps of 10 ms; 31 counts its last millisecond as a fourth whole step.
    start = Clock::now();
    EXPECT_FALSE(section.TryEnter(30));
    EXPECT_GE(MillisecondsSince(start), 30);
    start = Clock::now();
    EXPECT_FALSE(section.TryEnter(31));
    EXPECT_GE(MillisecondsSince(start), 40);

    // Once the holder leaves, a waiting TryEnter gets in.
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        release = true;
    });
    EXPECT_TRUE(section.TryEnter(1000));
    section.Leave();
    releaser.join();
    holder.join();
}

TEST(CMonitoredSection, ExcludesConcurrentWriters)
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
    first.join();
    second.join();
    EXPECT_EQ(counter, 200000);
}

TEST(CMonitoredSection, DestroyingWhileInsideReleasesTheLock)
{
    auto* section = new CMonitoredSection;
    section->Enter();
    delete section;  // must neither hang nor report under the sanitizers
}
