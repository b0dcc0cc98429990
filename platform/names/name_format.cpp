#include "platform/names/name_format.h"

#include <cwchar>

#include "base/ascii.h"
#include "platform/names/attribute_keys.h"
#include "platform/names/decoded.h"

namespace maren::names {
namespace {

// The format sits in the low word, the flags above it.
constexpr DWORD kFormatMask = 0xFFFF;

bool is_blank(wchar_t c) { return c < 0x80 && halden::ascii_isspace(static_cast<char>(c)); }

// A value that would otherwise read as more than one part, or lose its
// blanks, is quoted. So is an empty one, which would vanish.
bool needs_quotes(const std::wstring &value) {
    return value.empty() || is_blank(value.front()) || is_blank(value.back()) ||
           value.find_first_of(L",+=\"\n<>#;") != std::wstring::npos;
}

void append_quoted(const std::wstring &value, std::wstring *out) {
    out->push_back(L'"');
    for (const wchar_t c : value) {
        if (c == L'"') out->push_back(L'"');
        out->push_back(c);
    }
    out->push_back(L'"');
}

void append_ascii(const char *text, std::wstring *out) {
    for (; *text != '\0'; ++text) out->push_back(static_cast<wchar_t>(static_cast<unsigned char>(*text)));
}

void append_key(const char *oid, DWORD format, std::wstring *out) {
    if (format == CERT_SIMPLE_NAME_STR || oid == nullptr) return;
    const char *key = format == CERT_X500_NAME_STR ? attribute_key(oid) : nullptr;
    if (key != nullptr) {
        append_ascii(key, out);
    } else {
        if (format == CERT_X500_NAME_STR) append_ascii("OID.", out);
        append_ascii(oid, out);
    }
    out->push_back(L'=');
}

}  // namespace

std::wstring value_text(const CERT_RDN_ATTR &attr) {
    const CERT_RDN_VALUE_BLOB &value = attr.Value;
    if (IS_CERT_RDN_CHAR_STRING(attr.dwValueType)) {
        const auto *units = reinterpret_cast<const wchar_t *>(value.pbData);
        const size_t count = value.pbData != nullptr ? value.cbData / sizeof(wchar_t) : 0;
        size_t length = 0;
        while (length < count && units[length] != L'\0') ++length;
        return std::wstring(units, length);
    }
    static const wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring out = L"#";
    for (DWORD i = 0; i < value.cbData; ++i) {
        out.push_back(kDigits[value.pbData[i] >> 4]);
        out.push_back(kDigits[value.pbData[i] & 15]);
    }
    return out;
}

std::wstring format_name(const CERT_NAME_INFO &name, DWORD str_type) {
    const DWORD format = str_type & kFormatMask;
    const wchar_t *const rdn_separator = (str_type & CERT_NAME_STR_SEMICOLON_FLAG) ? L"; "
                                         : (str_type & CERT_NAME_STR_CRLF_FLAG)    ? L"\r\n"
                                                                                   : L", ";
    const wchar_t *const attr_separator = (str_type & CERT_NAME_STR_NO_PLUS_FLAG) ? L" " : L" + ";
    const bool quoting = (str_type & CERT_NAME_STR_NO_QUOTING_FLAG) == 0;
    const bool reverse = (str_type & CERT_NAME_STR_REVERSE_FLAG) != 0;

    std::wstring out;
    bool first = true;
    for (DWORD i = 0; i < name.cRDN; ++i) {
        const CERT_RDN &rdn = name.rgRDN[reverse ? name.cRDN - 1 - i : i];
        for (DWORD j = 0; j < rdn.cRDNAttr; ++j) {
            const CERT_RDN_ATTR &attr = rdn.rgRDNAttr[j];
            if (!first) out += j == 0 ? rdn_separator : attr_separator;
            first = false;
            append_key(attr.pszObjId, format, &out);
            const std::wstring value = value_text(attr);
            // The '#' form of a non-string value is meant to be read as is.
            if (quoting && IS_CERT_RDN_CHAR_STRING(attr.dwValueType) && needs_quotes(value))
                append_quoted(value, &out);
            else
                out += value;
        }
    }
    return out;
}

bool name_to_text(DWORD encoding, const CERT_NAME_BLOB &name, DWORD str_type, std::wstring *text) {
    const DWORD format = str_type & kFormatMask;
    if (format != CERT_SIMPLE_NAME_STR && format != CERT_OID_NAME_STR && format != CERT_X500_NAME_STR) {
        SetLastError(DWORD(E_INVALIDARG));
        return false;
    }
    const DWORD decode_flags =
        (str_type & CERT_NAME_STR_DISABLE_IE4_UTF8_FLAG) ? CRYPT_UNICODE_NAME_DECODE_DISABLE_IE4_UTF8_FLAG : 0;
    const Decoded<CERT_NAME_INFO> info =
        decode_as<CERT_NAME_INFO>(encoding, X509_UNICODE_NAME, name.pbData, name.cbData, decode_flags);
    if (!info) return false;
    *text = format_name(*info, str_type);
    return true;
}

}  // namespace maren::names
