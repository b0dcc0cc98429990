// Owning pointers for the OpenSSL objects maren keeps beyond one statement.
#pragma once

#include <memory>

#include <openssl/evp.h>

namespace maren::crypto {

struct EvpPkeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct EvpMdCtxFree {
    void operator()(EVP_MD_CTX* ctx) const { EVP_MD_CTX_free(ctx); }
};

using EvpPkeyPtr = std::unique_ptr<EVP_PKEY, EvpPkeyFree>;
using EvpMdCtxPtr = std::unique_ptr<EVP_MD_CTX, EvpMdCtxFree>;

}  // namespace maren::crypto
