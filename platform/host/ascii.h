/* Fixed ASCII character classes for configuration text. The locale never
 * decides: bytes 0x80-0xFF are neither blanks, digits nor letters. */
#ifndef MAREN_PLATFORM_HOST_ASCII_H
#define MAREN_PLATFORM_HOST_ASCII_H

#include <string>
#include <string_view>

namespace maren::detail {

inline bool ascii_is_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

inline bool ascii_is_digit(char c) { return c >= '0' && c <= '9'; }

inline char ascii_fold(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

/* The value of a hexadecimal digit, or -1. */
inline int ascii_hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

inline std::string_view ascii_trim(std::string_view s) {
    while (!s.empty() && ascii_is_space(s.front())) s.remove_prefix(1);
    while (!s.empty() && ascii_is_space(s.back())) s.remove_suffix(1);
    return s;
}

inline std::string ascii_folded(std::string_view s) {
    std::string out(s);
    for (char &c : out) c = ascii_fold(c);
    return out;
}

inline bool ascii_equal_folded(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (ascii_fold(a[i]) != ascii_fold(b[i])) return false;
    return true;
}

}  // namespace maren::detail

#endif
