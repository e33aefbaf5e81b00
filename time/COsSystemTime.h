// COsSystemTime: one calendar time held as a local wall-clock record, its conversions and its arithmetic.
#pragma once

#include <sys/timeb.h>

#include <cstdint>
#include <ctime>
#include <string>

#include "../core/Types.h"
#include "../core/WindowsTypes.h"

// A calendar time in the machine's local wall-clock time, with no zone of its own, fields in the order
// of the system's SYSTEMTIME. The comparisons walk year, month, day, hour, minute, second and
// millisecond as unsigned numbers; the weekday takes part in none of them.
struct VELTRANE_API _STSystemTime
{
    uint16_t wYear;          // in full: 2024
    uint16_t wMonth;         // 1 to 12
    uint16_t wDayOfWeek;     // 0 is Sunday; only as good as the operation that filled it
    uint16_t wDay;           // 1 to the month's length
    uint16_t wHour;          // 0 to 23
    uint16_t wMinute;        // 0 to 59
    uint16_t wSecond;        // 0 to 59
    uint16_t wMilliseconds;  // any value

    // All eight fields 0.
    _STSystemTime();
    _STSystemTime(const _STSystemTime& other) = default;
    _STSystemTime& operator=(const _STSystemTime& other) = default;

    bool operator==(const _STSystemTime& other) const;
    bool operator>(const _STSystemTime& other) const;
    bool operator<(const _STSystemTime& other) const;
    bool operator>=(const _STSystemTime& other) const;
    bool operator<=(const _STSystemTime& other) const;
};

// Holds one record. Seconds, timeb and FILETIME count UTC from their epochs (1970 and 1601); the double
// counts days since 1970-01-01 00:00 UTC, its fraction the part of the UTC day. The record can carry
// local years 1 to 65535: an operation whose result falls outside leaves its target as it was, and an
// Add... operation then gives the all-zero record (which CheckDateValid refuses).
class VELTRANE_API COsSystemTime
{
public:
    // A new object holding the current local time. Give it back to FreeInstance.
    static COsSystemTime* CreateInstance();
    // A new object holding a copy of stTime; a reference to address null gives null.
    static COsSystemTime* CreateInstance(const _STSystemTime& stTime);
    // Destroys *ppTime and sets it to null; a null *ppTime or ppTime does nothing.
    static void FreeInstance(COsSystemTime** ppTime);

    // Copies the other object's record into this one's; the two stay independent.
    COsSystemTime& operator=(const COsSystemTime& other);
    COsSystemTime(const COsSystemTime& other) = delete;

    void SetTime(const _STSystemTime& stTime);
    _STSystemTime GetTime() const;

    bool operator==(const COsSystemTime& other) const;
    bool operator<(const COsSystemTime& other) const;
    bool operator>(const COsSystemTime& other) const;
    bool operator<=(const COsSystemTime& other) const;
    bool operator>=(const COsSystemTime& other) const;

    // Seconds since 1970 UTC of the held local time (fields out of range carried over, milliseconds
    // ignored); -1 when that cannot be represented.
    long long GetTimeAsLong() const;
    // The local time of the seconds, milliseconds 0.
    void SetTimeAsLong(long long nSeconds);
    // The local time of tbTime.time, milliseconds tbTime.millitm as it stands.
    void SetTimeAsTimeb(timeb tbTime);
    double GetTimeAsDouble() const;
    // Out of range, NaN and infinities leave the record as it was.
    void SetTimeAsDouble(double dTime);

    // The held time moved by an elapsed amount, through UTC seconds: across a change of daylight saving
    // the wall clock moves an hour more or less. The weekday is computed afresh. The object is unchanged.
    _STSystemTime AddMilliseconds(long long nMilliseconds) const;
    _STSystemTime AddSeconds(int nSeconds) const;
    _STSystemTime AddMinutes(int nMinutes) const;
    _STSystemTime AddHours(int nHours) const;
    _STSystemTime AddDays(int nDays) const;
    // Calendar months and years on the fields: the day is pulled back to the end of a shorter month,
    // the time of day and the weekday stay as they were, the year wraps in 16 bits.
    _STSystemTime AddMonths(short nMonths) const;
    _STSystemTime AddYears(short nYears) const;
    // Each field of stOffset is an amount: milliseconds, seconds, minutes, hours and days (0 to 65535
    // each) are added in that order as elapsed time, then wMonth read as a signed 16-bit count of months,
    // then wYear in 16-bit arithmetic, each with the month-end pull-back. wDayOfWeek is not read.
    _STSystemTime AddDateOffset(const _STSystemTime& stOffset) const;
    // Whether nMilliseconds have passed since the held time, by the wall clock now: 1 when the held time
    // plus the amount is now or earlier, 0 when it is still ahead (an amount that reaches past the range
    // of the calendar never passes), -1 when the held record is no valid date and time.
    int CheckTimeout(unsigned long long nMilliseconds) const;

    // The current local time, with milliseconds and weekday.
    static _STSystemTime GetSystemTime();
    static long long GetSystemTimeAsLong();
    // Seconds and milliseconds of one clock reading; timezone in minutes west of Greenwich (standard
    // time), dstflag 1 while daylight saving is in effect.
    static timeb GetSystemTimeAsTimeb();
    static double GetSystemTimeAsDouble();
    // Whole hours of UTC minus local standard time: UTC+8 gives -8, UTC-5 gives 5, UTC+5:30 gives -5.
    static int GetTimeZone();
    // The local time of a file time, under the daylight-saving rule of that date; a file time the
    // record cannot carry leaves stTime as it was.
    static void LocalTime(FILETIME ftTime, _STSystemTime& stTime);
    // The file time of a local time (fields out of range carried over, milliseconds counted); false, with
    // ftTime as it was, for a time before 1601 or past the file time's range.
    static bool LocalTimeToFileTime(const _STSystemTime& stTime, FILETIME& ftTime);

    // "YYYY-MM-DD HH:MM:SS.mmm" (a fifth year digit from 10000 on); "" for a record that fails
    // CheckDateTimeValid or has 1000 milliseconds or more.
    static std::string TimeToString(const _STSystemTime& stTime);
    // Reads "YYYY-MM-DD", optionally followed by ' ' or 'T' and "HH:MM", ":SS" and '.' with one to three
    // digits of a second; the year has four or five digits. The whole text must match and form a valid
    // date and time; then stTime gets it, with its weekday, and the result is true. Otherwise false and
    // stTime is unchanged.
    static bool StringToTime(const std::string& strText, _STSystemTime& stTime);

    // The library's calendar: a year is a leap year when divisible by 4 and not by 100, or by 400 and
    // not by 3200. The year is not bounded; the time ignores milliseconds.
    static bool CheckDateValid(const _STSystemTime& stTime);
    static bool CheckTimeValid(const _STSystemTime& stTime);
    static bool CheckDateTimeValid(const _STSystemTime& stTime);

protected:
    static void TmToTimeStruct(const std::tm& tmTime, _STSystemTime& stTime);
    static void TimeStructToTm(const _STSystemTime& stTime, std::tm& tmTime);
    static void TimebToTimeStruct(const timeb& tbTime, _STSystemTime& stTime);
    static void TimeStructToTimeb(const _STSystemTime& stTime, timeb& tbTime);
    static void SystemTimeToTimeStruct(const _SYSTEMTIME& sysTime, _STSystemTime& stTime);
    static void TimeStructToSystemTime(const _STSystemTime& stTime, _SYSTEMTIME& sysTime);

private:
    COsSystemTime();
    explicit COsSystemTime(const _STSystemTime& stTime);
    ~COsSystemTime();

    static int GetMonthDays(int nYear, int nMonth);
    static int GetYearDays(int nYear);

    _STSystemTime* m_pTime;
};
