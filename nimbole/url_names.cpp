#include "nimbole/url_names.h"

#include <cstring>
#include <utility>

namespace halden::nimbole {
namespace {

// Appends the entry when it is a URL that converts in the platform's code
// page.
void append_url(const CERT_ALT_NAME_ENTRY& entry, std::vector<std::string>& urls) {
    if (entry.dwAltNameChoice != CERT_ALT_NAME_URL || entry.pwszURL == nullptr) return;
    const int size = WideCharToMultiByte(CP_ACP, 0, entry.pwszURL, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return;
    std::string url(static_cast<std::size_t>(size), '\0');
    if (WideCharToMultiByte(CP_ACP, 0, entry.pwszURL, -1, url.data(), size, nullptr, nullptr) != size) return;
    urls.push_back(std::move(url));
}

}  // namespace

std::vector<std::string> dpName_as_strvec(const CRL_DIST_POINT_NAME* name) {
    std::vector<std::string> urls;
    if (name == nullptr || name->dwDistPointNameChoice != CRL_DIST_POINT_FULL_NAME) return urls;
    const CERT_ALT_NAME_INFO& full = name->FullName;
    for (DWORD i = 0; i < full.cAltEntry; ++i) append_url(full.rgAltEntry[i], urls);
    return urls;
}

std::vector<std::string> parse_AIA(const CERT_AUTHORITY_INFO_ACCESS* aia) {
    std::vector<std::string> urls;
    if (aia == nullptr) return urls;
    for (DWORD i = 0; i < aia->cAccDescr; ++i) {
        const CERT_ACCESS_DESCRIPTION& access = aia->rgAccDescr[i];
        if (access.pszAccessMethod == nullptr || std::strcmp(access.pszAccessMethod, szOID_PKIX_CA_ISSUERS) != 0)
            continue;
        append_url(access.AccessLocation, urls);
    }
    return urls;
}

}  // namespace halden::nimbole
