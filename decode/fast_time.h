// Direct calendar conversion of the common UTCTime and GeneralizedTime texts
// to FILETIME, for the per-entry path of large CRLs.
//
// It covers only all-digit texts whose fields are a valid date; there its
// result equals what SystemTimeToFileTime gives for the same SYSTEMTIME, and
// it neither calls the platform nor touches the last error (as a successful
// SystemTimeToFileTime doesn't). Anything else answers false, and the caller
// takes the ordinary conversion, which keeps every odd case as it is.
#ifndef HALDEN_DECODE_FAST_TIME_H
#define HALDEN_DECODE_FAST_TIME_H

#include <cstdint>
#include <cstring>

#include <maren/maren.h>

namespace halden::decode::detail {

// Flag of two_digits for a pair that isn't two digits; never set in 0-99,
// so the results of several calls can be or-ed and tested at once.
constexpr unsigned kNotDigits = 0x100;

// Two ASCII digits as a number, or kNotDigits.
inline unsigned two_digits(const BYTE *p) {
    const unsigned hi = static_cast<unsigned>(p[0]) - '0';
    const unsigned lo = static_cast<unsigned>(p[1]) - '0';
    return (hi > 9 || lo > 9) ? kNotDigits : hi * 10 + lo;
}

// Days from 1601-01-01 to the first of the month, or -1 for an invalid day.
inline int64_t days_since_1601(unsigned year, unsigned month, unsigned day) {
    static constexpr uint16_t kBefore[13] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    static constexpr uint8_t kLength[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month - 1 > 11 || day == 0) return -1;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const unsigned length = kLength[month] + ((leap && month == 2) ? 1u : 0u);
    if (day > length) return -1;
    const unsigned y = year - 1601;
    int64_t days = static_cast<int64_t>(y) * 365 + y / 4 - y / 100 + y / 400;
    days += kBefore[month] + ((leap && month > 2) ? 1 : 0);
    return days + day - 1;
}

inline bool to_ticks(int64_t days, unsigned hour, unsigned minute, unsigned second, unsigned millis,
                     uint64_t *ticks) {
    if (days < 0 || hour > 23 || minute > 59 || second > 59 || millis > 999) return false;
    *ticks =
        (static_cast<uint64_t>(days) * 86400u + hour * 3600u + minute * 60u + second) * 10000000u + millis * 10000u;
    return true;
}

inline bool store_ticks(int64_t days, unsigned hour, unsigned minute, unsigned second, unsigned millis,
                        FILETIME *out) {
    uint64_t ticks;
    if (!to_ticks(days, hour, minute, second, millis, &ticks)) return false;
    out->dwLowDateTime = static_cast<DWORD>(ticks);
    out->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return true;
}

// Days from 1601-01-01 to 1 January of the UTCTime year yy (00-49 are
// 2000-2049, 50-99 are 1950-1999).
struct UtcYearTable {
    uint32_t days[100];
    constexpr UtcYearTable() : days() {
        for (unsigned yy = 0; yy < 100; ++yy) {
            const unsigned y = (yy < 50 ? 2000 + yy : 1900 + yy) - 1601;
            days[yy] = y * 365 + y / 4 - y / 100 + y / 400;
        }
    }
};
inline constexpr UtcYearTable kUtcYears{};

// YYMMDDHHMM[SS]Z as FILETIME ticks, with the 1950-2049 window of the year.
// In that window a year is a leap year exactly when yy is a multiple of 4.
inline bool utc_time_ticks(const BYTE *text, DWORD length, uint64_t *ticks) {
    static constexpr uint16_t kBefore[13] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    static constexpr uint8_t kLength[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (length != 13 && length != 11) return false;
    const unsigned yy = two_digits(text);
    const unsigned month = two_digits(text + 2);
    const unsigned day = two_digits(text + 4);
    const unsigned hour = two_digits(text + 6);
    const unsigned minute = two_digits(text + 8);
    const unsigned second = length == 13 ? two_digits(text + 10) : 0;
    if ((yy | month | day | hour | minute | second) & kNotDigits) return false;
    if (month - 1 > 11 || day == 0 || hour > 23 || minute > 59 || second > 59) return false;
    const bool leap = (yy & 3) == 0;
    if (day > kLength[month] + unsigned(leap && month == 2)) return false;
    const uint64_t days = kUtcYears.days[yy] + kBefore[month] + unsigned(leap && month > 2) + day - 1;
    *ticks = (days * 86400u + hour * 3600u + minute * 60u + second) * 10000000u;
    return true;
}

inline bool utc_time_fast(const BYTE *text, DWORD length, FILETIME *out) {
    uint64_t ticks;
    if (!utc_time_ticks(text, length, &ticks)) return false;
    out->dwLowDateTime = static_cast<DWORD>(ticks);
    out->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return true;
}

// YYYYMMDDHHMM[SS[.f[f[f]]]]Z by its length (13, 15, 17, 18 or 19).
inline bool generalized_time_fast(const BYTE *text, DWORD length, FILETIME *out) {
    if (length != 13 && length != 15 && (length < 17 || length > 19)) return false;
    const unsigned century = two_digits(text);
    const unsigned yy = two_digits(text + 2);
    const unsigned month = two_digits(text + 4);
    const unsigned day = two_digits(text + 6);
    const unsigned hour = two_digits(text + 8);
    const unsigned minute = two_digits(text + 10);
    const unsigned second = length >= 15 ? two_digits(text + 12) : 0;
    if ((century | yy | month | day | hour | minute | second) & kNotDigits) return false;
    unsigned millis = 0;
    if (length >= 17) {
        static constexpr unsigned kScale[3] = {100, 10, 1};
        const DWORD digits = length - 16;
        unsigned fraction = 0;
        for (DWORD i = 0; i < digits; ++i) {
            const unsigned d = static_cast<unsigned>(text[15 + i]) - '0';
            if (d > 9) return false;
            fraction = fraction * 10 + d;
        }
        millis = fraction * kScale[digits - 1];
    }
    const unsigned year = century * 100 + yy;
    if (year < 1601) return false;
    return store_ticks(days_since_1601(year, month, day), hour, minute, second, millis, out);
}

}  // namespace halden::decode::detail

#endif
