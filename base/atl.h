// The ATL-style error exception: a bare HRESULT thrown by value. It is not a
// std::exception, so a handler for std::exception alone does not stop it.
#ifndef HALDEN_BASE_ATL_H
#define HALDEN_BASE_ATL_H

#include <maren/types.h>

namespace ATL {

class CAtlException {
public:
    explicit CAtlException(HRESULT hr) noexcept : m_hr(hr) {}
    operator HRESULT() const noexcept { return m_hr; }

    HRESULT m_hr;
};

// Throws CAtlException(hr).
[[noreturn]] void AtlThrowImpl(HRESULT hr);

// Throws the thread's last error by the last-error rule; a last error of 0
// becomes E_FAIL.
[[noreturn]] void AtlThrowLastWin32();

}  // namespace ATL

#endif
