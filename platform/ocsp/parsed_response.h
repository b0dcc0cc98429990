// An OCSP response (RFC 6960) taken apart once: what the accessors of
// CResponse give, and the bytes its checks need. Never changed after
// parsing, so one parse may be shared by any number of threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <maren/cert_structs.h>

#include "base/date_time.h"
#include "platform/chain/handles.h"
#include "platform/ocsp/cert_id.h"

namespace Tarsis::PKI::OCSP::detail {

struct SingleResponse {
    CertIdState id;
    // 0 good, 1 revoked, 2 unknown.
    int status = 2;
    Tarsis::CDateTime this_update;
    std::optional<Tarsis::CDateTime> next_update;
    std::optional<Tarsis::CDateTime> revocation_time;
    // CRLReason, -1 when absent.
    int reason = -1;
};

struct ParsedResponse {
    Bytes der;
    // OCSPResponseStatus.
    int status = -1;
    // Everything below is empty unless the status is successful (0).
    std::vector<SingleResponse> singles;
    Tarsis::CDateTime produced_at;
    std::string signature_oid;
    // The parameters' whole element; empty when absent.
    Bytes signature_parameters;
    // SEQUENCE { tbsResponseData, signatureAlgorithm, signature }: the
    // signed object as the platform's signature check reads it.
    Bytes signed_core;
    // Encoded certificates the responder sent along.
    std::vector<Bytes> certs;
    // The responderID: an encoded Name, or the SHA-1 of the responder's key.
    Bytes responder_name;
    Bytes responder_key_hash;
    // The nonce extension's value (extnValue), when present.
    std::optional<Bytes> nonce;

    // The single response about id, or -1.
    long index_of(const CertIdState& id) const;

    // The signature on the response checked with key: 0 or the platform's
    // code. Results are remembered per key, since a cached response is
    // checked again at every use.
    HRESULT verify_signature(const CERT_PUBLIC_KEY_INFO& key) const;

    // Contexts of the certificates, made on first use; one that does not
    // decode is left out.
    const std::vector<maren::chain::CertHandle>& certificates() const;

    // Delegated responders already found certified by an issuer (named by
    // its CertIdState::key() without serial): the issuer's signature on a
    // delegate does not change, so it is checked once per response.
    bool is_known_delegate(const CERT_CONTEXT* delegate, const std::string& issuer) const;
    void remember_delegate(const CERT_CONTEXT* delegate, const std::string& issuer) const;

private:
    mutable std::mutex memo_lock_;
    mutable std::vector<std::pair<std::string, HRESULT>> memo_;
    mutable std::vector<std::pair<std::string, Bytes>> delegates_;
    mutable std::once_flag certificates_once_;
    mutable std::vector<maren::chain::CertHandle> certificates_;
};

// The time checks of one single response at `now` (FILETIME ticks):
// thisUpdate not beyond now plus the clock skew, nextUpdate, when given,
// not before now minus the skew. 0 or CERT_E_EXPIRED.
HRESULT check_single_times(const SingleResponse& single, std::uint64_t now);

// Parses a DER OCSPResponse; throws CryptException (CRYPT_E_ASN1_CORRUPT)
// for anything that is not one, trailing bytes included, and
// (ERROR_FILE_TOO_LARGE) above max_size bytes.
std::shared_ptr<const ParsedResponse> parse_response(const std::uint8_t* der, std::size_t size,
                                                     std::size_t max_size);

}  // namespace Tarsis::PKI::OCSP::detail
