/* A small PKI made at test time with OpenSSL: named EC keys, certificates
 * issued by one identity to another, CRLs, and the file forms (PEM, DER,
 * PKCS#7) tools read. Everything is DER bytes, ready for maren. OpenSSL's
 * names clash with the platform's (X509_NAME, ...), so only test_pki.cpp
 * sees OpenSSL. */
#ifndef MAREN_TESTS_PLATFORM_TEST_PKI_H
#define MAREN_TESTS_PLATFORM_TEST_PKI_H

#include <memory>
#include <string>
#include <vector>

struct evp_pkey_st;

namespace test_pki {

using Bytes = std::vector<unsigned char>;

/* A distinguished name "CN=<name>, O=Halden Test" with its own key. */
class Identity {
  public:
    explicit Identity(std::string common_name);
    const std::string &name() const { return name_; }
    evp_pkey_st *key() const { return key_.get(); }
    /* SHA-1 of the public key's bits, the usual key identifier. */
    Bytes key_id() const;

  private:
    std::string name_;
    std::shared_ptr<evp_pkey_st> key_;
};

struct CertOptions {
    long serial = 1;
    /* Validity in days relative to now. */
    int valid_from = -1;
    int valid_to = 365;
    bool ca = true;
    /* Subject and authority key identifiers. */
    bool key_ids = true;
    std::vector<std::string> crl_urls;
    std::string ocsp_url;
};

/* A certificate for subject, signed by issuer (the same identity for a
 * self-signed one). */
Bytes issue(const Identity &subject, const Identity &issuer, const CertOptions &options = {});
inline Bytes self_signed(const Identity &identity, const CertOptions &options = {}) {
    return issue(identity, identity, options);
}

struct Revoked {
    long serial;
    int reason;  // a CRL reason code, -1 for none
};

/* A v2 CRL valid from an hour ago for a week, with a CRL number. */
Bytes crl(const Identity &issuer, const std::vector<Revoked> &revoked, long number = 1);

/* The same bytes with the signature's last byte changed: still well
 * formed, no longer verifying. */
inline Bytes tampered(Bytes der) {
    der.back() ^= 0x01;
    return der;
}

std::string pem(const Bytes &der, const char *label);

/* SHA-1 in upper-case hexadecimal: the thumbprint tools show. */
std::string thumbprint(const Bytes &der);

/* A degenerate PKCS#7 SignedData carrying certificates and CRLs. */
Bytes pkcs7(const std::vector<Bytes> &certs, const std::vector<Bytes> &crls);

}  // namespace test_pki

#endif
