#include "base/hex.h"

#include "base/ascii.h"

namespace halden {
namespace detail {

std::string hex_encode(const unsigned char* data, std::size_t size, std::size_t group) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(size * 3);
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[data[i] >> 4];
        text += digits[data[i] & 0x0f];
        if (group != 0 && (i + 1) % group == 0 && i + 1 < size) {
            text += ' ';
        }
    }
    return text;
}

std::size_t hex_decode(const char* text, std::size_t length, unsigned char* out) {
    std::size_t pos = 0;
    std::size_t count = 0;
    while (pos < length && ascii_isspace(text[pos])) {
        ++pos;
    }
    while (pos + 1 < length) {
        const int high = ascii_hex_value(text[pos]);
        const int low = ascii_hex_value(text[pos + 1]);
        if (high < 0 || low < 0) {
            break;
        }
        out[count++] = static_cast<unsigned char>(high << 4 | low);
        pos += 2;
        while (pos < length && ascii_isspace(text[pos])) {
            ++pos;
        }
    }
    return count;
}

}  // namespace detail
}  // namespace halden
