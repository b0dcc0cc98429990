// The hash algorithms maren computes itself, by ALG_ID and by OID.
#pragma once

#include <optional>

#include <maren/crypt_basics.h>

#include "platform/crypto/digest.h"

namespace maren::crypto {

std::optional<DigestKind> hash_of_algid(ALG_ID algid);

// A bare hash OID (the hash group of the OID table); nothing for any other.
std::optional<DigestKind> hash_of_oid(const char* oid);

}  // namespace maren::crypto
