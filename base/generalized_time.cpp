#include "base/generalized_time.h"

#include <cstddef>

#include <maren/errors.h>

#include "base/ascii.h"
#include "base/atl.h"

namespace {

// 0x8007076D, the code of a malformed time text.
constexpr HRESULT kBadTimeText = HRESULT_FROM_WIN32(ERROR_INVALID_TIME);

int read_field(const std::string& text, std::size_t first, std::size_t digits) {
    if (text.size() < first + digits) {
        return 0;
    }
    int value = 0;
    for (std::size_t i = first; i < first + digits; ++i) {
        if (!halden::ascii_isdigit(text[i])) {
            ATL::AtlThrowImpl(kBadTimeText);
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

}  // namespace

std::tm GeneralizedTimeToTm(const std::string& text, unsigned int* microseconds, bool isSpan) {
    std::tm fields{};
    fields.tm_year = read_field(text, 0, 4);
    fields.tm_mon = read_field(text, 4, 2);
    fields.tm_mday = read_field(text, 6, 2);
    fields.tm_hour = read_field(text, 8, 2);
    fields.tm_min = read_field(text, 10, 2);
    fields.tm_sec = read_field(text, 12, 2);
    if (!isSpan) {
        fields.tm_year -= 1900;
        fields.tm_mon -= 1;
    }

    unsigned int fraction = 0;
    if (text.size() >= 16) {
        std::string digits = text.substr(15);
        if (!digits.empty() && digits.back() == 'Z') {
            digits.pop_back();
        }
        if (digits.size() < 6) {
            digits.append(6 - digits.size(), '0');
        }
        for (std::size_t i = 0; i < 6; ++i) {
            if (!halden::ascii_isdigit(digits[i])) {
                ATL::AtlThrowImpl(kBadTimeText);
            }
            fraction = fraction * 10 + static_cast<unsigned int>(digits[i] - '0');
        }
    }
    if (microseconds != nullptr) {
        *microseconds = fraction;
    }
    return fields;
}
