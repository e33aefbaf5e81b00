// platform/posix/calendar.cpp — wall clock, local time and zone over clock_gettime, localtime_r and mktime.
// glibc's localtime_r reads the TZ variable only once per process while mktime reads it at every call,
// so every conversion brings the zone up to date first: both directions then use the same zone after a
// change. With TZ unset, tzset looks at the system's zone file again at every call (a stat through the
// /etc/localtime link, dearer than the conversion itself), so that file is looked at again at most once a
// second; a change of TZ is seen at once.
#include "platform/calendar.h"

#include <time.h>

#include <atomic>
#include <climits>
#include <cstdlib>

namespace platform {
namespace {

// When tzset last read the system's zone with TZ unset, in milliseconds of the coarse monotonic clock;
// LLONG_MIN when it has not, or TZ was set since.
std::atomic<long long> g_systemZoneReadAt{LLONG_MIN};

void RefreshZone()
{
    if (std::getenv("TZ") != nullptr) {
        g_systemZoneReadAt.store(LLONG_MIN, std::memory_order_relaxed);
        tzset();  // cheap: glibc compares the text with the zone it has
        return;
    }
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const long long milliseconds = static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
    const long long readAt = g_systemZoneReadAt.load(std::memory_order_relaxed);
    if (readAt != LLONG_MIN && milliseconds >= readAt && milliseconds - readAt < 1000)
        return;
    tzset();
    g_systemZoneReadAt.store(milliseconds, std::memory_order_relaxed);
}

}  // namespace

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
    RefreshZone();
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
    RefreshZone();
    return static_cast<int32_t>(timezone);
}

}  // namespace platform
