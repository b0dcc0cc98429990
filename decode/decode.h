// The object decoder: encoded objects into the published CryptoAPI
// structures, in one flat area that the caller provides. It never allocates
// and never calls the platform's decoder; it reports by a BOOL and the
// thread's last error.
#ifndef HALDEN_DECODE_DECODE_H
#define HALDEN_DECODE_DECODE_H

#include <maren/maren.h>

namespace halden::decode {
struct DecodeArea;

// One structure constant, one decoder run over `area`; the state of the
// area (null pointers or not) decides the pass. Unknown constants fail with
// ERROR_INVALID_PARAMETER.
bool TSDecodeObjectInternal(LPCSTR lpszStructType, const BYTE *pbEncoded, DWORD cbEncoded, DecodeArea *area);
}  // namespace halden::decode

// The shape of CryptDecodeObject, restricted to the numeric structure
// constants of the decoder's table (compared as numbers, never read).
//
// dwCertEncodingType 0: measure, then write. With a null pvStructInfo,
// *pcbStructInfo receives the size (also when the decode fails). With a
// buffer smaller than the size, *pcbStructInfo grows to the size and the
// call returns FALSE with the last error untouched.
// dwCertEncodingType non-zero: the caller has measured; *pcbStructInfo is
// the size of pvStructInfo and is not changed; only the writing pass runs,
// bounded by that size.
// Only CRYPT_DECODE_TO_BE_SIGNED_FLAG (0x2) of dwFlags is read, and only for
// X509_CERT_TO_BE_SIGNED, X509_CERT_CRL_TO_BE_SIGNED and
// X509_CERT_REQUEST_TO_BE_SIGNED.
BOOL TSDecodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE *pbEncoded, DWORD cbEncoded,
                    DWORD dwFlags, void *pvStructInfo, DWORD *pcbStructInfo);

// The decoded private key usage period (extension 2.5.29.16): pointers to
// the two bounds, null for an absent one. The times present follow the two
// pointers in the same buffer.
typedef struct _TSCERT_PRIVATEKEY_USAGE_PERIOD {
    FILETIME *pNotBefore;
    FILETIME *pNotAfter;
} TSCERT_PRIVATEKEY_USAGE_PERIOD;

// Decoder of MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT, with the published
// signature and size protocol of an installable decode function: a null
// pvStructInfo asks for the size; a short buffer gives FALSE,
// ERROR_MORE_DATA and the size. dwCertEncodingType, lpszStructType and
// dwFlags are not read. Any malformation is FALSE with CRYPT_E_ASN1_BADTAG
// (wrong tag) or CRYPT_E_ASN1_EOD (anything else).
BOOL TSDecodePrivateKeyUsagePeriod(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE *pbEncoded,
                                   DWORD cbEncoded, DWORD dwFlags, void *pvStructInfo, DWORD *pcbStructInfo);

#endif
