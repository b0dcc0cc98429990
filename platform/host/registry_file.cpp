#include "platform/host/registry_file.h"

#include <climits>
#include <cstdint>

#include "base/ascii.h"

namespace maren::detail {
using namespace halden;
namespace {

std::string_view strip_backslashes(std::string_view s) {
    while (!s.empty() && s.front() == '\\') s.remove_prefix(1);
    while (!s.empty() && s.back() == '\\') s.remove_suffix(1);
    return s;
}

/* Reads a quoted string (text starts with '"'); returns why it is bad, or
 * null when it is good. */
const char *parse_quoted(std::string_view text, std::string *out) {
    for (size_t i = 1; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\\') {
            if (i + 1 >= text.size()) return "unterminated string";
            const char next = text[i + 1];
            if (next != '"' && next != '\\') return "unknown escape in string";
            out->push_back(next);
            ++i;
        } else if (c == '"') {
            return ascii_trim(text.substr(i + 1)).empty() ? nullptr : "text after the closing quote";
        } else {
            out->push_back(c);
        }
    }
    return "unterminated string";
}

}  // namespace

bool parse_registry_long(std::string_view text, long *value) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) text.remove_prefix(1);
    unsigned base = 10;
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty()) return false;
    const uint64_t limit = negative ? static_cast<uint64_t>(LONG_MAX) + 1 : static_cast<uint64_t>(LONG_MAX);
    uint64_t magnitude = 0;
    for (const char c : text) {
        const int digit = base == 16 ? ascii_hex_value(c) : (ascii_isdigit(c) ? c - '0' : -1);
        if (digit < 0) return false;
        if (magnitude > (limit - static_cast<uint64_t>(digit)) / base) return false;
        magnitude = magnitude * base + static_cast<uint64_t>(digit);
    }
    if (!negative) *value = static_cast<long>(magnitude);
    else if (magnitude == static_cast<uint64_t>(LONG_MAX) + 1) *value = LONG_MIN;
    else *value = -static_cast<long>(magnitude);
    return true;
}

std::string registry_key(std::string_view path) {
    while (!path.empty() && path.front() == '\\') path.remove_prefix(1);
    return ascii_folded(path);
}

RegistryData parse_registry_text(std::string_view text) {
    RegistryData data;
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);

    bool section_open = false;
    std::string section;
    size_t line_number = 0;
    auto skip = [&](const char *why) {
        data.diagnostics.push_back("line " + std::to_string(line_number) + ": " + why + ", skipped");
    };

    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = ascii_trim(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        ++line_number;

        if (line.empty() || line.front() == '#' || line.front() == ';') continue;

        if (line.front() == '[') {
            section_open = false;
            if (line.back() != ']' || line.size() < 2) {
                skip("bad section header");
                continue;
            }
            const std::string_view path = strip_backslashes(ascii_trim(line.substr(1, line.size() - 2)));
            if (path.empty()) {
                skip("empty section path");
                continue;
            }
            section = ascii_folded(path);
            section_open = true;
            continue;
        }

        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            skip("no '='");
            continue;
        }
        const std::string_view name = ascii_trim(line.substr(0, equals));
        const std::string_view raw = ascii_trim(line.substr(equals + 1));
        if (name.empty()) {
            skip("empty value name");
            continue;
        }
        if (!section_open) {
            skip("value outside a section");
            continue;
        }

        RegistryValue value;
        if (!raw.empty() && raw.front() == '"') {
            std::string s;
            if (const char *why = parse_quoted(raw, &s)) {
                skip(why);
                continue;
            }
            value = std::move(s);
        } else {
            long number = 0;
            if (!parse_registry_long(raw, &number)) {
                skip("bad value");
                continue;
            }
            value = number;
        }
        data.values[section + "\\" + ascii_folded(name)] = std::move(value);
    }
    return data;
}

}  // namespace maren::detail
