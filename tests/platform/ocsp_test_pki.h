/* OCSP artifacts made at test time with OpenSSL: delegated responder
 * certificates, responses of every kind (good, revoked, unknown, stale,
 * early, badly signed, unsuccessful, with a nonce), a small responder that
 * answers real requests, and OpenSSL's own view of a CertID. Everything is
 * DER bytes; only ocsp_test_pki.cpp sees OpenSSL. */
#ifndef MAREN_TESTS_PLATFORM_OCSP_TEST_PKI_H
#define MAREN_TESTS_PLATFORM_OCSP_TEST_PKI_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/platform/test_pki.h"

namespace ocsp_pki {

using test_pki::Bytes;
using test_pki::Identity;

/* A responder's certificate issued by a CA; with ocsp_signing, the extended
 * key usage id-kp-OCSPSigning. */
struct ResponderOptions {
    long serial = 1000;
    bool ocsp_signing = true;
    int valid_from = -1;  // days from now
    int valid_to = 30;
};
Bytes responder_cert(const Identity &subject, const Identity &issuer, const ResponderOptions &options = {});

enum class Status { good, revoked, unknown };

/* One single response. The CertID is made by OpenSSL from the issuer's
 * certificate and the serial (the certificate's own unless serial >= 0). */
struct Single {
    Bytes cert;
    Bytes issuer;
    long serial = -1;
    Status status = Status::good;
    long revoked_at = -7200;  // seconds from now
    int reason = -1;          // CRLReason, -1 for none
    long this_update = -3600;
    std::optional<long> next_update = 86400L;
    bool sha256 = false;  // the CertID's hash
};

/* Who signs: a key and its certificate. */
struct Signer {
    const Identity *key = nullptr;
    Bytes cert;
    bool include_cert = true;
    bool by_key = false;  // responderID byKey rather than byName
};

struct ResponseOptions {
    /* The nonce value put in the response's nonce extension. */
    std::optional<Bytes> nonce;
    /* Flip a bit of the signature after signing. */
    bool tamper_signature = false;
};

Bytes response(const std::vector<Single> &singles, const Signer &signer, const ResponseOptions &options = {});

/* An OCSPResponse with an unsuccessful status and no body. */
Bytes error_response(int status);

/* OpenSSL's CertID for cert issued by issuer (OCSP_cert_to_id, SHA-1). */
struct CertIdParts {
    std::string hash_oid;
    Bytes name_hash;
    Bytes key_hash;
    Bytes serial;  // INTEGER content octets
};
CertIdParts openssl_cert_id(const Bytes &cert, const Bytes &issuer);

/* OpenSSL's request for one certificate, without a nonce. */
Bytes openssl_request(const Bytes &cert, const Bytes &issuer);

/* The nonce value of a request, empty without one. */
Bytes request_nonce(const Bytes &request);

/* A responder for one CA: statuses by serial, signed by `signer`. Serials
 * it doesn't know are "unknown". The request's nonce is echoed. */
class MiniResponder {
  public:
    MiniResponder(Bytes issuer_cert, Signer signer) : issuer_(std::move(issuer_cert)), signer_(std::move(signer)) {}
    void set(long serial, Status status) { statuses_[serial] = status; }
    std::optional<long> next_update = 86400L;
    /* Answer with this nonce instead of the request's. */
    std::optional<Bytes> nonce_override;
    /* The answer to a DER request; throws std::runtime_error for a request
     * OpenSSL can't read. */
    Bytes answer(const Bytes &request) const;
    /* The answer to a GET whose path ends in `segment`. */
    Bytes answer_get(const std::string &segment) const;

  private:
    Bytes issuer_;
    Signer signer_;
    std::map<long, Status> statuses_;
};

/* The key in PKCS#8 PEM, for OpenSSL's own responder. */
std::string private_key_pem(const Identity &identity);

/* Base64 of the request, URL-encoded: the GET path segment. */
std::string get_segment(const Bytes &request);

}  // namespace ocsp_pki

#endif
