// Key containers. maren keeps no private keys, so no provider handle or
// key handle names a key whose public part could be exported.
#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>

extern "C" BOOL CryptExportPublicKeyInfo(HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProvOrNCryptKey, DWORD /*dwKeySpec*/,
                                         DWORD /*dwCertEncodingType*/, PCERT_PUBLIC_KEY_INFO /*pInfo*/,
                                         DWORD* pcbInfo) {
    if (hCryptProvOrNCryptKey == 0 || pcbInfo == nullptr) {
        SetLastError(DWORD(E_INVALIDARG));
        return FALSE;
    }
    SetLastError(DWORD(NTE_BAD_KEYSET));
    return FALSE;
}
