// CertVerifyRevocation, the platform's side of a revocation check: it hands
// the call, arguments untouched, to the one provider library the registry
// names under ...\CertDllVerifyRevocation\DEFAULT\DLL, or libhalden.so.2
// through the loader's search path when it names none. A library that is
// named but will not load is not replaced by the default: the registry said
// what to use.
//
// The library is loaded on first use and kept for the life of the process.
// A provider holds caches and may run threads of its own, so it is never
// unloaded; a changed registry value counts from the next process on.
#include <string>
#include <vector>

#include "platform/host/trace_internal.h"
#include "platform/store/c_boundary.h"

using maren::store::guarded;

namespace {

constexpr char kProviderValue[] = "\\cryptography\\OID\\EncodingType 1\\CertDllVerifyRevocation\\DEFAULT\\DLL";
constexpr char kDefaultProvider[] = "libhalden.so.2";

std::string provider_library() {
    // The size asked for first grows if the registry file changes before
    // the second read; a few rounds settle it.
    for (int round = 0; round < 3; ++round) {
        size_t length = 0;
        if (host_registry_get_string(kProviderValue, nullptr, &length) != 0) break;
        std::vector<char> buffer(length + 1, '\0');
        size_t room = buffer.size();
        const int rc = host_registry_get_string(kProviderValue, buffer.data(), &room);
        if (rc == int(ERROR_MORE_DATA)) continue;
        if (rc != 0) break;
        buffer.back() = '\0';
        // An empty value names nothing.
        if (buffer[0] != '\0') return buffer.data();
        break;
    }
    return kDefaultProvider;
}

PFN_CERT_DLL_VERIFY_REVOCATION load_provider() {
    const std::string path = provider_library();
    void *library = host_load_library_registry(path.c_str(), 0);
    if (library == nullptr) {
        MAREN_TRACE_ERROR("no revocation provider: %s does not load", path.c_str());
        return nullptr;
    }
    void *entry = host_load_library_getaddr(library, CRYPT_OID_VERIFY_REVOCATION_FUNC);
    if (entry == nullptr) {
        MAREN_TRACE_ERROR("no revocation provider: %s lacks %s", path.c_str(), CRYPT_OID_VERIFY_REVOCATION_FUNC);
        host_unload_library_registry(library);
        return nullptr;
    }
    MAREN_TRACE_INFO("revocation provider %s loaded", path.c_str());
    return reinterpret_cast<PFN_CERT_DLL_VERIFY_REVOCATION>(entry);
}

PFN_CERT_DLL_VERIFY_REVOCATION provider() {
    static const PFN_CERT_DLL_VERIFY_REVOCATION entry = load_provider();
    return entry;
}

}  // namespace

extern "C" {

BOOL CertVerifyRevocation(DWORD dwEncodingType, DWORD dwRevType, DWORD cContext, PVOID rgpvContext[],
                          DWORD dwFlags, PCERT_REVOCATION_PARA pRevPara, PCERT_REVOCATION_STATUS pRevStatus) {
    return guarded<BOOL>(FALSE, [&] {
        const PFN_CERT_DLL_VERIFY_REVOCATION verify = provider();
        if (verify != nullptr)
            return verify(dwEncodingType, dwRevType, cContext, rgpvContext, dwFlags, pRevPara, pRevStatus);
        if (pRevStatus != nullptr) {
            pRevStatus->dwIndex = 0;
            pRevStatus->dwError = DWORD(CRYPT_E_NO_REVOCATION_DLL);
            pRevStatus->dwReason = 0;
        }
        SetLastError(DWORD(CRYPT_E_NO_REVOCATION_DLL));
        return BOOL(FALSE);
    });
}

}  // extern "C"
