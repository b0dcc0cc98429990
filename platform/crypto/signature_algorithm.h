// Signature algorithms maren verifies: what a signature AlgorithmIdentifier
// asks of the key and of OpenSSL.
#pragma once

#include <string>

#include <openssl/evp.h>

#include <maren/types.h>

#include "platform/codec/der_reader.h"

namespace maren::crypto {

enum class SignatureFamily { rsa_pkcs1, rsa_pss, ecdsa, ed25519, dsa, gost2012_256, gost2012_512 };

struct SignatureScheme {
    SignatureFamily family = SignatureFamily::rsa_pkcs1;
    // Null for Ed25519, which hashes inside the signature.
    const EVP_MD* digest = nullptr;
    // RSA-PSS only.
    const EVP_MD* mgf1_digest = nullptr;
    int salt_length = 0;
};

// The scheme of a signature algorithm with its parameters (whole elements,
// empty when absent). 0, or NTE_BAD_ALGID for an algorithm maren doesn't
// verify (or RSA-PSS parameters it can't use), CRYPT_E_ASN1_BADTAG or
// CRYPT_E_ASN1_EOD for malformed RSA-PSS parameters.
HRESULT signature_scheme(const std::string& oid, codec::DerView parameters, SignatureScheme* out);

// True when a key of OpenSSL's type `key_type` (EVP_PKEY_get_base_id)
// belongs to the family.
bool key_fits(SignatureFamily family, int key_type);

}  // namespace maren::crypto
