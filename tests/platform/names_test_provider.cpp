// A stand-in revocation provider for the CertVerifyRevocation tests. Its
// verdict is fixed: the last context is revoked for key compromise. It
// echoes dwFlags in the freshness time so a test sees the call arrive
// unchanged.
#include <maren/maren.h>

extern "C" __attribute__((visibility("default"))) BOOL WINAPI
CertDllVerifyRevocation(DWORD, DWORD, DWORD cContext, PVOID[], DWORD dwFlags, PCERT_REVOCATION_PARA,
                        PCERT_REVOCATION_STATUS pRevStatus) {
    pRevStatus->dwIndex = cContext - 1;
    pRevStatus->dwError = DWORD(CRYPT_E_REVOKED);
    pRevStatus->dwReason = CRL_REASON_KEY_COMPROMISE;
    pRevStatus->fHasFreshnessTime = TRUE;
    pRevStatus->dwFreshnessTime = dwFlags;
    SetLastError(DWORD(CRYPT_E_REVOKED));
    return FALSE;
}
