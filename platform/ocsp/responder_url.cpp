#include "platform/ocsp/responder_url.h"

#include <cstdint>
#include <cstring>
#include <cwchar>
#include <vector>

#include <maren/cert_compare.h>
#include <maren/decode.h>
#include <maren/oids.h>

namespace Tarsis::PKI::OCSP::detail {
namespace {

bool has_http_scheme(const wchar_t* url) {
    // ASCII case fold only: schemes are ASCII.
    const auto starts_with = [url](const wchar_t* prefix) {
        std::size_t i = 0;
        for (; prefix[i] != L'\0'; ++i) {
            wchar_t c = url[i];
            if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
            if (c != prefix[i]) return false;
        }
        return true;
    };
    return starts_with(L"http://") || starts_with(L"https://");
}

}  // namespace

std::wstring responder_url(const CERT_CONTEXT* cert) {
    if (cert == nullptr || cert->pCertInfo == nullptr) return {};
    const CERT_INFO* info = cert->pCertInfo;
    const CERT_EXTENSION* ext = CertFindExtension(szOID_AUTHORITY_INFO_ACCESS, info->cExtension, info->rgExtension);
    if (ext == nullptr) return {};
    constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
    DWORD size = 0;
    if (!CryptDecodeObject(kEncoding, X509_AUTHORITY_INFO_ACCESS, ext->Value.pbData, ext->Value.cbData, 0, nullptr,
                           &size) ||
        size == 0)
        return {};
    std::vector<std::uint64_t> area((size + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t));
    if (!CryptDecodeObject(kEncoding, X509_AUTHORITY_INFO_ACCESS, ext->Value.pbData, ext->Value.cbData, 0,
                           area.data(), &size))
        return {};
    const auto* access = reinterpret_cast<const CERT_AUTHORITY_INFO_ACCESS*>(area.data());
    for (DWORD i = 0; i < access->cAccDescr; ++i) {
        const CERT_ACCESS_DESCRIPTION& description = access->rgAccDescr[i];
        if (description.pszAccessMethod == nullptr || std::strcmp(description.pszAccessMethod, szOID_PKIX_OCSP) != 0)
            continue;
        if (description.AccessLocation.dwAltNameChoice != CERT_ALT_NAME_URL) continue;
        const wchar_t* url = description.AccessLocation.pwszURL;
        if (url != nullptr && has_http_scheme(url)) return std::wstring(url);
    }
    return {};
}

}  // namespace Tarsis::PKI::OCSP::detail
