// A structure decoded by maren, in a buffer of its own.
#ifndef HALDEN_TOOLS_COMMON_DECODED_H
#define HALDEN_TOOLS_COMMON_DECODED_H

#include <cstdint>
#include <vector>

#include <maren/maren.h>

namespace halden_tools {

class Decoded {
public:
    explicit operator bool() const { return !area_.empty(); }
    template <typename T>
    const T& as() const {
        return *reinterpret_cast<const T*>(area_.data());
    }

    // CryptDecodeObject in its two steps, size and decode; empty on failure.
    static Decoded of(LPCSTR type, const BYTE* data, DWORD size) {
        Decoded decoded;
        const DWORD encoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
        DWORD needed = 0;
        if (!CryptDecodeObject(encoding, type, data, size, 0, nullptr, &needed) || needed == 0) return decoded;
        decoded.area_.resize((needed + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t));
        if (!CryptDecodeObject(encoding, type, data, size, 0, decoded.area_.data(), &needed)) decoded.area_.clear();
        return decoded;
    }

private:
    std::vector<std::uint64_t> area_;  // 8-aligned for the structures
};

inline Decoded decode_object(LPCSTR type, const BYTE* data, DWORD size) { return Decoded::of(type, data, size); }

}  // namespace halden_tools

#endif
