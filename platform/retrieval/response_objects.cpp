// OpenSSL's headers come first: maren's structure-type constants (X509_NAME
// and others) are macros that would rewrite OpenSSL's type names.
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include "platform/retrieval/response_objects.h"

#include <cstring>
#include <string>

#include "platform/host/trace_internal.h"
#include "platform/store/der_view.h"

namespace maren::retrieval {
namespace {

namespace der = maren::store::der;

enum class Shape { unknown, certificate, crl, pkcs7 };

// Tells the three apart by the top of the structure alone:
//   Certificate  SEQ { SEQ { [0]? INTEGER SEQ SEQ SEQ(validity) ... } ... }
//   CertificateList SEQ { SEQ { INTEGER? SEQ SEQ Time ... } ... }
//   ContentInfo  SEQ { OID ... }
Shape shape_of(const unsigned char *p, std::size_t n) {
    der::Value outer, first;
    if (!der::read(p, n, &outer) || outer.tag != der::kSequence) return Shape::unknown;
    der::Reader parts(outer);
    if (!parts.next(&first)) return Shape::unknown;
    if (first.tag == der::kObjectId) return Shape::pkcs7;
    if (first.tag != der::kSequence) return Shape::unknown;
    der::Reader fields(first);
    der::Value v;
    if (fields.peek_tag() == 0xA0 && !fields.next(&v)) return Shape::unknown;
    if (fields.peek_tag() == der::kInteger && !fields.next(&v)) return Shape::unknown;
    if (!fields.next(&v) || v.tag != der::kSequence) return Shape::unknown;  // algorithm or signature
    if (!fields.next(&v) || v.tag != der::kSequence) return Shape::unknown;  // issuer
    if (!fields.next(&v)) return Shape::unknown;
    if (v.tag == der::kUtcTime || v.tag == der::kGeneralizedTime) return Shape::crl;
    if (v.tag == der::kSequence) return Shape::certificate;
    return Shape::unknown;
}

struct BioFree {
    void operator()(BIO *bio) const { BIO_free(bio); }
};
struct Pkcs7Free {
    void operator()(PKCS7 *p7) const { PKCS7_free(p7); }
};

class Collector {
  public:
    Collector(ResponseObjects *out, WantedKinds wanted) : out_(out), wanted_(wanted) {}

    void certificate(const unsigned char *p, std::size_t n) {
        out_->recognised = true;
        if (!wanted_.certificates) return;
        PCCERT_CONTEXT context = CertCreateCertificateContext(X509_ASN_ENCODING, p, static_cast<DWORD>(n));
        if (context) out_->certificates.emplace_back(context);
        else MAREN_TRACE_INFO("retrieved certificate does not decode (%x)", static_cast<unsigned>(GetLastError()));
    }

    void crl(const unsigned char *p, std::size_t n) {
        out_->recognised = true;
        if (!wanted_.crls) return;
        PCCRL_CONTEXT context = CertCreateCRLContext(X509_ASN_ENCODING, p, static_cast<DWORD>(n));
        if (context) out_->crls.emplace_back(context);
        else MAREN_TRACE_INFO("retrieved CRL does not decode (%x)", static_cast<unsigned>(GetLastError()));
    }

    // The certificates and CRLs of a signed-data bundle, as DER again.
    void pkcs7(const unsigned char *p, std::size_t n) {
        const unsigned char *cursor = p;
        std::unique_ptr<PKCS7, Pkcs7Free> bundle(d2i_PKCS7(nullptr, &cursor, static_cast<long>(n)));
        if (!bundle || !PKCS7_type_is_signed(bundle.get()) || bundle->d.sign == nullptr) {
            ERR_clear_error();
            MAREN_TRACE_INFO("retrieved PKCS#7 is no signed-data bundle");
            return;
        }
        out_->recognised = true;
        STACK_OF(X509) *certs = bundle->d.sign->cert;
        for (int i = 0; certs != nullptr && i < sk_X509_num(certs); ++i) {
            unsigned char *encoded = nullptr;
            const int length = i2d_X509(sk_X509_value(certs, i), &encoded);
            if (length > 0) certificate(encoded, static_cast<std::size_t>(length));
            OPENSSL_free(encoded);
        }
        STACK_OF(X509_CRL) *crls = bundle->d.sign->crl;
        for (int i = 0; crls != nullptr && i < sk_X509_CRL_num(crls); ++i) {
            unsigned char *encoded = nullptr;
            const int length = i2d_X509_CRL(sk_X509_CRL_value(crls, i), &encoded);
            if (length > 0) crl(encoded, static_cast<std::size_t>(length));
            OPENSSL_free(encoded);
        }
        ERR_clear_error();
    }

    void der_object(const unsigned char *p, std::size_t n) {
        switch (shape_of(p, n)) {
            case Shape::certificate: certificate(p, n); break;
            case Shape::crl: crl(p, n); break;
            case Shape::pkcs7: pkcs7(p, n); break;
            case Shape::unknown: break;
        }
    }

    void pem_blocks(const unsigned char *p, std::size_t n) {
        std::unique_ptr<BIO, BioFree> bio(BIO_new_mem_buf(p, static_cast<int>(n)));
        if (!bio) return;
        for (;;) {
            char *name = nullptr;
            char *header = nullptr;
            unsigned char *data = nullptr;
            long length = 0;
            if (PEM_read_bio(bio.get(), &name, &header, &data, &length) != 1) break;
            const std::string type = name;
            const std::size_t size = static_cast<std::size_t>(length);
            if (type == "CERTIFICATE" || type == "X509 CERTIFICATE" || type == "TRUSTED CERTIFICATE") certificate(data, size);
            else if (type == "X509 CRL") crl(data, size);
            else if (type == "PKCS7" || type == "PKCS #7 SIGNED DATA") pkcs7(data, size);
            OPENSSL_free(name);
            OPENSSL_free(header);
            OPENSSL_free(data);
        }
        ERR_clear_error();
    }

  private:
    ResponseObjects *out_;
    WantedKinds wanted_;
};

bool looks_like_pem(const unsigned char *p, std::size_t n) {
    static const char kBegin[] = "-----BEGIN ";
    const std::size_t k = sizeof kBegin - 1;
    for (std::size_t i = 0; i + k <= n; ++i)
        if (p[i] == '-' && std::memcmp(p + i, kBegin, k) == 0) return true;
    return false;
}

}  // namespace

ResponseObjects parse_response(const unsigned char *data, std::size_t size, WantedKinds wanted) {
    ResponseObjects out;
    if (data == nullptr || size == 0) return out;
    Collector collector(&out, wanted);
    if (data[0] == der::kSequence) collector.der_object(data, size);
    else if (size <= 0x7FFFFFFF && looks_like_pem(data, size)) collector.pem_blocks(data, size);
    return out;
}

}  // namespace maren::retrieval
