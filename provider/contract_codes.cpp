#include "provider/contract_codes.h"

namespace halden {
namespace provider {

HRESULT MapToContractCode(HRESULT code) {
    switch (code) {
    case E_INVALIDARG:
    case CRYPT_E_REVOKED:
    case CRYPT_E_NO_REVOCATION_DLL:
    case CRYPT_E_NO_REVOCATION_CHECK:
    case CRYPT_E_REVOCATION_OFFLINE:
    case CRYPT_E_NOT_IN_REVOCATION_DATABASE:
        return code;
    default:
        return CRYPT_E_NO_REVOCATION_CHECK;
    }
}

}  // namespace provider
}  // namespace halden
