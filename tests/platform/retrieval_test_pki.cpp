#include "tests/platform/retrieval_test_pki.h"

#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

namespace retrieval_test {

Bytes p7_bundle(const std::vector<Bytes> &certificates, const std::vector<Bytes> &crls) {
    PKCS7 *p7 = PKCS7_new();
    PKCS7_set_type(p7, NID_pkcs7_signed);
    PKCS7_content_new(p7, NID_pkcs7_data);
    for (const Bytes &der : certificates) {
        const unsigned char *p = der.data();
        X509 *cert = d2i_X509(nullptr, &p, static_cast<long>(der.size()));
        PKCS7_add_certificate(p7, cert);
        X509_free(cert);
    }
    for (const Bytes &der : crls) {
        const unsigned char *p = der.data();
        X509_CRL *crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(der.size()));
        PKCS7_add_crl(p7, crl);
        X509_CRL_free(crl);
    }
    unsigned char *out = nullptr;
    const int length = i2d_PKCS7(p7, &out);
    Bytes bundle(out, out + (length > 0 ? length : 0));
    OPENSSL_free(out);
    PKCS7_free(p7);
    return bundle;
}

std::string pem(const Bytes &der, const std::string &label) {
    BIO *bio = BIO_new(BIO_s_mem());
    PEM_write_bio(bio, label.c_str(), "", der.data(), static_cast<long>(der.size()));
    char *data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    std::string text(data, static_cast<size_t>(length));
    BIO_free(bio);
    return text;
}

}  // namespace retrieval_test
