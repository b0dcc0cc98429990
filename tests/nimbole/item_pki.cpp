#include "tests/nimbole/item_pki.h"

#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/x509.h>

namespace item_test {
namespace {

void check(bool ok, const char *what) {
    if (!ok) throw std::runtime_error(std::string("item PKI: ") + what);
}

void set_cn(X509_NAME *name, const std::string &value) {
    check(X509_NAME_add_entry_by_txt(name, "CN", V_ASN1_PRINTABLESTRING,
                                     reinterpret_cast<const unsigned char *>(value.data()), int(value.size()), -1,
                                     0) == 1,
          "name");
}

/* Raw DER values, whatever they hold, as non-critical extensions. */
template <typename T, int (*add)(T *, X509_EXTENSION *, int)>
void add_extensions(T *object, const std::vector<Ext> &extensions) {
    for (const Ext &e : extensions) {
        ASN1_OBJECT *oid = OBJ_txt2obj(e.oid.c_str(), 1);
        ASN1_OCTET_STRING *value = ASN1_OCTET_STRING_new();
        ASN1_OCTET_STRING_set(value, e.value.data(), int(e.value.size()));
        X509_EXTENSION *extension = X509_EXTENSION_create_by_OBJ(nullptr, oid, 0, value);
        check(extension != nullptr && add(object, extension, -1) == 1, "extension");
        X509_EXTENSION_free(extension);
        ASN1_OCTET_STRING_free(value);
        ASN1_OBJECT_free(oid);
    }
}

template <typename T, int (*encode)(const T *, unsigned char **)>
Bytes der_of(const T *object) {
    unsigned char *out = nullptr;
    const int size = encode(object, &out);
    check(size > 0, "encoding");
    Bytes der(out, out + size);
    OPENSSL_free(out);
    return der;
}

}  // namespace

Key::Key() : key_(EVP_EC_gen("P-256"), EVP_PKEY_free) { check(key_ != nullptr, "key generation"); }

Bytes make_cert(const CertSpec &plan, const Key &subject, const Key &signer) {
    std::unique_ptr<X509, decltype(&X509_free)> cert(X509_new(), X509_free);
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), plan.serial);
    set_cn(X509_get_subject_name(cert.get()), plan.subject);
    set_cn(X509_get_issuer_name(cert.get()), plan.issuer);
    check(ASN1_TIME_set(X509_getm_notBefore(cert.get()), plan.not_before) &&
              ASN1_TIME_set(X509_getm_notAfter(cert.get()), plan.not_after),
          "validity");
    X509_set_pubkey(cert.get(), subject.get());
    add_extensions<X509, X509_add_ext>(cert.get(), plan.extensions);
    check(X509_sign(cert.get(), signer.get(), EVP_sha256()) > 0, "signing a certificate");
    return der_of<X509, i2d_X509>(cert.get());
}

Bytes make_crl(const CrlSpec &plan, const Key &signer) {
    std::unique_ptr<X509_CRL, decltype(&X509_CRL_free)> list(X509_CRL_new(), X509_CRL_free);
    std::unique_ptr<ASN1_TIME, decltype(&ASN1_TIME_free)> when(ASN1_TIME_new(), ASN1_TIME_free);
    X509_CRL_set_version(list.get(), 1);
    set_cn(X509_CRL_get_issuer(list.get()), plan.issuer);
    check(ASN1_TIME_set(when.get(), plan.this_update) && X509_CRL_set1_lastUpdate(list.get(), when.get()), "time");
    check(ASN1_TIME_set(when.get(), plan.this_update + 7 * 86400) && X509_CRL_set1_nextUpdate(list.get(), when.get()),
          "time");
    // In the order given: the entries are not sorted.
    for (const Entry &e : plan.entries) {
        X509_REVOKED *entry = X509_REVOKED_new();
        ASN1_INTEGER *serial = ASN1_INTEGER_new();
        ASN1_INTEGER_set(serial, e.serial);
        X509_REVOKED_set_serialNumber(entry, serial);
        ASN1_INTEGER_free(serial);
        check(ASN1_TIME_set(when.get(), e.revoked) && X509_REVOKED_set_revocationDate(entry, when.get()), "time");
        add_extensions<X509_REVOKED, X509_REVOKED_add_ext>(entry, e.extensions);
        X509_CRL_add0_revoked(list.get(), entry);
    }
    add_extensions<X509_CRL, X509_CRL_add_ext>(list.get(), plan.extensions);
    check(X509_CRL_sign(list.get(), signer.get(), EVP_sha256()) > 0, "signing a CRL");
    return der_of<X509_CRL, i2d_X509_CRL>(list.get());
}

}  // namespace item_test
