/* Time on the FILETIME scale: 100-nanosecond ticks since 1601-01-01 UTC on
 * the proleptic Gregorian calendar. The calendar arithmetic is done here, so
 * neither TZ nor the C library's time functions take part. */
#include <time.h>

#include <cstdint>

#include <maren/errors.h>
#include <maren/host.h>

namespace {

constexpr uint64_t kTicksPerMillisecond = 10000;
constexpr uint64_t kTicksPerSecond = 10000000;
constexpr uint64_t kTicksPerDay = kTicksPerSecond * 86400;
/* Days from 1601-01-01 to 1970-01-01. */
constexpr int64_t kDaysFrom1601To1970 = 134774;
constexpr uint64_t kHighestFileTime = 0x7FFFFFFFFFFFFFFFull;

uint64_t to_ticks(const FILETIME &ft) {
    return (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
}

void from_ticks(uint64_t ticks, FILETIME *ft) {
    ft->dwLowDateTime = static_cast<DWORD>(ticks & 0xFFFFFFFFu);
    ft->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
}

bool is_leap(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

unsigned days_in_month(int64_t y, unsigned m) {
    static const unsigned kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return (m == 2 && is_leap(y)) ? 29 : kDays[m - 1];
}

/* Days since 1970-01-01 of a civil date (eras of 400 years, March-based
 * years so the leap day comes last). */
int64_t days_from_civil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2 ? 1 : 0;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void civil_from_days(int64_t z, int64_t *year, unsigned *month, unsigned *day) {
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    *day = static_cast<unsigned>(doy - (153 * mp + 2) / 5 + 1);
    *month = static_cast<unsigned>(mp < 10 ? mp + 3 : mp - 9);
    *year = yoe + era * 400 + (*month <= 2 ? 1 : 0);
}

}  // namespace

extern "C" {

void GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime) {
    if (lpSystemTimeAsFileTime == nullptr) return;
    struct timespec ts {};
    clock_gettime(CLOCK_REALTIME, &ts);
    const int64_t seconds = static_cast<int64_t>(ts.tv_sec) + kDaysFrom1601To1970 * 86400;
    uint64_t ticks = 0;
    if (seconds >= 0)
        ticks = static_cast<uint64_t>(seconds) * kTicksPerSecond + static_cast<uint64_t>(ts.tv_nsec) / 100;
    from_ticks(ticks, lpSystemTimeAsFileTime);
}

BOOL FileTimeToSystemTime(const FILETIME *lpFileTime, LPSYSTEMTIME lpSystemTime) {
    if (lpFileTime == nullptr || lpSystemTime == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const uint64_t ticks = to_ticks(*lpFileTime);
    if (ticks > kHighestFileTime) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const int64_t days = static_cast<int64_t>(ticks / kTicksPerDay);
    uint64_t rest = ticks % kTicksPerDay;

    int64_t year = 0;
    unsigned month = 0, day = 0;
    civil_from_days(days - kDaysFrom1601To1970, &year, &month, &day);

    SYSTEMTIME st{};
    st.wYear = static_cast<WORD>(year);
    st.wMonth = static_cast<WORD>(month);
    st.wDay = static_cast<WORD>(day);
    /* 1601-01-01 was a Monday (1). */
    st.wDayOfWeek = static_cast<WORD>((days + 1) % 7);
    st.wHour = static_cast<WORD>(rest / (kTicksPerSecond * 3600));
    rest %= kTicksPerSecond * 3600;
    st.wMinute = static_cast<WORD>(rest / (kTicksPerSecond * 60));
    rest %= kTicksPerSecond * 60;
    st.wSecond = static_cast<WORD>(rest / kTicksPerSecond);
    rest %= kTicksPerSecond;
    st.wMilliseconds = static_cast<WORD>(rest / kTicksPerMillisecond);
    *lpSystemTime = st;
    return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME *lpSystemTime, LPFILETIME lpFileTime) {
    if (lpSystemTime == nullptr || lpFileTime == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const SYSTEMTIME &st = *lpSystemTime;
    const bool valid = st.wYear >= 1601 && st.wYear <= 30827 && st.wMonth >= 1 && st.wMonth <= 12 &&
                       st.wDay >= 1 && st.wDay <= days_in_month(st.wYear, st.wMonth) && st.wHour < 24 &&
                       st.wMinute < 60 && st.wSecond < 60 && st.wMilliseconds < 1000;
    if (!valid) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const int64_t days = days_from_civil(st.wYear, st.wMonth, st.wDay) + kDaysFrom1601To1970;
    const uint64_t ticks = static_cast<uint64_t>(days) * kTicksPerDay +
                           (static_cast<uint64_t>(st.wHour) * 3600 + static_cast<uint64_t>(st.wMinute) * 60 +
                            st.wSecond) * kTicksPerSecond +
                           static_cast<uint64_t>(st.wMilliseconds) * kTicksPerMillisecond;
    from_ticks(ticks, lpFileTime);
    return TRUE;
}

LONG CompareFileTime(const FILETIME *lpFileTime1, const FILETIME *lpFileTime2) {
    const uint64_t a = to_ticks(*lpFileTime1);
    const uint64_t b = to_ticks(*lpFileTime2);
    return a < b ? -1 : (a > b ? 1 : 0);
}

}  // extern "C"
