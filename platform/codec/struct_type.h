// What an lpszStructType names: one of the numeric structure constants
// (OID strings of extensions map to the constant of their structure, as
// published), or the private key usage period type.
#pragma once

#include <cstdint>

#include <maren/types.h>

namespace maren::codec {

struct StructType {
    enum class Kind { numeric, private_key_usage_period, unknown };
    Kind kind = Kind::unknown;
    std::uintptr_t constant = 0;
};

StructType resolve_struct_type(LPCSTR lpszStructType);

// True when the object decoder has a row for the constant.
bool decoder_knows(std::uintptr_t constant);

// The published size of a structure that has no variable part (the decoder
// measures padded slots), 0 for all others.
DWORD fixed_output_size(std::uintptr_t constant);

}  // namespace maren::codec
