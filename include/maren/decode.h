/* Encoding and decoding of structures, signing and signature checks of
 * signed objects, certificate hashes, public key export and the memory
 * functions that go with them. */
#ifndef MAREN_DECODE_H
#define MAREN_DECODE_H

#include <maren/cert_structs.h>
#include <maren/crypt_basics.h>
#include <maren/export.h>
#include <maren/oid_info.h>
#include <maren/struct_types.h>
#include <maren/types.h>

/* Allocator pair of the ..._ALLOC_FLAG forms; LocalAlloc/LocalFree when the
 * caller passes none. */
typedef LPVOID(WINAPI *PFN_CRYPT_ALLOC)(size_t cbSize);
typedef void(WINAPI *PFN_CRYPT_FREE)(LPVOID pv);

typedef struct _CRYPT_DECODE_PARA {
    DWORD cbSize;
    PFN_CRYPT_ALLOC pfnAlloc;
    PFN_CRYPT_FREE pfnFree;
} CRYPT_DECODE_PARA, *PCRYPT_DECODE_PARA;

typedef struct _CRYPT_ENCODE_PARA {
    DWORD cbSize;
    PFN_CRYPT_ALLOC pfnAlloc;
    PFN_CRYPT_FREE pfnFree;
} CRYPT_ENCODE_PARA, *PCRYPT_ENCODE_PARA;

/* Decode flags. */
#define CRYPT_DECODE_NOCOPY_FLAG 0x00000001
/* The input is the to-be-signed part alone, not the signed SEQUENCE. */
#define CRYPT_DECODE_TO_BE_SIGNED_FLAG 0x00000002
#define CRYPT_DECODE_SHARE_OID_STRING_FLAG 0x00000004
#define CRYPT_DECODE_NO_SIGNATURE_BYTE_REVERSAL_FLAG 0x00000008
#define CRYPT_DECODE_ALLOC_FLAG 0x00008000
#define CRYPT_UNICODE_NAME_DECODE_DISABLE_IE4_UTF8_FLAG 0x01000000
#define CRYPT_DECODE_ENABLE_PUNYCODE_FLAG 0x02000000
#define CRYPT_DECODE_ENABLE_UTF8PERCENT_FLAG 0x04000000
#define CRYPT_DECODE_ENABLE_IA5CONVERSION_FLAG \
    (CRYPT_DECODE_ENABLE_PUNYCODE_FLAG | CRYPT_DECODE_ENABLE_UTF8PERCENT_FLAG)

/* Encode flags. */
#define CRYPT_ENCODE_DECODE_NONE 0
#define CRYPT_ENCODE_NO_SIGNATURE_BYTE_REVERSAL_FLAG 0x00000008
#define CRYPT_ENCODE_ALLOC_FLAG 0x00008000
#define CRYPT_SORTED_CTL_ENCODE_HASHED_SUBJECT_IDENTIFIER_FLAG 0x00010000
#define CRYPT_ENCODE_ENABLE_PUNYCODE_FLAG 0x00020000
#define CRYPT_ENCODE_ENABLE_UTF8PERCENT_FLAG 0x00040000
#define CRYPT_ENCODE_ENABLE_IA5CONVERSION_FLAG \
    (CRYPT_ENCODE_ENABLE_PUNYCODE_FLAG | CRYPT_ENCODE_ENABLE_UTF8PERCENT_FLAG)
#define CRYPT_UNICODE_NAME_ENCODE_FORCE_UTF8_UNICODE_FLAG 0x10000000
#define CRYPT_UNICODE_NAME_ENCODE_ENABLE_UTF8_UNICODE_FLAG 0x20000000
#define CRYPT_UNICODE_NAME_ENCODE_DISABLE_CHECK_TYPE_FLAG 0x40000000
#define CRYPT_UNICODE_NAME_ENCODE_ENABLE_T61_UNICODE_FLAG 0x80000000

/* CryptVerifyCertificateSignatureEx: what pvSubject and pvIssuer are. */
#define CRYPT_VERIFY_CERT_SIGN_SUBJECT_BLOB 1 /* PCRYPT_DATA_BLOB */
#define CRYPT_VERIFY_CERT_SIGN_SUBJECT_CERT 2 /* PCCERT_CONTEXT */
#define CRYPT_VERIFY_CERT_SIGN_SUBJECT_CRL 3  /* PCCRL_CONTEXT */
#define CRYPT_VERIFY_CERT_SIGN_SUBJECT_OCSP_BASIC_SIGNED_RESPONSE 4
#define CRYPT_VERIFY_CERT_SIGN_ISSUER_PUBKEY 1 /* PCERT_PUBLIC_KEY_INFO */
#define CRYPT_VERIFY_CERT_SIGN_ISSUER_CERT 2   /* PCCERT_CONTEXT */
#define CRYPT_VERIFY_CERT_SIGN_ISSUER_CHAIN 3  /* PCCERT_CHAIN_CONTEXT */
#define CRYPT_VERIFY_CERT_SIGN_ISSUER_NULL 4   /* unsigned (CALG_NO_SIGN) */
#define CRYPT_VERIFY_CERT_SIGN_DISABLE_MD2_MD4_FLAG 0x00000001
#define CRYPT_VERIFY_CERT_SIGN_SET_STRONG_PROPERTIES_FLAG 0x00000002
#define CRYPT_VERIFY_CERT_SIGN_RETURN_STRONG_PROPERTIES_FLAG 0x00000004

MAREN_BEGIN_DECLS

/* Decode pbEncoded as lpszStructType. A null pvStructInfo asks for the size;
 * a short buffer fails with ERROR_MORE_DATA and the size in *pcbStructInfo. */
MAREN_API BOOL CryptDecodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE *pbEncoded,
                                 DWORD cbEncoded, DWORD dwFlags, void *pvStructInfo, DWORD *pcbStructInfo);

/* As CryptDecodeObject; with CRYPT_DECODE_ALLOC_FLAG pvStructInfo is a
 * void ** that receives memory to release with LocalFree (or pfnFree). */
MAREN_API BOOL CryptDecodeObjectEx(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE *pbEncoded,
                                   DWORD cbEncoded, DWORD dwFlags, PCRYPT_DECODE_PARA pDecodePara,
                                   void *pvStructInfo, DWORD *pcbStructInfo);

/* DER-encode a structure, same size protocol and allocation rule. */
MAREN_API BOOL CryptEncodeObjectEx(DWORD dwCertEncodingType, LPCSTR lpszStructType, const void *pvStructInfo,
                                   DWORD dwFlags, PCRYPT_ENCODE_PARA pEncodePara, void *pvEncoded,
                                   DWORD *pcbEncoded);
MAREN_API BOOL CryptEncodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const void *pvStructInfo,
                                 BYTE *pbEncoded, DWORD *pcbEncoded);

/* Encode the to-be-signed structure, sign it and wrap the three parts in
 * the signed SEQUENCE. */
MAREN_API BOOL CryptSignAndEncodeCertificate(HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProvOrNCryptKey,
                                             DWORD dwKeySpec, DWORD dwCertEncodingType, LPCSTR lpszStructType,
                                             const void *pvStructInfo,
                                             PCRYPT_ALGORITHM_IDENTIFIER pSignatureAlgorithm,
                                             const void *pvHashAuxInfo, BYTE *pbEncoded, DWORD *pcbEncoded);

/* Check the signature of an encoded signed object with a public key. */
MAREN_API BOOL CryptVerifyCertificateSignature(HCRYPTPROV_LEGACY hCryptProv, DWORD dwCertEncodingType,
                                               const BYTE *pbEncoded, DWORD cbEncoded,
                                               PCERT_PUBLIC_KEY_INFO pPublicKey);
MAREN_API BOOL CryptVerifyCertificateSignatureEx(HCRYPTPROV_LEGACY hCryptProv, DWORD dwCertEncodingType,
                                                 DWORD dwSubjectType, void *pvSubject, DWORD dwIssuerType,
                                                 void *pvIssuer, DWORD dwFlags, void *pvExtra);

/* Hash of the encoded bytes; Algid 0 means SHA-1. */
MAREN_API BOOL CryptHashCertificate(HCRYPTPROV_LEGACY hCryptProv, ALG_ID Algid, DWORD dwFlags,
                                    const BYTE *pbEncoded, DWORD cbEncoded, BYTE *pbComputedHash,
                                    DWORD *pcbComputedHash);

/* The public key of a key container as a CERT_PUBLIC_KEY_INFO (size
 * protocol as above). */
MAREN_API BOOL CryptExportPublicKeyInfo(HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProvOrNCryptKey, DWORD dwKeySpec,
                                        DWORD dwCertEncodingType, PCERT_PUBLIC_KEY_INFO pInfo, DWORD *pcbInfo);

/* Memory of the crypto functions. */
MAREN_API LPVOID CryptMemAlloc(ULONG cbSize);
MAREN_API LPVOID CryptMemRealloc(LPVOID pv, ULONG cbSize);
MAREN_API void CryptMemFree(LPVOID pv);

/* Releases what an ..._ALLOC_FLAG call returned; returns null on success. */
MAREN_API HLOCAL LocalFree(HLOCAL hMem);

MAREN_END_DECLS

#endif
