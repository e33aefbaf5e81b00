// Conversions of the held local time to and from seconds, timeb, the day count and FILETIME, under time
// zones that each test sets for itself, and the range the record can carry.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>

#include <Veltrane.h>

#include "TimeTestSupport.h"
#include "tests/support/HostSystem.h"

using veltrane_test::HeldTime;
using veltrane_test::Record;
using veltrane_test::Text;
using veltrane_test::TimeZoneScope;

namespace {

// US Eastern with its current rule, written out so that no zone database is needed.
constexpr const char* kEastern = "EST5EDT,M3.2.0,M11.1.0";

FILETIME FileTimeOf(int64_t unixSeconds, int milliseconds)
{
    uint64_t ticks = static_cast<uint64_t>(unixSeconds + 11644473600LL) * 10000000u +
                     static_cast<uint64_t>(milliseconds) * 10000u;
    return FILETIME{static_cast<uint32_t>(ticks), static_cast<uint32_t>(ticks >> 32)};
}

}  // namespace

TEST(SystemTimeConversion, SecondsAndDaysCountUtcFromTheLocalRecord)
{
    TimeZoneScope zone("CST-8");
    HeldTime time(Record(1970, 1, 1, 8, 0, 0, 0));
    EXPECT_EQ(time->GetTimeAsLong(), 0);
    EXPECT_EQ(time->GetTimeAsDouble(), 0.0);
    time->SetTime(Record(1970, 1, 1, 20, 0, 0, 0));
    EXPECT_EQ(time->GetTimeAsDouble(), 0.5);
    time->SetTime(Record(1970, 1, 1, 8, 0, 0, 999));
    EXPECT_EQ(time->GetTimeAsLong(), 0);                       // milliseconds play no part in seconds
    EXPECT_DOUBLE_EQ(time->GetTimeAsDouble(), 999.0 / 86400000.0);
    time->SetTime(Record(2024, 4, 31, 8));                     // carried over: April 31 is May 1
    HeldTime mayFirst(Record(2024, 5, 1, 8));
    EXPECT_EQ(time->GetTimeAsLong(), mayFirst->GetTimeAsLong());
    EXPECT_EQ(mayFirst->GetTimeAsLong(), 1714521600);

    time->SetTimeAsLong(86400);
    EXPECT_EQ(Text(time->GetTime()), "1970-01-02 08:00:00.000 w5");
    time->SetTime(Record(2000, 1, 1, 0, 0, 0, 777));
    time->SetTimeAsLong(0);                                    // milliseconds 0 whatever they were
    EXPECT_EQ(Text(time->GetTime()), "1970-01-01 08:00:00.000 w4");
    timeb value{};
    value.time = 0;
    value.millitm = 1234;                                      // taken without a range check
    time->SetTimeAsTimeb(value);
    EXPECT_EQ(Text(time->GetTime()), "1970-01-01 08:00:00.1234 w4");
}

TEST(SystemTimeConversion, TheDayCountComesBackToTheSameMillisecond)
{
    TimeZoneScope zone("UTC0");
    HeldTime time(Record(2000, 1, 1));
    time->SetTimeAsDouble(1.5);
    EXPECT_EQ(Text(time->GetTime()), "1970-01-02 12:00:00.000 w5");
    time->SetTimeAsDouble(-1.0 / 86400000.0);                  // one millisecond before the epoch
    EXPECT_EQ(Text(time->GetTime()), "1969-12-31 23:59:59.999 w3");
    time->SetTimeAsDouble(1.9 / 86400000.0);                   // truncated, not rounded
    EXPECT_EQ(Text(time->GetTime()), "1970-01-01 00:00:00.001 w4");

    // A day count carries a millisecond only approximately; it must still come back to the same one.
    TimeZoneScope china("CST-8");
    HeldTime source(Record(2000, 1, 1));
    HeldTime copy(Record(2000, 1, 1));
    uint32_t state = 12345;
    for (int n = 0; n < 5000; ++n) {
        state = state * 1103515245u + 12345u;
        _STSystemTime record = Record(1971 + static_cast<int>(state % 200), 1 + static_cast<int>(state / 7 % 12),
                                      1 + static_cast<int>(state / 11 % 28), static_cast<int>(state / 13 % 24),
                                      static_cast<int>(state / 17 % 60), static_cast<int>(state / 19 % 60),
                                      static_cast<int>(state / 23 % 1000));
        source->SetTime(record);
        copy->SetTimeAsDouble(source->GetTimeAsDouble());
        ASSERT_TRUE(copy->GetTime() == record) << Text(record) << " came back as " << Text(copy->GetTime());
    }
}

TEST(SystemTimeConversion, TimesBeforeTheEpochWorkAndTimesTheRecordCannotCarryChangeNothing)
{
    TimeZoneScope zone("UTC0");
    HeldTime time(Record(2000, 1, 1));
    time->SetTimeAsLong(-1);
    EXPECT_EQ(Text(time->GetTime()), "1969-12-31 23:59:59.000 w3");
    EXPECT_EQ(time->GetTimeAsLong(), -1);                      // a real second, not a failure
    EXPECT_DOUBLE_EQ(time->GetTimeAsDouble(), -1.0 / 86400.0);
    time->SetTimeAsLong(-62135596800LL);
    EXPECT_EQ(Text(time->GetTime()), "0001-01-01 00:00:00.000 w1");
    time->SetTimeAsLong(2005949145599LL);
    EXPECT_EQ(Text(time->GetTime()), "65535-12-31 23:59:59.000 w2");

    const _STSystemTime kept = Record(2001, 2, 3, 4, 5, 6, 7, 6);
    const long long outsideSeconds[] = {-62135596801LL, 2005949145600LL, LLONG_MAX, LLONG_MIN};
    for (long long seconds : outsideSeconds) {
        time->SetTime(kept);
        time->SetTimeAsLong(seconds);
        EXPECT_EQ(Text(time->GetTime()), Text(kept)) << seconds;
        timeb value{};
        value.time = seconds;
        time->SetTimeAsTimeb(value);
        EXPECT_EQ(Text(time->GetTime()), Text(kept)) << seconds;
    }
    const double outsideDays[] = {std::nan(""), INFINITY, -INFINITY, 1e300, 2e10, -1e12};
    for (double days : outsideDays) {
        time->SetTimeAsDouble(days);
        EXPECT_EQ(Text(time->GetTime()), Text(kept)) << days;
    }
}

TEST(SystemTimeConversion, TimeZoneIsWholeHoursOfStandardTimeWestOfGreenwich)
{
    struct Row { const char* zone; int hours; int timebMinutes; };
    const Row rows[] = {
        {"UTC0", 0, 0},
        {"CST-8", -8, -480},
        {kEastern, 5, 300},                                    // daylight saving left out
        {"IST-5:30", -5, -330},
        {"NST3:30NDT,M3.2.0,M11.1.0", 3, 210},
        {"LINT-14", -14, -840},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.zone);
        // The Windows C runtime, which reads TZ there, takes a zone name of three letters only.
        if (veltrane_test::kWindowsHost && std::string(row.zone) == "LINT-14")
            continue;
        TimeZoneScope zone(row.zone);
        EXPECT_EQ(COsSystemTime::GetTimeZone(), row.hours);
        EXPECT_EQ(COsSystemTime::GetSystemTimeAsTimeb().timezone, row.timebMinutes);
    }
}

TEST(SystemTimeConversion, TheClockReadsOneInstantInEveryForm)
{
    TimeZoneScope zone("CST-8");
    long long before = COsSystemTime::GetSystemTimeAsLong();
    timeb now = COsSystemTime::GetSystemTimeAsTimeb();
    double days = COsSystemTime::GetSystemTimeAsDouble();
    HeldTime local(COsSystemTime::GetSystemTime());
    long long after = COsSystemTime::GetSystemTimeAsLong();

    EXPECT_GE(now.time, before);
    EXPECT_LE(now.time, after);
    EXPECT_LT(now.millitm, 1000);
    EXPECT_EQ(now.dstflag, 0);
    EXPECT_GE(days, before / 86400.0);
    EXPECT_LE(days, (after + 1) / 86400.0);
    EXPECT_GE(local->GetTimeAsLong(), before);                 // a local record: 8 hours off UTC if not
    EXPECT_LE(local->GetTimeAsLong(), after);

    // Daylight saving from 0:00 on January 1 to the last second of the year: in effect whenever this runs.
    if (veltrane_test::kWindowsHost)
        GTEST_SKIP() << "the Windows C runtime reads no rule of a TZ text (it applies the United States' rule)";
    TimeZoneScope always("XST5XDT,J1/0,J365/25");
    EXPECT_EQ(COsSystemTime::GetSystemTimeAsTimeb().dstflag, 1);
}

TEST(SystemTimeConversion, FileTimesBecomeLocalUnderTheRuleOfTheirDateAndComeBack)
{
    struct Row { const char* zone; int64_t unixSeconds; int milliseconds; const char* local; };
    const Row rows[] = {
        {"CST-8", 0, 123, "1970-01-01 08:00:00.123 w4"},
        {"UTC0", -11644473600LL, 0, "1601-01-01 00:00:00.000 w1"},
        {kEastern, 1719835200, 5, "2024-07-01 08:00:00.005 w1"},   // summer: UTC-4
        {kEastern, 1705320000, 999, "2024-01-15 07:00:00.999 w1"}, // winter: UTC-5
        {"UTC0", 910692730085LL, 477, "30828-09-14 02:48:05.477 w4"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.local);
        TimeZoneScope zone(row.zone);
        FILETIME fileTime = FileTimeOf(row.unixSeconds, row.milliseconds);
        _STSystemTime local;
        COsSystemTime::LocalTime(fileTime, local);
        EXPECT_EQ(Text(local), row.local);
        FILETIME back{1, 2};
        EXPECT_TRUE(COsSystemTime::LocalTimeToFileTime(local, back));
        EXPECT_EQ(back.dwLowDateTime, fileTime.dwLowDateTime);
        EXPECT_EQ(back.dwHighDateTime, fileTime.dwHighDateTime);
    }

    TimeZoneScope zone("UTC0");
    _STSystemTime last;
    COsSystemTime::LocalTime(FILETIME{0xFFFFFFFFu, 0xFFFFFFFFu}, last);
    EXPECT_EQ(Text(last), "60056-05-28 05:36:10.955 w0");

    // Outside 1601 to 2^63 ticks the file time is left as it was.
    const _STSystemTime outside[] = {Record(1600, 12, 31, 23, 59, 59, 999), Record(30828, 9, 14, 2, 48, 5, 478),
                                     Record(60056, 5, 28)};
    for (const _STSystemTime& record : outside) {
        FILETIME untouched{1, 2};
        EXPECT_FALSE(COsSystemTime::LocalTimeToFileTime(record, untouched)) << Text(record);
        EXPECT_EQ(untouched.dwLowDateTime, 1u);
        EXPECT_EQ(untouched.dwHighDateTime, 2u);
    }
}

// A zone changed back and forth counts at the next call whoever applied the zone before it: another thread,
// the text direction (through the C library's mktime), or the program with a C library call of its own. A
// remembered zone that was per thread, or that missed one of these, converts a step here under the other
// zone. The first two zones differ only in their daylight-saving rule, so nothing but the TZ text tells them
// apart; the third has other names, as a program's own zone would.
TEST(SystemTimeConversion, AZoneChangedBackAndForthCountsWhoeverAppliedTheOneBefore)
{
#ifdef _WIN32
    GTEST_SKIP() << "the two zones differ only in their daylight-saving rules, which the Windows C runtime "
                    "does not read (it applies the United States' rule to both)";
#else
    enum Who { Here, OtherThread, TextDirection, ProgramItself };
    const char* const zones[] = {"EST5EDT,M3.2.0,M11.1.0", "EST5EDT,M4.1.0,M10.5.0", "CST-8"};
    const int64_t instant = 1710954000;  // 2024-03-20 17:00 UTC: summer time under the first rule only
    const char* const local[] = {"2024-03-20 13:00:00.000 w3", "2024-03-20 12:00:00.000 w3",
                                 "2024-03-21 01:00:00.000 w4"};
    const int64_t localNoon[] = {1710950400, 1710954000, 1710907200};  // 2024-03-20 12:00 local, in UTC
    const int localHour[] = {13, 12, 1};
    auto convert = [&] {
        _STSystemTime record;
        COsSystemTime::LocalTime(FileTimeOf(instant, 0), record);
        return Text(record);
    };
    const struct Step { int zone; Who who; } steps[] = {
        {0, Here}, {1, OtherThread}, {0, Here}, {1, TextDirection}, {0, Here}, {2, ProgramItself}, {0, Here},
        {1, Here}, {0, OtherThread}, {1, Here}, {0, TextDirection}, {1, Here}, {2, ProgramItself}, {1, Here},
    };
    TimeZoneScope restore("UTC0");
    for (size_t index = 0; index < sizeof steps / sizeof steps[0]; ++index) {
        const Step& step = steps[index];
        SCOPED_TRACE(index);
        setenv("TZ", zones[step.zone], 1);
        switch (step.who) {
        case Here:
            EXPECT_EQ(convert(), local[step.zone]);
            break;
        case OtherThread: {
            std::string seen;
            std::thread other([&] { seen = convert(); });
            other.join();
            EXPECT_EQ(seen, local[step.zone]);
            break;
        }
        case TextDirection: {
            FILETIME back{};
            ASSERT_TRUE(COsSystemTime::LocalTimeToFileTime(Record(2024, 3, 20, 12), back));
            const uint64_t ticks = (uint64_t{back.dwHighDateTime} << 32) | back.dwLowDateTime;
            EXPECT_EQ(static_cast<int64_t>(ticks / 10000000u) - 11644473600LL, localNoon[step.zone]);
            break;
        }
        case ProgramItself: {
            tzset();
            std::time_t seconds = static_cast<std::time_t>(instant);
            std::tm fields{};
            ASSERT_NE(localtime_r(&seconds, &fields), nullptr);
            EXPECT_EQ(fields.tm_hour, localHour[step.zone]);
            break;
        }
        }
    }

    // A program's own entry, changed in place where it stands in the environment, and TZ unset and set
    // again: the same slot and array can hold another zone.
    static char entry[] = "TZ=CST-8";
    ASSERT_EQ(putenv(entry), 0);
    EXPECT_EQ(convert(), local[2]);
    std::memcpy(entry, "TZ=UTC0", sizeof "TZ=UTC0");
    EXPECT_EQ(convert(), "2024-03-20 17:00:00.000 w3");
    unsetenv("TZ");
    setenv("TZ", zones[1], 1);
    EXPECT_EQ(convert(), local[1]);
#endif
}
