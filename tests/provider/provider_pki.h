// A small PKI made at test time with OpenSSL for the provider's tests: EC
// identities, certificates with an OCSP address and a private key usage
// period, OCSP responses for a certificate or for a request, and a look
// back into a CRL. Everything crosses as DER bytes; only provider_pki.cpp
// sees OpenSSL, whose names clash with the platform's.
#ifndef HALDEN_TESTS_PROVIDER_PROVIDER_PKI_H
#define HALDEN_TESTS_PROVIDER_PROVIDER_PKI_H

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct evp_pkey_st;

namespace provider_pki {

using Bytes = std::vector<unsigned char>;

// "CN=<name>, O=Halden Test" with a P-256 key.
class Identity {
public:
    explicit Identity(std::string common_name);
    const std::string& name() const { return name_; }
    evp_pkey_st* key() const { return key_.get(); }

private:
    std::string name_;
    std::shared_ptr<evp_pkey_st> key_;
};

struct CertOptions {
    // 0 takes the next of a process-wide counter, so that no two
    // certificates of a run share an OCSP identity.
    long serial = 0;
    // Validity in seconds relative to now.
    long valid_from = -86400;
    long valid_to = 365L * 86400;
    bool ca = false;
    std::string ocsp_url;
    // The private key usage period extension, with the bounds given.
    bool key_usage_period = false;
    std::optional<std::time_t> period_not_before;
    std::optional<std::time_t> period_not_after;
    // A private key usage period extension whose value is not a SEQUENCE.
    bool broken_key_usage_period = false;
};

Bytes issue(const Identity& subject, const Identity& issuer, const CertOptions& options = {});
inline Bytes self_signed(const Identity& identity, CertOptions options = {}) {
    options.ca = true;
    return issue(identity, identity, options);
}

enum class CertStatus { good, revoked, unknown };

// How a responder answers.
struct ResponseSpec {
    // The OCSPResponseStatus; anything but 0 makes a bare response.
    int response_status = 0;
    CertStatus status = CertStatus::good;
    std::time_t revoked_at = 0;
    long this_update = -3600;
    std::optional<long> next_update = 3600L;
    // Answers each identity this many times.
    int copies = 1;
    // Flips the signature's last byte after signing.
    bool tamper_signature = false;
    // The signer's certificate goes into the response unless this is set.
    bool omit_signer_cert = false;
};

// A response about `cert` issued by `issuer`, signed by signer_key with
// signer_cert as the responder's certificate.
Bytes ocsp_response_for(const Bytes& cert, const Bytes& issuer, const Identity& signer_key, const Bytes& signer_cert,
                        const ResponseSpec& plan);

// A response to a DER OCSPRequest, answering each identity in it.
Bytes ocsp_response_to(const Bytes& request, const Identity& signer_key, const Bytes& signer_cert,
                       const ResponseSpec& plan);

// The serial number of the first identity of a DER OCSPRequest, -1 when it
// can't be read.
long first_requested_serial(const Bytes& request);

long serial_of(const Bytes& cert);

// What a CRL says, read back with OpenSSL.
struct CrlView {
    long version = -1;   // 1 for a v2 CRL
    std::string issuer;  // one line, OpenSSL's form
    std::time_t this_update = 0;
    std::time_t next_update = 0;
    std::vector<long> revoked_serials;
    std::vector<std::time_t> revocation_dates;
    std::string outer_algorithm;  // dotted OID
    bool outer_algorithm_has_parameters = true;
    std::string inner_algorithm;  // dotted OID
    int extension_count = 0;
    std::string extension_oid;
    bool extension_critical = false;
    Bytes extension_value;
    Bytes signature;
    Bytes to_be_signed;
};
CrlView read_crl(const Bytes& der);

// OpenSSL's one-line form of a certificate's subject.
std::string subject_of(const Bytes& cert);

Bytes sha1(const Bytes& data);

}  // namespace provider_pki

#endif
