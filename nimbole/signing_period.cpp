#include "nimbole/signing_period.h"

#include "nimbole/certificate_item.h"
#include "nimbole/strict_pkup.h"

namespace halden::nimbole {

bool within_signing_period(const FILETIME& moment, const CertificateItem& issuer) {
    const FILETIME* lower = &issuer.info().NotBefore;
    const FILETIME* upper = &issuer.info().NotAfter;
    if (const TSCERT_PRIVATEKEY_USAGE_PERIOD* period = issuer.data().pkup.get()) {
        lower = period->pNotBefore;
        upper = period->pNotAfter;
    }
    if (lower != nullptr && CompareFileTime(&moment, lower) < 0) return false;
    return upper == nullptr || CompareFileTime(&moment, upper) <= 0;
}

bool was_valid_to_sign_at(const FILETIME& moment, const CertificateItem& issuer) {
    return !IsStrictPkupCheckOn() || within_signing_period(moment, issuer);
}

}  // namespace halden::nimbole
