#include <time.h>

#include <cstdint>
#include <random>

#include <gtest/gtest.h>

#include <maren/errors.h>
#include <maren/host.h>

namespace {

constexpr int64_t kUnixEpochAsSeconds = 11644473600;  // 1601-01-01 to 1970-01-01

FILETIME make_filetime(uint64_t ticks) {
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

uint64_t ticks_of(const FILETIME &ft) { return static_cast<uint64_t>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime; }

SYSTEMTIME make_systemtime(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int ms = 0) {
    SYSTEMTIME st{};
    st.wYear = static_cast<WORD>(y);
    st.wMonth = static_cast<WORD>(mo);
    st.wDay = static_cast<WORD>(d);
    st.wHour = static_cast<WORD>(h);
    st.wMinute = static_cast<WORD>(mi);
    st.wSecond = static_cast<WORD>(s);
    st.wMilliseconds = static_cast<WORD>(ms);
    return st;
}

}  // namespace

TEST(HostFileTime, KnownInstantsRoundTrip) {
    struct Case {
        SYSTEMTIME time;
        uint64_t ticks;
        WORD day_of_week;
    };
    const Case cases[] = {
        {make_systemtime(1601, 1, 1), 0, 1},
        {make_systemtime(1970, 1, 1), 116444736000000000ull, 4},
        {make_systemtime(2000, 2, 29, 12, 30, 15, 250), 125963010152500000ull, 2},
        {make_systemtime(2100, 2, 28, 23, 59, 59, 999), 157520159999990000ull, 0},
        {make_systemtime(2100, 3, 1), 157520160000000000ull, 1},
        {make_systemtime(30827, 12, 31, 23, 59, 59, 999), 9223149887999990000ull, 5},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.ticks);
        FILETIME ft{};
        ASSERT_TRUE(SystemTimeToFileTime(&c.time, &ft));
        EXPECT_EQ(ticks_of(ft), c.ticks);
        SYSTEMTIME back{};
        ASSERT_TRUE(FileTimeToSystemTime(&ft, &back));
        EXPECT_EQ(back.wYear, c.time.wYear);
        EXPECT_EQ(back.wMonth, c.time.wMonth);
        EXPECT_EQ(back.wDay, c.time.wDay);
        EXPECT_EQ(back.wHour, c.time.wHour);
        EXPECT_EQ(back.wMinute, c.time.wMinute);
        EXPECT_EQ(back.wSecond, c.time.wSecond);
        EXPECT_EQ(back.wMilliseconds, c.time.wMilliseconds);
        EXPECT_EQ(back.wDayOfWeek, c.day_of_week);
    }
    /* The highest value that converts: 30828-09-14 02:48:05.477. */
    FILETIME highest = make_filetime(0x7FFFFFFFFFFFFFFFull);
    SYSTEMTIME st{};
    ASSERT_TRUE(FileTimeToSystemTime(&highest, &st));
    EXPECT_EQ(st.wYear, 30828);
    EXPECT_EQ(st.wMonth, 9);
    EXPECT_EQ(st.wDay, 14);
    EXPECT_EQ(st.wMilliseconds, 477);
}

TEST(HostFileTime, InvalidTimesAreRefusedWithInvalidParameter) {
    const SYSTEMTIME refused[] = {
        make_systemtime(2019, 13, 1),      make_systemtime(2019, 0, 1),       make_systemtime(2019, 2, 29),
        make_systemtime(2100, 2, 29),      make_systemtime(2019, 4, 31),      make_systemtime(2019, 1, 0),
        make_systemtime(2019, 1, 1, 24),   make_systemtime(2019, 1, 1, 0, 60), make_systemtime(2019, 1, 1, 0, 0, 60),
        make_systemtime(2019, 1, 1, 0, 0, 0, 1000), make_systemtime(1600, 12, 31), make_systemtime(30828, 1, 1),
    };
    for (const SYSTEMTIME &st : refused) {
        SCOPED_TRACE(testing::Message() << st.wYear << "-" << st.wMonth << "-" << st.wDay << " " << st.wHour << ":"
                                        << st.wMinute << ":" << st.wSecond << "." << st.wMilliseconds);
        SetLastError(0);
        FILETIME ft{0x1234, 0x5678};
        EXPECT_FALSE(SystemTimeToFileTime(&st, &ft));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(ft.dwLowDateTime, 0x1234u);
    }
    /* 2000 is a leap year (divisible by 400); the day of the week is ignored. */
    SYSTEMTIME leap = make_systemtime(2000, 2, 29);
    leap.wDayOfWeek = 6;
    FILETIME ft{};
    EXPECT_TRUE(SystemTimeToFileTime(&leap, &ft));

    const FILETIME high_bit = make_filetime(0x8000000000000000ull);
    SYSTEMTIME st{};
    SetLastError(0);
    EXPECT_FALSE(FileTimeToSystemTime(&high_bit, &st));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(HostFileTime, CompareOrdersOnBothHalves) {
    const FILETIME low1{1, 5}, low2{2, 5}, high{0, 6}, top{0xFFFFFFFF, 0xFFFFFFFF};
    EXPECT_EQ(CompareFileTime(&low1, &low2), -1);
    EXPECT_EQ(CompareFileTime(&low2, &low1), 1);
    EXPECT_EQ(CompareFileTime(&low1, &low1), 0);
    EXPECT_EQ(CompareFileTime(&low2, &high), -1);  // the high half decides first
    EXPECT_EQ(CompareFileTime(&top, &high), 1);     // unsigned
}

TEST(HostFileTime, AgreesWithTheCLibraryCalendar) {
    std::mt19937_64 random(20240229);
    /* 1601-01-01 to 30827-12-31 in seconds. */
    std::uniform_int_distribution<int64_t> seconds(0, 922314988799ll);
    for (int i = 0; i < 3000; ++i) {
        const int64_t s = seconds(random);
        const uint64_t ticks = static_cast<uint64_t>(s) * 10000000ull + static_cast<uint64_t>(i % 1000) * 10000ull;
        const time_t unix_time = static_cast<time_t>(s - kUnixEpochAsSeconds);
        struct tm expected {};
        ASSERT_NE(gmtime_r(&unix_time, &expected), nullptr);

        const FILETIME ft = make_filetime(ticks);
        SYSTEMTIME st{};
        ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
        ASSERT_EQ(st.wYear, expected.tm_year + 1900) << s;
        ASSERT_EQ(st.wMonth, expected.tm_mon + 1) << s;
        ASSERT_EQ(st.wDay, expected.tm_mday) << s;
        ASSERT_EQ(st.wDayOfWeek, expected.tm_wday) << s;
        ASSERT_EQ(st.wHour, expected.tm_hour) << s;
        ASSERT_EQ(st.wMinute, expected.tm_min) << s;
        ASSERT_EQ(st.wSecond, expected.tm_sec) << s;
        ASSERT_EQ(st.wMilliseconds, i % 1000) << s;

        FILETIME back{};
        ASSERT_TRUE(SystemTimeToFileTime(&st, &back));
        ASSERT_EQ(ticks_of(back), ticks);
        ASSERT_EQ(static_cast<int64_t>(timegm(&expected)), static_cast<int64_t>(unix_time));
    }
}

TEST(HostFileTime, SystemTimeIsNearTheCLibraryClock) {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const int64_t seconds = static_cast<int64_t>(ticks_of(now) / 10000000ull) - kUnixEpochAsSeconds;
    EXPECT_LE(std::llabs(seconds - static_cast<int64_t>(time(nullptr))), 2);
}
