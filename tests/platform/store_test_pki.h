/* Certificates and CRLs made with OpenSSL at test time, for the store
 * tests and the store benchmark. Kept apart from the platform headers,
 * whose structure-type constants clash with OpenSSL's type names. */
#ifndef MAREN_TESTS_PLATFORM_STORE_TEST_PKI_H
#define MAREN_TESTS_PLATFORM_STORE_TEST_PKI_H

#include <memory>
#include <string>
#include <vector>

struct evp_pkey_st;

namespace store_test {

using Bytes = std::vector<unsigned char>;
using Key = std::shared_ptr<evp_pkey_st>;

/* A P-256 key: quick to make and to sign with. */
Key make_key();

struct CertPlan {
    CertPlan(std::string subject_name, std::string issuer_name, long serial_number, Key key, Key signer = nullptr)
        : subject(std::move(subject_name)), issuer(std::move(issuer_name)), serial(serial_number),
          subject_key(std::move(key)), issuer_key(std::move(signer)) {}
    /* A subject key identifier extension with this value. */
    CertPlan &key_id(Bytes id) {
        subject_key_id = std::move(id);
        return *this;
    }

    std::string subject;
    std::string issuer;  // empty: self-issued
    long serial;
    Key subject_key;
    Key issuer_key;  // null: signed with subject_key
    Bytes subject_key_id;
};
Bytes make_cert(const CertPlan &plan);

struct CrlPlan {
    CrlPlan(std::string issuer_name, Key key, std::vector<long> revoked_serials = {})
        : issuer(std::move(issuer_name)), issuer_key(std::move(key)), revoked(std::move(revoked_serials)) {}
    /* No version field and no extensions. */
    CrlPlan &version1() {
        v1 = true;
        return *this;
    }
    /* Version 2 without the CRL number: no extensions at all. */
    CrlPlan &no_extensions() {
        crl_number = false;
        return *this;
    }
    CrlPlan &delta() {
        is_delta = true;
        return *this;
    }
    CrlPlan &authority_key_id(Bytes id) {
        aki = std::move(id);
        return *this;
    }
    CrlPlan &this_update(long days) {
        this_update_days = days;
        return *this;
    }

    std::string issuer;
    Key issuer_key;
    std::vector<long> revoked;
    bool v1 = false;
    bool crl_number = true;
    bool is_delta = false;
    Bytes aki;
    long this_update_days = -1;
};
Bytes make_crl(const CrlPlan &plan);

/* The DER of a Name with one common name, as certificates carry it. */
Bytes name_der(const std::string &common_name);
Bytes sha1_of(const unsigned char *p, size_t n);
/* The to-be-signed part of a DER certificate. */
Bytes to_be_signed_of(const Bytes &certificate);
std::string hex(const Bytes &bytes);

}  // namespace store_test

#endif
