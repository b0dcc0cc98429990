// The revocation provider, loaded as the platform loads it: with dlopen,
// and its one export looked up by name.
#ifndef HALDEN_TOOLS_VERIFY_PROVIDER_LIBRARY_H
#define HALDEN_TOOLS_VERIFY_PROVIDER_LIBRARY_H

#include <string>

#include <maren/maren.h>

namespace verify_tool {

class ProviderLibrary {
public:
    // Loads path, or the installed provider when path is empty. Throws
    // ToolError: usage for a path given that is no provider, internal when
    // the installed one cannot be found.
    explicit ProviderLibrary(const std::string& path);
    ~ProviderLibrary();
    ProviderLibrary(const ProviderLibrary&) = delete;
    ProviderLibrary& operator=(const ProviderLibrary&) = delete;

    PFN_CERT_DLL_VERIFY_REVOCATION entry() const { return entry_; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
    void* handle_ = nullptr;
    PFN_CERT_DLL_VERIFY_REVOCATION entry_ = nullptr;
};

// The installed provider: the lib directory beside the program's bin
// directory when it has one, else the bare library name for the loader's
// search path.
std::string installed_provider_path();

}  // namespace verify_tool

#endif
