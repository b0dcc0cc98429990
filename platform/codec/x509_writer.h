// X.509 pieces on top of the DER writer, shared by the CRL encoder and the
// public key import: algorithm identifiers and extension lists.
#pragma once

#include <maren/cert_structs.h>

#include "platform/codec/der_writer.h"

namespace maren::codec {

// SEQUENCE { OID, parameters as given (none when empty) }. False when the
// OID text is not an OID.
bool write_algorithm(DerWriter& out, const CRYPT_ALGORITHM_IDENTIFIER& algorithm);

// SEQUENCE OF Extension; critical written only when set. False for a bad
// OID or a null array.
bool write_extensions(DerWriter& out, DWORD count, const CERT_EXTENSION* extensions);

// SubjectPublicKeyInfo: the algorithm and the key's BIT STRING.
bool write_public_key_info(DerWriter& out, const CERT_PUBLIC_KEY_INFO& key);

}  // namespace maren::codec
