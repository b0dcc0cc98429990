#include "base/date_time_span.h"

#include <cstdio>
#include <string>
#include <utility>

#include <maren/errors.h>

#include "base/atl.h"
#include "base/generalized_time.h"
#include "base/time_text.h"

namespace Tarsis {

namespace {

constexpr std::uint64_t kUnitsPerSecond = 10000000;
constexpr std::uint64_t kUnitsPerMicrosecond = 10;
constexpr std::uint64_t kSecondsPerYear = 31536000;  // 365 days
constexpr std::uint64_t kSecondsPerMonth = 2592000;  // 30 days

std::uint64_t checked_add(std::uint64_t a, std::uint64_t b) {
    std::uint64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) {
        ATL::AtlThrowImpl(HRESULT_FROM_WIN32(ERROR_ARITHMETIC_OVERFLOW));
    }
    return sum;
}

std::uint64_t checked_mul(std::uint64_t a, std::uint64_t b) {
    std::uint64_t product = 0;
    if (__builtin_mul_overflow(a, b, &product)) {
        ATL::AtlThrowImpl(HRESULT_FROM_WIN32(ERROR_ARITHMETIC_OVERFLOW));
    }
    return product;
}

void check_divisor(std::uint64_t divisor) {
    if (divisor == 0) {
        ATL::AtlThrowImpl(E_INVALIDARG);
    }
}

}  // namespace

CDateTimeSpan::CDateTimeSpan(unsigned int seconds, unsigned int microseconds) : CDateTimeSpan() {
    set(seconds * kUnitsPerSecond + microseconds * kUnitsPerMicrosecond);
}

CDateTimeSpan::CDateTimeSpan(const char* text) : CDateTimeSpan() {
    if (text == nullptr) {
        ATL::AtlThrowImpl(E_INVALIDARG);
    }
    unsigned int microseconds = 0;
    const std::tm f = GeneralizedTimeToTm(text, &microseconds, true);
    // Every field has at most four digits, so nothing here can overflow.
    const std::uint64_t days = static_cast<std::uint64_t>(f.tm_year) * 365 + static_cast<std::uint64_t>(f.tm_mon) * 30 +
                               static_cast<std::uint64_t>(f.tm_mday);
    const std::uint64_t seconds = ((days * 24 + static_cast<std::uint64_t>(f.tm_hour)) * 60 +
                                   static_cast<std::uint64_t>(f.tm_min)) * 60 +
                                  static_cast<std::uint64_t>(f.tm_sec);
    set(seconds * kUnitsPerSecond + microseconds * kUnitsPerMicrosecond);
}

CDateTimeSpan CDateTimeSpan::FromQuadPart(std::uint64_t count) {
    CDateTimeSpan span;
    span.set(count);
    return span;
}

CDateTimeSpan CDateTimeSpan::OneYear() { return CDateTimeSpan(kSecondsPerYear, 0); }
CDateTimeSpan CDateTimeSpan::OneMonth() { return CDateTimeSpan(kSecondsPerMonth, 0); }
CDateTimeSpan CDateTimeSpan::OneDay() { return CDateTimeSpan(86400, 0); }
CDateTimeSpan CDateTimeSpan::OneHour() { return CDateTimeSpan(3600, 0); }
CDateTimeSpan CDateTimeSpan::OneMinute() { return CDateTimeSpan(60, 0); }
CDateTimeSpan CDateTimeSpan::OneSecond() { return CDateTimeSpan(1, 0); }
CDateTimeSpan CDateTimeSpan::OneMillisecond() { return CDateTimeSpan(0, 1000); }

void CDateTimeSpan::set(std::uint64_t count) {
    high_ = static_cast<unsigned int>(count >> 32);
    low_ = static_cast<unsigned int>(count);
}

void CDateTimeSpan::swap(CDateTimeSpan& other) noexcept {
    std::swap(high_, other.high_);
    std::swap(low_, other.low_);
}

CDateTimeSpan& CDateTimeSpan::operator+=(const CDateTimeSpan& other) {
    set(checked_add(getQuadPart(), other.getQuadPart()));
    return *this;
}

CDateTimeSpan& CDateTimeSpan::operator-=(const CDateTimeSpan& other) {
    if (other.getQuadPart() > getQuadPart()) {
        ATL::AtlThrowImpl(E_FAIL);
    }
    set(getQuadPart() - other.getQuadPart());
    return *this;
}

CDateTimeSpan& CDateTimeSpan::operator*=(unsigned int factor) {
    set(checked_mul(getQuadPart(), factor));
    return *this;
}

CDateTimeSpan& CDateTimeSpan::operator/=(unsigned int divisor) {
    check_divisor(divisor);
    set(getQuadPart() / divisor);
    return *this;
}

CDateTimeSpan& CDateTimeSpan::operator%=(unsigned int divisor) {
    check_divisor(divisor);
    set(getQuadPart() % divisor);
    return *this;
}

CStringProxy CDateTimeSpan::getGeneralizedTime() const {
    const std::uint64_t count = getQuadPart();
    std::uint64_t seconds = count / kUnitsPerSecond;
    const auto microseconds = static_cast<unsigned int>(count % kUnitsPerSecond / kUnitsPerMicrosecond);
    const std::uint64_t years = seconds / kSecondsPerYear;
    seconds %= kSecondsPerYear;
    const std::uint64_t months = seconds / kSecondsPerMonth;
    seconds %= kSecondsPerMonth;
    const std::uint64_t days = seconds / 86400;
    seconds %= 86400;
    char text[64];
    std::snprintf(text, sizeof text, "%04llu%02llu%02llu%02llu%02llu%02llu.%06u",
                  static_cast<unsigned long long>(years), static_cast<unsigned long long>(months),
                  static_cast<unsigned long long>(days), static_cast<unsigned long long>(seconds / 3600),
                  static_cast<unsigned long long>(seconds % 3600 / 60), static_cast<unsigned long long>(seconds % 60),
                  microseconds);
    return CStringProxy(text);
}

CStringProxy CDateTimeSpan::tostring() const { return getGeneralizedTime(); }

CWStringProxy CDateTimeSpan::towstring() const { return halden::detail::widen_ascii(getGeneralizedTime()); }

CDateTimeSpan operator+(CDateTimeSpan a, const CDateTimeSpan& b) { return a += b; }
CDateTimeSpan operator-(CDateTimeSpan a, const CDateTimeSpan& b) { return a -= b; }
CDateTimeSpan operator*(CDateTimeSpan a, unsigned int factor) { return a *= factor; }
CDateTimeSpan operator/(CDateTimeSpan a, unsigned int divisor) { return a /= divisor; }
CDateTimeSpan operator%(CDateTimeSpan a, unsigned int divisor) { return a %= divisor; }

std::uint64_t operator/(const CDateTimeSpan& a, const CDateTimeSpan& b) {
    check_divisor(b.getQuadPart());
    return a.getQuadPart() / b.getQuadPart();
}

CDateTimeSpan operator%(const CDateTimeSpan& a, const CDateTimeSpan& b) {
    check_divisor(b.getQuadPart());
    return CDateTimeSpan::FromQuadPart(a.getQuadPart() % b.getQuadPart());
}

bool operator==(const CDateTimeSpan& a, const CDateTimeSpan& b) { return a.getQuadPart() == b.getQuadPart(); }
bool operator!=(const CDateTimeSpan& a, const CDateTimeSpan& b) { return a.getQuadPart() != b.getQuadPart(); }
bool operator<(const CDateTimeSpan& a, const CDateTimeSpan& b) { return a.getQuadPart() < b.getQuadPart(); }
bool operator<=(const CDateTimeSpan& a, const CDateTimeSpan& b) { return a.getQuadPart() <= b.getQuadPart(); }
bool operator>(const CDateTimeSpan& a, const CDateTimeSpan& b) { return a.getQuadPart() > b.getQuadPart(); }
bool operator>=(const CDateTimeSpan& a, const CDateTimeSpan& b) { return a.getQuadPart() >= b.getQuadPart(); }

}  // namespace Tarsis
