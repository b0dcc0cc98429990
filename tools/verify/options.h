// The command line of halden-verify.
#ifndef HALDEN_TOOLS_VERIFY_OPTIONS_H
#define HALDEN_TOOLS_VERIFY_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include <maren/types.h>

namespace verify_tool {

struct Options {
    std::vector<std::string> certs;
    bool chain = false;
    std::string issuer;
    std::vector<std::string> stores;
    std::vector<std::string> crls;
    std::string ocsp_response;
    bool cache_only = false;
    bool accumulative_timeout = false;
    // Milliseconds; absent leaves the provider's default.
    std::optional<DWORD> timeout;
    std::optional<FILETIME> time;
    bool crl_info = false;
    std::string home;
    std::string provider;
    bool json = false;
    bool trace = false;
    bool help = false;
};

// Throws ToolError (usage) for an unknown option, a missing or malformed
// value, or no certificate.
Options parse_options(int argc, char** argv);

// The text of --help.
extern const char kHelpText[];

}  // namespace verify_tool

#endif
