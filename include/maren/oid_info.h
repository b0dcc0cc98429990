/* The platform's table of known object identifiers: names, groups and
 * algorithm ids, looked up by OID, name, algorithm id or signature pair. */
#ifndef MAREN_OID_INFO_H
#define MAREN_OID_INFO_H

#include <maren/crypt_basics.h>
#include <maren/export.h>
#include <maren/types.h>

typedef struct _CRYPT_OID_INFO {
    DWORD cbSize;
    LPCSTR pszOID;
    LPCWSTR pwszName;
    DWORD dwGroupId;
    union {
        DWORD dwValue;
        ALG_ID Algid;
        DWORD dwLength;
    };
    /* Words whose meaning depends on the group; for a signature
     * algorithm the public key's ALG_ID, then flags. */
    CRYPT_DATA_BLOB ExtraInfo;
#ifdef CRYPT_OID_INFO_HAS_EXTRA_FIELDS
    LPCWSTR pwszCNGAlgid;
    LPCWSTR pwszCNGExtraAlgid;
#endif
} CRYPT_OID_INFO, *PCRYPT_OID_INFO;
typedef const CRYPT_OID_INFO CCRYPT_OID_INFO, *PCCRYPT_OID_INFO;

/* Groups. */
#define CRYPT_HASH_ALG_OID_GROUP_ID 1
#define CRYPT_ENCRYPT_ALG_OID_GROUP_ID 2
#define CRYPT_PUBKEY_ALG_OID_GROUP_ID 3
#define CRYPT_SIGN_ALG_OID_GROUP_ID 4
#define CRYPT_RDN_ATTR_OID_GROUP_ID 5
#define CRYPT_EXT_OR_ATTR_OID_GROUP_ID 6
#define CRYPT_ENHKEY_USAGE_OID_GROUP_ID 7
#define CRYPT_POLICY_OID_GROUP_ID 8
#define CRYPT_TEMPLATE_OID_GROUP_ID 9
#define CRYPT_KDF_OID_GROUP_ID 10
#define CRYPT_LAST_OID_GROUP_ID 10
#define CRYPT_FIRST_ALG_OID_GROUP_ID CRYPT_HASH_ALG_OID_GROUP_ID
#define CRYPT_LAST_ALG_OID_GROUP_ID CRYPT_SIGN_ALG_OID_GROUP_ID

/* Flags in the ExtraInfo of signature and public key entries. */
#define CRYPT_OID_INHIBIT_SIGNATURE_FORMAT_FLAG 0x00000001
#define CRYPT_OID_USE_PUBKEY_PARA_FOR_PKCS7_FLAG 0x00000002
#define CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG 0x00000004
#define CRYPT_OID_USE_CURVE_PARAMETERS_FOR_ENCODE_FLAG 0x10000000
#define CRYPT_OID_USE_CURVE_NAME_FOR_ENCODE_FLAG 0x20000000
#define CRYPT_OID_PUBKEY_ENCRYPT_ONLY_FLAG 0x40000000
#define CRYPT_OID_PUBKEY_SIGN_ONLY_FLAG 0x80000000

/* What pvKey of CryptFindOIDInfo points at. */
#define CRYPT_OID_INFO_OID_KEY 1   /* LPCSTR */
#define CRYPT_OID_INFO_NAME_KEY 2  /* LPCWSTR */
#define CRYPT_OID_INFO_ALGID_KEY 3 /* ALG_ID */
#define CRYPT_OID_INFO_SIGN_KEY 4  /* ALG_ID[2]: hash, then public key */
#define CRYPT_OID_INFO_CNG_ALGID_KEY 5
#define CRYPT_OID_INFO_CNG_SIGN_KEY 6

/* The high bits of dwKeyType with CRYPT_OID_INFO_OID_KEY narrow the match. */
#define CRYPT_OID_INFO_OID_KEY_FLAGS_MASK 0xFFFF0000
#define CRYPT_OID_INFO_PUBKEY_SIGN_KEY_FLAG 0x80000000
#define CRYPT_OID_INFO_PUBKEY_ENCRYPT_KEY_FLAG 0x40000000
/* In dwGroupId: do not consult a directory. */
#define CRYPT_OID_DISABLE_SEARCH_DS_FLAG 0x80000000
#define CRYPT_OID_PREFER_CNG_ALGID_FLAG 0x40000000

MAREN_BEGIN_DECLS

/* Returns an entry of a static table (never freed), or null when none
 * matches. A dwGroupId of 0 searches every group. */
MAREN_API PCCRYPT_OID_INFO CryptFindOIDInfo(DWORD dwKeyType, void *pvKey, DWORD dwGroupId);

/* The signature algorithm to use with a public key algorithm, e.g.
 * sha1RSA for rsaEncryption; null when the key algorithm is unknown. */
MAREN_API const CRYPT_OID_INFO *TSCryptGetDefaultSignatureOIDInfo(LPCSTR pszPubKeyOID);

MAREN_END_DECLS

#endif
