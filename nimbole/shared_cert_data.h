// What the engine needs from a certificate, decoded once when its item is
// built and shared by every copy of the item. An extension that is absent
// or doesn't decode leaves its field null or false; it is never an error.
#ifndef HALDEN_NIMBOLE_SHARED_CERT_DATA_H
#define HALDEN_NIMBOLE_SHARED_CERT_DATA_H

#include <optional>
#include <string>
#include <vector>

#include <decode/decode.h>
#include <maren/maren.h>

#include "nimbole/cached_sign.h"
#include "nimbole/cert_name.h"
#include "nimbole/encoding_order.h"
#include "nimbole/x509_decode.h"

namespace halden::nimbole {

// The tri-state words: worked out on first need by their readers and never
// reset.
constexpr DWORD kTriStateUnknown = 2;

struct SHARED_CERT_DATA {
    // Points into the context's extension bytes; empty when absent or
    // malformed.
    CRYPT_DATA_BLOB subject_key_id{};
    Decoded<CERT_AUTHORITY_KEY_ID2_INFO> aki;
    std::vector<BYTE> aki_key_id;
    Decoded<CRYPT_BIT_BLOB> key_usage;
    Decoded<CERT_POLICIES_INFO> cert_policies;
    Decoded<CERT_POLICIES_INFO> app_policies;
    Decoded<CTL_USAGE> ext_key_usage;
    Decoded<CRL_DIST_POINTS_INFO> crl_dist_points;
    Decoded<CRL_DIST_POINTS_INFO> freshest_crl;
    bool has_basic_constraints = false;
    CERT_BASIC_CONSTRAINTS2_INFO basic_constraints{};
    // Null when absent, or when it names neither bound.
    Decoded<TSCERT_PRIVATEKEY_USAGE_PERIOD> pkup;
    bool has_policy_constraints = false;
    CERT_POLICY_CONSTRAINTS_INFO policy_constraints{};
    bool has_app_policy_constraints = false;
    CERT_POLICY_CONSTRAINTS_INFO app_policy_constraints{};
    Decoded<CERT_AUTHORITY_INFO_ACCESS> aia;
    CertNamePtr issuer_name;
    CertNamePtr subject_name;
    // 1 signed by its own key, 0 not.
    DWORD self_signed = kTriStateUnknown;
    // 1 issuer name equals subject name, 0 not.
    DWORD self_issued = kTriStateUnknown;
    // Written by path validation: the policies valid at this certificate,
    // anyPolicy left out.
    std::vector<std::string> valid_issuance_policies;
    std::vector<std::string> valid_application_policies;
    CACHED_SIGN sign;
    // The SHA-1 of the encoding, fetched the first time the order needs it.
    std::optional<EncodingDigest> digest;
};

// The deleter of the shared pointer; never throws.
void free_cert_data(SHARED_CERT_DATA* data) noexcept;

// Fills a fresh block from the certificate's decoded body, in a fixed
// order. Only allocation failures throw.
void fill_cert_data(SHARED_CERT_DATA& data, const CERT_INFO& info);

// The subject key identifier's value with its OCTET STRING header stepped
// over by hand. Malformed values set the last error (0x80093101 or
// 0x80093102) and give an empty blob. A value whose stated length is
// shorter than what follows keeps all of it.
CRYPT_DATA_BLOB subject_key_identifier(DWORD cExtension, CERT_EXTENSION* rgExtension);

}  // namespace halden::nimbole

#endif
