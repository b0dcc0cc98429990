// Character classes by fixed ASCII rules, never by the locale. Bytes
// 0x80-0xFF belong to none of them.
#ifndef HALDEN_BASE_ASCII_H
#define HALDEN_BASE_ASCII_H

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

}  // namespace halden

#endif
