// Tarsis::CDateTime: a point in time on the FILETIME scale (100-nanosecond
// units since 1 January 1601 UTC) with a precision of one microsecond: the
// count is always a multiple of 10. Failures throw ATL::CAtlException.
#ifndef HALDEN_BASE_DATE_TIME_H
#define HALDEN_BASE_DATE_TIME_H

#include <cstdint>
#include <ctime>

#include <maren/types.h>

#include "base/date_time_span.h"
#include "base/generalized_time.h"
#include "base/string_proxy.h"

namespace Tarsis {

class CDateTime {
public:
    // 1 January 1601 00:00:00 UTC.
    CDateTime() : high_(0), low_(0) {}
    // Unix time plus microseconds.
    CDateTime(int unixSeconds, unsigned int microseconds);
    CDateTime(long unixSeconds, unsigned int microseconds);
    CDateTime(long long unixSeconds, unsigned int microseconds);
    // Rounded down to a whole microsecond.
    explicit CDateTime(const FILETIME& fileTime);
    // Through SystemTimeToFileTime; a refused value throws the last error.
    CDateTime(unsigned int year, unsigned int month, unsigned int day, unsigned int hour = 0,
              unsigned int minute = 0, unsigned int second = 0, unsigned int millisecond = 0,
              unsigned int microsecond = 0);
    explicit CDateTime(const SYSTEMTIME& systemTime);
    // GeneralizedTime text, taken as UTC. A malformed text throws 0x8007076D,
    // a date that SystemTimeToFileTime refuses 0x80004005.
    explicit CDateTime(const char* generalizedTime);

    static CDateTime Now();

    void swap(CDateTime& other) noexcept;

    FILETIME getFileTime() const;
    std::uint64_t getQuadPart() const { return static_cast<std::uint64_t>(high_) << 32 | low_; }
    // Throws 0x80004005 for a value FileTimeToSystemTime refuses; so do the
    // calendar field readers and the texts.
    SYSTEMTIME getSystemTime() const;
    // Unix seconds.
    std::time_t getTime() const;
    unsigned int year() const;
    unsigned int month() const;
    unsigned int day() const;
    unsigned int hour() const;
    unsigned int minute() const;
    unsigned int second() const;
    unsigned int millisecond() const;
    // The microseconds within the millisecond, 0 to 999.
    unsigned int microsecond() const;

    // Shift by the local time zone's offset as it stands now (not as it
    // stood at the value converted).
    CDateTime utcToLocal() const;
    CDateTime localToUtc() const;

    CDateTime& operator+=(const CDateTimeSpan& span);
    CDateTime& operator-=(const CDateTimeSpan& span);

    // YYYYMMDDHHMMSS, then "." and up to six digits without trailing zeros
    // when there are microseconds, then "Z".
    CStringProxy getGeneralizedTime() const;
    // A display text, "%d.%m.%Y %X".
    CStringProxy getGeneralizedTimeTrimMicroseconds() const;
    // "DD.MM.YYYY HH:MM:SS", then ".mmm" when there are milli- or
    // microseconds, and "uuu" behind that when there are microseconds.
    CStringProxy tostring() const;
    CWStringProxy towstring() const;

private:
    void set(std::uint64_t count);

    unsigned int high_;
    unsigned int low_;
};

CDateTime operator+(CDateTime date, const CDateTimeSpan& span);
CDateTime operator-(CDateTime date, const CDateTimeSpan& span);
// Throws 0x80004005 when b is later than a: spans have no sign.
CDateTimeSpan operator-(const CDateTime& a, const CDateTime& b);

bool operator==(const CDateTime& a, const CDateTime& b);
bool operator!=(const CDateTime& a, const CDateTime& b);
bool operator<(const CDateTime& a, const CDateTime& b);
bool operator<=(const CDateTime& a, const CDateTime& b);
bool operator>(const CDateTime& a, const CDateTime& b);
bool operator>=(const CDateTime& a, const CDateTime& b);

}  // namespace Tarsis

// Calendar addition: a day beyond the new month's end becomes its last day;
// the time of day stays.
Tarsis::CDateTime DateAddMonth(int months, const Tarsis::CDateTime& date);

// Adds count units, chosen by the unit's first character: "y" years, "m"
// months, "w" weeks, "d" days (also the empty string), "h" hours, "n"
// minutes, "s" seconds. Any other unit, or a null one, throws 0x80070057.
Tarsis::CDateTime DateAddA(const char* unit, int count, const Tarsis::CDateTime& date);
Tarsis::CDateTime DateAddW(const wchar_t* unit, int count, const Tarsis::CDateTime& date);

#endif
