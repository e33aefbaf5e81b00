// CMonitoredSection: recursion, and TryEnter's step-counted polling against a holder in another thread.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <Veltrane.h>

namespace {

// Holds `section` in another thread until released.
class Holder
{
public:
    explicit Holder(CMonitoredSection& section)
        : m_thread([this, &section] {
              section.Enter();
              m_held = true;
              while (!m_release)
                  std::this_thread::sleep_for(std::chrono::milliseconds(1));
              section.Leave();
          })
    {
        while (!m_held)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~Holder()
    {
        m_release = true;
        m_thread.join();
    }

private:
    std::atomic<bool> m_held{false};
    std::atomic<bool> m_release{false};
    std::thread m_thread;
};

long long MillisecondsOf(std::chrono::steady_clock::duration duration)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

}  // namespace

TEST(CMonitoredSection, OwnerMayReenterAndMustLeaveAsOften)
{
    CMonitoredSection section;
    section.Enter();
    EXPECT_TRUE(section.TryEnter(0));
    section.Leave();
    {
        // Still held once: another thread cannot get in.
        std::atomic<bool> entered{true};
        std::thread([&] { entered = section.TryEnter(0); }).join();
        EXPECT_FALSE(entered);
    }
    section.Leave();
    std::atomic<bool> entered{false};
    std::thread([&] {
        entered = section.TryEnter(0);
        if (entered)
            section.Leave();
    }).join();
    EXPECT_TRUE(entered);
}

TEST(CMonitoredSection, TryEnterZeroOnForeignHoldReturnsAtOnce)
{
    CMonitoredSection section;
    Holder holder(section);
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(section.TryEnter(0));
    EXPECT_LT(MillisecondsOf(std::chrono::steady_clock::now() - start), 9);
}

TEST(CMonitoredSection, TryEnterCountsDownInTenMillisecondSteps)
{
    CMonitoredSection section;
    Holder holder(section);
    // 30 ms are three sleeps of 10 ms; 31 counts its last millisecond as a fourth whole step.
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(section.TryEnter(30));
    long long thirty = MillisecondsOf(std::chrono::steady_clock::now() - start);
    start = std::chrono::steady_clock::now();
    EXPECT_FALSE(section.TryEnter(31));
    long long thirtyOne = MillisecondsOf(std::chrono::steady_clock::now() - start);
    EXPECT_GE(thirty, 30);
    EXPECT_GE(thirtyOne, 40);
}

TEST(CMonitoredSection, TryEnterSucceedsWhenTheHolderLeavesInTime)
{
    CMonitoredSection section;
    std::atomic<bool> held{false};
    std::thread holder([&] {
        section.Enter();
        held = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        section.Leave();
    });
    while (!held)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(section.TryEnter(1000));
    section.Leave();
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
    SUCCEED();
}
