#include "nimbole/crl_sets.h"

namespace halden::nimbole {

void file_crl(const CRLEntry& crl, crl_set& crls, delta_map& deltas) {
    const CRL_INFO& info = crl.key().info();
    if (CertFindExtension(szOID_DELTA_CRL_INDICATOR, info.cExtension, info.rgExtension) != nullptr) {
        const SHARED_CRL_DATA& data = crl.key().data();
        deltas[data.aki_key_id][data.idp_raw].insert(crl);
    } else {
        crls.insert(crl);
    }
}

}  // namespace halden::nimbole
