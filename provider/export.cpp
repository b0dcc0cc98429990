// The library's only door, called by the platform through its
// revocation-provider convention.
#include <pthread.h>

#include <maren/revocation.h>

#include "provider/revocation_provider.h"
#include "provider/trace_context.h"

namespace {

pthread_once_t g_trace_once = PTHREAD_ONCE_INIT;

}  // namespace

// Any encoding type and revocation type are accepted: the two are not read.
extern "C" __attribute__((visibility("default"))) BOOL WINAPI
CertDllVerifyRevocation(DWORD /*dwEncodingType*/, DWORD /*dwRevType*/, DWORD cContext, PVOID rgpvContext[],
                        DWORD dwFlags, PCERT_REVOCATION_PARA pRevPara, PCERT_REVOCATION_STATUS pRevStatus) {
    pthread_once(&g_trace_once, OnceDbTraceInit);
    return _HaldenModule.CertDllVerifyRevocation(cContext, reinterpret_cast<const CERT_CONTEXT* const*>(rgpvContext),
                                                 dwFlags, pRevPara, pRevStatus);
}
