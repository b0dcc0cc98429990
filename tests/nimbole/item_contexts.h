/* The platform side of the item tests: contexts of the test PKI's bytes,
 * times on the FILETIME scale. */
#ifndef HALDEN_TESTS_NIMBOLE_ITEM_CONTEXTS_H
#define HALDEN_TESTS_NIMBOLE_ITEM_CONTEXTS_H

#include <cstdint>

#include <maren/maren.h>

#include "nimbole/handle_refs.h"
#include "tests/nimbole/item_pki.h"

namespace item_test {

using halden::nimbole::CertContextRef;
using halden::nimbole::CrlContextRef;

inline CertContextRef cert_context(const Bytes &der) {
    return CertContextRef::adopt(CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), DWORD(der.size())));
}
inline CrlContextRef crl_context(const Bytes &der) {
    return CrlContextRef::adopt(CertCreateCRLContext(X509_ASN_ENCODING, der.data(), DWORD(der.size())));
}

inline FILETIME filetime(std::time_t when) {
    const std::uint64_t ticks = (static_cast<std::uint64_t>(when) + 11644473600ull) * 10000000ull;
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

inline Bytes blob_bytes(const CRYPT_DATA_BLOB &blob) { return Bytes(blob.pbData, blob.pbData + blob.cbData); }

}  // namespace item_test

#endif
