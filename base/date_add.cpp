// Calendar and unit arithmetic on Tarsis::CDateTime (declared in
// base/date_time.h).
#include <climits>
#include <cstdint>

#include <maren/errors.h>
#include <maren/host.h>

#include "base/atl.h"
#include "base/date_time.h"

namespace {

bool is_leap(long long year) { return year % 400 == 0 || (year % 4 == 0 && year % 100 != 0); }

unsigned int days_in_month(long long year, int month) {
    static const unsigned int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && is_leap(year) ? 29 : kDays[month - 1];
}

Tarsis::CDateTime add_months(long long months, const Tarsis::CDateTime& date) {
    SYSTEMTIME st = date.getSystemTime();
    long long year = st.wYear + months / 12;
    int month = st.wMonth + static_cast<int>(months % 12);
    if (month > 12) {
        month -= 12;
        ++year;
    } else if (month < 1) {
        month += 12;
        --year;
    }
    // The years a SYSTEMTIME can hold: anything beyond can't be converted.
    if (year < 1601 || year > 30827) {
        ATL::AtlThrowImpl(E_FAIL);
    }
    const unsigned int last = days_in_month(year, month);
    st.wYear = static_cast<WORD>(year);
    st.wMonth = static_cast<WORD>(month);
    if (st.wDay > last) {
        st.wDay = static_cast<WORD>(last);
    }
    st.wDayOfWeek = 0;
    FILETIME ft{};
    if (!SystemTimeToFileTime(&st, &ft)) {
        ATL::AtlThrowImpl(E_FAIL);
    }
    // The milliseconds travelled in the SYSTEMTIME; add the microseconds below them.
    Tarsis::CDateTime moved(ft);
    return moved + Tarsis::CDateTimeSpan(0, date.microsecond());
}

Tarsis::CDateTime add_seconds(long long count, std::uint64_t unit_seconds, const Tarsis::CDateTime& date) {
    const std::uint64_t magnitude =
        count < 0 ? static_cast<std::uint64_t>(-(count + 1)) + 1 : static_cast<std::uint64_t>(count);
    std::uint64_t units = 0;
    if (__builtin_mul_overflow(magnitude, unit_seconds * 10000000u, &units)) {
        ATL::AtlThrowImpl(HRESULT_FROM_WIN32(ERROR_ARITHMETIC_OVERFLOW));
    }
    const Tarsis::CDateTimeSpan span = Tarsis::CDateTimeSpan::FromQuadPart(units);
    return count < 0 ? date - span : date + span;
}

template <typename Char>
Tarsis::CDateTime date_add(const Char* unit, int count, const Tarsis::CDateTime& date) {
    if (unit == nullptr) {
        ATL::AtlThrowImpl(E_INVALIDARG);
    }
    switch (unit[0]) {
        case 'y':
            return add_months(12LL * count, date);
        case 'm':
            return add_months(count, date);
        case 'w':
            return add_seconds(count, 7 * 86400, date);
        case 'd':
        case 0:
            return add_seconds(count, 86400, date);
        case 'h':
            return add_seconds(count, 3600, date);
        case 'n':
            return add_seconds(count, 60, date);
        case 's':
            return add_seconds(count, 1, date);
        default:
            ATL::AtlThrowImpl(E_INVALIDARG);
    }
}

}  // namespace

Tarsis::CDateTime DateAddMonth(int months, const Tarsis::CDateTime& date) { return add_months(months, date); }

Tarsis::CDateTime DateAddA(const char* unit, int count, const Tarsis::CDateTime& date) {
    return date_add(unit, count, date);
}

Tarsis::CDateTime DateAddW(const wchar_t* unit, int count, const Tarsis::CDateTime& date) {
    return date_add(unit, count, date);
}
