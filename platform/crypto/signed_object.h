// The three parts of any signed object (certificate, CRL, request):
// SEQUENCE { toBeSigned, AlgorithmIdentifier, BIT STRING }. Views into the
// caller's bytes.
#pragma once

#include <string>

#include <maren/types.h>

#include "platform/codec/der_reader.h"

namespace maren::crypto {

struct SignedObject {
    // The to-be-signed element whole, as the signature covers it.
    codec::DerView to_be_signed;
    std::string algorithm;
    // The algorithm's parameters whole; empty when absent.
    codec::DerView parameters;
    // The BIT STRING's bytes behind its unused-bits count.
    codec::DerView signature;
    unsigned unused_bits = 0;
};

// 0, or the last error for a malformed object: CRYPT_E_ASN1_BADTAG for a
// tag out of place, CRYPT_E_ASN1_EOD for a truncated one,
// CRYPT_E_ASN1_CORRUPT for anything else.
HRESULT parse_signed_object(const BYTE* encoded, DWORD size, SignedObject* out);

}  // namespace maren::crypto
