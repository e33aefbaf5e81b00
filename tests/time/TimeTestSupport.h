// Helpers of the time suites: a time zone set for one test, and records built and printed in one line.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include <Veltrane.h>

namespace veltrane_test {

// Sets the process's time zone (a POSIX TZ text such as "CST-8", which needs no zone database) for the
// life of the object, and puts the previous one back. It changes the variable only, as a client does:
// the library notices the new zone at its next call.
class TimeZoneScope
{
public:
    explicit TimeZoneScope(const char* zone)
    {
        const char* previous = std::getenv("TZ");
        m_hadZone = previous != nullptr;
        if (m_hadZone)
            m_previous = previous;
        Apply(zone);
    }
    ~TimeZoneScope() { Apply(m_hadZone ? m_previous.c_str() : nullptr); }
    TimeZoneScope(const TimeZoneScope&) = delete;
    TimeZoneScope& operator=(const TimeZoneScope&) = delete;

private:
    static void Apply(const char* zone)
    {
#ifdef _WIN32
        _putenv_s("TZ", zone != nullptr ? zone : "");
#else
        if (zone != nullptr)
            setenv("TZ", zone, 1);
        else
            unsetenv("TZ");
#endif
    }

    bool m_hadZone;
    std::string m_previous;
};

inline _STSystemTime Record(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                            int milliseconds = 0, int dayOfWeek = 0)
{
    _STSystemTime record;
    record.wYear = static_cast<uint16_t>(year);
    record.wMonth = static_cast<uint16_t>(month);
    record.wDay = static_cast<uint16_t>(day);
    record.wHour = static_cast<uint16_t>(hour);
    record.wMinute = static_cast<uint16_t>(minute);
    record.wSecond = static_cast<uint16_t>(second);
    record.wMilliseconds = static_cast<uint16_t>(milliseconds);
    record.wDayOfWeek = static_cast<uint16_t>(dayOfWeek);
    return record;
}

// "2024-02-29 09:05:03.007 w4": every field, the weekday last, whatever the values.
inline std::string Text(const _STSystemTime& record)
{
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u.%03u w%u", record.wYear, record.wMonth,
                  record.wDay, record.wHour, record.wMinute, record.wSecond, record.wMilliseconds,
                  record.wDayOfWeek);
    return text;
}

// An object holding `record`, released at the end of the scope.
class HeldTime
{
public:
    explicit HeldTime(const _STSystemTime& record) : m_time(COsSystemTime::CreateInstance(record)) {}
    HeldTime() : m_time(COsSystemTime::CreateInstance()) {}
    ~HeldTime() { COsSystemTime::FreeInstance(&m_time); }
    HeldTime(const HeldTime&) = delete;
    HeldTime& operator=(const HeldTime&) = delete;
    COsSystemTime* operator->() const { return m_time; }
    COsSystemTime& operator*() const { return *m_time; }

private:
    COsSystemTime* m_time;
};

}  // namespace veltrane_test
