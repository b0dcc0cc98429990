#include "platform/crypto/public_key.h"

#include <openssl/err.h>
#include <openssl/x509.h>

#include "platform/codec/x509_writer.h"
#include "platform/crypto/gost_engine.h"

namespace maren::crypto {

EvpPkeyPtr public_key_from_info(const CERT_PUBLIC_KEY_INFO& info) {
    codec::DerWriter der;
    if (!codec::write_public_key_info(der, info)) return nullptr;
    if (is_gost_oid(info.Algorithm.pszObjId) && !gost_engine_available()) return nullptr;
    const codec::Bytes& spki = der.bytes();
    const unsigned char* p = spki.data();
    EvpPkeyPtr key(d2i_PUBKEY(nullptr, &p, static_cast<long>(spki.size())));
    ERR_clear_error();
    return key;
}

}  // namespace maren::crypto
