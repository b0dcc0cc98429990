#include "platform/crypto/digest.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace maren::crypto {
namespace {

const EVP_MD* md_of(DigestKind kind) {
    switch (kind) {
        case DigestKind::md5: return EVP_md5();
        case DigestKind::sha1: return EVP_sha1();
        case DigestKind::sha256: return EVP_sha256();
        case DigestKind::sha384: return EVP_sha384();
        case DigestKind::sha512: return EVP_sha512();
    }
    return EVP_sha1();
}

}  // namespace

std::size_t digest_size(DigestKind kind) { return static_cast<std::size_t>(EVP_MD_get_size(md_of(kind))); }

std::vector<std::uint8_t> digest(DigestKind kind, const void* data, std::size_t size) {
    std::vector<std::uint8_t> out(digest_size(kind));
    unsigned int written = 0;
    if (EVP_Digest(data, size, out.data(), &written, md_of(kind), nullptr) != 1)
        throw std::runtime_error("message digest failed");
    out.resize(written);
    return out;
}

Sha1 sha1(const void* data, std::size_t size) {
    Sha1 out{};
    unsigned int written = 0;
    if (EVP_Digest(data, size, out.data(), &written, EVP_sha1(), nullptr) != 1)
        throw std::runtime_error("SHA-1 failed");
    return out;
}

std::string to_hex(const std::uint8_t* data, std::size_t size) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text(size * 2, '0');
    for (std::size_t i = 0; i < size; ++i) {
        text[2 * i] = digits[data[i] >> 4];
        text[2 * i + 1] = digits[data[i] & 0x0F];
    }
    return text;
}

}  // namespace maren::crypto
