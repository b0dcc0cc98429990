// Look-ups of an attribute by type: in a list of attributes, and in a
// decoded distinguished name (RDNs and their attributes in encoded order).
#include <cstring>

#include "platform/store/c_boundary.h"

using maren::store::fail_with;

namespace {

bool same_oid(const char *a, const char *b) { return a != nullptr && std::strcmp(a, b) == 0; }

}  // namespace

extern "C" {

PCRYPT_ATTRIBUTE CertFindAttribute(LPCSTR pszObjId, DWORD cAttr, CRYPT_ATTRIBUTE rgAttr[]) {
    if (pszObjId == nullptr || (cAttr != 0 && rgAttr == nullptr))
        return fail_with<PCRYPT_ATTRIBUTE>(E_INVALIDARG, nullptr);
    for (DWORD i = 0; i < cAttr; ++i)
        if (same_oid(rgAttr[i].pszObjId, pszObjId)) return &rgAttr[i];
    return nullptr;
}

PCERT_RDN_ATTR CertFindRDNAttr(LPCSTR pszObjId, PCERT_NAME_INFO pName) {
    if (pszObjId == nullptr || pName == nullptr || (pName->cRDN != 0 && pName->rgRDN == nullptr))
        return fail_with<PCERT_RDN_ATTR>(E_INVALIDARG, nullptr);
    for (DWORD i = 0; i < pName->cRDN; ++i) {
        const CERT_RDN &rdn = pName->rgRDN[i];
        for (DWORD j = 0; j < rdn.cRDNAttr; ++j)
            if (same_oid(rdn.rgRDNAttr[j].pszObjId, pszObjId)) return &rdn.rgRDNAttr[j];
    }
    return nullptr;
}

}  // extern "C"
