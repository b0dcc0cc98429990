// The caller's CERT_REVOCATION_CRL_INFO: the CRL contexts in it belong to
// the caller of the provider once they are stored there.
#ifndef HALDEN_PROVIDER_CRL_INFO_H
#define HALDEN_PROVIDER_CRL_INFO_H

#include <maren/chain.h>

namespace halden {
namespace provider {

// Frees a present base and delta CRL context and clears all four fields.
void ReleaseCrlInfo(CERT_REVOCATION_CRL_INFO* info);

}  // namespace provider
}  // namespace halden

#endif
