// Calendar services of the host: the wall clock, local time in the machine's time zone, and that zone.
#pragma once

#include <cstdint>
#include <ctime>

namespace platform {

// One reading of the wall clock: whole seconds since 1970-01-01 00:00:00 UTC (negative before it) and
// the milliseconds past them, 0 to 999. Both come from the same reading.
void ReadWallClock(int64_t& seconds, uint16_t& milliseconds);

// The local time of `seconds` since 1970-01-01 UTC, with the weekday and daylight-saving flag filled,
// under the machine's time zone as it stands at this call (a zone changed since the last call counts)
// and with the daylight-saving rule in force at that date. False when the host cannot represent it;
// `fields` is then unspecified.
// Host notes: POSIX represents every year that fits an int, before 1970 too. Windows takes the C runtime's
// local time, which covers 1970 to 3000 and reads no daylight-saving rule of a TZ text; outside those years
// the zone's standard offset applies, without daylight saving.
bool ToLocalFields(int64_t seconds, std::tm& fields);

// The seconds since 1970-01-01 UTC of the local time in `fields`, under the same zone as ToLocalFields.
// Fields out of range are carried over (April 31 is May 1) and `fields` is rewritten in range with its
// weekday; tm_isdst -1 leaves daylight saving to the zone's rule for that date. False when the result
// cannot be represented; unlike the C library's mktime, a local time one second before the epoch is
// no failure.
bool FromLocalFields(std::tm& fields, int64_t& seconds);

// The difference between UTC and local standard time in seconds, positive west of Greenwich (UTC+8
// gives -28800), daylight saving left out.
int32_t ZoneOffsetWest();

}  // namespace platform
