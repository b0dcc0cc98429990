#include "platform/codec/x509_writer.h"

namespace maren::codec {

bool write_algorithm(DerWriter& out, const CRYPT_ALGORITHM_IDENTIFIER& algorithm) {
    const std::size_t mark = out.open(kTagSequence);
    if (!out.oid(algorithm.pszObjId)) return false;
    if (algorithm.Parameters.cbData != 0 && algorithm.Parameters.pbData != nullptr)
        out.raw(algorithm.Parameters.pbData, algorithm.Parameters.cbData);
    out.close(mark);
    return true;
}

bool write_extensions(DerWriter& out, DWORD count, const CERT_EXTENSION* extensions) {
    if (extensions == nullptr) return false;
    const std::size_t list = out.open(kTagSequence);
    for (DWORD i = 0; i < count; ++i) {
        const CERT_EXTENSION& extension = extensions[i];
        const std::size_t mark = out.open(kTagSequence);
        if (!out.oid(extension.pszObjId)) return false;
        if (extension.fCritical) out.boolean(true);
        out.octet_string(extension.Value.pbData, extension.Value.pbData ? extension.Value.cbData : 0);
        out.close(mark);
    }
    out.close(list);
    return true;
}

bool write_public_key_info(DerWriter& out, const CERT_PUBLIC_KEY_INFO& key) {
    if (key.PublicKey.cUnusedBits > 7) return false;
    const std::size_t mark = out.open(kTagSequence);
    if (!write_algorithm(out, key.Algorithm)) return false;
    out.bit_string(key.PublicKey.pbData, key.PublicKey.pbData ? key.PublicKey.cbData : 0, key.PublicKey.cUnusedBits);
    out.close(mark);
    return true;
}

}  // namespace maren::codec
