#include "tools/verify/times.h"

#include <cstdint>
#include <cstdio>

namespace verify_tool {
namespace {

constexpr std::int64_t kTicksPerSecond = 10000000;
// Days from 1 January 1601, where FILETIME counts from, to 1 January 1970.
constexpr std::int64_t kDaysFrom1601To1970 = 134774;

// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's method).
std::int64_t days_from_civil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

struct Civil {
    std::int64_t year;
    unsigned month, day;
};

Civil civil_from_days(std::int64_t z) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned day = doy - (153 * mp + 2) / 5 + 1;
    const unsigned month = mp < 10 ? mp + 3 : mp - 9;
    return {static_cast<std::int64_t>(yoe) + era * 400 + (month <= 2), month, day};
}

unsigned days_in_month(std::int64_t year, unsigned month) {
    static const unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Reads exactly `width` digits at `pos`.
bool read_number(const std::string& text, size_t& pos, size_t width, unsigned& value) {
    if (text.size() < pos + width) return false;
    value = 0;
    for (size_t i = 0; i < width; ++i, ++pos) {
        if (!is_digit(text[pos])) return false;
        value = value * 10 + static_cast<unsigned>(text[pos] - '0');
    }
    return true;
}

bool expect(const std::string& text, size_t& pos, char lower, char upper) {
    if (pos >= text.size() || (text[pos] != lower && text[pos] != upper)) return false;
    ++pos;
    return true;
}

}  // namespace

std::optional<FILETIME> parse_utc_time(const std::string& text) {
    size_t pos = 0;
    unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!read_number(text, pos, 4, year) || !expect(text, pos, '-', '-') || !read_number(text, pos, 2, month) ||
        !expect(text, pos, '-', '-') || !read_number(text, pos, 2, day) || !expect(text, pos, 't', 'T') ||
        !read_number(text, pos, 2, hour) || !expect(text, pos, ':', ':') || !read_number(text, pos, 2, minute) ||
        !expect(text, pos, ':', ':') || !read_number(text, pos, 2, second))
        return std::nullopt;
    // Ticks of 100 ns from the fraction; digits past the seventh are read
    // and dropped.
    std::int64_t fraction = 0;
    if (pos < text.size() && text[pos] == '.') {
        ++pos;
        const size_t first = pos;
        std::int64_t scale = kTicksPerSecond;
        for (; pos < text.size() && is_digit(text[pos]); ++pos) {
            scale /= 10;
            fraction += scale * (text[pos] - '0');
        }
        if (pos == first) return std::nullopt;
    }
    const std::string zone = text.substr(pos);
    if (zone != "Z" && zone != "z" && zone != "+00:00" && zone != "-00:00") return std::nullopt;
    // A leap second 60 is not a time the FILETIME scale has.
    if (year < 1601 || month < 1 || month > 12 || day < 1 || day > days_in_month(year, month) || hour > 23 ||
        minute > 59 || second > 59)
        return std::nullopt;

    const std::int64_t days = days_from_civil(year, month, day) + kDaysFrom1601To1970;
    const std::int64_t seconds = days * 86400 + hour * 3600 + minute * 60 + second;
    const std::uint64_t ticks = static_cast<std::uint64_t>(seconds * kTicksPerSecond + fraction);
    FILETIME time;
    time.dwLowDateTime = static_cast<DWORD>(ticks & 0xFFFFFFFFu);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return time;
}

std::string utc_time_text(const FILETIME& time) {
    const std::uint64_t ticks = (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    const std::int64_t seconds = static_cast<std::int64_t>(ticks / kTicksPerSecond);
    const std::int64_t days = seconds / 86400;
    const std::int64_t in_day = seconds % 86400;
    const Civil date = civil_from_days(days - kDaysFrom1601To1970);
    char text[40];
    std::snprintf(text, sizeof text, "%04lld-%02u-%02uT%02lld:%02lld:%02lldZ", static_cast<long long>(date.year),
                  date.month, date.day, static_cast<long long>(in_day / 3600),
                  static_cast<long long>(in_day / 60 % 60), static_cast<long long>(in_day % 60));
    return text;
}

}  // namespace verify_tool
