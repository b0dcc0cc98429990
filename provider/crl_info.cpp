#include "provider/crl_info.h"

#include <maren/context.h>

namespace halden {
namespace provider {

void ReleaseCrlInfo(CERT_REVOCATION_CRL_INFO* info) {
    if (info->pBaseCrlContext != nullptr) {
        CertFreeCRLContext(info->pBaseCrlContext);
        info->pBaseCrlContext = nullptr;
    }
    if (info->pDeltaCrlContext != nullptr) {
        CertFreeCRLContext(info->pDeltaCrlContext);
        info->pDeltaCrlContext = nullptr;
    }
    info->pCrlEntry = nullptr;
    info->fDeltaCrlEntry = FALSE;
}

}  // namespace provider
}  // namespace halden
