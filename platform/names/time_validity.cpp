// Whether a time lies in a certificate's validity or a CRL's update period.
// Both ends count as inside.
#include "platform/store/c_boundary.h"

using maren::store::fail_with;

namespace {

FILETIME time_or_now(const FILETIME *time) {
    if (time != nullptr) return *time;
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return now;
}

bool is_zero(const FILETIME &time) { return time.dwLowDateTime == 0 && time.dwHighDateTime == 0; }

}  // namespace

extern "C" {

// Without a certificate there is no validity to be inside of: the answer
// is "after", the one no caller takes for good.
LONG CertVerifyTimeValidity(LPFILETIME pTimeToVerify, PCERT_INFO pCertInfo) {
    if (pCertInfo == nullptr) return fail_with<LONG>(E_INVALIDARG, 1);
    const FILETIME time = time_or_now(pTimeToVerify);
    if (CompareFileTime(&time, &pCertInfo->NotBefore) < 0) return -1;
    if (CompareFileTime(&time, &pCertInfo->NotAfter) > 0) return 1;
    return 0;
}

// An absent NextUpdate (a zero time) never ends the period.
LONG CertVerifyCRLTimeValidity(LPFILETIME pTimeToVerify, PCRL_INFO pCrlInfo) {
    if (pCrlInfo == nullptr) return fail_with<LONG>(E_INVALIDARG, 1);
    const FILETIME time = time_or_now(pTimeToVerify);
    if (CompareFileTime(&time, &pCrlInfo->ThisUpdate) < 0) return -1;
    if (!is_zero(pCrlInfo->NextUpdate) && CompareFileTime(&time, &pCrlInfo->NextUpdate) > 0) return 1;
    return 0;
}

}  // extern "C"
