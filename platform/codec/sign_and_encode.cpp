// CryptSignAndEncodeCertificate for the CRLs maren makes itself. maren holds
// no private keys: the signature algorithm must be a bare hash, and the
// "signature" is that hash of the DER to-be-signed part (0 unused bits).
// Such a CRL proves integrity only; it is how a CRL-shaped answer is made
// from an OCSP response.
#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>

#include "platform/codec/crl_encoder.h"
#include "platform/codec/output_buffer.h"
#include "platform/codec/struct_type.h"
#include "platform/crypto/hash_algorithm.h"

extern "C" BOOL CryptSignAndEncodeCertificate(HCRYPTPROV_OR_NCRYPT_KEY_HANDLE /*hCryptProvOrNCryptKey*/,
                                              DWORD /*dwKeySpec*/, DWORD dwCertEncodingType, LPCSTR lpszStructType,
                                              const void* pvStructInfo,
                                              PCRYPT_ALGORITHM_IDENTIFIER pSignatureAlgorithm,
                                              const void* /*pvHashAuxInfo*/, BYTE* pbEncoded, DWORD* pcbEncoded) {
    using namespace maren::codec;
    if (GET_CERT_ENCODING_TYPE(dwCertEncodingType) != X509_ASN_ENCODING) {
        SetLastError(DWORD(ERROR_FILE_NOT_FOUND));
        return FALSE;
    }
    const StructType type = resolve_struct_type(lpszStructType);
    if (type.kind != StructType::Kind::numeric ||
        type.constant != reinterpret_cast<std::uintptr_t>(X509_CERT_CRL_TO_BE_SIGNED)) {
        SetLastError(DWORD(ERROR_FILE_NOT_FOUND));
        return FALSE;
    }
    if (pvStructInfo == nullptr || pSignatureAlgorithm == nullptr || pcbEncoded == nullptr) {
        SetLastError(DWORD(E_INVALIDARG));
        return FALSE;
    }
    const auto hash = maren::crypto::hash_of_oid(pSignatureAlgorithm->pszObjId);
    if (!hash) {
        SetLastError(DWORD(NTE_BAD_ALGID));
        return FALSE;
    }

    Bytes to_be_signed;
    if (!encode_crl_to_be_signed(*static_cast<const CRL_INFO*>(pvStructInfo), &to_be_signed)) return FALSE;
    const std::vector<std::uint8_t> digest =
        maren::crypto::digest(*hash, to_be_signed.data(), to_be_signed.size());

    DerWriter der;
    const std::size_t mark = der.open(kTagSequence);
    der.raw(to_be_signed.data(), to_be_signed.size());
    if (!write_algorithm(der, *pSignatureAlgorithm)) {
        SetLastError(DWORD(CRYPT_E_BAD_ENCODE));
        return FALSE;
    }
    der.bit_string(digest.data(), digest.size(), 0);
    der.close(mark);
    return deliver_encoded(der.bytes(), false, allocator_of(static_cast<const CRYPT_ENCODE_PARA*>(nullptr)),
                           pbEncoded, pcbEncoded);
}
