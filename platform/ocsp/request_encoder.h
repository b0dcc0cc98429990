// The DER OCSPRequest for a list of certificate identities.
#pragma once

#include <vector>

#include "platform/ocsp/cert_id.h"

namespace Tarsis::PKI::OCSP::detail {

struct EncodedRequest {
    Bytes der;
    // The nonce extension's value (extnValue), empty without a nonce.
    Bytes nonce;
};

// An unsigned v1 request; with a nonce, 16 random bytes in the request
// extension id-pkix-ocsp-nonce. Throws CryptException when an identity
// cannot be encoded.
EncodedRequest encode_request(const std::vector<CertIdState>& ids, bool with_nonce);

}  // namespace Tarsis::PKI::OCSP::detail
