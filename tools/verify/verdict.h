// One call of the provider's export and its answer, read as the three cases
// of its contract, in plain values that outlive the call's platform objects.
#ifndef HALDEN_TOOLS_VERIFY_VERDICT_H
#define HALDEN_TOOLS_VERIFY_VERDICT_H

#include <optional>
#include <string>

#include <maren/types.h>

#include "tools/verify/provider_library.h"
#include "tools/verify/request.h"

namespace verify_tool {

enum class Result { good, revoked, unknown, invalid_argument };

struct CrlEntrySummary {
    std::string serial;  // hexadecimal, most significant byte first
    FILETIME revocation_date;
};

// The base CRL the provider handed back through pCrlInfo.
struct CrlSummary {
    std::string issuer;
    FILETIME this_update;
    FILETIME next_update;  // zero when the CRL has none
    std::optional<CrlEntrySummary> entry;
};

struct Verdict {
    Result result = Result::unknown;
    DWORD index = 0;
    // The last error, or for invalid_argument the result itself.
    DWORD error = 0;
    std::optional<DWORD> reason;
    std::optional<DWORD> freshness_seconds;
    bool crl_asked = false;
    std::optional<CrlSummary> crl;
};

// Throws ToolError (internal) when the export answers outside its contract.
Verdict verify(const ProviderLibrary& provider, Request& request);

}  // namespace verify_tool

#endif
