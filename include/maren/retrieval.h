/* Retrieval of certificates, CRLs and other objects by URL, through the
 * platform's URL cache. */
#ifndef MAREN_RETRIEVAL_H
#define MAREN_RETRIEVAL_H

#include <maren/crypt_basics.h>
#include <maren/export.h>
#include <maren/types.h>

typedef HANDLE HCRYPTASYNC, *PHCRYPTASYNC;

/* pszObjectOid: what *ppvObject receives. */
#define CONTEXT_OID_CERTIFICATE ((LPCSTR)1) /* PCCERT_CONTEXT */
#define CONTEXT_OID_CRL ((LPCSTR)2)         /* PCCRL_CONTEXT */
#define CONTEXT_OID_CTL ((LPCSTR)3)         /* PCCTL_CONTEXT */
#define CONTEXT_OID_PKCS7 ((LPCSTR)4)       /* HCERTSTORE */
#define CONTEXT_OID_CAPI2_ANY ((LPCSTR)5)   /* HCERTSTORE */
#define CONTEXT_OID_OCSP_RESP ((LPCSTR)6)
/* A null pszObjectOid returns the raw bytes as a PCRYPT_BLOB_ARRAY, to be
 * released with CryptMemFree. */

/* dwRetrievalFlags. */
#define CRYPT_RETRIEVE_MULTIPLE_OBJECTS 0x00000001
#define CRYPT_CACHE_ONLY_RETRIEVAL 0x00000002 /* never touch the network */
#define CRYPT_WIRE_ONLY_RETRIEVAL 0x00000004  /* skip the cache for reading */
#define CRYPT_DONT_CACHE_RESULT 0x00000008
#define CRYPT_ASYNC_RETRIEVAL 0x00000010
#define CRYPT_VERIFY_CONTEXT_SIGNATURE 0x00000020
#define CRYPT_VERIFY_DATA_HASH 0x00000040
#define CRYPT_KEEP_TIME_VALID 0x00000080
#define CRYPT_ACCUMULATIVE_TIMEOUT 0x00000800
#define CRYPT_STICKY_CACHE_RETRIEVAL 0x00001000
#define CRYPT_LDAP_SCOPE_BASE_ONLY_RETRIEVAL 0x00002000
#define CRYPT_OFFLINE_CHECK_RETRIEVAL 0x00004000
#define CRYPT_LDAP_INSERT_ENTRY_ATTRIBUTE 0x00008000
#define CRYPT_LDAP_SIGN_RETRIEVAL 0x00010000
#define CRYPT_NO_AUTH_RETRIEVAL 0x00020000
#define CRYPT_LDAP_AREC_EXCLUSIVE_RETRIEVAL 0x00040000
#define CRYPT_AIA_RETRIEVAL 0x00080000
#define CRYPT_HTTP_POST_RETRIEVAL 0x00100000
#define CRYPT_PROXY_CACHE_RETRIEVAL 0x00200000
#define CRYPT_NOT_MODIFIED_RETRIEVAL 0x00400000
#define CRYPT_ENABLE_SSL_REVOCATION_RETRIEVAL 0x00800000
#define CRYPT_OCSP_ONLY_RETRIEVAL 0x01000000
#define CRYPT_NO_OCSP_FAILOVER_TO_CRL_RETRIEVAL 0x02000000
#define CRYPT_RANDOM_QUERY_STRING_RETRIEVAL 0x04000000
#define CRYPT_ENABLE_FILE_RETRIEVAL 0x08000000
#define CRYPT_CREATE_NEW_FLUSH_ENTRY 0x10000000

/* Raw retrieved objects. */
typedef struct _CRYPT_BLOB_ARRAY {
    DWORD cBlob;
    PCRYPT_DATA_BLOB rgBlob;
} CRYPT_BLOB_ARRAY, *PCRYPT_BLOB_ARRAY;

/* Credentials for the server. */
typedef struct _CRYPT_CREDENTIALS {
    DWORD cbSize;
    LPCSTR pszCredentialsOid;
    LPVOID pvCredentials;
} CRYPT_CREDENTIALS, *PCRYPT_CREDENTIALS;

#define CREDENTIAL_OID_PASSWORD_CREDENTIALS_A ((LPCSTR)1)
#define CREDENTIAL_OID_PASSWORD_CREDENTIALS_W ((LPCSTR)2)

/* URL cache details, referred to by the auxiliary information. */
#define CRYPTNET_URL_CACHE_PRE_FETCH_NONE 0
#define CRYPTNET_URL_CACHE_PRE_FETCH_BLOB 1
#define CRYPTNET_URL_CACHE_PRE_FETCH_CRL 2
#define CRYPTNET_URL_CACHE_PRE_FETCH_OCSP 3

typedef struct _CRYPTNET_URL_CACHE_PRE_FETCH_INFO {
    DWORD cbSize;
    DWORD dwObjectType;
    DWORD dwError;
    DWORD dwReserved;
    FILETIME ThisUpdateTime;
    FILETIME NextUpdateTime;
    FILETIME PublishTime;
} CRYPTNET_URL_CACHE_PRE_FETCH_INFO, *PCRYPTNET_URL_CACHE_PRE_FETCH_INFO;

#define CRYPTNET_URL_CACHE_DEFAULT_FLUSH 0
#define CRYPTNET_URL_CACHE_DISABLE_FLUSH 0xFFFFFFFF

typedef struct _CRYPTNET_URL_CACHE_FLUSH_INFO {
    DWORD cbSize;
    DWORD dwExemptSeconds;
    FILETIME ExpireTime;
} CRYPTNET_URL_CACHE_FLUSH_INFO, *PCRYPTNET_URL_CACHE_FLUSH_INFO;

#define CRYPTNET_URL_CACHE_RESPONSE_NONE 0
#define CRYPTNET_URL_CACHE_RESPONSE_HTTP 1
#define CRYPTNET_URL_CACHE_RESPONSE_VALIDATED 0x8000

typedef struct _CRYPTNET_URL_CACHE_RESPONSE_INFO {
    DWORD cbSize;
    WORD wResponseType;
    WORD wResponseFlags;
    FILETIME LastModifiedTime;
    DWORD dwMaxAge;
    LPCWSTR pwszETag;
    DWORD dwProxyId;
} CRYPTNET_URL_CACHE_RESPONSE_INFO, *PCRYPTNET_URL_CACHE_RESPONSE_INFO;

/* Optional in and out data of a retrieval; fields are honoured as far as
 * cbSize reaches. A cache entry older than *pftCacheResync is a miss. */
typedef struct _CRYPT_RETRIEVE_AUX_INFO {
    DWORD cbSize;
    FILETIME *pLastSyncTime;
    DWORD dwMaxUrlRetrievalByteCount;
    PCRYPTNET_URL_CACHE_PRE_FETCH_INFO pPreFetchInfo;
    PCRYPTNET_URL_CACHE_FLUSH_INFO pFlushInfo;
    PCRYPTNET_URL_CACHE_RESPONSE_INFO *ppResponseInfo;
    LPWSTR pwszCacheFileNamePrefix;
    LPFILETIME pftCacheResync;
    BOOL fProxyCacheRetrieval;
    DWORD dwHttpStatusCode;
} CRYPT_RETRIEVE_AUX_INFO, *PCRYPT_RETRIEVE_AUX_INFO;

MAREN_BEGIN_DECLS

/* dwTimeout in milliseconds bounds the whole retrieval, name resolution
 * included; 0 means the default. */
MAREN_API BOOL CryptRetrieveObjectByUrlA(LPCSTR pszUrl, LPCSTR pszObjectOid, DWORD dwRetrievalFlags,
                                         DWORD dwTimeout, LPVOID *ppvObject, HCRYPTASYNC hAsyncRetrieve,
                                         PCRYPT_CREDENTIALS pCredentials, LPVOID pvVerify,
                                         PCRYPT_RETRIEVE_AUX_INFO pAuxInfo);
MAREN_API BOOL CryptRetrieveObjectByUrlW(LPCWSTR pszUrl, LPCSTR pszObjectOid, DWORD dwRetrievalFlags,
                                         DWORD dwTimeout, LPVOID *ppvObject, HCRYPTASYNC hAsyncRetrieve,
                                         PCRYPT_CREDENTIALS pCredentials, LPVOID pvVerify,
                                         PCRYPT_RETRIEVE_AUX_INFO pAuxInfo);

MAREN_END_DECLS

#endif
