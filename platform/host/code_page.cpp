/* Conversion between the 8-bit code page and wide strings. maren's 8-bit
 * code page (CP_ACP) is UTF-8, so both accepted code pages convert between
 * UTF-8 and UTF-32. An ill-formed UTF-8 sequence becomes one U+FFFD per
 * maximal subpart (the replacement practice of the Unicode standard), so
 * every implementation that follows it counts the same. */
#include <climits>
#include <cstdint>
#include <cstring>
#include <cwchar>

#include <maren/errors.h>
#include <maren/host.h>

namespace {

/* Flags that the 8-bit code page accepts as no-ops: UTF-8 text is taken as
 * it comes (no normalisation) and has no best-fit mapping. */
constexpr DWORD kMbPrecomposed = 0x00000001;
constexpr DWORD kWcNoBestFitChars = 0x00000400;

constexpr uint32_t kReplacement = 0xFFFD;

bool is_utf8_code_page(UINT code_page) { return code_page == CP_ACP || code_page == CP_UTF8; }

int fail(DWORD error) {
    SetLastError(error);
    return 0;
}

struct Decoded {
    uint32_t code_point;
    size_t length;  // bytes consumed, at least 1
    bool valid;
};

/* Decodes the sequence at the start of p (n > 0). On an ill-formed sequence
 * it consumes the maximal subpart: the longest prefix that could still have
 * begun a well-formed sequence, or the one offending byte. */
Decoded decode_utf8(const unsigned char *p, size_t n) {
    const unsigned lead = p[0];
    if (lead < 0x80) return {lead, 1, true};

    size_t trailing = 0;
    uint32_t cp = 0;
    unsigned low = 0x80, high = 0xBF;  // range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        trailing = 1;
        cp = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        trailing = 2;
        cp = lead & 0x0F;
        if (lead == 0xE0) low = 0xA0;        // overlong
        else if (lead == 0xED) high = 0x9F;  // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        trailing = 3;
        cp = lead & 0x07;
        if (lead == 0xF0) low = 0x90;        // overlong
        else if (lead == 0xF4) high = 0x8F;  // above U+10FFFF
    } else {
        return {kReplacement, 1, false};
    }
    for (size_t i = 1; i <= trailing; ++i) {
        if (i >= n || p[i] < low || p[i] > high) return {kReplacement, i, false};
        low = 0x80;
        high = 0xBF;
        cp = (cp << 6) | (p[i] & 0x3Fu);
    }
    return {cp, trailing + 1, true};
}

bool is_scalar_value(uint32_t u) { return u <= 0x10FFFF && (u < 0xD800 || u > 0xDFFF); }

size_t encode_utf8(uint32_t u, unsigned char out[4]) {
    if (u < 0x80) {
        out[0] = static_cast<unsigned char>(u);
        return 1;
    }
    if (u < 0x800) {
        out[0] = static_cast<unsigned char>(0xC0 | (u >> 6));
        out[1] = static_cast<unsigned char>(0x80 | (u & 0x3F));
        return 2;
    }
    if (u < 0x10000) {
        out[0] = static_cast<unsigned char>(0xE0 | (u >> 12));
        out[1] = static_cast<unsigned char>(0x80 | ((u >> 6) & 0x3F));
        out[2] = static_cast<unsigned char>(0x80 | (u & 0x3F));
        return 3;
    }
    out[0] = static_cast<unsigned char>(0xF0 | (u >> 18));
    out[1] = static_cast<unsigned char>(0x80 | ((u >> 12) & 0x3F));
    out[2] = static_cast<unsigned char>(0x80 | ((u >> 6) & 0x3F));
    out[3] = static_cast<unsigned char>(0x80 | (u & 0x3F));
    return 4;
}

}  // namespace

extern "C" {

int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar) {
    if (!is_utf8_code_page(CodePage)) return fail(ERROR_INVALID_PARAMETER);
    const DWORD allowed = MB_ERR_INVALID_CHARS | (CodePage == CP_ACP ? kMbPrecomposed : 0);
    if ((dwFlags & ~allowed) != 0) return fail(ERROR_INVALID_FLAGS);
    if (lpMultiByteStr == nullptr || cbMultiByte == 0 || cbMultiByte < -1 || cchWideChar < 0 ||
        (cchWideChar > 0 && lpWideCharStr == nullptr) ||
        static_cast<const void *>(lpMultiByteStr) == static_cast<const void *>(lpWideCharStr))
        return fail(ERROR_INVALID_PARAMETER);

    const bool strict = (dwFlags & MB_ERR_INVALID_CHARS) != 0;
    const auto *p = reinterpret_cast<const unsigned char *>(lpMultiByteStr);
    const size_t n = cbMultiByte == -1 ? std::strlen(lpMultiByteStr) + 1 : static_cast<size_t>(cbMultiByte);
    const bool writing = cchWideChar > 0;

    size_t count = 0;
    for (size_t i = 0; i < n;) {
        const Decoded d = decode_utf8(p + i, n - i);
        if (!d.valid && strict) return fail(ERROR_NO_UNICODE_TRANSLATION);
        if (writing) {
            if (count >= static_cast<size_t>(cchWideChar)) return fail(ERROR_INSUFFICIENT_BUFFER);
            lpWideCharStr[count] = static_cast<wchar_t>(d.code_point);
        }
        ++count;
        i += d.length;
    }
    if (count > static_cast<size_t>(INT_MAX)) return fail(ERROR_ARITHMETIC_OVERFLOW);
    return static_cast<int>(count);
}

int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                        LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar) {
    if (!is_utf8_code_page(CodePage)) return fail(ERROR_INVALID_PARAMETER);
    const DWORD allowed = WC_ERR_INVALID_CHARS | (CodePage == CP_ACP ? kWcNoBestFitChars : 0);
    if ((dwFlags & ~allowed) != 0) return fail(ERROR_INVALID_FLAGS);
    /* UTF-8 represents every valid value, so a default character makes no
     * sense and the published function refuses one. */
    if (lpDefaultChar != nullptr || lpUsedDefaultChar != nullptr) return fail(ERROR_INVALID_PARAMETER);
    if (lpWideCharStr == nullptr || cchWideChar == 0 || cchWideChar < -1 || cbMultiByte < 0 ||
        (cbMultiByte > 0 && lpMultiByteStr == nullptr) ||
        static_cast<const void *>(lpWideCharStr) == static_cast<const void *>(lpMultiByteStr))
        return fail(ERROR_INVALID_PARAMETER);

    const bool strict = (dwFlags & WC_ERR_INVALID_CHARS) != 0;
    const size_t n = cchWideChar == -1 ? std::wcslen(lpWideCharStr) + 1 : static_cast<size_t>(cchWideChar);
    const bool writing = cbMultiByte > 0;

    size_t count = 0;
    for (size_t i = 0; i < n; ++i) {
        uint32_t u = static_cast<uint32_t>(lpWideCharStr[i]);
        if (!is_scalar_value(u)) {
            if (strict) return fail(ERROR_NO_UNICODE_TRANSLATION);
            u = kReplacement;
        }
        unsigned char bytes[4];
        const size_t len = encode_utf8(u, bytes);
        if (writing) {
            if (len > static_cast<size_t>(cbMultiByte) - count) return fail(ERROR_INSUFFICIENT_BUFFER);
            std::memcpy(lpMultiByteStr + count, bytes, len);
        }
        count += len;
        if (count > static_cast<size_t>(INT_MAX)) return fail(ERROR_ARITHMETIC_OVERFLOW);
    }
    return static_cast<int>(count);
}

}  // extern "C"
