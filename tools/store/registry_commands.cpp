#include "tools/store/registry_commands.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <optional>

#include <maren/maren.h>

#include "base/ascii.h"

namespace store_tool {
namespace {

// The registry file's own number syntax, so that what is set reads back.
std::optional<long> parse_number(std::string text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) text.erase(0, 1);
    unsigned base = 10;
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.erase(0, 2);
    }
    if (text.empty()) return std::nullopt;
    const uint64_t limit = negative ? static_cast<uint64_t>(LONG_MAX) + 1 : static_cast<uint64_t>(LONG_MAX);
    uint64_t magnitude = 0;
    for (const char c : text) {
        const int digit = base == 16 ? halden::ascii_hex_value(c) : (halden::ascii_isdigit(c) ? c - '0' : -1);
        if (digit < 0 || magnitude > (limit - static_cast<uint64_t>(digit)) / base) return std::nullopt;
        magnitude = magnitude * base + static_cast<uint64_t>(digit);
    }
    if (!negative) return static_cast<long>(magnitude);
    return magnitude == static_cast<uint64_t>(LONG_MAX) + 1 ? LONG_MIN : -static_cast<long>(magnitude);
}

std::string failure(const std::string& key, int error) {
    return key + ": error " + std::to_string(error);
}

}  // namespace

ExitStatus registry_get(const std::string& key) {
    long number = 0;
    int error = host_registry_get_long(key.c_str(), &number);
    if (error == 0) {
        std::printf("%ld\n", number);
        return kSuccess;
    }
    if (error == ERROR_INVALID_DATA) {
        size_t length = 0;
        error = host_registry_get_string(key.c_str(), nullptr, &length);
        if (error == 0) {
            std::string text(length, '\0');
            error = host_registry_get_string(key.c_str(), &text[0], &length);
            if (error == 0) {
                text.resize(length > 0 ? length - 1 : 0);
                std::printf("%s\n", text.c_str());
                return kSuccess;
            }
        }
    }
    if (error == ERROR_FILE_NOT_FOUND) throw CommandError(kFailure, "no registry value " + key);
    throw CommandError(kFailure, failure(key, error));
}

ExitStatus registry_set(const std::string& key, const std::string& value) {
    int error = 0;
    if (const std::optional<long> number = parse_number(value)) {
        error = maren_registry_set_long(key.c_str(), *number);
    } else {
        const bool quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
        error = maren_registry_set_string(key.c_str(), (quoted ? value.substr(1, value.size() - 2) : value).c_str());
    }
    if (error == ERROR_INVALID_PARAMETER)
        throw CommandError(kUsage, key + ": not a value the registry can hold (a key path needs a section and a "
                                         "name, as in \\config\\Parameters\\Name; strings hold no line break)");
    if (error != 0) throw CommandError(kFailure, "cannot write " + failure(key, error));
    return kSuccess;
}

}  // namespace store_tool
