// An OCSP response stapled to a certificate as its CERT_OCSP_RESPONSE_PROP_ID
// property: tested before anything else, since a good one costs no issuer
// search and no network.
#ifndef HALDEN_PROVIDER_STAPLED_RESPONSE_H
#define HALDEN_PROVIDER_STAPLED_RESPONSE_H

#include <maren/revocation.h>

namespace halden {
namespace provider {

// 0: the stapled response says good. kNoVerdict: there is none, or it
// decides nothing. Any other code: a failure that ends the check of this
// certificate (CRYPT_E_REVOKED among them). When para asks for CRL
// information, a successful response is also handed back as a synthetic
// CRL. ConvertOcspToCrl and the response's status may throw.
HRESULT CheckStapledResponse(const CERT_CONTEXT* cert, CERT_REVOCATION_PARA* para);

}  // namespace provider
}  // namespace halden

#endif
