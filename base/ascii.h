// Character classes by fixed ASCII rules, never by the locale. Bytes
// 0x80-0xFF belong to none of them.
#ifndef HALDEN_BASE_ASCII_H
#define HALDEN_BASE_ASCII_H

#include <cstddef>
#include <string>
#include <string_view>

namespace halden {

// Space, \t, \n, \v, \f, \r.
constexpr bool ascii_isspace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool ascii_isdigit(char c) { return c >= '0' && c <= '9'; }

// The value of a hexadecimal digit of either case, or -1.
constexpr int ascii_hex_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return -1;
}

// Folds only A-Z.
constexpr char ascii_tolower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Blanks trimmed at both ends.
inline std::string_view ascii_trim(std::string_view s) {
    while (!s.empty() && ascii_isspace(s.front())) s.remove_prefix(1);
    while (!s.empty() && ascii_isspace(s.back())) s.remove_suffix(1);
    return s;
}

inline std::string ascii_folded(std::string_view s) {
    std::string out(s);
    for (char& c : out) c = ascii_tolower(c);
    return out;
}

inline bool ascii_equal_folded(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (ascii_tolower(a[i]) != ascii_tolower(b[i])) return false;
    return true;
}

}  // namespace halden

#endif
