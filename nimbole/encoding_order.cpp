#include "nimbole/encoding_order.h"

#include "base/exceptions.h"

namespace halden::nimbole {
namespace {

template <class Context, class GetProperty>
bool digest_of(const Context* context, GetProperty get_property, const BYTE* bytes, DWORD size,
               EncodingDigest* digest) {
    DWORD length = static_cast<DWORD>(digest->size());
    if (get_property(context, CERT_SHA1_HASH_PROP_ID, digest->data(), &length) && length == digest->size())
        return true;
    length = static_cast<DWORD>(digest->size());
    return CryptHashCertificate(0, 0, 0, bytes, size, digest->data(), &length) && length == digest->size();
}

template <class Context>
EncodingDigest digest_or_throw(const Context* context) {
    EncodingDigest digest{};
    if (!try_encoding_digest(context, &digest)) throw CryptException(GetLastError(), __FILE__, __LINE__);
    return digest;
}

template <class Context>
bool same_bytes(const Context* a, const Context* b, EncodedView va, EncodedView vb) {
    if (a == b) return true;
    if (a == nullptr || b == nullptr) return false;
    if (va.size != vb.size) return false;
    if (va.bytes == vb.bytes || va.size == 0) return true;
    EncodingDigest da{};
    EncodingDigest db{};
    if (try_encoding_digest(a, &da) && try_encoding_digest(b, &db) && da != db) return false;
    return std::memcmp(va.bytes, vb.bytes, va.size) == 0;
}

}  // namespace

bool try_encoding_digest(PCCERT_CONTEXT context, EncodingDigest* digest) {
    return digest_of(context, CertGetCertificateContextProperty, context->pbCertEncoded, context->cbCertEncoded,
                     digest);
}

bool try_encoding_digest(PCCRL_CONTEXT context, EncodingDigest* digest) {
    return digest_of(context, CertGetCRLContextProperty, context->pbCrlEncoded, context->cbCrlEncoded, digest);
}

EncodingDigest encoding_digest(PCCERT_CONTEXT context) { return digest_or_throw(context); }

EncodingDigest encoding_digest(PCCRL_CONTEXT context) { return digest_or_throw(context); }

bool same_encoding(PCCERT_CONTEXT a, PCCERT_CONTEXT b) {
    return same_bytes(a, b, a ? EncodedView{a->pbCertEncoded, a->cbCertEncoded} : EncodedView{},
                      b ? EncodedView{b->pbCertEncoded, b->cbCertEncoded} : EncodedView{});
}

bool same_encoding(PCCRL_CONTEXT a, PCCRL_CONTEXT b) {
    return same_bytes(a, b, a ? EncodedView{a->pbCrlEncoded, a->cbCrlEncoded} : EncodedView{},
                      b ? EncodedView{b->pbCrlEncoded, b->cbCrlEncoded} : EncodedView{});
}

}  // namespace halden::nimbole
