// Deep copies of public keys in malloc memory: the algorithm OID, its
// parameters and the key bits each get their own allocation, so that a copy
// outlives the certificate it came from.
#ifndef HALDEN_NIMBOLE_PUBLIC_KEY_COPY_H
#define HALDEN_NIMBOLE_PUBLIC_KEY_COPY_H

#include <maren/maren.h>

namespace halden::nimbole {

// Copies `from` into `to`. False, with nothing allocated and `to` zeroed,
// when an allocation fails. Empty parts stay null.
bool copy_key_info(CERT_PUBLIC_KEY_INFO* to, const CERT_PUBLIC_KEY_INFO* from);

// Releases what copy_key_info allocated and zeroes the structure.
void free_key_info(CERT_PUBLIC_KEY_INFO* key) noexcept;

// Whether two keys are the same, by the platform's comparison.
bool same_public_key(const CERT_PUBLIC_KEY_INFO& a, const CERT_PUBLIC_KEY_INFO& b);

}  // namespace halden::nimbole

#endif
