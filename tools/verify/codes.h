// Names of the codes a revocation check reports: the errors the provider
// lets out, and the CRL reason codes.
#ifndef HALDEN_TOOLS_VERIFY_CODES_H
#define HALDEN_TOOLS_VERIFY_CODES_H

#include <maren/types.h>

namespace verify_tool {

// "CRYPT_E_REVOKED"; null for a code without a name here.
const char* error_name(DWORD error);

// "keyCompromise"; null for a value that is no CRL reason.
const char* reason_name(DWORD reason);

}  // namespace verify_tool

#endif
