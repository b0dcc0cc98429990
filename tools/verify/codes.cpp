#include "tools/verify/codes.h"

#include <maren/errors.h>

namespace verify_tool {
namespace {

struct ErrorName {
    HRESULT code;
    const char* name;
};

// What the provider lets out, and the few codes a platform call may leave.
constexpr ErrorName kErrorNames[] = {
    {S_OK, "ERROR_SUCCESS"},
    {E_INVALIDARG, "E_INVALIDARG"},
    {CRYPT_E_REVOKED, "CRYPT_E_REVOKED"},
    {CRYPT_E_NO_REVOCATION_DLL, "CRYPT_E_NO_REVOCATION_DLL"},
    {CRYPT_E_NO_REVOCATION_CHECK, "CRYPT_E_NO_REVOCATION_CHECK"},
    {CRYPT_E_REVOCATION_OFFLINE, "CRYPT_E_REVOCATION_OFFLINE"},
    {CRYPT_E_NOT_IN_REVOCATION_DATABASE, "CRYPT_E_NOT_IN_REVOCATION_DATABASE"},
    {CRYPT_E_NOT_FOUND, "CRYPT_E_NOT_FOUND"},
    {NTE_FAIL, "NTE_FAIL"},
    {E_FAIL, "E_FAIL"},
    {E_OUTOFMEMORY, "E_OUTOFMEMORY"},
};

// RFC 5280's names, by code; 7 is unused.
constexpr const char* kReasonNames[] = {
    "unspecified",         "keyCompromise",  "cACompromise",  "affiliationChanged", "superseded",
    "cessationOfOperation", "certificateHold", nullptr,        "removeFromCRL",      "privilegeWithdrawn",
    "aACompromise",
};

}  // namespace

const char* error_name(DWORD error) {
    for (const ErrorName& e : kErrorNames)
        if (static_cast<DWORD>(e.code) == error) return e.name;
    return nullptr;
}

const char* reason_name(DWORD reason) {
    return reason < sizeof kReasonNames / sizeof kReasonNames[0] ? kReasonNames[reason] : nullptr;
}

}  // namespace verify_tool
