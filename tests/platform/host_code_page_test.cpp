#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <maren/errors.h>
#include <maren/host.h>

namespace {

constexpr wchar_t R = 0xFFFD;

struct Result {
    int count;
    DWORD error;
    std::wstring text;
};

/* Measures, then converts into a buffer of exactly the measured size (so an
 * overrun shows under the address sanitizer). */
Result to_wide(UINT cp, DWORD flags, const std::string &bytes, int length) {
    SetLastError(0);
    const int needed = MultiByteToWideChar(cp, flags, bytes.data(), length, nullptr, 0);
    if (needed == 0) return {0, GetLastError(), {}};
    std::vector<wchar_t> out(static_cast<size_t>(needed));
    const int written = MultiByteToWideChar(cp, flags, bytes.data(), length, out.data(), needed);
    EXPECT_EQ(written, needed);
    return {written, GetLastError(), std::wstring(out.data(), out.size())};
}

Result to_bytes(UINT cp, DWORD flags, const std::wstring &wide, int length) {
    SetLastError(0);
    const int needed = WideCharToMultiByte(cp, flags, wide.data(), length, nullptr, 0, nullptr, nullptr);
    if (needed == 0) return {0, GetLastError(), {}};
    std::vector<char> out(static_cast<size_t>(needed));
    const int written = WideCharToMultiByte(cp, flags, wide.data(), length, out.data(), needed, nullptr, nullptr);
    EXPECT_EQ(written, needed);
    std::wstring as_units;
    for (char c : out) as_units.push_back(static_cast<unsigned char>(c));
    return {written, GetLastError(), as_units};
}

std::wstring units(const std::string &bytes) {
    std::wstring out;
    for (char c : bytes) out.push_back(static_cast<unsigned char>(c));
    return out;
}

}  // namespace

TEST(HostCodePage, Utf8DecodesAndReplacesEachMaximalBadSubpart) {
    struct Case {
        std::string bytes;
        std::wstring wide;
        bool valid;
    };
    const Case cases[] = {
        {"abc", L"abc", true},
        {"\xC3\xA9", {0xE9}, true},
        {"\xE2\x82\xAC", {0x20AC}, true},
        {"\xF0\x9F\x98\x80", {0x1F600}, true},
        {"\xF4\x8F\xBF\xBF", {0x10FFFF}, true},
        {std::string("a\0b", 3), {L'a', 0, L'b'}, true},
        {"\xC0\xAF", {R, R}, false},                      // overlong two bytes
        {"\xE0\x80\xAF", {R, R, R}, false},               // overlong three bytes
        {"\xED\xA0\x80", {R, R, R}, false},               // a surrogate
        {"\xF4\x90\x80\x80", {R, R, R, R}, false},        // above U+10FFFF
        {"\xF5\x80", {R, R}, false},                      // never a lead byte
        {"\x80x", {R, L'x'}, false},                      // lone continuation
        {"a\xE2\x82", {L'a', R}, false},                  // truncated at the end
        {"\xE2\x82z\xF0\x9F\x98", {R, L'z', R}, false},   // truncated inside and at the end
    };
    for (UINT cp : {static_cast<UINT>(CP_UTF8), static_cast<UINT>(CP_ACP)}) {
        for (const Case &c : cases) {
            SCOPED_TRACE(testing::Message() << "code page " << cp << ", case " << (&c - cases));
            const int length = static_cast<int>(c.bytes.size());
            const Result lenient = to_wide(cp, 0, c.bytes, length);
            EXPECT_EQ(lenient.text, c.wide);
            EXPECT_EQ(lenient.count, static_cast<int>(c.wide.size()));

            const Result strict = to_wide(cp, MB_ERR_INVALID_CHARS, c.bytes, length);
            if (c.valid) {
                EXPECT_EQ(strict.text, c.wide);
                const Result back = to_bytes(cp, WC_ERR_INVALID_CHARS, c.wide, static_cast<int>(c.wide.size()));
                EXPECT_EQ(back.text, units(c.bytes));
            } else {
                EXPECT_EQ(strict.count, 0);
                EXPECT_EQ(strict.error, ERROR_NO_UNICODE_TRANSLATION);
            }
        }
    }
}

TEST(HostCodePage, InvalidWideValuesBecomeReplacementOrFailWhenStrict) {
    for (const wchar_t bad : {static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0xDFFF),
                              static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1)}) {
        const std::wstring wide = {L'a', bad, L'b'};
        const Result lenient = to_bytes(CP_UTF8, 0, wide, 3);
        EXPECT_EQ(lenient.text, units("a\xEF\xBF\xBD" "b"));
        const Result strict = to_bytes(CP_UTF8, WC_ERR_INVALID_CHARS, wide, 3);
        EXPECT_EQ(strict.count, 0);
        EXPECT_EQ(strict.error, ERROR_NO_UNICODE_TRANSLATION);
    }
}

TEST(HostCodePage, TerminatedLengthsCountTheTerminatorAndShortBuffersFail) {
    EXPECT_EQ(to_wide(CP_UTF8, 0, "h\xC3\xA9", -1).text, std::wstring(L"h\u00e9\0", 3));
    EXPECT_EQ(to_wide(CP_UTF8, 0, "", -1).count, 1);
    EXPECT_EQ(to_bytes(CP_UTF8, 0, L"h\u00e9", -1).text, units(std::string("h\xC3\xA9\0", 4)));

    wchar_t wide[2] = {L'x', L'y'};
    SetLastError(0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, wide, 2), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);

    char bytes[3] = {'x', 'y', 'z'};
    SetLastError(0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"a\u20ac", 2, bytes, 3, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);

    /* A size of 0 measures and leaves the buffer alone. */
    wide[0] = L'x';
    bytes[0] = 'x';
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, wide, 0), 3);
    EXPECT_EQ(wide[0], L'x');
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"\u20ac", 1, bytes, 0, nullptr, nullptr), 3);
    EXPECT_EQ(bytes[0], 'x');
}

TEST(HostCodePage, BadArgumentsAreRefused) {
    wchar_t wide[8];
    char bytes[8];
    BOOL used = FALSE;
    struct Outcome {
        int result;
        DWORD error;
    };
    auto mb = [&](UINT cp, DWORD flags, const char *src, int len, wchar_t *dst, int cap) {
        SetLastError(0);
        const int r = MultiByteToWideChar(cp, flags, src, len, dst, cap);
        return Outcome{r, GetLastError()};
    };
    auto wc = [&](UINT cp, DWORD flags, const wchar_t *src, int len, char *dst, int cap, const char *def,
                  BOOL *used_default) {
        SetLastError(0);
        const int r = WideCharToMultiByte(cp, flags, src, len, dst, cap, def, used_default);
        return Outcome{r, GetLastError()};
    };
    const std::pair<Outcome, DWORD> cases[] = {
        {mb(1252, 0, "a", 1, wide, 8), ERROR_INVALID_PARAMETER},
        {mb(CP_OEMCP, 0, "a", 1, wide, 8), ERROR_INVALID_PARAMETER},
        {mb(CP_UTF8, 0, "a", 0, wide, 8), ERROR_INVALID_PARAMETER},
        {mb(CP_UTF8, 0, "a", -2, wide, 8), ERROR_INVALID_PARAMETER},
        {mb(CP_UTF8, 0, nullptr, 1, wide, 8), ERROR_INVALID_PARAMETER},
        {mb(CP_UTF8, 0, "a", 1, nullptr, 8), ERROR_INVALID_PARAMETER},
        {mb(CP_UTF8, 0, "a", 1, wide, -1), ERROR_INVALID_PARAMETER},
        {mb(CP_UTF8, 0x1, "a", 1, wide, 8), ERROR_INVALID_FLAGS},
        {wc(1252, 0, L"a", 1, bytes, 8, nullptr, nullptr), ERROR_INVALID_PARAMETER},
        {wc(CP_UTF8, 0, L"a", 0, bytes, 8, nullptr, nullptr), ERROR_INVALID_PARAMETER},
        {wc(CP_UTF8, 0, nullptr, 1, bytes, 8, nullptr, nullptr), ERROR_INVALID_PARAMETER},
        {wc(CP_UTF8, 0, L"a", 1, nullptr, 8, nullptr, nullptr), ERROR_INVALID_PARAMETER},
        {wc(CP_UTF8, 0, L"a", 1, bytes, 8, "?", nullptr), ERROR_INVALID_PARAMETER},
        {wc(CP_ACP, 0, L"a", 1, bytes, 8, nullptr, &used), ERROR_INVALID_PARAMETER},
        {wc(CP_UTF8, 0x400, L"a", 1, bytes, 8, nullptr, nullptr), ERROR_INVALID_FLAGS},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(cases[i].first.result, 0);
        EXPECT_EQ(cases[i].first.error, cases[i].second);
    }
    /* The no-op flags of the 8-bit code page. */
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0x1, "a", 1, wide, 8), 1);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0x400, L"a", 1, bytes, 8, nullptr, nullptr), 1);
}
