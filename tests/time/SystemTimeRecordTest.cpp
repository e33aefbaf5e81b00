// The time record and the object that holds one: comparisons, the calendar's validity rules, object life,
// the converters between records, and the text form.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>

#include <Veltrane.h>

#include "TimeTestSupport.h"

using veltrane_test::HeldTime;
using veltrane_test::Record;
using veltrane_test::Text;

namespace {

// Exposes the protected converters; never instantiated.
struct Converters : COsSystemTime
{
    using COsSystemTime::SystemTimeToTimeStruct;
    using COsSystemTime::TimeStructToSystemTime;
    using COsSystemTime::TimeStructToTm;
    using COsSystemTime::TmToTimeStruct;
};

// Forms a reference to address null out of the sanitizer's sight, as a careless client would pass one.
__attribute__((no_sanitize("undefined"))) const _STSystemTime& NullRecord()
{
    const _STSystemTime* volatile nothing = nullptr;
    return *nothing;
}

}  // namespace

TEST(SystemTimeRecord, ComparisonsWalkTheFieldsFromYearToMillisecondAndSkipTheWeekday)
{
    struct Row { _STSystemTime left, right; int order; };   // order: -1 left earlier, 0 equal, 1 later
    const Row rows[] = {
        {Record(2024, 5, 6, 7, 8, 9, 10, 1), Record(2024, 5, 6, 7, 8, 9, 10, 6), 0},
        {Record(2024, 5, 6, 7, 8, 9, 100), Record(2024, 5, 6, 7, 8, 9, 200), -1},
        {Record(2025, 1, 1), Record(2024, 12, 31, 23, 59, 59, 999), 1},
        {Record(2024, 2, 30), Record(2024, 3, 1), -1},           // no carrying: the month decides
        {Record(2024, 3, 1, 0), Record(2024, 2, 1, 23), 1},
        {Record(2024, 3, 2, 0), Record(2024, 3, 1, 23), 1},
        {Record(2024, 3, 1, 5, 0), Record(2024, 3, 1, 4, 59), 1},
        {Record(2024, 3, 1, 5, 1, 0), Record(2024, 3, 1, 5, 0, 59), 1},
        {Record(2024, 3, 1, 5, 1, 2, 0), Record(2024, 3, 1, 5, 1, 1, 999), 1},
        {Record(65535, 1, 1), Record(1, 1, 1), 1},               // unsigned: the top year is the latest
        {Record(2024, 1, 1, 0, 0, 0, 65535), Record(2024, 1, 1, 0, 0, 1, 0), -1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Text(row.left) + " against " + Text(row.right));
        const _STSystemTime& a = row.left;
        const _STSystemTime& b = row.right;
        EXPECT_EQ(a == b, row.order == 0);
        EXPECT_EQ(a < b, row.order < 0);
        EXPECT_EQ(a > b, row.order > 0);
        EXPECT_EQ(a <= b, row.order <= 0);
        EXPECT_EQ(a >= b, row.order >= 0);
        HeldTime left(a), right(b);
        EXPECT_EQ(*left == *right, row.order == 0);
        EXPECT_EQ(*left < *right, row.order < 0);
        EXPECT_EQ(*left > *right, row.order > 0);
        EXPECT_EQ(*left <= *right, row.order <= 0);
        EXPECT_EQ(*left >= *right, row.order >= 0);
    }
}

TEST(SystemTimeRecord, ValidityFollowsTheLibrarysLeapRuleAndTheFieldRanges)
{
    struct Row { _STSystemTime record; bool date, time; };
    const Row rows[] = {
        {Record(2024, 2, 29), true, true},
        {Record(2023, 2, 29), false, true},
        {Record(1900, 2, 29), false, true},
        {Record(2000, 2, 29), true, true},
        {Record(2100, 2, 29), false, true},
        {Record(2400, 2, 29), true, true},
        {Record(3200, 2, 29), false, true},    // divisible by 3200: no leap year
        {Record(3200, 2, 28), true, true},
        {Record(4000, 2, 29), true, true},
        {Record(6400, 2, 29), false, true},
        {Record(2024, 4, 31), false, true},
        {Record(2024, 4, 30), true, true},
        {Record(2024, 12, 31), true, true},
        {Record(65535, 12, 31), true, true},   // no upper bound on the year
        {Record(0, 1, 1), false, true},
        {Record(2024, 0, 1), false, true},
        {Record(2024, 13, 1), false, true},
        {Record(2024, 1, 0), false, true},
        {Record(2024, 1, 1, 23, 59, 59), true, true},
        {Record(2024, 1, 1, 24, 0, 0), true, false},
        {Record(2024, 1, 1, 0, 60, 0), true, false},
        {Record(2024, 1, 1, 0, 0, 60), true, false},   // no leap second
        {Record(2024, 1, 1, 0, 0, 0, 5000), true, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Text(row.record));
        EXPECT_EQ(COsSystemTime::CheckDateValid(row.record), row.date);
        EXPECT_EQ(COsSystemTime::CheckTimeValid(row.record), row.time);
        EXPECT_EQ(COsSystemTime::CheckDateTimeValid(row.record), row.date && row.time);
    }
}

TEST(SystemTimeObject, HoldsItsOwnCopyThroughSetTimeAssignmentAndRelease)
{
    const _STSystemTime first = Record(2024, 2, 29, 9, 5, 3, 7, 6);   // weekday as the caller gave it
    const _STSystemTime second = Record(1999, 12, 31, 23, 59, 59, 999, 5);
    COsSystemTime* a = COsSystemTime::CreateInstance(first);
    COsSystemTime* b = COsSystemTime::CreateInstance(second);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(Text(a->GetTime()), Text(first));

    *a = *b;                       // copies the record: the two objects stay independent
    EXPECT_EQ(Text(a->GetTime()), Text(second));
    b->SetTime(first);
    EXPECT_EQ(Text(a->GetTime()), Text(second));
    EXPECT_EQ(Text(b->GetTime()), Text(first));
    *a = *a;
    EXPECT_EQ(Text(a->GetTime()), Text(second));

    COsSystemTime::FreeInstance(&a);
    EXPECT_EQ(a, nullptr);
    COsSystemTime::FreeInstance(&a);
    COsSystemTime::FreeInstance(nullptr);
    EXPECT_EQ(Text(b->GetTime()), Text(first));   // freeing one object never touches another's record
    COsSystemTime::FreeInstance(&b);

    EXPECT_EQ(COsSystemTime::CreateInstance(NullRecord()), nullptr);
}

TEST(SystemTimeObject, ANewObjectHoldsTheCurrentLocalTimeAndDoesNotMove)
{
    veltrane_test::TimeZoneScope zone("CST-8");
    long long before = COsSystemTime::GetSystemTimeAsLong();
    HeldTime now;
    long long after = COsSystemTime::GetSystemTimeAsLong();
    long long held = now->GetTimeAsLong();
    EXPECT_GE(held, before);
    EXPECT_LE(held, after);
    _STSystemTime first = now->GetTime();
    EXPECT_TRUE(COsSystemTime::CheckDateTimeValid(first));
    EXPECT_LT(first.wMilliseconds, 1000);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(Text(now->GetTime()), Text(first));
}

TEST(SystemTimeConverters, TmAndSystemTimeCarryTheFieldsAsTheRuntimeAndTheSystemNumberThem)
{
    tm fields;
    std::memset(&fields, 0x5A, sizeof fields);
    Converters::TimeStructToTm(Record(2024, 2, 29, 9, 5, 3, 7, 4), fields);
    EXPECT_EQ(fields.tm_year, 124);
    EXPECT_EQ(fields.tm_mon, 1);
    EXPECT_EQ(fields.tm_mday, 29);
    EXPECT_EQ(fields.tm_hour, 9);
    EXPECT_EQ(fields.tm_min, 5);
    EXPECT_EQ(fields.tm_sec, 3);
    EXPECT_EQ(fields.tm_wday, 4);
    EXPECT_EQ(fields.tm_yday, 0);
    EXPECT_EQ(fields.tm_isdst, -1);   // the zone's rule decides

    fields.tm_year = 70000 - 1900;     // cut to 16 bits on the way back
    fields.tm_sec = 61;
    _STSystemTime record = Record(1, 1, 1, 0, 0, 0, 999);
    Converters::TmToTimeStruct(fields, record);
    EXPECT_EQ(Text(record), "4464-02-29 09:05:61.000 w4");

    _SYSTEMTIME system = {1, 2, 3, 4, 5, 6, 7, 8};
    Converters::SystemTimeToTimeStruct(system, record);
    EXPECT_EQ(Text(record), "0001-02-04 05:06:07.008 w3");
    _SYSTEMTIME back;
    std::memset(&back, 0, sizeof back);
    Converters::TimeStructToSystemTime(Record(9, 8, 7, 6, 5, 4, 3, 2), back);
    const uint16_t inOrder[] = {back.wYear, back.wMonth, back.wDayOfWeek, back.wDay,
                                back.wHour, back.wMinute, back.wSecond, back.wMilliseconds};
    const uint16_t expected[] = {9, 8, 2, 7, 6, 5, 4, 3};
    EXPECT_EQ(std::memcmp(inOrder, expected, sizeof expected), 0);
}

TEST(SystemTimeText, WritesValidRecordsAndReadsBackTheFormsItNames)
{
    EXPECT_EQ(COsSystemTime::TimeToString(Record(2024, 2, 29, 9, 5, 3, 7)), "2024-02-29 09:05:03.007");
    EXPECT_EQ(COsSystemTime::TimeToString(Record(12, 1, 1)), "0012-01-01 00:00:00.000");
    EXPECT_EQ(COsSystemTime::TimeToString(Record(65535, 12, 31, 23, 59, 59, 999)), "65535-12-31 23:59:59.999");
    EXPECT_EQ(COsSystemTime::TimeToString(Record(2023, 2, 29)), "");
    EXPECT_EQ(COsSystemTime::TimeToString(Record(2024, 1, 1, 24)), "");
    EXPECT_EQ(COsSystemTime::TimeToString(Record(2024, 1, 1, 0, 0, 0, 1000)), "");

    struct Row { const char* text; const char* read; };   // read: Text() of the result, or null: refused
    const Row rows[] = {
        {"2024-02-29 09:05:03.007", "2024-02-29 09:05:03.007 w4"},
        {"2024-02-29T09:05:03.5", "2024-02-29 09:05:03.500 w4"},
        {"2024-02-29 09:05:03.25", "2024-02-29 09:05:03.250 w4"},
        {"2024-02-29 09:05:03", "2024-02-29 09:05:03.000 w4"},
        {"2024-02-29 09:05", "2024-02-29 09:05:00.000 w4"},
        {"2024-02-29", "2024-02-29 00:00:00.000 w4"},
        {"1970-01-01", "1970-01-01 00:00:00.000 w4"},
        {"1601-01-01", "1601-01-01 00:00:00.000 w1"},
        {"2024-12-31 23:59:59.999", "2024-12-31 23:59:59.999 w2"},
        {"65535-12-31 23:59:59.999", "65535-12-31 23:59:59.999 w2"},
        {"0001-01-01", "0001-01-01 00:00:00.000 w1"},
        {"0000-01-01", nullptr},
        {"65536-01-01", nullptr},
        {"2023-02-29", nullptr},
        {"3200-02-29", nullptr},
        {"2024-02-29 24:00", nullptr},
        {"2024-02-29 23:60", nullptr},
        {"2024-02-29 23:59:60", nullptr},
        {"2024-2-29", nullptr},
        {"24-02-29", nullptr},
        {"2024/02/29", nullptr},
        {" 2024-02-29", nullptr},
        {"2024-02-29 ", nullptr},
        {"2024-02-29x", nullptr},
        {"2024-02-29 09", nullptr},
        {"2024-02-29 09:05:", nullptr},
        {"2024-02-29 09:05:03.", nullptr},
        {"2024-02-29 09:05:03.1234", nullptr},
        {"2024-02-29 09:05:03.-1", nullptr},
        {"2024-02-29 +9:05", nullptr},
        {"", nullptr},
        {"2024", nullptr},
        {"20240", nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        _STSystemTime record = Record(7, 7, 7, 7, 7, 7, 7, 7);
        const std::string untouched = Text(record);
        EXPECT_EQ(COsSystemTime::StringToTime(row.text, record), row.read != nullptr);
        EXPECT_EQ(Text(record), row.read != nullptr ? row.read : untouched);
    }
    _STSystemTime withNul;
    EXPECT_FALSE(COsSystemTime::StringToTime(std::string("2024-02-29\0", 11), withNul));
}
