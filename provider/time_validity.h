// Whether a certificate's private key was usable at a given time: by the
// private key usage period extension when the certificate has one, by the
// certificate's own validity otherwise. Both bounds are inclusive.
#ifndef HALDEN_PROVIDER_TIME_VALIDITY_H
#define HALDEN_PROVIDER_TIME_VALIDITY_H

#include <maren/context.h>

// 0 when the test could be made, its answer in *valid; E_FAIL when the
// extension can't be decoded (*valid false).
HRESULT IsCertContextValidOnTime(const CERT_CONTEXT* cert, const FILETIME& time, bool* valid);

// 0 when cert's key was valid at `time`, CRYPT_E_NO_REVOCATION_CHECK when
// it was not, or the negative code of IsCertContextValidOnTime.
HRESULT IsCertPrivateKeyValidOnTime(const CERT_CONTEXT* cert, const FILETIME& time);

#endif
