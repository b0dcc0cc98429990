#include "nimbole/item_text.h"

#include <cstring>

namespace halden::nimbole {

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
    CERT_NAME_BLOB blob = name;
    const DWORD size = CertNameToStrW(X509_ASN_ENCODING, &blob, CERT_X500_NAME_STR, nullptr, 0);
    if (size <= 1) return {};
    std::wstring text(size, L'\0');
    const DWORD written = CertNameToStrW(X509_ASN_ENCODING, &blob, CERT_X500_NAME_STR, text.data(), size);
    text.resize(written > 0 ? written - 1 : 0);
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
