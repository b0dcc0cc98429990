// Message digests over OpenSSL, for the hash properties, thumbprints and
// the digests kept with encoded objects.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace maren::crypto {

enum class DigestKind { md5, sha1, sha256, sha384, sha512 };

// Size in bytes of a digest of this kind.
std::size_t digest_size(DigestKind kind);

// The digest of the bytes; never fails for the kinds above.
std::vector<std::uint8_t> digest(DigestKind kind, const void* data, std::size_t size);

using Sha1 = std::array<std::uint8_t, 20>;
Sha1 sha1(const void* data, std::size_t size);

// Upper-case hexadecimal without separators, as thumbprints are shown.
std::string to_hex(const std::uint8_t* data, std::size_t size);

}  // namespace maren::crypto
