// GOST R 34.10-2012 and 34.11-2012 come from OpenSSL's "gost" engine. It is
// loaded once per process, on the first GOST key or signature, and its key
// formats, key methods and digests are registered with OpenSSL. Without
// the engine installed, GOST keys and signatures are simply unknown.
#pragma once

#include <openssl/evp.h>

namespace maren::crypto {

// True when the engine is loaded (loading it on the first call).
bool gost_engine_available();

// The engine's digest of a NID; null without the engine.
const EVP_MD* gost_digest(int nid);

// True for OIDs under the GOST arc (1.2.643), whose keys need the engine.
bool is_gost_oid(const char* oid);

}  // namespace maren::crypto
