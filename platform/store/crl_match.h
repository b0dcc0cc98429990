// The tests a CRL passes to count as issued by a certificate, beyond the
// issuer name that the store's index already matched: the authority key
// identifier, the signature, base or delta.
#ifndef MAREN_PLATFORM_STORE_CRL_MATCH_H
#define MAREN_PLATFORM_STORE_CRL_MATCH_H

#include "platform/store/encoded_object.h"

namespace maren::store {

// Carries the delta CRL indicator extension.
bool is_delta_crl(const EncodedObject &crl);

// The CRL_FIND_ISSUED_BY_* flags: AKI (a CRL with an authority key
// identifier must name `issuer`, by key identifier or by issuer and serial
// number), SIGNATURE (the CRL verifies with the issuer's key), DELTA and
// BASE (only that kind; both or neither: either). With no issuer, the tests
// that need one pass.
bool crl_issued_by(const EncodedObject &crl, const EncodedObject *issuer, DWORD flags);

}  // namespace maren::store

#endif
