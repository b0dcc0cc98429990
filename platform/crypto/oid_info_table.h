// The static table behind CryptFindOIDInfo: the algorithms maren can hash
// and verify with, and the names of the common extensions and key usages.
#pragma once

#include <cstddef>

#include <maren/oid_info.h>

namespace maren::crypto {

// Algorithm ids with no published constant: GOST R 34.11-2012 (Streebog)
// hashes and GOST R 34.10-2012 public keys.
constexpr ALG_ID kAlgGostR3411_2012_256 = ALG_CLASS_HASH | ALG_TYPE_ANY | 33;
constexpr ALG_ID kAlgGostR3411_2012_512 = ALG_CLASS_HASH | ALG_TYPE_ANY | 34;
constexpr ALG_ID kAlgGostR3410_2012_256 = ALG_CLASS_SIGNATURE | (7 << 9) | 73;
constexpr ALG_ID kAlgGostR3410_2012_512 = ALG_CLASS_SIGNATURE | (7 << 9) | 61;

struct OidInfoTable {
    const CRYPT_OID_INFO* entries;
    std::size_t count;
};

// Never freed; entries of one OID appear in the order lookups prefer.
OidInfoTable oid_info_table();

}  // namespace maren::crypto
