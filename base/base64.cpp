#include "base/base64.h"

#include <cstdint>
#include <cstring>

#include <maren/errors.h>
#include <maren/host.h>

#include "base/ascii.h"

namespace {

constexpr DWORD kErrorBadArguments = ERROR_BAD_ARGUMENTS;

constexpr std::size_t kLineBytes = 48;  // 64 characters a line
constexpr unsigned char kNoMember = 64;

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kAlphabetUrl[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

struct DecodeTable {
    unsigned char value[256];
};

// Maps every character to its value, or to kNoMember. The universal table
// gives both "+" and "-" the value 62 and both "/" and "_" 63.
constexpr DecodeTable make_table(bool standard, bool url) {
    DecodeTable table{};
    for (unsigned char& v : table.value) {
        v = kNoMember;
    }
    for (unsigned char i = 0; i < 62; ++i) {
        table.value[static_cast<unsigned char>(kAlphabet[i])] = i;
    }
    if (standard) {
        table.value[static_cast<unsigned char>('+')] = 62;
        table.value[static_cast<unsigned char>('/')] = 63;
    }
    if (url) {
        table.value[static_cast<unsigned char>('-')] = 62;
        table.value[static_cast<unsigned char>('_')] = 63;
    }
    return table;
}

constexpr DecodeTable abDecodeBase64 = make_table(true, false);
constexpr DecodeTable abDecodeBase64Url = make_table(false, true);
constexpr DecodeTable abDecodeUniversal = make_table(true, true);

bool url_safe(DWORD flags) { return (flags & 0xffu) == HALDEN_BASE64_URI; }

// Characters the decoder passes over anywhere in the body.
bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

BOOL fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

// Characters for a group of 1 to 3 bytes.
std::uint64_t group_chars(std::size_t bytes, bool url) {
    if (bytes == 3 || !url) {
        return 4;
    }
    return bytes + 1;  // unpadded: 2 or 3 characters
}

std::uint64_t encoded_size(DWORD cbData, DWORD flags) {
    const bool url = url_safe(flags);
    const std::uint64_t line_end = (flags & HALDEN_BASE64_NOCRLF) != 0 ? 0 : 1;
    const std::uint64_t lines = cbData / kLineBytes;
    const std::size_t rest = cbData % kLineBytes;
    std::uint64_t size = lines * (64 + line_end);
    if (rest != 0) {
        size += rest / 3 * 4 + line_end;
        if (rest % 3 != 0) {
            size += group_chars(rest % 3, url);
        }
    }
    return size;
}

// Encodes into out, which has room for encoded_size(); returns the count.
std::uint64_t encode_body(const BYTE* data, DWORD cbData, char* out, DWORD flags) {
    const bool url = url_safe(flags);
    const char* alphabet = url ? kAlphabetUrl : kAlphabet;
    const bool line_ends = (flags & HALDEN_BASE64_NOCRLF) == 0;
    std::uint64_t n = 0;
    std::size_t pos = 0;
    while (pos < cbData) {
        const std::size_t line_end = pos + (cbData - pos < kLineBytes ? cbData - pos : kLineBytes);
        for (; pos < line_end; pos += 3) {
            const std::size_t bytes = line_end - pos < 3 ? line_end - pos : 3;
            std::uint32_t bits = static_cast<std::uint32_t>(data[pos]) << 16;
            if (bytes > 1) {
                bits |= static_cast<std::uint32_t>(data[pos + 1]) << 8;
            }
            if (bytes > 2) {
                bits |= data[pos + 2];
            }
            const std::uint64_t chars = group_chars(bytes, url);
            for (std::uint64_t i = 0; i < chars; ++i) {
                out[n++] = i <= bytes ? alphabet[(bits >> (18 - 6 * i)) & 0x3f] : '=';
            }
        }
        if (line_ends) {
            out[n++] = '\n';
        }
    }
    return n;
}

}  // namespace

BOOL base64_encode_ex(const BYTE* data, DWORD cbData, char* out, DWORD* pcbOut, DWORD flags) {
    if (data == nullptr || pcbOut == nullptr) {
        return fail(kErrorBadArguments);
    }
    const std::uint64_t size = encoded_size(cbData, flags);
    if (size > UINT32_MAX) {
        return fail(ERROR_ARITHMETIC_OVERFLOW);
    }
    if (out == nullptr) {
        *pcbOut = static_cast<DWORD>(size);
        SetLastError(0);
        return TRUE;
    }
    if (*pcbOut < size) {
        *pcbOut = static_cast<DWORD>(size);
        return fail(ERROR_MORE_DATA);
    }
    if (encode_body(data, cbData, out, flags) != size) {
        return fail(ERROR_INTERNAL_ERROR);
    }
    *pcbOut = static_cast<DWORD>(size);
    SetLastError(0);
    return TRUE;
}

BOOL base64_decode_ex(const char* text, DWORD cchText, BYTE* out, DWORD* pcbOut, DWORD flags) {
    if (pcbOut == nullptr) {
        return fail(kErrorBadArguments);
    }
    if (cchText == 0) {
        *pcbOut = 0;
        SetLastError(0);
        return TRUE;
    }
    if (text == nullptr) {
        *pcbOut = 0;
        return fail(kErrorBadArguments);
    }

    const bool strict = (flags & HALDEN_BASE64_STRICT) != 0;
    const DecodeTable* table = &abDecodeBase64;
    bool choosing = false;  // universal table until the first telling character
    bool cut = false;
    std::size_t length = cchText;
    if (!url_safe(flags)) {
        // A footer line behind the body starts with "-": end the text there
        // rather than read the footer as Base64.
        if (const void* dash = std::memchr(text, '-', length)) {
            length = static_cast<std::size_t>(static_cast<const char*>(dash) - text);
            cut = true;
        }
    } else if (strict) {
        table = &abDecodeBase64Url;
    } else {
        table = &abDecodeUniversal;
        choosing = true;
    }

    // Count the members of the body.
    std::uint64_t count = 0;
    std::size_t pos = 0;
    for (; pos < length; ++pos) {
        const char c = text[pos];
        if (is_blank(c)) {
            continue;
        }
        if (table->value[static_cast<unsigned char>(c)] == kNoMember) {
            break;
        }
        if (choosing && (c == '-' || c == '_')) {
            table = &abDecodeBase64Url;
            choosing = false;
        } else if (choosing && (c == '+' || c == '/')) {
            table = &abDecodeBase64;
            choosing = false;
        }
        ++count;
    }
    const std::size_t body_end = pos;
    const unsigned rest = static_cast<unsigned>(count % 4);
    bool padded = false;
    if (pos < length) {
        // A non-member ends the body; the URL-safe alphabet has no padding.
        if (count == 0 || table == &abDecodeBase64Url) {
            *pcbOut = 0;
            return fail(ERROR_INVALID_DATA);
        }
        if (rest != 0) {
            std::size_t pads = 0;
            while (pos < length && text[pos] == '=') {
                ++pads;
                ++pos;
            }
            if (pads != 4 - rest) {
                *pcbOut = 0;
                return fail(ERROR_INVALID_DATA);
            }
            padded = true;
        }
        if (strict) {
            unsigned further = 0;
            for (; pos < length; ++pos) {
                const char c = text[pos];
                if ((c == '=' && ++further > 3) || (c != '=' && !halden::ascii_isspace(c))) {
                    *pcbOut = 0;
                    return fail(ERROR_INVALID_DATA);
                }
            }
        }
    }
    if (strict && padded && rest == 1) {
        *pcbOut = 0;
        return fail(ERROR_INVALID_DATA);
    }

    // A lone last character still yields a byte of its 6 bits: texts cut
    // that way by other producers are accepted rather than refused.
    static const unsigned kRestBytes[4] = {0, 1, 1, 2};
    const std::uint64_t size = count / 4 * 3 + kRestBytes[rest];
    const DWORD done_error = cut ? static_cast<DWORD>(ERROR_HANDLE_EOF) : 0;
    if (out == nullptr) {
        *pcbOut = static_cast<DWORD>(size);
        SetLastError(done_error);
        return TRUE;
    }
    if (size > *pcbOut) {
        *pcbOut = 0;
        return fail(ERROR_MORE_DATA);
    }

    // Every character of the body is a member of the table in force when it
    // was read, and the universal table gives each of them the same value.
    std::uint64_t written = 0;
    std::uint32_t bits = 0;
    unsigned have = 0;
    for (std::size_t i = 0; i < body_end; ++i) {
        const char c = text[i];
        if (is_blank(c)) {
            continue;
        }
        const unsigned char v = abDecodeUniversal.value[static_cast<unsigned char>(c)];
        if (v == kNoMember) {
            return fail(ERROR_INTERNAL_ERROR);
        }
        bits = bits << 6 | v;
        if (++have == 4) {
            if (written + 3 > size) {
                return fail(ERROR_INTERNAL_ERROR);
            }
            out[written++] = static_cast<BYTE>(bits >> 16);
            out[written++] = static_cast<BYTE>(bits >> 8);
            out[written++] = static_cast<BYTE>(bits);
            bits = 0;
            have = 0;
        }
    }
    if (written + kRestBytes[have] > size) {
        return fail(ERROR_INTERNAL_ERROR);
    }
    if (have == 1 || have == 2) {
        out[written++] = static_cast<BYTE>(have == 1 ? bits << 2 : bits >> 4);
    } else if (have == 3) {
        out[written++] = static_cast<BYTE>(bits >> 10);
        out[written++] = static_cast<BYTE>(bits >> 2);
    }
    if (written != size) {
        return fail(ERROR_INTERNAL_ERROR);
    }
    *pcbOut = static_cast<DWORD>(written);
    SetLastError(done_error);
    return TRUE;
}

BOOL skip_base64_header(const char* text, DWORD cchText, const char** pBody, DWORD* pcchBody) {
    if (text == nullptr || pBody == nullptr || pcchBody == nullptr) {
        return fail(kErrorBadArguments);
    }
    // 0: before any header; 1: in the header's leading dashes; 2: in its
    // text; 3: in its trailing dashes and the line end.
    int state = 0;
    for (DWORD i = 0; i < cchText; ++i) {
        const char c = text[i];
        const bool space = halden::ascii_isspace(c);
        bool body = false;
        switch (state) {
            case 0:
                if (c == '-') {
                    state = 1;
                } else if (!space) {
                    body = true;
                }
                break;
            case 1:
                if (c != '-' && !space) {
                    state = 2;
                }
                break;
            case 2:
                if (c == '-') {
                    state = 3;
                }
                break;
            default:
                if (c != '-' && !space) {
                    body = true;
                }
                break;
        }
        if (body) {
            *pBody = text + i;
            *pcchBody = cchText - i;
            return TRUE;
        }
    }
    return FALSE;
}

BOOL base64hdr_decode_ex(const char* text, DWORD cchText, BYTE* out, DWORD* pcbOut, DWORD flags) {
    if (pcbOut == nullptr) {
        return fail(kErrorBadArguments);
    }
    if (text == nullptr) {
        *pcbOut = 0;
        return fail(kErrorBadArguments);
    }
    const char* body = nullptr;
    DWORD cchBody = 0;
    if (!skip_base64_header(text, cchText, &body, &cchBody)) {
        *pcbOut = 0;
        return fail(static_cast<DWORD>(CRYPT_E_BAD_ENCODE));
    }
    return base64_decode_ex(body, cchBody, out, pcbOut, flags);
}

BOOL base64hdr_encode(const Base64Hdrs* headerRecord, const BYTE* data, DWORD cbData, char* out, DWORD* pcbOut) {
    if (headerRecord == nullptr || headerRecord->cbSize != sizeof(Base64Hdrs) || headerRecord->pszHeader == nullptr ||
        headerRecord->pszFooter == nullptr || data == nullptr || pcbOut == nullptr) {
        return fail(kErrorBadArguments);
    }
    const std::size_t header = std::strlen(headerRecord->pszHeader);
    const std::size_t footer = std::strlen(headerRecord->pszFooter);
    const std::uint64_t body = encoded_size(cbData, 0);
    const std::uint64_t size = header + 1 + body + footer + 1;
    if (size > UINT32_MAX) {
        return fail(ERROR_ARITHMETIC_OVERFLOW);
    }
    if (out == nullptr) {
        *pcbOut = static_cast<DWORD>(size);
        SetLastError(0);
        return TRUE;
    }
    if (*pcbOut < size) {
        *pcbOut = static_cast<DWORD>(size);
        return fail(ERROR_MORE_DATA);
    }
    char* p = out;
    std::memcpy(p, headerRecord->pszHeader, header);
    p += header;
    *p++ = '\n';
    if (encode_body(data, cbData, p, 0) != body) {
        return fail(ERROR_INTERNAL_ERROR);
    }
    p += body;
    std::memcpy(p, headerRecord->pszFooter, footer);
    p += footer;
    *p++ = '\n';
    *pcbOut = static_cast<DWORD>(size);
    SetLastError(0);
    return TRUE;
}

BOOL base64_encode(const BYTE* data, DWORD cbData, char* out, DWORD* pcbOut) {
    return base64_encode_ex(data, cbData, out, pcbOut, 0);
}

BOOL base64_decode(const char* text, DWORD cchText, BYTE* out, DWORD* pcbOut) {
    return base64_decode_ex(text, cchText, out, pcbOut, 0);
}

BOOL base64hdr_decode(const char* text, DWORD cchText, BYTE* out, DWORD* pcbOut) {
    return base64hdr_decode_ex(text, cchText, out, pcbOut, 0);
}
