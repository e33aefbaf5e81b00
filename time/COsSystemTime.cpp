// COsSystemTime: the local calendar record, its conversions to seconds, timeb, tm, FILETIME, the day count
// and text, and the calendar arithmetic on it.
#include "time/COsSystemTime.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "platform/calendar.h"

namespace {

constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kMillisecondsPerDay = 86400000;
// FILETIME counts 100-ns ticks from 1601-01-01; the seconds count from 1970-01-01.
constexpr int64_t kTicksPerSecond = 10000000;
constexpr int64_t kTicksPerMillisecond = 10000;
constexpr int64_t kSecondsFrom1601To1970 = 11644473600LL;

bool IsLeapYear(int year)
{
    return (year % 4 == 0 && year % 100 != 0) || (year % 400 == 0 && year % 3200 != 0);
}

int MonthLength(int year, int month)
{
    if (month == 2)
        return IsLeapYear(year) ? 29 : 28;
    if (month == 4 || month == 6 || month == 9 || month == 11)
        return 30;
    return 31;
}

// -1, 0 or 1 as a is earlier than, equal to or later than b; the weekday is no part of a time.
int CompareRecords(const _STSystemTime& a, const _STSystemTime& b)
{
    const uint16_t left[] = {a.wYear, a.wMonth, a.wDay, a.wHour, a.wMinute, a.wSecond, a.wMilliseconds};
    const uint16_t right[] = {b.wYear, b.wMonth, b.wDay, b.wHour, b.wMinute, b.wSecond, b.wMilliseconds};
    for (size_t i = 0; i < sizeof left / sizeof left[0]; ++i) {
        if (left[i] != right[i])
            return left[i] < right[i] ? -1 : 1;
    }
    return 0;
}

void RecordFromTm(const std::tm& fields, _STSystemTime& record)
{
    record.wYear = static_cast<uint16_t>(fields.tm_year + 1900);
    record.wMonth = static_cast<uint16_t>(fields.tm_mon + 1);
    record.wDayOfWeek = static_cast<uint16_t>(fields.tm_wday);
    record.wDay = static_cast<uint16_t>(fields.tm_mday);
    record.wHour = static_cast<uint16_t>(fields.tm_hour);
    record.wMinute = static_cast<uint16_t>(fields.tm_min);
    record.wSecond = static_cast<uint16_t>(fields.tm_sec);
    record.wMilliseconds = 0;
}

void TmFromRecord(const _STSystemTime& record, std::tm& fields)
{
    std::memset(&fields, 0, sizeof fields);
    fields.tm_year = static_cast<int>(record.wYear) - 1900;
    fields.tm_mon = static_cast<int>(record.wMonth) - 1;
    fields.tm_wday = record.wDayOfWeek;
    fields.tm_mday = record.wDay;
    fields.tm_hour = record.wHour;
    fields.tm_min = record.wMinute;
    fields.tm_sec = record.wSecond;
    fields.tm_yday = 0;
    fields.tm_isdst = -1;  // the zone's rule for that date decides on daylight saving
}

// The local time of the seconds into record (milliseconds 0); false, record untouched, when the host
// cannot represent it or its year lies outside the record's 1 to 65535.
bool LocalRecordOf(int64_t seconds, _STSystemTime& record)
{
    std::tm fields;
    if (!platform::ToLocalFields(seconds, fields))
        return false;
    if (fields.tm_year < 1 - 1900 || fields.tm_year > 65535 - 1900)
        return false;
    RecordFromTm(fields, record);
    return true;
}

// The UTC seconds of the record's local time, its fields out of range carried over.
bool SecondsOfRecord(const _STSystemTime& record, int64_t& seconds)
{
    std::tm fields;
    TmFromRecord(record, fields);
    return platform::FromLocalFields(fields, seconds);
}

// The local record of a count of milliseconds since 1970 UTC. Before the epoch the seconds are rounded
// down, so that the milliseconds stay 0 to 999.
bool RecordOfMilliseconds(int64_t total, _STSystemTime& record)
{
    int64_t seconds = total / 1000;
    int64_t milliseconds = total % 1000;
    if (milliseconds < 0) {
        milliseconds += 1000;
        seconds -= 1;
    }
    _STSystemTime result;
    if (!LocalRecordOf(seconds, result))
        return false;
    result.wMilliseconds = static_cast<uint16_t>(milliseconds);
    record = result;
    return true;
}

// Milliseconds since 1970 UTC of the record's time plus amount; false when that leaves 64 bits.
bool MillisecondsOfRecord(const _STSystemTime& record, int64_t amount, int64_t& total)
{
    int64_t seconds;
    if (!SecondsOfRecord(record, seconds))
        return false;
    int64_t milliseconds;
    return !__builtin_mul_overflow(seconds, int64_t{1000}, &milliseconds) &&
           !__builtin_add_overflow(milliseconds, int64_t{record.wMilliseconds}, &milliseconds) &&
           !__builtin_add_overflow(milliseconds, amount, &total);
}

_STSystemTime AddElapsed(const _STSystemTime& start, int64_t amount)
{
    _STSystemTime result;
    int64_t total;
    if (MillisecondsOfRecord(start, amount, total))
        RecordOfMilliseconds(total, result);
    return result;
}

// Days since 1970 UTC: whole days truncated toward zero, the rest as the part of a day.
double DaysOf(int64_t seconds, int64_t milliseconds)
{
    int64_t days = seconds / kSecondsPerDay;
    int64_t rest = (seconds - days * kSecondsPerDay) * 1000 + milliseconds;
    return static_cast<double>(rest) / static_cast<double>(kMillisecondsPerDay) + static_cast<double>(days);
}

void PullBackDay(_STSystemTime& record)
{
    int length = MonthLength(record.wYear, record.wMonth);
    if (record.wDay > length)
        record.wDay = static_cast<uint16_t>(length);
}

void AddMonthsTo(_STSystemTime& record, short count)
{
    // Step by step, as a calendar turns: a month field out of range comes into range the way the
    // steps take it (month 14 minus one month is 13, minus two is 12).
    for (int step = 0; step < count; ++step) {
        int month = record.wMonth + 1;
        if (month > 12) {
            month = 1;
            record.wYear = static_cast<uint16_t>(record.wYear + 1);
        }
        record.wMonth = static_cast<uint16_t>(month);
    }
    for (int step = 0; step > count; --step) {
        int month = record.wMonth - 1;
        if (month <= 0) {
            month = 12;
            record.wYear = static_cast<uint16_t>(record.wYear - 1);
        }
        record.wMonth = static_cast<uint16_t>(month);
    }
    PullBackDay(record);
}

void AddYearsTo(_STSystemTime& record, int count)
{
    record.wYear = static_cast<uint16_t>(record.wYear + count);
    PullBackDay(record);
}

// The weekday of a date of the proleptic Gregorian calendar, as the runtime gives it to every other
// record (0 is Sunday).
uint16_t WeekdayOf(int year, int month, int day)
{
    static const int kMonthOffsets[] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
    if (month < 3)
        year -= 1;
    return static_cast<uint16_t>((year + year / 4 - year / 100 + year / 400 + kMonthOffsets[month - 1] + day) % 7);
}

char* WriteDigits(char* out, unsigned value, int width)
{
    for (int i = width - 1; i >= 0; --i) {
        out[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return out + width;
}

// The system's record and the library's have the same fields in the same order; copied one by one, so
// that neither layout is assumed of the other.
template <typename From, typename To>
void CopyFields(const From& from, To& to)
{
    to.wYear = from.wYear;
    to.wMonth = from.wMonth;
    to.wDayOfWeek = from.wDayOfWeek;
    to.wDay = from.wDay;
    to.wHour = from.wHour;
    to.wMinute = from.wMinute;
    to.wSecond = from.wSecond;
    to.wMilliseconds = from.wMilliseconds;
}

// Reads a text from left to right; every step that does not match leaves the cursor failed.
class TextCursor
{
public:
    explicit TextCursor(const std::string& text) : m_text(text), m_at(0), m_failed(false) {}

    // Exactly `width` decimal digits.
    unsigned Digits(size_t width)
    {
        unsigned value = 0;
        if (m_failed || m_text.size() - m_at < width) {
            m_failed = true;
            return 0;
        }
        for (size_t i = 0; i < width; ++i) {
            char c = m_text[m_at + i];
            if (c < '0' || c > '9') {
                m_failed = true;
                return 0;
            }
            value = value * 10 + static_cast<unsigned>(c - '0');
        }
        m_at += width;
        return value;
    }
    // True, past it, when the next character is one of `choices`.
    bool Take(const char* choices)
    {
        if (m_failed || AtEnd() || std::strchr(choices, m_text[m_at]) == nullptr)
            return false;
        ++m_at;
        return true;
    }
    void Expect(const char* choices) { m_failed = m_failed || !Take(choices); }
    bool AtEnd() const { return m_at == m_text.size(); }
    size_t Remaining() const { return m_text.size() - m_at; }
    bool Failed() const { return m_failed; }

private:
    const std::string& m_text;
    size_t m_at;
    bool m_failed;
};

}  // namespace

// ---- The record

_STSystemTime::_STSystemTime()
    : wYear(0), wMonth(0), wDayOfWeek(0), wDay(0), wHour(0), wMinute(0), wSecond(0), wMilliseconds(0)
{
}

bool _STSystemTime::operator==(const _STSystemTime& other) const
{
    return CompareRecords(*this, other) == 0;
}

bool _STSystemTime::operator>(const _STSystemTime& other) const
{
    return CompareRecords(*this, other) > 0;
}

bool _STSystemTime::operator<(const _STSystemTime& other) const
{
    return CompareRecords(*this, other) < 0;
}

bool _STSystemTime::operator>=(const _STSystemTime& other) const
{
    return CompareRecords(*this, other) >= 0;
}

bool _STSystemTime::operator<=(const _STSystemTime& other) const
{
    return CompareRecords(*this, other) <= 0;
}

// ---- Object life and the held record

COsSystemTime::COsSystemTime() : m_pTime(new _STSystemTime(GetSystemTime())) {}

COsSystemTime::COsSystemTime(const _STSystemTime& stTime) : m_pTime(new _STSystemTime(stTime)) {}

COsSystemTime::~COsSystemTime()
{
    delete m_pTime;
}

COsSystemTime* COsSystemTime::CreateInstance()
{
    return new COsSystemTime();
}

COsSystemTime* COsSystemTime::CreateInstance(const _STSystemTime& stTime)
{
    // A reference cannot be null in C++, so a compiler may drop a plain test of its address; read
    // through a volatile the address is tested as it arrives.
    const _STSystemTime* volatile address = &stTime;
    if (address == nullptr)
        return nullptr;
    return new COsSystemTime(stTime);
}

void COsSystemTime::FreeInstance(COsSystemTime** ppTime)
{
    if (ppTime == nullptr || *ppTime == nullptr)
        return;
    delete *ppTime;
    *ppTime = nullptr;
}

COsSystemTime& COsSystemTime::operator=(const COsSystemTime& other)
{
    *m_pTime = *other.m_pTime;
    return *this;
}

void COsSystemTime::SetTime(const _STSystemTime& stTime)
{
    *m_pTime = stTime;
}

_STSystemTime COsSystemTime::GetTime() const
{
    return *m_pTime;
}

bool COsSystemTime::operator==(const COsSystemTime& other) const
{
    return *m_pTime == *other.m_pTime;
}

bool COsSystemTime::operator<(const COsSystemTime& other) const
{
    return *m_pTime < *other.m_pTime;
}

bool COsSystemTime::operator>(const COsSystemTime& other) const
{
    return *m_pTime > *other.m_pTime;
}

bool COsSystemTime::operator<=(const COsSystemTime& other) const
{
    return *m_pTime <= *other.m_pTime;
}

bool COsSystemTime::operator>=(const COsSystemTime& other) const
{
    return *m_pTime >= *other.m_pTime;
}

// ---- Conversions of the held time

long long COsSystemTime::GetTimeAsLong() const
{
    int64_t seconds;
    return SecondsOfRecord(*m_pTime, seconds) ? seconds : -1;
}

void COsSystemTime::SetTimeAsLong(long long nSeconds)
{
    LocalRecordOf(nSeconds, *m_pTime);
}

void COsSystemTime::SetTimeAsTimeb(timeb tbTime)
{
    TimebToTimeStruct(tbTime, *m_pTime);
}

double COsSystemTime::GetTimeAsDouble() const
{
    return DaysOf(GetTimeAsLong(), m_pTime->wMilliseconds);
}

void COsSystemTime::SetTimeAsDouble(double dTime)
{
    double product = dTime * 24.0 * 60.0 * 60.0 * 1000.0;
    // 2^63 milliseconds is far past the calendar; the test also turns NaN away.
    if (!(std::fabs(product) < 9.2e18))
        return;
    // Truncated toward zero, but the rounding error of the day count and of the products is taken back
    // first: 12:00:00.007 as a fraction of a day may come back as 7 milliseconds less a billionth, and
    // must stay 7.
    int64_t milliseconds = static_cast<int64_t>(product);
    double tolerance = 4 * std::numeric_limits<double>::epsilon() * std::fabs(product);
    if (product > 0 && static_cast<double>(milliseconds + 1) - product <= tolerance)
        milliseconds += 1;
    else if (product < 0 && product - static_cast<double>(milliseconds - 1) <= tolerance)
        milliseconds -= 1;
    RecordOfMilliseconds(milliseconds, *m_pTime);
}

// ---- Arithmetic

_STSystemTime COsSystemTime::AddMilliseconds(long long nMilliseconds) const
{
    return AddElapsed(*m_pTime, nMilliseconds);
}

_STSystemTime COsSystemTime::AddSeconds(int nSeconds) const
{
    return AddElapsed(*m_pTime, static_cast<int64_t>(nSeconds) * 1000);
}

_STSystemTime COsSystemTime::AddMinutes(int nMinutes) const
{
    return AddElapsed(*m_pTime, static_cast<int64_t>(nMinutes) * 60000);
}

_STSystemTime COsSystemTime::AddHours(int nHours) const
{
    return AddElapsed(*m_pTime, static_cast<int64_t>(nHours) * 3600000);
}

_STSystemTime COsSystemTime::AddDays(int nDays) const
{
    return AddElapsed(*m_pTime, static_cast<int64_t>(nDays) * kMillisecondsPerDay);
}

_STSystemTime COsSystemTime::AddMonths(short nMonths) const
{
    _STSystemTime result = *m_pTime;
    AddMonthsTo(result, nMonths);
    return result;
}

_STSystemTime COsSystemTime::AddYears(short nYears) const
{
    _STSystemTime result = *m_pTime;
    AddYearsTo(result, nYears);
    return result;
}

_STSystemTime COsSystemTime::AddDateOffset(const _STSystemTime& stOffset) const
{
    // Elapsed amounts first, then the calendar: January 30 plus a day and a month is January 31 pulled
    // back to the end of February, never March 1.
    const int64_t amounts[] = {
        int64_t{stOffset.wMilliseconds},
        int64_t{stOffset.wSecond} * 1000,
        int64_t{stOffset.wMinute} * 60000,
        int64_t{stOffset.wHour} * 3600000,
        int64_t{stOffset.wDay} * kMillisecondsPerDay,
    };
    _STSystemTime result = *m_pTime;
    for (int64_t amount : amounts) {
        int64_t total;
        _STSystemTime moved;
        if (!MillisecondsOfRecord(result, amount, total) || !RecordOfMilliseconds(total, moved))
            return _STSystemTime();
        result = moved;
    }
    AddMonthsTo(result, static_cast<short>(stOffset.wMonth));
    AddYearsTo(result, stOffset.wYear);
    return result;
}

int COsSystemTime::CheckTimeout(unsigned long long nMilliseconds) const
{
    if (!CheckDateTimeValid(*m_pTime))
        return -1;
    int64_t deadline;
    if (nMilliseconds > static_cast<unsigned long long>(std::numeric_limits<int64_t>::max()) ||
        !MillisecondsOfRecord(*m_pTime, static_cast<int64_t>(nMilliseconds), deadline))
        return 0;
    int64_t seconds;
    uint16_t milliseconds;
    platform::ReadWallClock(seconds, milliseconds);
    return seconds * 1000 + milliseconds >= deadline ? 1 : 0;
}

// ---- The clock

_STSystemTime COsSystemTime::GetSystemTime()
{
    int64_t seconds;
    uint16_t milliseconds;
    platform::ReadWallClock(seconds, milliseconds);
    _STSystemTime now;
    if (LocalRecordOf(seconds, now))
        now.wMilliseconds = milliseconds;
    return now;
}

long long COsSystemTime::GetSystemTimeAsLong()
{
    int64_t seconds;
    uint16_t milliseconds;
    platform::ReadWallClock(seconds, milliseconds);
    return seconds;
}

timeb COsSystemTime::GetSystemTimeAsTimeb()
{
    int64_t seconds;
    uint16_t milliseconds;
    platform::ReadWallClock(seconds, milliseconds);
    timeb now;
    std::memset(&now, 0, sizeof now);
    now.time = seconds;
    now.millitm = milliseconds;
    now.timezone = static_cast<short>(platform::ZoneOffsetWest() / 60);
    std::tm fields;
    now.dstflag = static_cast<short>(platform::ToLocalFields(seconds, fields) && fields.tm_isdst > 0 ? 1 : 0);
    return now;
}

double COsSystemTime::GetSystemTimeAsDouble()
{
    // One reading for both parts: two readings would put a second's last milliseconds on the next second.
    int64_t seconds;
    uint16_t milliseconds;
    platform::ReadWallClock(seconds, milliseconds);
    return DaysOf(seconds, milliseconds);
}

int COsSystemTime::GetTimeZone()
{
    return platform::ZoneOffsetWest() / 3600;
}

void COsSystemTime::LocalTime(FILETIME ftTime, _STSystemTime& stTime)
{
    uint64_t ticks = (static_cast<uint64_t>(ftTime.dwHighDateTime) << 32) | ftTime.dwLowDateTime;
    int64_t seconds = static_cast<int64_t>(ticks / kTicksPerSecond) - kSecondsFrom1601To1970;
    // LocalRecordOf writes the record only on success, so the caller's record is filled in place.
    if (!LocalRecordOf(seconds, stTime))
        return;
    stTime.wMilliseconds = static_cast<uint16_t>(ticks % kTicksPerSecond / kTicksPerMillisecond);
}

bool COsSystemTime::LocalTimeToFileTime(const _STSystemTime& stTime, FILETIME& ftTime)
{
    int64_t seconds;
    if (!SecondsOfRecord(stTime, seconds))
        return false;
    // The file time's range: 1601 up to 2^63 ticks, some 29 000 years on.
    const int64_t lastSecond = std::numeric_limits<int64_t>::max() / kTicksPerSecond - kSecondsFrom1601To1970;
    if (seconds < -kSecondsFrom1601To1970 || seconds > lastSecond)
        return false;
    int64_t ticks = (seconds + kSecondsFrom1601To1970) * kTicksPerSecond;
    if (__builtin_add_overflow(ticks, int64_t{stTime.wMilliseconds} * kTicksPerMillisecond, &ticks))
        return false;
    ftTime.dwLowDateTime = static_cast<uint32_t>(static_cast<uint64_t>(ticks));
    ftTime.dwHighDateTime = static_cast<uint32_t>(static_cast<uint64_t>(ticks) >> 32);
    return true;
}

// ---- Text

std::string COsSystemTime::TimeToString(const _STSystemTime& stTime)
{
    if (!CheckDateTimeValid(stTime) || stTime.wMilliseconds > 999)
        return std::string();
    char text[32];
    char* out = WriteDigits(text, stTime.wYear, stTime.wYear > 9999 ? 5 : 4);
    *out++ = '-';
    out = WriteDigits(out, stTime.wMonth, 2);
    *out++ = '-';
    out = WriteDigits(out, stTime.wDay, 2);
    *out++ = ' ';
    out = WriteDigits(out, stTime.wHour, 2);
    *out++ = ':';
    out = WriteDigits(out, stTime.wMinute, 2);
    *out++ = ':';
    out = WriteDigits(out, stTime.wSecond, 2);
    *out++ = '.';
    out = WriteDigits(out, stTime.wMilliseconds, 3);
    return std::string(text, static_cast<size_t>(out - text));
}

bool COsSystemTime::StringToTime(const std::string& strText, _STSystemTime& stTime)
{
    TextCursor cursor(strText);
    // A fifth year digit is told by the dash that follows four or five digits.
    unsigned year = cursor.Digits(strText.size() > 4 && strText[4] != '-' ? 5 : 4);
    cursor.Expect("-");
    unsigned month = cursor.Digits(2);
    cursor.Expect("-");
    unsigned day = cursor.Digits(2);
    unsigned hour = 0, minute = 0, second = 0, milliseconds = 0;
    if (cursor.Take(" T")) {
        hour = cursor.Digits(2);
        cursor.Expect(":");
        minute = cursor.Digits(2);
        if (cursor.Take(":")) {
            second = cursor.Digits(2);
            if (cursor.Take(".")) {
                size_t digits = cursor.Remaining();
                if (digits < 1 || digits > 3)
                    return false;
                milliseconds = cursor.Digits(digits);
                for (size_t i = digits; i < 3; ++i)
                    milliseconds *= 10;  // ".5" is half a second
            }
        }
    }
    if (cursor.Failed() || !cursor.AtEnd() || year > 65535)
        return false;
    _STSystemTime result;
    result.wYear = static_cast<uint16_t>(year);
    result.wMonth = static_cast<uint16_t>(month);
    result.wDay = static_cast<uint16_t>(day);
    result.wHour = static_cast<uint16_t>(hour);
    result.wMinute = static_cast<uint16_t>(minute);
    result.wSecond = static_cast<uint16_t>(second);
    result.wMilliseconds = static_cast<uint16_t>(milliseconds);
    if (!CheckDateTimeValid(result))
        return false;
    result.wDayOfWeek = WeekdayOf(static_cast<int>(year), static_cast<int>(month), static_cast<int>(day));
    stTime = result;
    return true;
}

// ---- Validity and the calendar

bool COsSystemTime::CheckDateValid(const _STSystemTime& stTime)
{
    return stTime.wYear != 0 && stTime.wMonth >= 1 && stTime.wMonth <= 12 && stTime.wDay != 0 &&
           stTime.wDay <= GetMonthDays(stTime.wYear, stTime.wMonth);
}

bool COsSystemTime::CheckTimeValid(const _STSystemTime& stTime)
{
    return stTime.wHour < 24 && stTime.wMinute < 60 && stTime.wSecond < 60;
}

bool COsSystemTime::CheckDateTimeValid(const _STSystemTime& stTime)
{
    return CheckDateValid(stTime) && CheckTimeValid(stTime);
}

int COsSystemTime::GetMonthDays(int nYear, int nMonth)
{
    return MonthLength(nYear, nMonth);
}

int COsSystemTime::GetYearDays(int nYear)
{
    return IsLeapYear(nYear) ? 366 : 365;
}

// ---- Converters between the record and the runtime's and system's records

void COsSystemTime::TmToTimeStruct(const std::tm& tmTime, _STSystemTime& stTime)
{
    RecordFromTm(tmTime, stTime);
}

void COsSystemTime::TimeStructToTm(const _STSystemTime& stTime, std::tm& tmTime)
{
    TmFromRecord(stTime, tmTime);
}

void COsSystemTime::TimebToTimeStruct(const timeb& tbTime, _STSystemTime& stTime)
{
    _STSystemTime result;
    if (!LocalRecordOf(tbTime.time, result))
        return;
    result.wMilliseconds = tbTime.millitm;
    stTime = result;
}

void COsSystemTime::TimeStructToTimeb(const _STSystemTime& stTime, timeb& tbTime)
{
    int64_t seconds;
    tbTime.time = SecondsOfRecord(stTime, seconds) ? seconds : -1;
    tbTime.millitm = stTime.wMilliseconds;
}

void COsSystemTime::SystemTimeToTimeStruct(const _SYSTEMTIME& sysTime, _STSystemTime& stTime)
{
    CopyFields(sysTime, stTime);
}

void COsSystemTime::TimeStructToSystemTime(const _STSystemTime& stTime, _SYSTEMTIME& sysTime)
{
    CopyFields(stTime, sysTime);
}
