// The strict check of an issuer's private key usage period: under the
// process-wide switch \config\MarenCheck\StrictPkupCheck, an object signed
// at a moment (a certificate's NotBefore, a CRL's ThisUpdate) must fall
// within its signer's private key usage period, or within the signer's
// validity when the signer states no such period.
#ifndef HALDEN_NIMBOLE_SIGNING_PERIOD_H
#define HALDEN_NIMBOLE_SIGNING_PERIOD_H

#include <maren/maren.h>

namespace halden::nimbole {

class CertificateItem;

// Whether `moment` lies within the period of `issuer`'s signing key; both
// bounds inclusive, an absent bound open.
bool within_signing_period(const FILETIME& moment, const CertificateItem& issuer);

// True when the strict check is off; otherwise within_signing_period.
bool was_valid_to_sign_at(const FILETIME& moment, const CertificateItem& issuer);

}  // namespace halden::nimbole

#endif
