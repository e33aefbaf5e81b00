// Calendar arithmetic: elapsed amounts through UTC, months and years on the fields with the month-end
// pull-back, offsets in their fixed order, time-outs against the wall clock, and use from several threads.
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <string>
#include <thread>
#include <vector>

#include <Veltrane.h>

#include "TimeTestSupport.h"

using veltrane_test::HeldTime;
using veltrane_test::Record;
using veltrane_test::Text;
using veltrane_test::TimeZoneScope;

namespace {

constexpr const char* kZero = "0000-00-00 00:00:00.000 w0";

_STSystemTime Offset(int years, int months, int days, int hours = 0, int minutes = 0, int seconds = 0,
                     int milliseconds = 0, int dayOfWeek = 0)
{
    return Record(years, months, days, hours, minutes, seconds, milliseconds, dayOfWeek);
}

}  // namespace

TEST(SystemTimeArithmetic, ElapsedAmountsGoThroughUtcAndLeaveTheObjectAsItWas)
{
    TimeZoneScope zone("UTC0");
    struct Row { _STSystemTime start; _STSystemTime (*add)(const COsSystemTime&); const char* result; };
    const Row rows[] = {
        {Record(2024, 6, 1, 12, 0, 0, 250, 6), [](const COsSystemTime& t) { return t.AddSeconds(-1); },
         "2024-06-01 11:59:59.250 w6"},
        {Record(2024, 12, 31, 23, 59, 59, 999, 2), [](const COsSystemTime& t) { return t.AddMilliseconds(1); },
         "2025-01-01 00:00:00.000 w3"},
        {Record(2024, 3, 1, 0, 0, 0, 0, 0), [](const COsSystemTime& t) { return t.AddMinutes(-1441); },
         "2024-02-28 23:59:00.000 w3"},
        {Record(2023, 3, 1, 5, 0, 0, 0, 0), [](const COsSystemTime& t) { return t.AddHours(-30); },
         "2023-02-27 23:00:00.000 w1"},
        {Record(2024, 2, 30, 8, 0, 0, 0, 0), [](const COsSystemTime& t) { return t.AddDays(1); },
         "2024-03-02 08:00:00.000 w6"},                          // out of range: carried over first
        {Record(2024, 1, 1, 0, 0, 0, 1500, 0), [](const COsSystemTime& t) { return t.AddMilliseconds(0); },
         "2024-01-01 00:00:01.500 w1"},
        {Record(1970, 1, 1, 0, 0, 0, 0, 0), [](const COsSystemTime& t) { return t.AddDays(-1); },
         "1969-12-31 00:00:00.000 w3"},
        {Record(65535, 12, 31, 0, 0, 0, 0, 0), [](const COsSystemTime& t) { return t.AddDays(1); }, kZero},
        {Record(1, 1, 1, 0, 0, 0, 0, 0), [](const COsSystemTime& t) { return t.AddMilliseconds(-1); }, kZero},
        {Record(2024, 1, 1), [](const COsSystemTime& t) { return t.AddDays(INT_MAX); }, kZero},
        {Record(2024, 1, 1), [](const COsSystemTime& t) { return t.AddHours(INT_MIN); }, kZero},
        {Record(2024, 1, 1), [](const COsSystemTime& t) { return t.AddMilliseconds(LLONG_MAX); }, kZero},
        {Record(2024, 1, 1), [](const COsSystemTime& t) { return t.AddMilliseconds(LLONG_MIN); }, kZero},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Text(row.start));
        HeldTime time(row.start);
        EXPECT_EQ(Text(row.add(*time)), row.result);
        EXPECT_EQ(Text(time->GetTime()), Text(row.start));
    }
}

TEST(SystemTimeArithmetic, ADayAcrossAChangeOfDaylightSavingIsTwentyFourHoursOfElapsedTime)
{
    TimeZoneScope zone("EST5EDT,M3.2.0,M11.1.0");
    HeldTime spring(Record(2024, 3, 9, 12, 0, 0, 0, 6));
    EXPECT_EQ(Text(spring->AddDays(1)), "2024-03-10 13:00:00.000 w0");
    EXPECT_EQ(Text(spring->AddMonths(1)), "2024-04-09 12:00:00.000 w6");   // on the fields: same time of day
    HeldTime autumn(Record(2024, 11, 2, 12, 0, 0, 0, 6));
    EXPECT_EQ(Text(autumn->AddDays(1)), "2024-11-03 11:00:00.000 w0");
    EXPECT_EQ(Text(autumn->AddHours(48)), "2024-11-04 11:00:00.000 w1");
}

TEST(SystemTimeArithmetic, MonthsAndYearsMoveTheFieldsAndPullTheDayBackToTheMonthsEnd)
{
    struct Row { _STSystemTime start; int months; int years; const char* result; };
    const Row rows[] = {
        {Record(2023, 1, 31, 10, 20, 30, 400, 2), 1, 0, "2023-02-28 10:20:30.400 w2"},  // weekday copied
        {Record(2024, 1, 31), 1, 0, "2024-02-29 00:00:00.000 w0"},
        {Record(2024, 3, 31), -1, 0, "2024-02-29 00:00:00.000 w0"},
        {Record(2024, 1, 15), -1, 0, "2023-12-15 00:00:00.000 w0"},
        {Record(2023, 12, 10), 13, 0, "2025-01-10 00:00:00.000 w0"},
        {Record(2024, 2, 29), 12, 0, "2025-02-28 00:00:00.000 w0"},
        {Record(2024, 2, 30), 0, 0, "2024-02-29 00:00:00.000 w0"},
        {Record(2023, 2, 30), 0, 0, "2023-02-28 00:00:00.000 w0"},
        {Record(3200, 1, 31), 1, 0, "3200-02-28 00:00:00.000 w0"},
        {Record(2024, 1, 31), 32767, 0, "4754-08-31 00:00:00.000 w0"},
        {Record(2024, 1, 31), -32768, 0, "64829-05-31 00:00:00.000 w0"},  // the year wraps in 16 bits
        {Record(65535, 12, 15), 1, 0, "0000-01-15 00:00:00.000 w0"},
        {Record(2024, 13, 40), 0, 0, "2024-13-31 00:00:00.000 w0"},        // a month out of range has 31 days
        {Record(2024, 0, 35), 0, 0, "2024-00-31 00:00:00.000 w0"},
        {Record(2024, 14, 5), -1, 0, "2024-13-05 00:00:00.000 w0"},
        {Record(2024, 14, 5), -2, 0, "2024-12-05 00:00:00.000 w0"},
        {Record(2024, 0, 5), 1, 0, "2024-01-05 00:00:00.000 w0"},
        {Record(2024, 0, 5), -1, 0, "2023-12-05 00:00:00.000 w0"},
        {Record(2024, 2, 29, 1, 2, 3, 4, 4), 0, 1, "2025-02-28 01:02:03.004 w4"},
        {Record(2024, 2, 29), 0, -4, "2020-02-29 00:00:00.000 w0"},
        {Record(3196, 2, 29), 0, 4, "3200-02-28 00:00:00.000 w0"},         // 3200 is no leap year
        {Record(2024, 2, 29), 0, 376, "2400-02-29 00:00:00.000 w0"},
        {Record(65535, 6, 1), 0, 1, "0000-06-01 00:00:00.000 w0"},
        {Record(1, 3, 1), 0, -2, "65535-03-01 00:00:00.000 w0"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Text(row.start) + " months " + std::to_string(row.months) + " years " +
                     std::to_string(row.years));
        HeldTime time(row.start);
        _STSystemTime result = row.years != 0 ? time->AddYears(static_cast<short>(row.years))
                                              : time->AddMonths(static_cast<short>(row.months));
        EXPECT_EQ(Text(result), row.result);
        EXPECT_EQ(Text(time->GetTime()), Text(row.start));
    }

    // The pull-back stands: January 31, one month on and one more, is March 28.
    HeldTime time(Record(2023, 1, 31));
    time->SetTime(time->AddMonths(1));
    EXPECT_EQ(Text(time->AddMonths(1)), "2023-03-28 00:00:00.000 w0");
}

TEST(SystemTimeArithmetic, OffsetsAddElapsedTimeFirstThenMonthsThenYears)
{
    TimeZoneScope zone("UTC0");
    struct Row { _STSystemTime start; _STSystemTime offset; const char* result; };
    const Row rows[] = {
        {Record(2024, 4, 31, 0, 0, 0, 0, 0), Offset(0, 0, 0), "2024-05-01 00:00:00.000 w3"},
        {Record(2023, 1, 31), Offset(0, 1, 0), "2023-02-28 00:00:00.000 w2"},
        {Record(2023, 1, 31), Offset(1, 1, 0), "2024-02-28 00:00:00.000 w2"},   // pulled back before the year
        {Record(2023, 1, 31), Offset(1, 1, 0, 0, 0, 0, 0, 6), "2024-02-28 00:00:00.000 w2"},
        {Record(2024, 1, 30), Offset(0, 1, 1), "2024-02-29 00:00:00.000 w3"},   // never March 1
        {Record(2023, 1, 30, 23), Offset(0, 1, 0, 1), "2023-02-28 00:00:00.000 w2"},
        {Record(2024, 3, 31), Offset(0, 0xFFFF, 0), "2024-02-29 00:00:00.000 w0"},  // -1 month
        {Record(2024, 2, 29), Offset(0xFFFF, 0, 0), "2023-02-28 00:00:00.000 w4"},  // -1 year by wrap-around
        // Every elapsed field at its top counts forward; the weekday is that of the day step.
        {Record(2024, 1, 1), Offset(0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF),
         "2209-12-12 21:28:20.535 w6"},
        {Record(65535, 12, 31), Offset(0, 0, 1), kZero},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Text(row.start) + " + " + Text(row.offset));
        HeldTime time(row.start);
        EXPECT_EQ(Text(time->AddDateOffset(row.offset)), row.result);
        EXPECT_EQ(Text(time->GetTime()), Text(row.start));
    }
}

TEST(SystemTimeArithmetic, CheckTimeoutTellsWhetherTheAmountHasPassedSinceTheHeldTime)
{
    for (const char* zoneName : {"CST-8", "EST5", "UTC0"}) {
        SCOPED_TRACE(zoneName);
        TimeZoneScope zone(zoneName);
        HeldTime now;
        EXPECT_EQ(now->CheckTimeout(0), 1);
        EXPECT_EQ(now->CheckTimeout(3600000), 0);
        HeldTime past(now->AddSeconds(-2));
        EXPECT_EQ(past->CheckTimeout(1000), 1);
        EXPECT_EQ(past->CheckTimeout(60000), 0);
        HeldTime future(now->AddHours(1));
        EXPECT_EQ(future->CheckTimeout(0), 0);
        EXPECT_EQ(now->CheckTimeout(ULLONG_MAX), 0);                // a deadline past the range never comes
        EXPECT_EQ(now->CheckTimeout(1ULL << 63), 0);
        EXPECT_EQ(now->CheckTimeout((1ULL << 63) - 1), 0);
    }
    HeldTime zero(_STSystemTime{});
    EXPECT_EQ(zero->CheckTimeout(0), -1);
    HeldTime february30(Record(2024, 2, 30));
    EXPECT_EQ(february30->CheckTimeout(0), -1);
    HeldTime hour24(Record(2024, 2, 1, 24));
    EXPECT_EQ(hour24->CheckTimeout(0), -1);
}

TEST(SystemTimeArithmetic, ThreadsShareOneObjectThatNobodyChanges)
{
    TimeZoneScope zone("CST-8");
    HeldTime shared(Record(2024, 1, 31, 12, 0, 0, 500, 3));
    const std::string days = Text(shared->AddDays(40));
    const std::string months = Text(shared->AddMonths(1));
    const double count = shared->GetTimeAsDouble();
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int n = 0; n < 300; ++n) {
                _STSystemTime fromFile;
                FILETIME fileTime{};
                COsSystemTime::LocalTimeToFileTime(shared->GetTime(), fileTime);
                COsSystemTime::LocalTime(fileTime, fromFile);
                if (Text(shared->AddDays(40)) != days || Text(shared->AddMonths(1)) != months ||
                    shared->GetTimeAsDouble() != count || !(fromFile == shared->GetTime()))
                    ++mismatches;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}
