/* Revocation checking: the parameters and status of CertVerifyRevocation,
 * and the entry point a revocation provider library exports. */
#ifndef MAREN_REVOCATION_H
#define MAREN_REVOCATION_H

#include <maren/chain.h>
#include <maren/context.h>
#include <maren/export.h>
#include <maren/types.h>

/* dwRevType: rgpvContext holds PCCERT_CONTEXT values. */
#define CERT_CONTEXT_REVOCATION_TYPE 1

/* dwFlags. */
/* rgpvContext is a chain: element i+1 issued element i. */
#define CERT_VERIFY_REV_CHAIN_FLAG 0x00000001
/* Use cached or local revocation data only; go to no server. */
#define CERT_VERIFY_CACHE_ONLY_BASED_REVOCATION 0x00000002
/* dwUrlRetrievalTimeout is one budget for all retrievals of the call. */
#define CERT_VERIFY_REV_ACCUMULATIVE_TIMEOUT_FLAG 0x00000004
#define CERT_VERIFY_REV_SERVER_OCSP_FLAG 0x00000008
#define CERT_VERIFY_REV_NO_OCSP_FAILOVER_TO_CRL_FLAG 0x00000010

/* Chain building parameters for the CRL signer's path. */
typedef struct _CERT_REVOCATION_CHAIN_PARA {
    DWORD cbSize;
    HCERTCHAINENGINE hChainEngine;
    HCERTSTORE hAdditionalStore;
    DWORD dwChainFlags;
    DWORD dwUrlRetrievalTimeout;
    LPFILETIME pftCurrentTime;
    LPFILETIME pftCacheResync;
    DWORD cbMaxUrlRetrievalByteCount;
} CERT_REVOCATION_CHAIN_PARA, *PCERT_REVOCATION_CHAIN_PARA;

/* Optional input of a revocation check. Everything after pftTimeToUse is
 * the tail: a reader uses a tail field only when cbSize reaches its end. */
typedef struct _CERT_REVOCATION_PARA {
    DWORD cbSize;
    PCCERT_CONTEXT pIssuerCert;
    DWORD cCertStore;
    HCERTSTORE *rgCertStore;
    HCERTSTORE hCrlStore;
    LPFILETIME pftTimeToUse;
    DWORD dwUrlRetrievalTimeout; /* milliseconds */
    BOOL fCheckFreshnessTime;
    DWORD dwFreshnessTime; /* seconds */
    LPFILETIME pftCurrentTime;
    /* In and out: receives the CRL (and entry) that decided the answer. */
    PCERT_REVOCATION_CRL_INFO pCrlInfo;
    LPFILETIME pftCacheResync;
    PCERT_REVOCATION_CHAIN_PARA pChainPara;
} CERT_REVOCATION_PARA, *PCERT_REVOCATION_PARA;

/* Output: dwIndex is the first certificate that is revoked or could not be
 * checked, dwError its code (CRYPT_E_REVOKED ... ), dwReason a CRL reason
 * code when revoked. */
typedef struct _CERT_REVOCATION_STATUS {
    DWORD cbSize;
    DWORD dwIndex;
    DWORD dwError;
    DWORD dwReason;
    BOOL fHasFreshnessTime;
    DWORD dwFreshnessTime;
} CERT_REVOCATION_STATUS, *PCERT_REVOCATION_STATUS;

/* What pszRevocationOid of a chain element's revocation info names. */
#define REVOCATION_OID_CRL_REVOCATION ((LPCSTR)1)

typedef struct _CRL_REVOCATION_INFO {
    PCRL_ENTRY pCrlEntry;
    PCCRL_CONTEXT pCrlContext;
    PCCERT_CHAIN_CONTEXT pCrlIssuerChain;
} CRL_REVOCATION_INFO, *PCRL_REVOCATION_INFO;

/* The function name under which a provider library is looked up. */
#define CRYPT_OID_VERIFY_REVOCATION_FUNC "CertDllVerifyRevocation"

/* A provider's entry point. It returns TRUE when every context is good and
 * FALSE otherwise, with the last error and pRevStatus telling why. */
typedef BOOL(WINAPI *PFN_CERT_DLL_VERIFY_REVOCATION)(DWORD dwEncodingType, DWORD dwRevType, DWORD cContext,
                                                     PVOID rgpvContext[], DWORD dwFlags,
                                                     PCERT_REVOCATION_PARA pRevPara,
                                                     PCERT_REVOCATION_STATUS pRevStatus);

MAREN_BEGIN_DECLS

/* Checks the contexts with the registered providers, the first decisive
 * answer winning. */
MAREN_API BOOL CertVerifyRevocation(DWORD dwEncodingType, DWORD dwRevType, DWORD cContext, PVOID rgpvContext[],
                                    DWORD dwFlags, PCERT_REVOCATION_PARA pRevPara,
                                    PCERT_REVOCATION_STATUS pRevStatus);

/* Exported by a provider library, not by maren; declared here so that the
 * provider's definition is checked against the published signature. */
BOOL WINAPI CertDllVerifyRevocation(DWORD dwEncodingType, DWORD dwRevType, DWORD cContext, PVOID rgpvContext[],
                                    DWORD dwFlags, PCERT_REVOCATION_PARA pRevPara,
                                    PCERT_REVOCATION_STATUS pRevStatus);

MAREN_END_DECLS

#endif
