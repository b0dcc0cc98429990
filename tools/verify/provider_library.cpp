#include "tools/verify/provider_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>

#include "tools/verify/status.h"

#ifndef HALDEN_VERIFY_PROVIDER_FROM_BIN
#define HALDEN_VERIFY_PROVIDER_FROM_BIN "../lib/libhalden.so.2"
#endif

namespace verify_tool {
namespace {

const char kProviderName[] = "libhalden.so.2";

std::string loader_error() {
    const char* text = dlerror();
    return text != nullptr ? text : "unknown error";
}

}  // namespace

std::string installed_provider_path() {
    char self[PATH_MAX];
    const ssize_t size = readlink("/proc/self/exe", self, sizeof self - 1);
    if (size <= 0) return kProviderName;
    const std::string program(self, static_cast<size_t>(size));
    const size_t slash = program.rfind('/');
    if (slash == std::string::npos) return kProviderName;
    const std::string beside = program.substr(0, slash + 1) + HALDEN_VERIFY_PROVIDER_FROM_BIN;
    return access(beside.c_str(), F_OK) == 0 ? beside : kProviderName;
}

ProviderLibrary::ProviderLibrary(const std::string& path) : path_(path.empty() ? installed_provider_path() : path) {
    // A path the user gave that is no provider is a bad argument; a missing
    // installation is the tool's own failure.
    const ExitStatus status = path.empty() ? kInternal : kUsage;
    // NODELETE keeps the library mapped after dlclose: the provider's
    // process-wide caches live in its static storage until exit, as they do
    // in a platform that never unloads a provider.
    handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle_ == nullptr) throw ToolError(status, "cannot load the provider " + path_ + ": " + loader_error());
    entry_ = reinterpret_cast<PFN_CERT_DLL_VERIFY_REVOCATION>(dlsym(handle_, CRYPT_OID_VERIFY_REVOCATION_FUNC));
    if (entry_ == nullptr) {
        const std::string why = loader_error();
        dlclose(handle_);
        throw ToolError(status, path_ + " is no revocation provider: " + why);
    }
}

ProviderLibrary::~ProviderLibrary() { dlclose(handle_); }

}  // namespace verify_tool
