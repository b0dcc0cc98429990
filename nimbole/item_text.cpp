#include "nimbole/item_text.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include <decode/decode.h>

#include "nimbole/x509_decode.h"

namespace halden::nimbole {
namespace {

struct Label {
    const char* oid;
    const wchar_t* label;
};

const Label kLabels[] = {
    {szOID_COMMON_NAME, L"CN"},         {szOID_ORGANIZATION_NAME, L"O"},   {szOID_ORGANIZATIONAL_UNIT_NAME, L"OU"},
    {szOID_COUNTRY_NAME, L"C"},         {szOID_LOCALITY_NAME, L"L"},       {szOID_STATE_OR_PROVINCE_NAME, L"S"},
    {szOID_RSA_emailAddr, L"E"},        {szOID_SUR_NAME, L"SN"},           {szOID_GIVEN_NAME, L"G"},
    {szOID_TITLE, L"T"},                {szOID_INITIALS, L"I"},
};

std::wstring attribute_label(const char* oid) {
    if (oid == nullptr) return L"?";
    for (const Label& row : kLabels)
        if (std::strcmp(row.oid, oid) == 0) return row.label;
    return std::wstring(oid, oid + std::strlen(oid));
}

// Diagnostics only. The decoder stores UTF8String, BMPString and
// UniversalString values in 32-bit units; everything else is read as UTF-8,
// and bytes that aren't UTF-8 as they come.
std::wstring value_text(const CERT_RDN_ATTR& attribute) {
    const CERT_RDN_VALUE_BLOB& value = attribute.Value;
    if (value.cbData == 0) return {};
    const DWORD type = attribute.dwValueType & CERT_RDN_TYPE_MASK;
    if (type == CERT_RDN_UTF8_STRING || type == CERT_RDN_BMP_STRING || type == CERT_RDN_UNIVERSAL_STRING) {
        std::wstring wide(value.cbData / sizeof(wchar_t), L'\0');
        std::memcpy(wide.data(), value.pbData, wide.size() * sizeof(wchar_t));
        return wide;
    }
    const auto* bytes = reinterpret_cast<const char*>(value.pbData);
    const int length = static_cast<int>(value.cbData);
    const int needed = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, length, nullptr, 0);
    if (needed > 0) {
        std::wstring wide(static_cast<size_t>(needed), L'\0');
        if (MultiByteToWideChar(CP_UTF8, 0, bytes, length, wide.data(), needed) == needed) return wide;
    }
    return std::wstring(value.pbData, value.pbData + value.cbData);
}

}  // namespace

std::wstring widen_prefix(const char* prefix) {
    if (prefix == nullptr || *prefix == '\0') return {};
    const int length = static_cast<int>(std::strlen(prefix));
    const int needed = MultiByteToWideChar(CP_ACP, 0, prefix, length, nullptr, 0);
    if (needed <= 0) return {};
    std::wstring wide(static_cast<size_t>(needed), L'\0');
    const int written = MultiByteToWideChar(CP_ACP, 0, prefix, length, wide.data(), needed);
    wide.resize(written > 0 ? static_cast<size_t>(written) : 0);
    return wide;
}

std::wstring name_text(const CERT_NAME_BLOB& name) {
    if (name.cbData == 0 || name.pbData == nullptr) return {};
    DWORD size = 0;
    if (!TSDecodeObject(0, X509_CERT_NAME_LENIENT, name.pbData, name.cbData, 0, nullptr, &size) || size == 0)
        return {};
    std::vector<std::uint64_t> area(size / sizeof(std::uint64_t) + 1);
    if (!TSDecodeObject(kCertEncoding, X509_CERT_NAME_LENIENT, name.pbData, name.cbData, 0, area.data(), &size))
        return {};
    const auto* info = reinterpret_cast<const CERT_NAME_INFO*>(area.data());
    std::wstring text;
    for (DWORD r = 0; r < info->cRDN; ++r) {
        const CERT_RDN& rdn = info->rgRDN[r];
        for (DWORD a = 0; a < rdn.cRDNAttr; ++a) {
            const CERT_RDN_ATTR& attribute = rdn.rgRDNAttr[a];
            text += a == 0 ? (r == 0 ? L"" : L", ") : L" + ";
            text += attribute_label(attribute.pszObjId) + L"=" + value_text(attribute);
        }
    }
    return text;
}

std::wstring serial_text(const CRYPT_INTEGER_BLOB& serial) {
    static const wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    for (DWORD i = serial.cbData; i-- > 0;) {
        text.push_back(kDigits[serial.pbData[i] >> 4]);
        text.push_back(kDigits[serial.pbData[i] & 0x0F]);
    }
    return text;
}

}  // namespace halden::nimbole
