/* Structures decoded into memory of their own, released with LocalFree. */
#ifndef MAREN_PLATFORM_NAMES_DECODED_H
#define MAREN_PLATFORM_NAMES_DECODED_H

#include <memory>

#include <maren/maren.h>

namespace maren::names {

struct LocalFreer {
    void operator()(void *p) const noexcept { LocalFree(p); }
};

template <class T>
using Decoded = std::unique_ptr<T, LocalFreer>;

/* Null when the bytes do not decode as `type`; the last error says why. */
template <class T>
Decoded<T> decode_as(DWORD encoding, LPCSTR type, const BYTE *data, DWORD size, DWORD flags = 0) {
    void *out = nullptr;
    DWORD out_size = 0;
    if (!CryptDecodeObjectEx(encoding, type, data, size, flags | CRYPT_DECODE_ALLOC_FLAG, nullptr, &out, &out_size))
        return nullptr;
    return Decoded<T>(static_cast<T *>(out));
}

}  // namespace maren::names

#endif
