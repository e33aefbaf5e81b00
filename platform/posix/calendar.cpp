// platform/posix/calendar.cpp — wall clock, local time and zone over clock_gettime, localtime_r and mktime.
// glibc's localtime_r reads the TZ variable only once per process while mktime reads it at every call,
// so every conversion calls tzset first: both directions then use the same zone after a change.
#include "platform/calendar.h"

#include <time.h>

namespace platform {

static_assert(sizeof(time_t) == sizeof(int64_t), "the library's seconds are 64 bits wide");

void ReadWallClock(int64_t& seconds, uint16_t& milliseconds)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    seconds = static_cast<int64_t>(now.tv_sec);
    milliseconds = static_cast<uint16_t>(now.tv_nsec / 1000000L);
}

bool ToLocalFields(int64_t seconds, std::tm& fields)
{
    tzset();
    time_t value = static_cast<time_t>(seconds);
    return localtime_r(&value, &fields) != nullptr;
}

bool FromLocalFields(std::tm& fields, int64_t& seconds)
{
    // mktime gives -1 both for a failure and for 1969-12-31 23:59:59 UTC; it writes the weekday only on
    // success, so a weekday it cannot produce tells the two apart.
    fields.tm_wday = -1;
    time_t value = mktime(&fields);
    if (value == static_cast<time_t>(-1) && fields.tm_wday == -1)
        return false;
    seconds = static_cast<int64_t>(value);
    return true;
}

int32_t ZoneOffsetWest()
{
    tzset();
    return static_cast<int32_t>(timezone);
}

}  // namespace platform
