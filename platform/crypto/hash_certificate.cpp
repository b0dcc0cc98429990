// CryptHashCertificate: a digest of encoded bytes, SHA-1 unless the caller
// names another hash.
#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>

#include <cstring>

#include "platform/crypto/hash_algorithm.h"

extern "C" BOOL CryptHashCertificate(HCRYPTPROV_LEGACY /*hCryptProv*/, ALG_ID Algid, DWORD /*dwFlags*/,
                                     const BYTE* pbEncoded, DWORD cbEncoded, BYTE* pbComputedHash,
                                     DWORD* pcbComputedHash) {
    using namespace maren::crypto;
    const auto kind = hash_of_algid(Algid == 0 ? CALG_SHA1 : Algid);
    if (!kind) {
        SetLastError(DWORD(NTE_BAD_ALGID));
        return FALSE;
    }
    if (pcbComputedHash == nullptr || (pbEncoded == nullptr && cbEncoded != 0)) {
        SetLastError(DWORD(E_INVALIDARG));
        return FALSE;
    }
    const auto size = static_cast<DWORD>(digest_size(*kind));
    if (pbComputedHash == nullptr) {
        *pcbComputedHash = size;
        return TRUE;
    }
    if (*pcbComputedHash < size) {
        *pcbComputedHash = size;
        SetLastError(DWORD(ERROR_MORE_DATA));
        return FALSE;
    }
    static const BYTE kNothing = 0;
    const std::vector<std::uint8_t> hash = digest(*kind, pbEncoded ? pbEncoded : &kNothing, cbEncoded);
    std::memcpy(pbComputedHash, hash.data(), hash.size());
    *pcbComputedHash = static_cast<DWORD>(hash.size());
    return TRUE;
}
