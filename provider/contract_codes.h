// The codes of the provider's contract with its caller, and the internal
// verdict codes that never leave the library.
#ifndef HALDEN_PROVIDER_CONTRACT_CODES_H
#define HALDEN_PROVIDER_CONTRACT_CODES_H

#include <maren/errors.h>
#include <maren/types.h>

namespace halden {
namespace provider {

// "No verdict": neither success nor an HRESULT. The step that gets it hands
// the certificate on to the next source of revocation information.
constexpr HRESULT kNoVerdict = 1;

// The code the caller may see for an internal failure code: E_INVALIDARG
// and CRYPT_E_REVOKED through CRYPT_E_NOT_IN_REVOCATION_DATABASE pass
// unchanged, everything else (NTE_FAIL, Win32-derived codes, kNoVerdict)
// becomes CRYPT_E_NO_REVOCATION_CHECK.
HRESULT MapToContractCode(HRESULT code);

}  // namespace provider
}  // namespace halden

#endif
