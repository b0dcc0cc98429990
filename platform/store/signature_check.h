// Signature checks the store functions need (CRL_FIND_ISSUED_BY_SIGNATURE_FLAG,
// CERT_STORE_SIGNATURE_FLAG). The arithmetic lives in platform/crypto,
// behind the published CryptVerifyCertificateSignature.
#ifndef MAREN_PLATFORM_STORE_SIGNATURE_CHECK_H
#define MAREN_PLATFORM_STORE_SIGNATURE_CHECK_H

#include "platform/store/encoded_object.h"

namespace maren::store {

// Whether `signed_object` verifies with `key`; the caller's last error is
// left as it was.
bool signature_verifies(const EncodedObject &signed_object, const CERT_PUBLIC_KEY_INFO &key);

}  // namespace maren::store

#endif
