// Equality tests on decoded certificates, extension look-up, and the
// search of a certificate in a CRL.
#include <cstring>

#include "platform/store/c_boundary.h"
#include "platform/store/crl_serial_index.h"

using namespace maren::store;

namespace {

bool same_bytes(const BYTE *a, DWORD na, const BYTE *b, DWORD nb) {
    return na == nb && (na == 0 || std::memcmp(a, b, na) == 0);
}

// Length of a little-endian integer without its redundant high-order bytes
// (0x00 before a byte below 0x80, 0xFF before one at or above it).
DWORD significant_bytes(const CRYPT_INTEGER_BLOB &value) {
    DWORD n = value.cbData;
    while (n > 1) {
        const BYTE top = value.pbData[n - 1];
        const BYTE next = value.pbData[n - 2];
        if ((top == 0x00 && next < 0x80) || (top == 0xFF && next >= 0x80)) --n;
        else break;
    }
    return n;
}

}  // namespace

extern "C" {

PCERT_EXTENSION CertFindExtension(LPCSTR pszObjId, DWORD cExtensions, CERT_EXTENSION rgExtensions[]) {
    if (pszObjId == nullptr || (cExtensions != 0 && rgExtensions == nullptr))
        return fail_with<PCERT_EXTENSION>(E_INVALIDARG, nullptr);
    for (DWORD i = 0; i < cExtensions; ++i)
        if (rgExtensions[i].pszObjId && std::strcmp(rgExtensions[i].pszObjId, pszObjId) == 0) return &rgExtensions[i];
    return nullptr;
}

// Through the CRL's serial index: the first entry with the certificate's
// serial as an integer.
BOOL CertFindCertificateInCRL(PCCERT_CONTEXT pCert, PCCRL_CONTEXT pCrlContext, DWORD, void *,
                              PCRL_ENTRY *ppCrlEntry) {
    if (ppCrlEntry) *ppCrlEntry = nullptr;
    if (pCert == nullptr || pCrlContext == nullptr || ppCrlEntry == nullptr) return fail(E_INVALIDARG);
    return guarded<BOOL>(FALSE, [&] {
        const CRYPT_INTEGER_BLOB &serial = pCert->pCertInfo->SerialNumber;
        *ppCrlEntry = const_cast<PCRL_ENTRY>(find_crl_entry(pCrlContext, serial.pbData, serial.cbData, false));
        return TRUE;
    });
}

BOOL CertComparePublicKeyInfo(DWORD, PCERT_PUBLIC_KEY_INFO pPublicKey1, PCERT_PUBLIC_KEY_INFO pPublicKey2) {
    if (pPublicKey1 == nullptr || pPublicKey2 == nullptr) return FALSE;
    const CRYPT_BIT_BLOB &a = pPublicKey1->PublicKey;
    const CRYPT_BIT_BLOB &b = pPublicKey2->PublicKey;
    return a.cUnusedBits == b.cUnusedBits && same_bytes(a.pbData, a.cbData, b.pbData, b.cbData);
}

BOOL CertCompareCertificateName(DWORD, PCERT_NAME_BLOB pCertName1, PCERT_NAME_BLOB pCertName2) {
    if (pCertName1 == nullptr || pCertName2 == nullptr) return FALSE;
    return same_bytes(pCertName1->pbData, pCertName1->cbData, pCertName2->pbData, pCertName2->cbData);
}

BOOL CertCompareIntegerBlob(PCRYPT_INTEGER_BLOB pInt1, PCRYPT_INTEGER_BLOB pInt2) {
    if (pInt1 == nullptr || pInt2 == nullptr) return FALSE;
    const DWORD n1 = significant_bytes(*pInt1);
    const DWORD n2 = significant_bytes(*pInt2);
    return same_bytes(pInt1->pbData, n1, pInt2->pbData, n2);
}

BOOL CertCompareCertificate(DWORD dwCertEncodingType, PCERT_INFO pCertId1, PCERT_INFO pCertId2) {
    if (pCertId1 == nullptr || pCertId2 == nullptr) return FALSE;
    return CertCompareCertificateName(dwCertEncodingType, &pCertId1->Issuer, &pCertId2->Issuer) &&
           CertCompareIntegerBlob(&pCertId1->SerialNumber, &pCertId2->SerialNumber);
}

}  // extern "C"
