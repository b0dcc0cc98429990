#include "nimbole/small_bit_string.h"

#include <cstdio>
#include <cstdlib>

#include "base/ascii.h"

namespace halden::nimbole {
namespace {

std::uint32_t piece_value(std::string_view piece, const std::uint32_t* values, const char* const* names,
                          std::size_t count) {
    for (std::size_t row = 0; row < count; ++row)
        if (piece == names[row]) return values[row];
    // strtoul wants a terminated string; the piece is a view into the text.
    const std::string terminated(piece);
    return static_cast<std::uint32_t>(std::strtoul(terminated.c_str(), nullptr, 0));
}

}  // namespace

std::string SmallBitStringToString(std::uint32_t word, const std::uint32_t* values, const char* const* names,
                                   std::size_t count) {
    std::string text;
    std::uint32_t rest = word;
    for (std::size_t row = 0; row < count; ++row) {
        if ((rest & values[row]) == 0) continue;
        if (!text.empty()) text += '|';
        text += names[row];
        rest &= ~values[row];
    }
    if (rest != 0) {
        char number[16];
        std::snprintf(number, sizeof number, "0x%x", static_cast<unsigned>(rest));
        if (!text.empty()) text += '|';
        text += number;
    }
    return text;
}

std::uint32_t SmallBitStringFromString(std::string_view text, const std::uint32_t* values, const char* const* names,
                                       std::size_t count, std::string_view zero_word) {
    const std::string_view whole = ascii_trim(text);
    if (whole.empty() || whole == zero_word) return 0;
    std::uint32_t word = 0;
    for (std::string_view rest = whole;;) {
        const std::size_t bar = rest.find('|');
        word |= piece_value(ascii_trim(rest.substr(0, bar)), values, names, count);
        if (bar == std::string_view::npos) break;
        rest.remove_prefix(bar + 1);
    }
    return word;
}

}  // namespace halden::nimbole
