#include "tools/common/text.h"

#include <cstdio>
#include <cstring>

#include "base/ascii.h"
#include "tools/common/decoded.h"

namespace halden_tools {
namespace {

struct AttributeName {
    const char* oid;
    const char* label;
};

// The labels people read in distinguished names.
constexpr AttributeName kAttributeNames[] = {
    {"2.5.4.3", "CN"},       {"2.5.4.4", "SN"},        {"2.5.4.5", "SERIALNUMBER"}, {"2.5.4.6", "C"},
    {"2.5.4.7", "L"},        {"2.5.4.8", "S"},         {"2.5.4.9", "STREET"},       {"2.5.4.10", "O"},
    {"2.5.4.11", "OU"},      {"2.5.4.12", "T"},        {"2.5.4.42", "G"},           {"2.5.4.43", "I"},
    {"2.5.4.97", "OrgID"},   {"1.2.840.113549.1.9.1", "E"}, {"0.9.2342.19200300.100.1.25", "DC"},
    {"0.9.2342.19200300.100.1.1", "UID"},
};

std::string attribute_label(const char* oid) {
    for (const AttributeName& a : kAttributeNames)
        if (std::strcmp(a.oid, oid) == 0) return a.label;
    return std::string("OID.") + oid;
}

// Quotes a value that would otherwise read as more than one part.
std::string quoted_value(const std::string& value) {
    const bool plain = !value.empty() && value.find_first_of(",+=\"\n<>#;") == std::string::npos &&
                       !halden::ascii_isspace(value.front()) && !halden::ascii_isspace(value.back());
    if (plain) return value;
    std::string out = "\"";
    for (const char c : value) {
        if (c == '"') out.push_back('"');
        out.push_back(c);
    }
    out.push_back('"');
    return out;
}

std::string attribute_value(const CERT_RDN_ATTR& attr) {
    if (IS_CERT_RDN_CHAR_STRING(attr.dwValueType)) {
        // The wide decode gives each string type as wide characters.
        const auto* wide = reinterpret_cast<const wchar_t*>(attr.Value.pbData);
        return utf8_of(std::wstring(wide, attr.Value.cbData / sizeof(wchar_t)).c_str());
    }
    return "#" + hex_text(attr.Value.pbData, attr.Value.cbData);
}

}  // namespace

std::string hex_text(const BYTE* data, DWORD size, const char* separator) {
    std::string out;
    char digits[3];
    for (DWORD i = 0; i < size; ++i) {
        if (i != 0) out += separator;
        std::snprintf(digits, sizeof digits, "%02X", data[i]);
        out += digits;
    }
    return out;
}

std::string serial_text(const CRYPT_INTEGER_BLOB& serial) {
    std::vector<BYTE> big_endian(serial.pbData, serial.pbData + serial.cbData);
    std::vector<BYTE> reversed(big_endian.rbegin(), big_endian.rend());
    return hex_text(reversed.data(), static_cast<DWORD>(reversed.size()), " ");
}

std::string time_text(const FILETIME& time) {
    if (time.dwHighDateTime == 0 && time.dwLowDateTime == 0) return "(none)";
    SYSTEMTIME st{};
    if (!FileTimeToSystemTime(&time, &st)) return "(not a time)";
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u UTC", st.wYear, st.wMonth, st.wDay, st.wHour,
                  st.wMinute, st.wSecond);
    return text;
}

std::string utf8_of(const wchar_t* text) {
    if (text == nullptr) return std::string();
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return "(unreadable text)";
    std::string out(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], size, nullptr, nullptr);
    out.resize(static_cast<size_t>(size) - 1);
    return out;
}

std::wstring wide_of(const std::string& text) {
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    if (size <= 0) return std::wstring();
    std::wstring out(static_cast<size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, &out[0], size);
    out.resize(static_cast<size_t>(size) - 1);
    return out;
}

std::string oid_text(const char* oid) {
    if (oid == nullptr) return "(none)";
    const CRYPT_OID_INFO* info = CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, const_cast<char*>(oid), 0);
    if (info == nullptr || info->pwszName == nullptr || info->pwszName[0] == L'\0') return oid;
    return utf8_of(info->pwszName) + " (" + oid + ")";
}

std::string name_text(const CERT_NAME_BLOB& name) {
    const Decoded decoded = decode_object(X509_UNICODE_NAME, name.pbData, name.cbData);
    if (!decoded) return "(undecodable name: " + hex_text(name.pbData, name.cbData) + ")";
    const auto& info = decoded.as<CERT_NAME_INFO>();
    std::string out;
    for (DWORD r = info.cRDN; r-- > 0;) {
        const CERT_RDN& rdn = info.rgRDN[r];
        for (DWORD a = 0; a < rdn.cRDNAttr; ++a) {
            if (!out.empty()) out += a == 0 ? ", " : " + ";
            out += attribute_label(rdn.rgRDNAttr[a].pszObjId) + "=" + quoted_value(attribute_value(rdn.rgRDNAttr[a]));
        }
    }
    return out.empty() ? "(empty name)" : out;
}

std::string thumbprint_of(const BYTE* data, DWORD size) {
    BYTE hash[20];
    DWORD hash_size = sizeof hash;
    if (!CryptHashCertificate(0, CALG_SHA1, 0, data, size, hash, &hash_size)) return std::string(40, '?');
    return hex_text(hash, hash_size);
}

std::string parse_thumbprint(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        if (halden::ascii_hex_value(c) >= 0) digits.push_back(c >= 'a' && c <= 'f' ? static_cast<char>(c - 32) : c);
        else if (c != ':' && !halden::ascii_isspace(c)) return std::string();
    }
    return digits.size() == 40 ? digits : std::string();
}

}  // namespace halden_tools
