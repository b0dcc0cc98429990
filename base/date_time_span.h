// Tarsis::CDateTimeSpan: an unsigned length of time in 100-nanosecond units.
// Span years have 365 days and span months 30; calendar months come only
// through DateAddMonth.
#ifndef HALDEN_BASE_DATE_TIME_SPAN_H
#define HALDEN_BASE_DATE_TIME_SPAN_H

#include <cstdint>

#include "base/string_proxy.h"

namespace Tarsis {

class CDateTimeSpan {
public:
    CDateTimeSpan() : high_(0), low_(0) {}
    CDateTimeSpan(unsigned int seconds, unsigned int microseconds);
    // Fixed fields YYYYMMDDHHMMSS[.ffffff], years and months as the constants
    // below. A malformed text throws ATL::CAtlException 0x8007076D.
    explicit CDateTimeSpan(const char* text);

    static CDateTimeSpan FromQuadPart(std::uint64_t count);

    static CDateTimeSpan OneYear();
    static CDateTimeSpan OneMonth();
    static CDateTimeSpan OneDay();
    static CDateTimeSpan OneHour();
    static CDateTimeSpan OneMinute();
    static CDateTimeSpan OneSecond();
    static CDateTimeSpan OneMillisecond();

    unsigned int getLowPart() const { return low_; }
    unsigned int getHighPart() const { return high_; }
    std::uint64_t getQuadPart() const { return static_cast<std::uint64_t>(high_) << 32 | low_; }

    void swap(CDateTimeSpan& other) noexcept;

    // Spans have no sign: a difference below zero throws
    // ATL::CAtlException 0x80004005, a division by zero 0x80070057 and a
    // result beyond 64 bits 0x80070216.
    CDateTimeSpan& operator+=(const CDateTimeSpan& other);
    CDateTimeSpan& operator-=(const CDateTimeSpan& other);
    CDateTimeSpan& operator*=(unsigned int factor);
    CDateTimeSpan& operator/=(unsigned int divisor);
    CDateTimeSpan& operator%=(unsigned int divisor);

    // "YYYYMMDDHHMMSS.ffffff": years with four digits, the other fields with
    // two, then six digits of microseconds.
    CStringProxy getGeneralizedTime() const;
    CStringProxy tostring() const;
    CWStringProxy towstring() const;

private:
    void set(std::uint64_t count);

    unsigned int high_;
    unsigned int low_;
};

CDateTimeSpan operator+(CDateTimeSpan a, const CDateTimeSpan& b);
CDateTimeSpan operator-(CDateTimeSpan a, const CDateTimeSpan& b);
CDateTimeSpan operator*(CDateTimeSpan a, unsigned int factor);
CDateTimeSpan operator/(CDateTimeSpan a, unsigned int divisor);
CDateTimeSpan operator%(CDateTimeSpan a, unsigned int divisor);
// How many times b fits into a.
std::uint64_t operator/(const CDateTimeSpan& a, const CDateTimeSpan& b);
CDateTimeSpan operator%(const CDateTimeSpan& a, const CDateTimeSpan& b);

bool operator==(const CDateTimeSpan& a, const CDateTimeSpan& b);
bool operator!=(const CDateTimeSpan& a, const CDateTimeSpan& b);
bool operator<(const CDateTimeSpan& a, const CDateTimeSpan& b);
bool operator<=(const CDateTimeSpan& a, const CDateTimeSpan& b);
bool operator>(const CDateTimeSpan& a, const CDateTimeSpan& b);
bool operator>=(const CDateTimeSpan& a, const CDateTimeSpan& b);

}  // namespace Tarsis

#endif
