// platform/win32/calendar.cpp — wall clock from the system's precise file time, local time and zone over the
// C runtime's 64-bit forms. _tzset runs before every conversion, so a zone changed through TZ counts at once;
// it rewrites the runtime's process-wide zone, so every conversion holds one lock, and no thread reads a
// zone that another thread's _tzset is halfway through writing.
// The runtime's local time covers 1970 to 3000 only; outside that range the zone's standard offset is
// applied by the calendar arithmetic here, without daylight saving, for which the runtime knows no rule
// there either.
#include "platform/calendar.h"

#include <windows.h>

#include <climits>
#include <ctime>
#include <mutex>

namespace platform {

namespace {

// 100-ns ticks from 1601-01-01 to 1970-01-01.
constexpr int64_t kEpochTicks = 116444736000000000LL;
constexpr int64_t kSecondsPerDay = 86400;

std::mutex g_zoneLock;

int64_t FloorDivide(int64_t value, int64_t divisor)
{
    return value / divisor - ((value % divisor != 0 && (value < 0) != (divisor < 0)) ? 1 : 0);
}

// Days since 1970-01-01 of a date of the proleptic Gregorian calendar (month 1 to 12).
int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day)
{
    year -= month <= 2 ? 1 : 0;
    const int64_t era = FloorDivide(year, 400);
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

// The fields of `seconds` since 1970-01-01 taken as they stand (no zone); false when the year does not fit.
bool FieldsOf(int64_t seconds, bool daylight, std::tm& fields)
{
    const int64_t days = FloorDivide(seconds, kSecondsPerDay);
    const int64_t secondOfDay = seconds - days * kSecondsPerDay;
    const int64_t shifted = days + 719468;
    const int64_t era = FloorDivide(shifted, 146097);
    const int64_t dayOfEra = shifted - era * 146097;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t monthIndex = (5 * dayOfYear + 2) / 153;
    const int64_t day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
    const int64_t month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
    const int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    if (year - 1900 < INT_MIN || year - 1900 > INT_MAX)
        return false;
    fields.tm_year = static_cast<int>(year - 1900);
    fields.tm_mon = static_cast<int>(month - 1);
    fields.tm_mday = static_cast<int>(day);
    fields.tm_hour = static_cast<int>(secondOfDay / 3600);
    fields.tm_min = static_cast<int>(secondOfDay / 60 % 60);
    fields.tm_sec = static_cast<int>(secondOfDay % 60);
    fields.tm_wday = static_cast<int>(FloorDivide(days + 4, 7) * -7 + days + 4);  // 1970-01-01 was a Thursday
    fields.tm_yday = static_cast<int>(days - DaysFromCivil(year, 1, 1));
    fields.tm_isdst = daylight ? 1 : 0;
    return true;
}

// The seconds since 1970-01-01 of `fields` taken as they stand, fields out of range carried over.
int64_t SecondsOf(const std::tm& fields)
{
    const int64_t months = static_cast<int64_t>(fields.tm_year) * 12 + fields.tm_mon;
    const int64_t year = FloorDivide(months, 12) + 1900;
    const int64_t month = months - FloorDivide(months, 12) * 12 + 1;
    const int64_t days = DaysFromCivil(year, month, 1) + fields.tm_mday - 1;
    return days * kSecondsPerDay + static_cast<int64_t>(fields.tm_hour) * 3600 +
           static_cast<int64_t>(fields.tm_min) * 60 + fields.tm_sec;
}

}  // namespace

void ReadWallClock(int64_t& seconds, uint16_t& milliseconds)
{
    FILETIME now;
    ::GetSystemTimePreciseAsFileTime(&now);
    const int64_t ticks =
        static_cast<int64_t>((static_cast<uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime) - kEpochTicks;
    const int64_t wholeMilliseconds = FloorDivide(ticks, 10000);
    seconds = FloorDivide(wholeMilliseconds, 1000);
    milliseconds = static_cast<uint16_t>(wholeMilliseconds - seconds * 1000);
}

bool ToLocalFields(int64_t seconds, std::tm& fields)
{
    std::lock_guard<std::mutex> hold(g_zoneLock);
    _tzset();
    const __time64_t value = static_cast<__time64_t>(seconds);
    if (_localtime64_s(&fields, &value) == 0)
        return true;
    return FieldsOf(seconds - _timezone, false, fields);
}

bool FromLocalFields(std::tm& fields, int64_t& seconds)
{
    // _mktime64 gives -1 for a failure, and can give no valid time below 0, so -1 is a failure of its own.
    std::lock_guard<std::mutex> hold(g_zoneLock);
    _tzset();
    std::tm attempt = fields;
    const __time64_t value = _mktime64(&attempt);
    if (value != static_cast<__time64_t>(-1)) {
        fields = attempt;
        seconds = static_cast<int64_t>(value);
        return true;
    }
    const int64_t result = SecondsOf(fields) + _timezone;
    if (!FieldsOf(result - _timezone, false, fields))
        return false;
    seconds = result;
    return true;
}

int32_t ZoneOffsetWest()
{
    // The runtime's _timezone: the accessor function is missing from the older runtime this build links.
    std::lock_guard<std::mutex> hold(g_zoneLock);
    _tzset();
    return static_cast<int32_t>(_timezone);
}

}  // namespace platform
