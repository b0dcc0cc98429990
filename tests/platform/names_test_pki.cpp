#include "tests/platform/names_test_pki.h"

#include <memory>
#include <stdexcept>

#include <openssl/asn1.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace names_test {
namespace {

void check(bool ok, const char *what) {
    if (!ok) throw std::runtime_error(std::string("names test PKI: ") + what);
}

template <class T, void (*Free)(T *)>
struct Freer {
    void operator()(T *p) const { Free(p); }
};
using NamePtr = std::unique_ptr<X509_NAME, Freer<X509_NAME, X509_NAME_free>>;
using CertPtr = std::unique_ptr<X509, Freer<X509, X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
using ObjectPtr = std::unique_ptr<ASN1_OBJECT, Freer<ASN1_OBJECT, ASN1_OBJECT_free>>;
using StringPtr = std::unique_ptr<ASN1_STRING, Freer<ASN1_STRING, ASN1_STRING_free>>;

unsigned long mask_of(Encoded as) {
    switch (as) {
    case Encoded::Printable: return B_ASN1_PRINTABLESTRING;
    case Encoded::Bmp: return B_ASN1_BMPSTRING;
    case Encoded::Ia5: return B_ASN1_IA5STRING;
    default: return B_ASN1_UTF8STRING;
    }
}

NamePtr make_name(const Name &attributes) {
    NamePtr name(X509_NAME_new());
    for (const Attribute &a : attributes) {
        ObjectPtr type(OBJ_txt2obj(a.type.c_str(), 0));
        check(type != nullptr, "attribute type");
        ASN1_STRING *converted = nullptr;
        check(ASN1_mbstring_copy(&converted, reinterpret_cast<const unsigned char *>(a.value.data()),
                                 static_cast<int>(a.value.size()), MBSTRING_UTF8, mask_of(a.as)) > 0,
              "attribute value");
        StringPtr value(converted);
        check(X509_NAME_add_entry_by_OBJ(name.get(), type.get(), ASN1_STRING_type(value.get()),
                                         ASN1_STRING_get0_data(value.get()), ASN1_STRING_length(value.get()), -1,
                                         a.joins_previous ? -1 : 0) == 1,
              "name entry");
    }
    return name;
}

GENERAL_NAMES *alt_names(X509 *cert, int nid, const std::string &conf) {
    if (conf.empty()) return sk_GENERAL_NAME_new_null();
    X509V3_CTX ctx;
    X509V3_set_ctx(&ctx, nullptr, cert, nullptr, nullptr, 0);
    X509_EXTENSION *ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, conf.c_str());
    check(ext != nullptr, "alternative names");
    auto *names = static_cast<GENERAL_NAMES *>(X509V3_EXT_d2i(ext));
    X509_EXTENSION_free(ext);
    check(names != nullptr, "alternative names");
    return names;
}

void add_alt_names(X509 *cert, int nid, const std::string &conf, const Name &directory) {
    if (conf.empty() && directory.empty()) return;
    GENERAL_NAMES *names = alt_names(cert, nid, conf);
    if (!directory.empty()) {
        GENERAL_NAME *entry = GENERAL_NAME_new();
        GENERAL_NAME_set0_value(entry, GEN_DIRNAME, make_name(directory).release());
        sk_GENERAL_NAME_push(names, entry);
    }
    const int added = X509_add1_ext_i2d(cert, nid, names, 0, 0);
    GENERAL_NAMES_free(names);
    check(added == 1, "alternative names extension");
}

}  // namespace

Bytes name_der(const Name &attributes) {
    NamePtr name = make_name(attributes);
    unsigned char *out = nullptr;
    const int size = i2d_X509_NAME(name.get(), &out);
    check(size > 0, "name encoding");
    Bytes der(out, out + size);
    OPENSSL_free(out);
    return der;
}

Bytes certificate(const CertSpec &plan) {
    KeyPtr key(EVP_EC_gen("P-256"));
    check(key != nullptr, "key");
    CertPtr cert(X509_new());
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 7);
    X509_set_subject_name(cert.get(), make_name(plan.subject).get());
    X509_set_issuer_name(cert.get(), make_name(plan.issuer).get());
    X509_time_adj_ex(X509_getm_notBefore(cert.get()), plan.valid_from_days, 0, nullptr);
    X509_time_adj_ex(X509_getm_notAfter(cert.get()), plan.valid_to_days, 0, nullptr);
    X509_set_pubkey(cert.get(), key.get());
    add_alt_names(cert.get(), NID_subject_alt_name, plan.subject_alt, plan.subject_alt_directory);
    add_alt_names(cert.get(), NID_issuer_alt_name, plan.issuer_alt, {});
    check(X509_sign(cert.get(), key.get(), EVP_sha256()) > 0, "signature");
    unsigned char *out = nullptr;
    const int size = i2d_X509(cert.get(), &out);
    check(size > 0, "certificate encoding");
    Bytes der(out, out + size);
    OPENSSL_free(out);
    return der;
}

}  // namespace names_test
