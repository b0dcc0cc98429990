// A CERT_PUBLIC_KEY_INFO as an OpenSSL key: its SubjectPublicKeyInfo is
// written out again from the fields and read by d2i_PUBKEY.
#pragma once

#include <maren/cert_structs.h>

#include "platform/crypto/openssl_ptr.h"

namespace maren::crypto {

// Null when the key is malformed or of an algorithm OpenSSL doesn't know.
EvpPkeyPtr public_key_from_info(const CERT_PUBLIC_KEY_INFO& info);

}  // namespace maren::crypto
