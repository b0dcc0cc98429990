// The ENGINE interface is deprecated in OpenSSL 3, and the GOST algorithms
// are still only there.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "platform/crypto/gost_engine.h"

#include <cstring>

#include <openssl/engine.h>
#include <openssl/err.h>

#include "platform/host/trace_internal.h"

namespace maren::crypto {
namespace {

ENGINE* load_engine() {
    ENGINE* engine = ENGINE_by_id("gost");
    if (engine == nullptr) {
        ERR_clear_error();
        MAREN_TRACE_WARNING("the gost engine is not installed: GOST signatures can't be verified");
        return nullptr;
    }
    if (ENGINE_init(engine) != 1) {
        ENGINE_free(engine);
        ERR_clear_error();
        MAREN_TRACE_WARNING("the gost engine failed to initialise");
        return nullptr;
    }
    // Registration makes the engine serve its own algorithms only; nothing
    // else changes its default implementation.
    ENGINE_register_pkey_asn1_meths(engine);
    ENGINE_register_pkey_meths(engine);
    ENGINE_register_digests(engine);
    ERR_clear_error();
    // The functional reference taken by ENGINE_init keeps it for the process.
    ENGINE_free(engine);
    return engine;
}

ENGINE* engine() {
    static ENGINE* const loaded = load_engine();
    return loaded;
}

}  // namespace

bool gost_engine_available() { return engine() != nullptr; }

const EVP_MD* gost_digest(int nid) {
    ENGINE* e = engine();
    return e == nullptr ? nullptr : ENGINE_get_digest(e, nid);
}

bool is_gost_oid(const char* oid) { return oid != nullptr && std::strncmp(oid, "1.2.643.", 8) == 0; }

}  // namespace maren::crypto
