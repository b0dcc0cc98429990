#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <maren/errors.h>

#include "base/atl.h"
#include "base/date_time.h"

namespace {

using Tarsis::CDateTime;
using Tarsis::CDateTimeSpan;

constexpr HRESULT kBadText = static_cast<HRESULT>(0x8007076D);

template <typename F>
HRESULT code_of(F f) {
    try {
        f();
    } catch (const ATL::CAtlException& e) {
        return e.m_hr;
    }
    return 0;
}

CDateTime at(unsigned y, unsigned mo, unsigned d, unsigned h = 0, unsigned mi = 0, unsigned s = 0, unsigned ms = 0,
             unsigned us = 0) {
    return CDateTime(y, mo, d, h, mi, s, ms, us);
}

TEST(CDateTime, ConstructsOnTheFileTimeScale) {
    EXPECT_EQ(CDateTime(0, 0).getQuadPart(), 116444736000000000ull);
    EXPECT_EQ(CDateTime(1L, 2u).getQuadPart(), 116444736010000020ull);
    EXPECT_EQ(CDateTime(1234567890LL, 5).getTime(), 1234567890);
    EXPECT_EQ(CDateTime(-86400, 0), at(1969, 12, 31));
    const FILETIME odd = {1234567u, 0};
    EXPECT_EQ(CDateTime(odd).getFileTime().dwLowDateTime, 1234560u);  // down to a microsecond
    EXPECT_EQ(at(2020, 1, 1), CDateTime(1577836800, 0));
    const CDateTime fine = at(2021, 2, 3, 4, 5, 6, 789, 12);
    EXPECT_EQ(fine.year() * 10000 + fine.month() * 100 + fine.day(), 20210203u);
    EXPECT_EQ(fine.hour() * 10000 + fine.minute() * 100 + fine.second(), 40506u);
    EXPECT_EQ(fine.millisecond(), 789u);
    EXPECT_EQ(fine.microsecond(), 12u);
}

TEST(CDateTime, ReadsGeneralizedTimeByPosition) {
    const struct {
        const char* text;
        CDateTime expected;
    } cases[] = {
        {"20200101000000Z", at(2020, 1, 1)},
        {"20200101000000.5Z", at(2020, 1, 1, 0, 0, 0, 500)},
        {"20200101000000x5Z", at(2020, 1, 1, 0, 0, 0, 500)},  // the separator is not looked at
        {"20200101000000.00012Z", at(2020, 1, 1, 0, 0, 0, 0, 120)},
        {"20200101000000.123456789Z", at(2020, 1, 1, 0, 0, 0, 123, 456)},
        {"20240229235959", at(2024, 2, 29, 23, 59, 59)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(CDateTime(c.text), c.expected);
    }
}

TEST(CDateTime, RefusesMalformedAndUnconvertibleTexts) {
    const struct {
        const char* text;
        HRESULT code;
    } cases[] = {{"2020", E_FAIL},  // month 0
                 {"20x0", kBadText},
                 {"2020010100000aZ", kBadText},
                 {"20200101000000.5aZ", kBadText},
                 {"20201301000000Z", E_FAIL},
                 {"20200230000000Z", E_FAIL},
                 {nullptr, E_INVALIDARG}};
    for (const auto& c : cases) {
        EXPECT_EQ(code_of([&] { CDateTime d(c.text); }), c.code) << (c.text ? c.text : "null");
    }
}

TEST(GeneralizedTimeToTm, KeepsSpanFieldsAsRead) {
    unsigned int us = 7;
    std::tm t = GeneralizedTimeToTm("00011203040506.25", &us, true);
    EXPECT_EQ(t.tm_year * 100 + t.tm_mon, 112);
    EXPECT_EQ(t.tm_mday * 10000 + t.tm_hour * 100 + t.tm_min, 30405);
    EXPECT_EQ(us, 250000u);
    t = GeneralizedTimeToTm("1999", &us, false);
    EXPECT_EQ(t.tm_year, 99);
    EXPECT_EQ(t.tm_mon, -1);
    EXPECT_EQ(us, 0u);
}

TEST(CDateTime, WritesItsTexts) {
    const struct {
        CDateTime date;
        const char* generalized;
        const char* text;
    } cases[] = {
        {at(2020, 1, 1), "20200101000000Z", "01.01.2020 00:00:00"},
        {at(2020, 1, 1, 0, 0, 0, 0, 120), "20200101000000.00012Z", "01.01.2020 00:00:00.000120"},
        {at(2020, 3, 4, 5, 6, 7, 8), "20200304050607.008Z", "04.03.2020 05:06:07.008"},
        {at(2020, 3, 4, 5, 6, 7, 8, 9), "20200304050607.008009Z", "04.03.2020 05:06:07.008009"},
        {at(1999, 12, 31, 23, 59, 59, 500), "19991231235959.5Z", "31.12.1999 23:59:59.500"},
    };
    for (const auto& c : cases) {
        EXPECT_STREQ(c.date.getGeneralizedTime().c_str(), c.generalized);
        EXPECT_EQ(CDateTime(c.generalized), c.date);
        EXPECT_STREQ(c.date.tostring().c_str(), c.text);
        EXPECT_EQ(std::wstring(c.date.towstring().c_str()), std::wstring(c.text, c.text + std::strlen(c.text)));
    }
    EXPECT_STREQ(at(2020, 3, 4, 5, 6, 7, 8).getGeneralizedTimeTrimMicroseconds().c_str(), "04.03.2020 05:06:07");
    const FILETIME beyond = {0, 0xffffffffu};
    EXPECT_EQ(code_of([&] { CDateTime(beyond).getGeneralizedTime(); }), E_FAIL);
    EXPECT_EQ(code_of([&] { CDateTime(beyond).tostring(); }), E_FAIL);
}

TEST(CDateTime, SubtractsOnlyTheEarlierFromTheLater) {
    const CDateTime a = at(2020, 1, 1), b = at(2020, 1, 2, 0, 0, 1);
    EXPECT_EQ(b - a, CDateTimeSpan::OneDay() + CDateTimeSpan::OneSecond());
    EXPECT_EQ(a + (b - a), b);
    EXPECT_EQ(code_of([&] { a - b; }), E_FAIL);
    EXPECT_TRUE(a < b && a <= a && b > a && a != b);
}

TEST(CDateTime, LocalTimeShiftsByTheZoneWestOffset) {
    const char* saved = std::getenv("TZ");
    const std::string old = saved != nullptr ? saved : "";
    setenv("TZ", "XYZ+3", 1);  // three hours behind UTC, no daylight saving
    const CDateTime noon = at(2020, 1, 1, 12);
    EXPECT_EQ(noon.utcToLocal(), at(2020, 1, 1, 9));
    EXPECT_EQ(noon.localToUtc(), at(2020, 1, 1, 15));
    saved != nullptr ? setenv("TZ", old.c_str(), 1) : unsetenv("TZ");
    tzset();
}

TEST(DateAddMonth, ClampsToTheMonthEndAndKeepsTheTimeOfDay) {
    const struct {
        int months;
        CDateTime from, to;
    } cases[] = {
        {1, at(2021, 1, 31), at(2021, 2, 28)},
        {1, at(2020, 1, 31), at(2020, 2, 29)},
        {-1, at(2021, 3, 31), at(2021, 2, 28)},
        {-1, at(2000, 3, 31), at(2000, 2, 29)},
        {-1, at(2100, 3, 31), at(2100, 2, 28)},
        {13, at(2020, 12, 15), at(2022, 1, 15)},
        {-13, at(2020, 1, 15), at(2018, 12, 15)},
        {2, at(2020, 12, 31, 13, 14, 15, 16, 17), at(2021, 2, 28, 13, 14, 15, 16, 17)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(DateAddMonth(c.months, c.from), c.to) << c.from.tostring().c_str() << " + " << c.months;
    }
    EXPECT_EQ(code_of([] { DateAddMonth(-12 * 500, at(2000, 1, 1)); }), E_FAIL);
}

TEST(DateAdd, ChoosesTheUnitByItsFirstCharacter) {
    const CDateTime base = at(2020, 1, 31, 12);
    const struct {
        const char* unit;
        int count;
        CDateTime expected;
    } cases[] = {
        {"y", 1, at(2021, 1, 31, 12)},        {"years", -4, at(2016, 1, 31, 12)},
        {"m", 1, at(2020, 2, 29, 12)},        {"w", 1, at(2020, 2, 7, 12)},
        {"d", -31, at(2019, 12, 31, 12)},     {"", 1, at(2020, 2, 1, 12)},
        {"h", 13, at(2020, 2, 1, 1)},         {"n", -90, at(2020, 1, 31, 10, 30)},
        {"s", 61, at(2020, 1, 31, 12, 1, 1)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(DateAddA(c.unit, c.count, base), c.expected) << c.unit << " " << c.count;
    }
    EXPECT_EQ(DateAddW(L"w", -1, base), at(2020, 1, 24, 12));
    for (const char* bad : {"x", "Y", "D", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(code_of([&] { DateAddA(bad, 1, base); }), E_INVALIDARG);
    }
    EXPECT_EQ(code_of([&] { DateAddW(L"q", 1, base); }), E_INVALIDARG);
}

TEST(CDateTimeSpan, TextUsesYearsOf365AndMonthsOf30Days) {
    const struct {
        const char* text;
        CDateTimeSpan span;
    } cases[] = {
        {"00010000000000.000000", CDateTimeSpan::OneDay() * 365},
        {"00000100000000.000000", CDateTimeSpan::OneMonth()},
        {"00000001020304.000005", CDateTimeSpan(93784, 5)},
        {"00000000000000.001000", CDateTimeSpan::OneMillisecond()},
        {"00020305000000.000000", CDateTimeSpan::OneYear() * 2 + CDateTimeSpan::OneMonth() * 3 +
                                      CDateTimeSpan::OneDay() * 5},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CDateTimeSpan(c.text), c.span) << c.text;
        EXPECT_STREQ(c.span.tostring().c_str(), c.text);
    }
    EXPECT_EQ(code_of([] { CDateTimeSpan("0001x2"); }), kBadText);
}

TEST(CDateTimeSpan, ArithmeticHasNoSign) {
    const CDateTimeSpan day = CDateTimeSpan::OneDay(), hour = CDateTimeSpan::OneHour();
    EXPECT_EQ(day / hour, 24u);
    EXPECT_EQ((day + hour) % day, hour);
    EXPECT_EQ(day / 24u, hour);
    EXPECT_EQ(CDateTimeSpan::FromQuadPart(7) % 4u, CDateTimeSpan::FromQuadPart(3));
    EXPECT_EQ(code_of([&] { hour - day; }), E_FAIL);
    EXPECT_EQ(code_of([&] { day / 0u; }), E_INVALIDARG);
    EXPECT_EQ(code_of([&] { day * 0xffffffffu * 0xffffffffu; }), static_cast<HRESULT>(0x80070216));
}

}  // namespace
