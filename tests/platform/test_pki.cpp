#include "tests/platform/test_pki.h"

#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/sha.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace test_pki {
namespace {

struct X509Free {
    void operator()(X509 *cert) const { X509_free(cert); }
};
struct CrlFree {
    void operator()(X509_CRL *crl) const { X509_CRL_free(crl); }
};

void check(bool ok, const char *what) {
    if (!ok) throw std::runtime_error(std::string("test PKI: ") + what);
}

void set_name(X509_NAME *name, const std::string &common_name) {
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_UTF8, reinterpret_cast<const unsigned char *>("Halden Test"), -1,
                               -1, 0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char *>(common_name.c_str()), -1, -1, 0);
}

void add_extension(X509 *cert, int nid, const std::string &value) {
    X509V3_CTX ctx;
    X509V3_set_ctx(&ctx, nullptr, cert, nullptr, nullptr, 0);
    X509_EXTENSION *ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value.c_str());
    check(ext != nullptr, "extension");
    X509_add_ext(cert, ext, -1);
    X509_EXTENSION_free(ext);
}

void add_key_ids(X509 *cert, const Bytes &subject_id, const Bytes &issuer_id) {
    ASN1_OCTET_STRING *ski = ASN1_OCTET_STRING_new();
    ASN1_OCTET_STRING_set(ski, subject_id.data(), static_cast<int>(subject_id.size()));
    X509_add1_ext_i2d(cert, NID_subject_key_identifier, ski, 0, 0);
    ASN1_OCTET_STRING_free(ski);

    AUTHORITY_KEYID *aki = AUTHORITY_KEYID_new();
    aki->keyid = ASN1_OCTET_STRING_new();
    ASN1_OCTET_STRING_set(aki->keyid, issuer_id.data(), static_cast<int>(issuer_id.size()));
    X509_add1_ext_i2d(cert, NID_authority_key_identifier, aki, 0, 0);
    AUTHORITY_KEYID_free(aki);
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

Identity::Identity(std::string common_name)
    : name_(std::move(common_name)), key_(EVP_EC_gen("P-256"), EVP_PKEY_free) {
    check(key_ != nullptr, "key generation");
}

Bytes Identity::key_id() const {
    unsigned char *point = nullptr;
    const size_t size = EVP_PKEY_get1_encoded_public_key(key_.get(), &point);
    check(size > 0, "public key");
    Bytes id(SHA_DIGEST_LENGTH);
    SHA1(point, size, id.data());
    OPENSSL_free(point);
    return id;
}

Bytes issue(const Identity &subject, const Identity &issuer, const CertOptions &options) {
    std::unique_ptr<X509, X509Free> cert(X509_new());
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), options.serial);
    set_name(X509_get_subject_name(cert.get()), subject.name());
    set_name(X509_get_issuer_name(cert.get()), issuer.name());
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), 86400L * options.valid_from);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 86400L * options.valid_to);
    X509_set_pubkey(cert.get(), subject.key());
    add_extension(cert.get(), NID_basic_constraints, options.ca ? "critical,CA:TRUE" : "CA:FALSE");
    add_extension(cert.get(), NID_key_usage, options.ca ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature");
    if (options.key_ids) add_key_ids(cert.get(), subject.key_id(), issuer.key_id());
    std::string urls;
    for (const std::string &url : options.crl_urls) urls += (urls.empty() ? "URI:" : ",URI:") + url;
    if (!urls.empty()) add_extension(cert.get(), NID_crl_distribution_points, urls);
    if (!options.ocsp_url.empty()) add_extension(cert.get(), NID_info_access, "OCSP;URI:" + options.ocsp_url);
    check(X509_sign(cert.get(), issuer.key(), EVP_sha256()) > 0, "signing a certificate");
    return der_of<X509, i2d_X509>(cert.get());
}

Bytes crl(const Identity &issuer, const std::vector<Revoked> &revoked, long number) {
    std::unique_ptr<X509_CRL, CrlFree> list(X509_CRL_new());
    X509_CRL_set_version(list.get(), 1);
    set_name(X509_CRL_get_issuer(list.get()), issuer.name());
    ASN1_TIME *now = X509_gmtime_adj(nullptr, -3600);
    ASN1_TIME *next = X509_gmtime_adj(nullptr, 7 * 86400L);
    X509_CRL_set1_lastUpdate(list.get(), now);
    X509_CRL_set1_nextUpdate(list.get(), next);
    for (const Revoked &r : revoked) {
        X509_REVOKED *entry = X509_REVOKED_new();
        ASN1_INTEGER *serial = ASN1_INTEGER_new();
        ASN1_INTEGER_set(serial, r.serial);
        X509_REVOKED_set_serialNumber(entry, serial);
        ASN1_INTEGER_free(serial);
        X509_REVOKED_set_revocationDate(entry, now);
        if (r.reason >= 0) {
            ASN1_ENUMERATED *reason = ASN1_ENUMERATED_new();
            ASN1_ENUMERATED_set(reason, r.reason);
            X509_REVOKED_add1_ext_i2d(entry, NID_crl_reason, reason, 0, 0);
            ASN1_ENUMERATED_free(reason);
        }
        X509_CRL_add0_revoked(list.get(), entry);
    }
    ASN1_INTEGER *crl_number = ASN1_INTEGER_new();
    ASN1_INTEGER_set(crl_number, number);
    X509_CRL_add1_ext_i2d(list.get(), NID_crl_number, crl_number, 0, 0);
    ASN1_INTEGER_free(crl_number);
    ASN1_TIME_free(now);
    ASN1_TIME_free(next);
    X509_CRL_sort(list.get());
    check(X509_CRL_sign(list.get(), issuer.key(), EVP_sha256()) > 0, "signing a CRL");
    return der_of<X509_CRL, i2d_X509_CRL>(list.get());
}

std::string pem(const Bytes &der, const char *label) {
    std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new(BIO_s_mem()), &BIO_free);
    check(PEM_write_bio(bio.get(), label, "", der.data(), static_cast<long>(der.size())) > 0, "PEM");
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<size_t>(size));
}

std::string thumbprint(const Bytes &der) {
    unsigned char hash[SHA_DIGEST_LENGTH];
    SHA1(der.data(), der.size(), hash);
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const unsigned char b : hash) {
        text.push_back(kDigits[b >> 4]);
        text.push_back(kDigits[b & 15]);
    }
    return text;
}

Bytes pkcs7(const std::vector<Bytes> &certs, const std::vector<Bytes> &crls) {
    std::unique_ptr<PKCS7, decltype(&PKCS7_free)> p7(PKCS7_new(), &PKCS7_free);
    PKCS7_set_type(p7.get(), NID_pkcs7_signed);
    PKCS7_content_new(p7.get(), NID_pkcs7_data);
    for (const Bytes &der : certs) {
        const unsigned char *p = der.data();
        std::unique_ptr<X509, X509Free> cert(d2i_X509(nullptr, &p, static_cast<long>(der.size())));
        check(cert != nullptr && PKCS7_add_certificate(p7.get(), cert.get()) > 0, "PKCS#7 certificate");
    }
    for (const Bytes &der : crls) {
        const unsigned char *p = der.data();
        std::unique_ptr<X509_CRL, CrlFree> list(d2i_X509_CRL(nullptr, &p, static_cast<long>(der.size())));
        check(list != nullptr && PKCS7_add_crl(p7.get(), list.get()) > 0, "PKCS#7 CRL");
    }
    return der_of<PKCS7, i2d_PKCS7>(p7.get());
}

}  // namespace test_pki
