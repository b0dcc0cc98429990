#include "platform/names/text_out.h"

#include <climits>
#include <cstring>

namespace maren::names {
namespace {

template <class Char>
DWORD put(const Char *text, size_t length, Char *out, DWORD room) {
    const size_t needed = length + 1;
    if (out == nullptr || room == 0) return needed > 0xFFFFFFFFu ? 0xFFFFFFFFu : DWORD(needed);
    const size_t kept = length < room ? length : room - 1;
    if (kept != 0) std::memcpy(out, text, kept * sizeof(Char));
    out[kept] = Char(0);
    return DWORD(kept + 1);
}

bool is_continuation_byte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

DWORD put_text(const std::wstring &text, LPWSTR out, DWORD room) { return put(text.data(), text.size(), out, room); }

DWORD put_text(const std::string &text, LPSTR out, DWORD room) {
    size_t length = text.size();
    if (out != nullptr && room != 0 && length >= room) {
        // Back up to the start of the sequence the cut would split.
        length = room - 1;
        while (length > 0 && is_continuation_byte(text[length])) --length;
    }
    return put(text.data(), length, out, room);
}

std::string narrow_text(const std::wstring &text) {
    if (text.empty() || text.size() > size_t(INT_MAX)) return std::string();
    const int units = int(text.size());
    const int size = WideCharToMultiByte(CP_ACP, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return std::string();
    std::string out(size_t(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, text.data(), units, &out[0], size, nullptr, nullptr);
    return out;
}

}  // namespace maren::names
