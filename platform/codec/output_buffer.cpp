#include "platform/codec/output_buffer.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <maren/errors.h>
#include <maren/host.h>

namespace maren::codec {
namespace {

LPVOID heap_alloc(size_t size) { return std::malloc(size == 0 ? 1 : size); }
void heap_free(LPVOID pv) { std::free(pv); }

template <typename Para>
Allocator allocator_from(const Para* para) {
    Allocator allocator{heap_alloc, heap_free};
    if (para == nullptr) return allocator;
    if (para->cbSize >= offsetof(Para, pfnAlloc) + sizeof para->pfnAlloc && para->pfnAlloc != nullptr)
        allocator.alloc = para->pfnAlloc;
    if (para->cbSize >= offsetof(Para, pfnFree) + sizeof para->pfnFree && para->pfnFree != nullptr)
        allocator.free = para->pfnFree;
    return allocator;
}

}  // namespace

Allocator allocator_of(const CRYPT_DECODE_PARA* para) { return allocator_from(para); }
Allocator allocator_of(const CRYPT_ENCODE_PARA* para) { return allocator_from(para); }

BOOL deliver_encoded(const Bytes& bytes, bool allocate, const Allocator& allocator, void* pvEncoded,
                     DWORD* pcbEncoded) {
    if (bytes.size() > 0xFFFFFFFFu) {
        SetLastError(DWORD(CRYPT_E_ASN1_LARGE));
        return FALSE;
    }
    const auto size = static_cast<DWORD>(bytes.size());
    if (allocate) {
        if (pvEncoded == nullptr) {
            SetLastError(DWORD(ERROR_INVALID_PARAMETER));
            return FALSE;
        }
        void* memory = allocator.alloc(size);
        if (memory == nullptr) {
            SetLastError(DWORD(ERROR_NOT_ENOUGH_MEMORY));
            return FALSE;
        }
        if (size != 0) std::memcpy(memory, bytes.data(), size);
        *static_cast<void**>(pvEncoded) = memory;
        if (pcbEncoded != nullptr) *pcbEncoded = size;
        return TRUE;
    }
    if (pcbEncoded == nullptr) {
        SetLastError(DWORD(ERROR_INVALID_PARAMETER));
        return FALSE;
    }
    if (pvEncoded == nullptr) {
        *pcbEncoded = size;
        return TRUE;
    }
    if (*pcbEncoded < size) {
        *pcbEncoded = size;
        SetLastError(DWORD(ERROR_MORE_DATA));
        return FALSE;
    }
    if (size != 0) std::memcpy(pvEncoded, bytes.data(), size);
    *pcbEncoded = size;
    return TRUE;
}

}  // namespace maren::codec
