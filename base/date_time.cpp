#include "base/date_time.h"

#include <cstdio>
#include <string>
#include <utility>

#include <maren/errors.h>
#include <maren/host.h>

#include "base/atl.h"
#include "base/time_text.h"

namespace Tarsis {

namespace {

constexpr std::uint64_t kUnitsPerSecond = 10000000;
constexpr std::uint64_t kUnitsPerMicrosecond = 10;
constexpr std::uint64_t kUnixEpoch = 116444736000000000ull;  // 1 January 1970 on the FILETIME scale

std::uint64_t to_count(const FILETIME& ft) {
    return static_cast<std::uint64_t>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime;
}

// The count within the second, in microseconds.
unsigned int second_fraction(std::uint64_t count) {
    return static_cast<unsigned int>(count % kUnitsPerSecond / kUnitsPerMicrosecond);
}

// strftime into a string; a failure (nothing written) throws E_FAIL. The
// formats are the callers' literals.
std::string format_tm(const std::tm& fields, const char* format) {
    char text[128];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const std::size_t length = std::strftime(text, sizeof text, format, &fields);
#pragma GCC diagnostic pop
    if (length == 0) {
        ATL::AtlThrowImpl(E_FAIL);
    }
    return std::string(text, length);
}

// The offset of local time from UTC in seconds, west positive, as it stands
// now.
long local_offset_now() {
    tzset();
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return timezone - (local.tm_isdst > 0 ? 3600 : 0);
}

std::uint64_t shifted(std::uint64_t count, long seconds) {
    // Modular arithmetic: a negative shift wraps back into range.
    return count + static_cast<std::uint64_t>(static_cast<std::int64_t>(seconds)) * kUnitsPerSecond;
}

}  // namespace

CDateTime::CDateTime(int unixSeconds, unsigned int microseconds)
    : CDateTime(static_cast<long long>(unixSeconds), microseconds) {}

CDateTime::CDateTime(long unixSeconds, unsigned int microseconds)
    : CDateTime(static_cast<long long>(unixSeconds), microseconds) {}

CDateTime::CDateTime(long long unixSeconds, unsigned int microseconds) : CDateTime() {
    // Unsigned arithmetic: times before 1970 wrap to their place below the
    // epoch without overflow.
    set(static_cast<std::uint64_t>(unixSeconds) * kUnitsPerSecond + kUnixEpoch +
        static_cast<std::uint64_t>(microseconds) * kUnitsPerMicrosecond);
}

CDateTime::CDateTime(const FILETIME& fileTime) : CDateTime() {
    const std::uint64_t count = to_count(fileTime);
    set(count - count % kUnitsPerMicrosecond);
}

CDateTime::CDateTime(unsigned int year, unsigned int month, unsigned int day, unsigned int hour, unsigned int minute,
                     unsigned int second, unsigned int millisecond, unsigned int microsecond)
    : CDateTime() {
    for (const unsigned int field : {year, month, day, hour, minute, second, millisecond}) {
        if (field > 0xffff) {
            ATL::AtlThrowImpl(E_INVALIDARG);
        }
    }
    SYSTEMTIME st{};
    st.wYear = static_cast<WORD>(year);
    st.wMonth = static_cast<WORD>(month);
    st.wDay = static_cast<WORD>(day);
    st.wHour = static_cast<WORD>(hour);
    st.wMinute = static_cast<WORD>(minute);
    st.wSecond = static_cast<WORD>(second);
    st.wMilliseconds = static_cast<WORD>(millisecond);
    FILETIME ft{};
    SetLastError(0);
    if (!SystemTimeToFileTime(&st, &ft)) {
        ATL::AtlThrowLastWin32();
    }
    set(to_count(ft) + static_cast<std::uint64_t>(microsecond) * kUnitsPerMicrosecond);
}

CDateTime::CDateTime(const SYSTEMTIME& systemTime) : CDateTime() {
    FILETIME ft{};
    SetLastError(0);
    if (!SystemTimeToFileTime(&systemTime, &ft)) {
        ATL::AtlThrowLastWin32();
    }
    set(to_count(ft));
}

CDateTime::CDateTime(const char* generalizedTime) : CDateTime() {
    if (generalizedTime == nullptr) {
        ATL::AtlThrowImpl(E_INVALIDARG);
    }
    unsigned int microseconds = 0;
    const std::tm fields = GeneralizedTimeToTm(generalizedTime, &microseconds, false);
    // Each field has at most four digits, so it fits a WORD; a zero month or
    // day is left to the conversion to refuse.
    SYSTEMTIME st{};
    st.wYear = static_cast<WORD>(fields.tm_year + 1900);
    st.wMonth = static_cast<WORD>(fields.tm_mon + 1);
    st.wDay = static_cast<WORD>(fields.tm_mday);
    st.wHour = static_cast<WORD>(fields.tm_hour);
    st.wMinute = static_cast<WORD>(fields.tm_min);
    st.wSecond = static_cast<WORD>(fields.tm_sec);
    FILETIME ft{};
    if (!SystemTimeToFileTime(&st, &ft)) {
        ATL::AtlThrowImpl(E_FAIL);
    }
    set(to_count(ft) + static_cast<std::uint64_t>(microseconds) * kUnitsPerMicrosecond);
}

CDateTime CDateTime::Now() {
    FILETIME ft{};
    GetSystemTimeAsFileTime(&ft);
    return CDateTime(ft);
}

void CDateTime::set(std::uint64_t count) {
    high_ = static_cast<unsigned int>(count >> 32);
    low_ = static_cast<unsigned int>(count);
}

void CDateTime::swap(CDateTime& other) noexcept {
    std::swap(high_, other.high_);
    std::swap(low_, other.low_);
}

FILETIME CDateTime::getFileTime() const {
    FILETIME ft;
    ft.dwLowDateTime = low_;
    ft.dwHighDateTime = high_;
    return ft;
}

SYSTEMTIME CDateTime::getSystemTime() const {
    const FILETIME ft = getFileTime();
    SYSTEMTIME st{};
    if (!FileTimeToSystemTime(&ft, &st)) {
        ATL::AtlThrowImpl(E_FAIL);
    }
    return st;
}

std::time_t CDateTime::getTime() const {
    return static_cast<std::time_t>(static_cast<std::int64_t>(getQuadPart() - kUnixEpoch) /
                                    static_cast<std::int64_t>(kUnitsPerSecond));
}

unsigned int CDateTime::year() const { return getSystemTime().wYear; }
unsigned int CDateTime::month() const { return getSystemTime().wMonth; }
unsigned int CDateTime::day() const { return getSystemTime().wDay; }
unsigned int CDateTime::hour() const { return getSystemTime().wHour; }
unsigned int CDateTime::minute() const { return getSystemTime().wMinute; }
unsigned int CDateTime::second() const { return getSystemTime().wSecond; }
unsigned int CDateTime::millisecond() const { return second_fraction(getQuadPart()) / 1000; }
unsigned int CDateTime::microsecond() const { return second_fraction(getQuadPart()) % 1000; }

CDateTime CDateTime::utcToLocal() const {
    CDateTime local;
    local.set(shifted(getQuadPart(), -local_offset_now()));
    return local;
}

CDateTime CDateTime::localToUtc() const {
    CDateTime utc;
    utc.set(shifted(getQuadPart(), local_offset_now()));
    return utc;
}

CDateTime& CDateTime::operator+=(const CDateTimeSpan& span) {
    std::uint64_t sum = 0;
    if (__builtin_add_overflow(getQuadPart(), span.getQuadPart(), &sum)) {
        ATL::AtlThrowImpl(HRESULT_FROM_WIN32(ERROR_ARITHMETIC_OVERFLOW));
    }
    set(sum);
    return *this;
}

CDateTime& CDateTime::operator-=(const CDateTimeSpan& span) {
    if (span.getQuadPart() > getQuadPart()) {
        ATL::AtlThrowImpl(HRESULT_FROM_WIN32(ERROR_ARITHMETIC_OVERFLOW));
    }
    set(getQuadPart() - span.getQuadPart());
    return *this;
}

CStringProxy CDateTime::getGeneralizedTime() const {
    const SYSTEMTIME st = getSystemTime();
    char text[40];
    int length = std::snprintf(text, sizeof text, "%04u%02u%02u%02u%02u%02u", st.wYear, st.wMonth, st.wDay, st.wHour,
                               st.wMinute, st.wSecond);
    const unsigned int fraction = second_fraction(getQuadPart());
    if (fraction != 0) {
        length += std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), ".%06u", fraction);
        while (text[length - 1] == '0') {
            --length;
        }
    }
    text[length++] = 'Z';
    return CStringProxy(text, static_cast<std::size_t>(length));
}

CStringProxy CDateTime::getGeneralizedTimeTrimMicroseconds() const {
    const std::string text = format_tm(halden::system_time_to_tm(getSystemTime()), "%d.%m.%Y %X");
    return CStringProxy(text.c_str(), text.size());
}

CStringProxy CDateTime::tostring() const {
    std::string text = format_tm(halden::system_time_to_tm(getSystemTime()), "%d.%m.%Y %H:%M:%S");
    const unsigned int milli = millisecond();
    const unsigned int micro = microsecond();
    char tail[16];
    if (milli != 0 || micro != 0) {
        std::snprintf(tail, sizeof tail, ".%03u", milli);
        text += tail;
    }
    if (micro != 0) {
        std::snprintf(tail, sizeof tail, "%03u", micro);
        text += tail;
    }
    return CStringProxy(text.c_str(), text.size());
}

CWStringProxy CDateTime::towstring() const { return halden::detail::widen_ascii(tostring()); }

CDateTime operator+(CDateTime date, const CDateTimeSpan& span) { return date += span; }
CDateTime operator-(CDateTime date, const CDateTimeSpan& span) { return date -= span; }

CDateTimeSpan operator-(const CDateTime& a, const CDateTime& b) {
    if (b.getQuadPart() > a.getQuadPart()) {
        ATL::AtlThrowImpl(E_FAIL);
    }
    return CDateTimeSpan::FromQuadPart(a.getQuadPart() - b.getQuadPart());
}

bool operator==(const CDateTime& a, const CDateTime& b) { return a.getQuadPart() == b.getQuadPart(); }
bool operator!=(const CDateTime& a, const CDateTime& b) { return a.getQuadPart() != b.getQuadPart(); }
bool operator<(const CDateTime& a, const CDateTime& b) { return a.getQuadPart() < b.getQuadPart(); }
bool operator<=(const CDateTime& a, const CDateTime& b) { return a.getQuadPart() <= b.getQuadPart(); }
bool operator>(const CDateTime& a, const CDateTime& b) { return a.getQuadPart() > b.getQuadPart(); }
bool operator>=(const CDateTime& a, const CDateTime& b) { return a.getQuadPart() >= b.getQuadPart(); }

}  // namespace Tarsis
