// The last-error rule: how a platform function's last error becomes an
// HRESULT-style code. A positive Win32 code e becomes (e & 0xffff) |
// 0x80070000; a negative value already is an HRESULT and stays; 0 means the
// platform failed without saying why, and the call site decides.
#ifndef HALDEN_BASE_LAST_ERROR_H
#define HALDEN_BASE_LAST_ERROR_H

#include <maren/host.h>

inline HRESULT hresult_from_win32_error(DWORD error, HRESULT when_zero) {
    const auto e = static_cast<int32_t>(error);
    if (e > 0) {
        return static_cast<HRESULT>((error & 0xffffu) | 0x80070000u);
    }
    return e < 0 ? e : when_zero;
}

inline HRESULT hresult_from_last_error(HRESULT when_zero) {
    return hresult_from_win32_error(GetLastError(), when_zero);
}

#endif
