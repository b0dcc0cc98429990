/* Certificates and CRLs made with OpenSSL at test time, with extensions
 * given as raw DER values (der.h), so that broken values are as easy to
 * make as good ones. OpenSSL's names clash with the platform's, so only
 * item_pki.cpp sees OpenSSL and this header sees neither. */
#ifndef HALDEN_TESTS_NIMBOLE_ITEM_PKI_H
#define HALDEN_TESTS_NIMBOLE_ITEM_PKI_H

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "tests/nimbole/der.h"

struct evp_pkey_st;

namespace item_test {

using Bytes = std::vector<unsigned char>;

inline std::time_t days_from_now(double days) { return std::time(nullptr) + static_cast<std::time_t>(days * 86400); }

/* A P-256 key. */
class Key {
public:
    Key();
    evp_pkey_st *get() const { return key_.get(); }

private:
    std::shared_ptr<evp_pkey_st> key_;
};

struct Ext {
    std::string oid;
    Bytes value;
};

/* Names are one PrintableString common name. */
struct CertSpec {
    explicit CertSpec(std::string subject_cn = "Leaf", std::string issuer_cn = "Root", long serial_number = 1)
        : subject(std::move(subject_cn)), issuer(std::move(issuer_cn)), serial(serial_number) {}
    std::string subject;
    std::string issuer;
    long serial;
    std::time_t not_before = days_from_now(-1);
    std::time_t not_after = days_from_now(365);
    std::vector<Ext> extensions;
};
Bytes make_cert(const CertSpec &plan, const Key &subject, const Key &signer);

struct Entry {
    Entry(long serial_number, std::time_t revoked_at = days_from_now(-1), std::vector<Ext> entry_extensions = {})
        : serial(serial_number), revoked(revoked_at), extensions(std::move(entry_extensions)) {}
    long serial;
    std::time_t revoked;
    std::vector<Ext> extensions;
};

struct CrlSpec {
    std::string issuer = "Root";
    std::time_t this_update = days_from_now(-0.5);
    std::vector<Entry> entries;
    std::vector<Ext> extensions;
};
Bytes make_crl(const CrlSpec &plan, const Key &signer);

}  // namespace item_test

#endif
