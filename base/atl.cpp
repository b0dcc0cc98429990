#include "base/atl.h"

#include <maren/errors.h>

#include "base/last_error.h"

namespace ATL {

void AtlThrowImpl(HRESULT hr) { throw CAtlException(hr); }

void AtlThrowLastWin32() { AtlThrowImpl(hresult_from_last_error(E_FAIL)); }

}  // namespace ATL
