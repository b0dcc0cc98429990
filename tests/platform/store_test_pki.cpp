#include "tests/platform/store_test_pki.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <ctime>
#include <stdexcept>

namespace store_test {
namespace {

void check(int ok, const char *what) {
    if (ok != 1) throw std::runtime_error(what);
}

X509_NAME *new_name(const std::string &common_name) {
    X509_NAME *name = X509_NAME_new();
    check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                     reinterpret_cast<const unsigned char *>(common_name.c_str()), -1, -1, 0),
          "name");
    return name;
}

template <class T, class Encode>
Bytes der_of(T *object, Encode encode) {
    unsigned char *out = nullptr;
    const int n = encode(object, &out);
    if (n <= 0) throw std::runtime_error("encode");
    Bytes der(out, out + n);
    OPENSSL_free(out);
    return der;
}

void add_crl_extension(X509_CRL *crl, int nid, int critical, void *value) {
    check(X509_CRL_add1_ext_i2d(crl, nid, value, critical, X509V3_ADD_DEFAULT), "crl extension");
}

}  // namespace

Key make_key() {
    Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    if (!key) throw std::runtime_error("EVP_EC_gen");
    return key;
}

Bytes name_der(const std::string &common_name) {
    X509_NAME *name = new_name(common_name);
    Bytes der = der_of(name, i2d_X509_NAME);
    X509_NAME_free(name);
    return der;
}

std::string hex(const Bytes &bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char b : bytes) {
        text += digits[b >> 4];
        text += digits[b & 15];
    }
    return text;
}

Bytes sha1_of(const unsigned char *p, size_t n) {
    Bytes out(SHA_DIGEST_LENGTH);
    SHA1(p, n, out.data());
    return out;
}

Bytes to_be_signed_of(const Bytes &certificate) {
    const unsigned char *p = certificate.data();
    X509 *x = d2i_X509(nullptr, &p, long(certificate.size()));
    if (!x) throw std::runtime_error("d2i_X509");
    Bytes tbs = der_of(x, i2d_re_X509_tbs);
    X509_free(x);
    return tbs;
}

Bytes make_cert(const CertPlan &plan) {
    X509 *cert = X509_new();
    check(X509_set_version(cert, 2), "version");
    ASN1_INTEGER_set(X509_get_serialNumber(cert), plan.serial);
    X509_NAME *subject = new_name(plan.subject);
    X509_NAME *issuer = new_name(plan.issuer.empty() ? plan.subject : plan.issuer);
    X509_set_subject_name(cert, subject);
    X509_set_issuer_name(cert, issuer);
    X509_NAME_free(subject);
    X509_NAME_free(issuer);
    X509_gmtime_adj(X509_getm_notBefore(cert), -86400);
    X509_gmtime_adj(X509_getm_notAfter(cert), 365 * 86400L);
    check(X509_set_pubkey(cert, plan.subject_key.get()), "pubkey");
    if (!plan.subject_key_id.empty()) {
        ASN1_OCTET_STRING *id = ASN1_OCTET_STRING_new();
        ASN1_OCTET_STRING_set(id, plan.subject_key_id.data(), int(plan.subject_key_id.size()));
        check(X509_add1_ext_i2d(cert, NID_subject_key_identifier, id, 0, X509V3_ADD_DEFAULT), "ski");
        ASN1_OCTET_STRING_free(id);
    }
    if (!X509_sign(cert, (plan.issuer_key ? plan.issuer_key : plan.subject_key).get(), EVP_sha256()))
        throw std::runtime_error("sign");
    Bytes der = der_of(cert, i2d_X509);
    X509_free(cert);
    return der;
}

Bytes make_crl(const CrlPlan &plan) {
    X509_CRL *crl = X509_CRL_new();
    if (!plan.v1) check(X509_CRL_set_version(crl, 1), "crl version");
    X509_NAME *issuer = new_name(plan.issuer);
    X509_CRL_set_issuer_name(crl, issuer);
    X509_NAME_free(issuer);
    ASN1_TIME *t = ASN1_TIME_adj(nullptr, time(nullptr), int(plan.this_update_days), 0);
    X509_CRL_set1_lastUpdate(crl, t);
    ASN1_TIME_adj(t, time(nullptr), 7, 0);
    X509_CRL_set1_nextUpdate(crl, t);
    for (long serial : plan.revoked) {
        X509_REVOKED *entry = X509_REVOKED_new();
        ASN1_INTEGER *number = ASN1_INTEGER_new();
        ASN1_INTEGER_set(number, serial);
        X509_REVOKED_set_serialNumber(entry, number);
        X509_REVOKED_set_revocationDate(entry, t);
        ASN1_INTEGER_free(number);
        X509_CRL_add0_revoked(crl, entry);
    }
    ASN1_TIME_free(t);
    if (!plan.v1 && plan.crl_number) {
        ASN1_INTEGER *number = ASN1_INTEGER_new();
        ASN1_INTEGER_set(number, 1);
        add_crl_extension(crl, NID_crl_number, 0, number);
        if (plan.is_delta) add_crl_extension(crl, NID_delta_crl, 1, number);
        ASN1_INTEGER_free(number);
    }
    if (!plan.v1 && !plan.aki.empty()) {
        AUTHORITY_KEYID *aki = AUTHORITY_KEYID_new();
        aki->keyid = ASN1_OCTET_STRING_new();
        ASN1_OCTET_STRING_set(aki->keyid, plan.aki.data(), int(plan.aki.size()));
        add_crl_extension(crl, NID_authority_key_identifier, 0, aki);
        AUTHORITY_KEYID_free(aki);
    }
    if (!X509_CRL_sign(crl, plan.issuer_key.get(), EVP_sha256())) throw std::runtime_error("crl sign");
    Bytes der = der_of(crl, i2d_X509_CRL);
    X509_CRL_free(crl);
    return der;
}

}  // namespace store_test
