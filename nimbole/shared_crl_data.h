// What the engine needs from a CRL, decoded once when its item is built and
// shared by every copy of the item. Extension problems leave fields empty.
#ifndef HALDEN_NIMBOLE_SHARED_CRL_DATA_H
#define HALDEN_NIMBOLE_SHARED_CRL_DATA_H

#include <optional>
#include <vector>

#include <maren/maren.h>

#include "nimbole/cached_sign.h"
#include "nimbole/cert_name.h"
#include "nimbole/encoding_order.h"
#include "nimbole/x509_decode.h"

namespace halden::nimbole {

// The CRL's own statement of its matching rule: an ENUMERATED in a private
// extension.
constexpr char kCrlMatchingOid[] = "1.2.643.2.2.49.1";
// What the statement says: the platform-style matching on, off, or left to
// the configuration and the CRL's other extensions.
constexpr int kCrlMatchingOn = 0;
constexpr int kCrlMatchingOff = 1;
constexpr int kCrlMatchingUnstated = -1;

struct SHARED_CRL_DATA {
    CertNamePtr issuer_name;
    Decoded<CERT_AUTHORITY_KEY_ID2_INFO> aki;
    std::vector<BYTE> aki_key_id;
    // The undecoded authority key identifier; points into the context. Empty
    // when absent or undecodable.
    CRYPT_DATA_BLOB aki_raw{};
    Decoded<CRL_ISSUING_DIST_POINT> idp;
    // The undecoded issuing distribution point, kept also when it doesn't
    // decode: deltas are filed under it.
    std::vector<BYTE> idp_raw;
    Decoded<CRL_DIST_POINTS_INFO> freshest_crl;
    int crl_matching = kCrlMatchingUnstated;
    CACHED_SIGN sign;
    // The SHA-1 of the encoding, fetched the first time the order needs it.
    std::optional<EncodingDigest> digest;
};

// The deleter of the shared pointer; never throws.
void free_crl_data(SHARED_CRL_DATA* data) noexcept;

// Fills a fresh block from the CRL's decoded body. Only allocation failures
// throw.
void fill_crl_data(SHARED_CRL_DATA& data, const CRL_INFO& info);

// kCrlMatchingOn, kCrlMatchingOff, or kCrlMatchingUnstated when the
// extension is absent, doesn't decode or holds another value.
int fill_tsCertCrlMatching(const CRL_INFO& info);

}  // namespace halden::nimbole

#endif
