// The published output protocol of the encode and decode functions: a size
// query, a short buffer reported as ERROR_MORE_DATA, and the ..._ALLOC_FLAG
// form that hands out memory from the caller's allocator or the C heap.
#pragma once

#include <maren/decode.h>

#include "platform/codec/der_writer.h"

namespace maren::codec {

struct Allocator {
    PFN_CRYPT_ALLOC alloc;
    PFN_CRYPT_FREE free;
};

// The allocator of a CRYPT_ENCODE_PARA or CRYPT_DECODE_PARA (one layout),
// each function taken only when cbSize covers it and it is set; the C heap
// (LocalFree) otherwise.
Allocator allocator_of(const CRYPT_DECODE_PARA* para);
Allocator allocator_of(const CRYPT_ENCODE_PARA* para);

// Hands `bytes` to the caller of an encode function. Without
// CRYPT_ENCODE_ALLOC_FLAG, pvEncoded is the buffer (null: size query);
// with it, a BYTE ** that receives memory of `allocator`.
BOOL deliver_encoded(const Bytes& bytes, bool allocate, const Allocator& allocator, void* pvEncoded,
                     DWORD* pcbEncoded);

}  // namespace maren::codec
