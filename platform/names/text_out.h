/* The size protocol the name functions share. The result counts characters
 * with the terminator. With no buffer, or a buffer of no room, nothing is
 * written and the count needed comes back; a short buffer receives as much
 * as fits, terminated, and the count written. */
#ifndef MAREN_PLATFORM_NAMES_TEXT_OUT_H
#define MAREN_PLATFORM_NAMES_TEXT_OUT_H

#include <string>

#include <maren/maren.h>

#include "platform/store/c_boundary.h"

namespace maren::names {

DWORD put_text(const std::wstring &text, LPWSTR out, DWORD room);
/* Never cuts a multi-byte sequence in two: a short buffer may keep fewer
 * bytes than it has room for. */
DWORD put_text(const std::string &text, LPSTR out, DWORD room);

/* The 8-bit form (CP_ACP, UTF-8 here) of wide text. */
std::string narrow_text(const std::wstring &text);

/* Runs `body`, which writes its text by put_text and returns the count.
 * When it throws, the caller still gets an empty, terminated string. */
template <class Char, class Body>
DWORD guarded_text(Char *out, DWORD room, Body &&body) noexcept {
    const DWORD written = maren::store::guarded<DWORD>(0, body);
    return written != 0 ? written : put_text(std::basic_string<Char>(), out, room);
}

}  // namespace maren::names

#endif
