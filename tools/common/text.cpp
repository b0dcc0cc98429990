#include "tools/common/text.h"

#include <cstdio>
#include <cstring>

#include "base/ascii.h"
#include "tools/common/decoded.h"

namespace halden_tools {

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
    CERT_NAME_BLOB blob = name;  // the published signature takes a non-const pointer
    const DWORD str_type = CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG;
    const DWORD size = CertNameToStrA(X509_ASN_ENCODING, &blob, str_type, nullptr, 0);
    std::string text(size, '\0');
    CertNameToStrA(X509_ASN_ENCODING, &blob, str_type, &text[0], size);
    text.resize(std::strlen(text.c_str()));
    if (!text.empty()) return text;
    // Nothing to show: either a name without parts or one maren cannot read.
    if (decode_object(X509_UNICODE_NAME, name.pbData, name.cbData)) return "(empty name)";
    return "(undecodable name: " + hex_text(name.pbData, name.cbData) + ")";
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
