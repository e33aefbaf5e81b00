// platform/posix/calendar.cpp — wall clock, local time and zone over clock_gettime, localtime_r and mktime.
// glibc's localtime_r reads the TZ variable only once per process while mktime reads it at every call,
// so every conversion brings the zone up to date first: both directions then use the same zone after a
// change.
//
// With TZ set, tzset costs a lock and a comparison inside the C library, most of a conversion's price. The
// text that the last tzset applied is kept instead, process-wide, and tzset runs only when TZ differs from
// it. The record is also checked against what tzset leaves in the C library's variables (the zone's names,
// which glibc keeps at fixed addresses, its offset and daylight flag), so that a tzset by the program
// itself (a localtime or mktime of its own under another TZ) is noticed as well. Writers take a lock and
// bump a sequence number around tzset; a reader that sees the number odd or moved takes the lock too, so no
// conversion trusts a record while another thread is applying a zone.
//
// With TZ unset, tzset looks at the system's zone file again at every call (a stat through the
// /etc/localtime link, dearer than the conversion itself), so that file is looked at again at most once a
// second; a change of TZ is seen at once.
#include "platform/calendar.h"

#include <time.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace platform {
namespace {

// A zone that tzset applied: the TZ text and what tzset left in the C library's variables. Never changed
// once published, and kept to the end of the process, so a reader may hold one without a lock.
struct AppliedZone {
    std::string text;
    const char* names[2];
    long west;
    int daylight;

    bool StillApplied(const char* tz) const
    {
        return tzname[0] == names[0] && tzname[1] == names[1] && timezone == west && ::daylight == daylight &&
               std::strcmp(text.c_str(), tz) == 0;
    }
};

std::mutex g_applyLock;                                    // held by whoever calls tzset here
// Every record published, one per zone seen; never destroyed, since a thread may still convert while the
// process exits.
std::vector<std::unique_ptr<AppliedZone>>& g_zones = *new std::vector<std::unique_ptr<AppliedZone>>;
std::atomic<unsigned long> g_sequence{0};                  // odd while a tzset runs
std::atomic<const AppliedZone*> g_applied{nullptr};        // the zone in force, null when unknown

// Where the environment held TZ when it was last looked up: the array, the slot and the entry ("TZ=...")
// in it. getenv walks the whole environment, and a TZ set at run time stands at its end; while the array
// and that slot still hold the same entry, the entry is the TZ of the environment (setenv, putenv and
// unsetenv replace or move an entry, never add a second one). Never changed once published, and kept to
// the end of the process; a few dozen at most, beyond which every look-up goes through getenv.
struct Sighting {
    char** environment;
    size_t slot;
    const char* entry;
};
constexpr size_t kMostSightings = 64;
std::vector<std::unique_ptr<Sighting>>& g_sightings = *new std::vector<std::unique_ptr<Sighting>>;
std::atomic<const Sighting*> g_sighting{nullptr};

// The TZ text of the environment, or null when TZ is unset.
const char* ZoneText()
{
    char** environment = environ;
    const Sighting* sighting = g_sighting.load(std::memory_order_acquire);
    if (sighting != nullptr && environment == sighting->environment &&
        environment[sighting->slot] == sighting->entry)
        return sighting->entry + 3;
    const char* tz = std::getenv("TZ");
    if (tz == nullptr || environment == nullptr || environ != environment)
        return tz;
    for (size_t slot = 0; environment[slot] != nullptr; ++slot) {
        if (environment[slot] + 3 != tz)
            continue;
        std::lock_guard<std::mutex> lock(g_applyLock);
        if (g_sightings.size() < kMostSightings) {
            g_sightings.emplace_back(new Sighting{environment, slot, environment[slot]});
            g_sighting.store(g_sightings.back().get(), std::memory_order_release);
        }
        break;
    }
    return tz;
}

// When tzset last read the system's zone with TZ unset, in milliseconds of the coarse monotonic clock;
// LLONG_MIN when it has not, or TZ was set since.
std::atomic<long long> g_systemZoneReadAt{LLONG_MIN};

// Runs tzset under the lock and publishes what it applied: the record of the TZ text, or none with TZ
// unset. Call with g_applyLock held.
void ApplyZoneLocked()
{
    g_sequence.fetch_add(1, std::memory_order_acq_rel);
    g_applied.store(nullptr, std::memory_order_relaxed);
    tzset();
    const AppliedZone* published = nullptr;
    if (const char* tz = std::getenv("TZ")) {
        for (const auto& zone : g_zones) {
            if (zone->StillApplied(tz)) {
                published = zone.get();
                break;
            }
        }
        if (published == nullptr) {
            // A program that goes through many zones keeps one small record per zone, as the C library
            // keeps their names.
            std::unique_ptr<AppliedZone> zone(new AppliedZone{tz, {tzname[0], tzname[1]}, timezone, ::daylight});
            published = zone.get();
            g_zones.push_back(std::move(zone));
        }
    }
    g_applied.store(published, std::memory_order_release);
    g_sequence.fetch_add(1, std::memory_order_release);
}

void RefreshZone()
{
    if (const char* tz = ZoneText()) {
        if (g_systemZoneReadAt.load(std::memory_order_relaxed) != LLONG_MIN)
            g_systemZoneReadAt.store(LLONG_MIN, std::memory_order_relaxed);
        const unsigned long before = g_sequence.load(std::memory_order_acquire);
        if ((before & 1) == 0) {
            const AppliedZone* applied = g_applied.load(std::memory_order_acquire);
            if (applied != nullptr && applied->StillApplied(tz)) {
                std::atomic_thread_fence(std::memory_order_acquire);
                if (g_sequence.load(std::memory_order_relaxed) == before)
                    return;
            }
        }
        std::lock_guard<std::mutex> lock(g_applyLock);
        ApplyZoneLocked();
        return;
    }
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const long long milliseconds = static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
    const long long readAt = g_systemZoneReadAt.load(std::memory_order_relaxed);
    if (readAt != LLONG_MIN && milliseconds >= readAt && milliseconds - readAt < 1000)
        return;
    std::lock_guard<std::mutex> lock(g_applyLock);
    ApplyZoneLocked();
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
    // success, so a weekday it cannot produce tells the two apart. mktime applies TZ itself; the zone is
    // brought up to date first all the same, so that the record of the zone in force stays true.
    RefreshZone();
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
