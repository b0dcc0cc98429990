// The certificates and CRLs in a retrieved response: one DER object, any
// number of PEM blocks ("CERTIFICATE", "X509 CERTIFICATE", "TRUSTED
// CERTIFICATE", "X509 CRL", "PKCS7"), or a PKCS#7 bundle (.p7c, .p7b), DER
// or PEM. Each object becomes a context; objects that don't decode are
// skipped.
#ifndef MAREN_PLATFORM_RETRIEVAL_RESPONSE_OBJECTS_H
#define MAREN_PLATFORM_RETRIEVAL_RESPONSE_OBJECTS_H

#include <memory>
#include <vector>

#include <maren/maren.h>

namespace maren::retrieval {

struct CertFree {
    void operator()(PCCERT_CONTEXT context) const { CertFreeCertificateContext(context); }
};
struct CrlFree {
    void operator()(PCCRL_CONTEXT context) const { CertFreeCRLContext(context); }
};
using CertHolder = std::unique_ptr<const CERT_CONTEXT, CertFree>;
using CrlHolder = std::unique_ptr<const CRL_CONTEXT, CrlFree>;

struct ResponseObjects {
    std::vector<CertHolder> certificates;
    std::vector<CrlHolder> crls;
    // Something in the response looked like an object, decodable or not.
    bool recognised = false;

    bool empty() const { return certificates.empty() && crls.empty(); }
};

// Which kinds to make contexts of; the other kind is only recognised.
struct WantedKinds {
    bool certificates = true;
    bool crls = true;
};

ResponseObjects parse_response(const unsigned char *data, std::size_t size, WantedKinds wanted);

}  // namespace maren::retrieval

#endif
