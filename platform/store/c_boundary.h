// The published functions answer with a BOOL or a pointer and the
// thread's last error; nothing thrown inside may cross them.
#ifndef MAREN_PLATFORM_STORE_C_BOUNDARY_H
#define MAREN_PLATFORM_STORE_C_BOUNDARY_H

#include <new>

#include <maren/maren.h>

namespace maren::store {

// Sets the last error and gives `result`, for one-line failure returns.
template <class R>
R fail_with(HRESULT error, R result) {
    SetLastError(static_cast<DWORD>(error));
    return result;
}
inline BOOL fail(HRESULT error) { return fail_with(error, FALSE); }

// Runs `body`; an exception becomes the last error and `failed`.
template <class R, class Body>
R guarded(R failed, Body &&body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        SetLastError(static_cast<DWORD>(E_OUTOFMEMORY));
    } catch (...) {
        SetLastError(static_cast<DWORD>(E_UNEXPECTED));
    }
    return failed;
}

}  // namespace maren::store

#endif
