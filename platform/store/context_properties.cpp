#include "platform/store/context_properties.h"

#include "platform/store/c_boundary.h"
#include "platform/store/memory_store.h"

using namespace maren::store;

namespace maren::store {
namespace {

std::vector<BYTE> hash_of(crypto::DigestKind kind, const BYTE *p, size_t n) { return crypto::digest(kind, p, n); }

// The values maren works out itself. CERT_ISSUER_PUBLIC_KEY_MD5_HASH_PROP_ID
// needs the issuer and is only there when set.
bool computed_value(const ContextCore &context, DWORD id, std::vector<BYTE> *value) {
    const EncodedObject &object = context.object();
    const bool certificate = object.kind() == ObjectKind::certificate;
    switch (id) {
    case CERT_SHA1_HASH_PROP_ID: {
        const crypto::Sha1 &digest = object.sha1();
        value->assign(digest.begin(), digest.end());
        return true;
    }
    case CERT_MD5_HASH_PROP_ID:
        *value = hash_of(crypto::DigestKind::md5, object.data(), object.size());
        return true;
    case CERT_SHA256_HASH_PROP_ID:
        *value = hash_of(crypto::DigestKind::sha256, object.data(), object.size());
        return true;
    case CERT_SIGNATURE_HASH_PROP_ID:
        // The hash of the signed part, with the signature's hash when that
        // is MD5 and SHA-1 otherwise.
        *value = hash_of(object.md5_signature() ? crypto::DigestKind::md5 : crypto::DigestKind::sha1,
                         object.to_be_signed(), object.to_be_signed_size());
        return true;
    case CERT_KEY_IDENTIFIER_PROP_ID: {
        if (!certificate) return false;
        const std::string_view id_bytes = object.key_identifier();
        value->assign(id_bytes.begin(), id_bytes.end());
        return true;
    }
    case CERT_SUBJECT_PUBLIC_KEY_MD5_HASH_PROP_ID: {
        if (!certificate) return false;
        const CRYPT_BIT_BLOB &key = object.cert_info()->SubjectPublicKeyInfo.PublicKey;
        *value = hash_of(crypto::DigestKind::md5, key.pbData, key.cbData);
        return true;
    }
    default:
        return false;
    }
}

// Ids whose value is not a CRYPT_DATA_BLOB but a plain value, and ids that
// stand for key handles maren does not hold.
enum class ValueShape { blob, dword, filetime, unsupported, read_only };

ValueShape shape_of(DWORD id) {
    switch (id) {
    case CERT_KEY_SPEC_PROP_ID: return ValueShape::dword;
    case CERT_DATE_STAMP_PROP_ID: return ValueShape::filetime;
    case CERT_ACCESS_STATE_PROP_ID: return ValueShape::read_only;
    case CERT_KEY_PROV_HANDLE_PROP_ID:
    case CERT_KEY_PROV_INFO_PROP_ID:
    case CERT_KEY_CONTEXT_PROP_ID:
    case CERT_NCRYPT_KEY_HANDLE_PROP_ID:
    case CERT_HCRYPTPROV_OR_NCRYPT_KEY_HANDLE_PROP_ID: return ValueShape::unsupported;
    default: return ValueShape::blob;
    }
}

}  // namespace

bool property_value(ContextCore &context, DWORD id, std::vector<BYTE> *value) {
    DWORD size = 0;
    if (context.properties.read(id, nullptr, &size) == PropertySet::Read::done) {
        value->resize(size);
        for (;;) {
            const PropertySet::Read read = context.properties.read(id, value->data(), &size);
            value->resize(size);
            if (read == PropertySet::Read::done) return true;
            if (read == PropertySet::Read::absent) return false;
        }
    }
    return computed_value(context, id, value);
}

BOOL get_context_property(ContextCore *context, DWORD id, void *pv, DWORD *pcb) {
    if (context == nullptr || pcb == nullptr) return fail(E_INVALIDARG);
    PropertySet::Read read = context->properties.read(id, pv, pcb);
    if (read == PropertySet::Read::absent) {
        std::vector<BYTE> value;
        if (!computed_value(*context, id, &value)) return fail(CRYPT_E_NOT_FOUND);
        context->properties.write_if_absent(id, std::move(value));
        read = context->properties.read(id, pv, pcb);
    }
    switch (read) {
    case PropertySet::Read::done: return TRUE;
    case PropertySet::Read::more_data: return fail(static_cast<HRESULT>(ERROR_MORE_DATA));
    case PropertySet::Read::absent: break;
    }
    return fail(CRYPT_E_NOT_FOUND);
}

BOOL set_context_property(ContextCore *context, DWORD id, DWORD flags, const void *pv) {
    if (context == nullptr || id == 0 || id > CERT_LAST_USER_PROP_ID) return fail(E_INVALIDARG);
    if (pv == nullptr) {
        context->properties.erase(id);
    } else {
        const BYTE *data = nullptr;
        size_t size = 0;
        switch (shape_of(id)) {
        case ValueShape::blob: {
            const auto *blob = static_cast<const CRYPT_DATA_BLOB *>(pv);
            if (blob->cbData != 0 && blob->pbData == nullptr) return fail(E_INVALIDARG);
            data = blob->pbData;
            size = blob->cbData;
            break;
        }
        case ValueShape::dword:
            data = static_cast<const BYTE *>(pv);
            size = sizeof(DWORD);
            break;
        case ValueShape::filetime:
            data = static_cast<const BYTE *>(pv);
            size = sizeof(FILETIME);
            break;
        case ValueShape::unsupported: return fail(E_NOTIMPL);
        case ValueShape::read_only: return fail(E_INVALIDARG);
        }
        context->properties.write(id, data, size, (flags & CERT_SET_PROPERTY_INHIBIT_PERSIST_FLAG) == 0);
    }
    // A context in a persisted store: its property file follows.
    if (context->owner && context->owner->persistent() && !context->owner->properties_changed(context) &&
        (flags & CERT_SET_PROPERTY_IGNORE_PERSIST_ERROR_FLAG) == 0)
        return FALSE;
    return TRUE;
}

}  // namespace maren::store

extern "C" {

BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, void *pvData, DWORD *pcbData) {
    return guarded<BOOL>(FALSE, [&] {
        return get_context_property(pCertContext ? cert_context(pCertContext) : nullptr, dwPropId, pvData, pcbData);
    });
}

BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, DWORD dwFlags,
                                       const void *pvData) {
    return guarded<BOOL>(FALSE, [&] {
        return set_context_property(pCertContext ? cert_context(pCertContext) : nullptr, dwPropId, dwFlags, pvData);
    });
}

DWORD CertEnumCertificateContextProperties(PCCERT_CONTEXT pCertContext, DWORD dwPropId) {
    if (pCertContext == nullptr) return 0;
    return guarded<DWORD>(0, [&] { return cert_context(pCertContext)->properties.next_after(dwPropId); });
}

BOOL CertGetCRLContextProperty(PCCRL_CONTEXT pCrlContext, DWORD dwPropId, void *pvData, DWORD *pcbData) {
    return guarded<BOOL>(FALSE, [&] {
        return get_context_property(pCrlContext ? crl_context(pCrlContext) : nullptr, dwPropId, pvData, pcbData);
    });
}

BOOL CertSetCRLContextProperty(PCCRL_CONTEXT pCrlContext, DWORD dwPropId, DWORD dwFlags, const void *pvData) {
    return guarded<BOOL>(FALSE, [&] {
        return set_context_property(pCrlContext ? crl_context(pCrlContext) : nullptr, dwPropId, dwFlags, pvData);
    });
}

DWORD CertEnumCRLContextProperties(PCCRL_CONTEXT pCrlContext, DWORD dwPropId) {
    if (pCrlContext == nullptr) return 0;
    return guarded<DWORD>(0, [&] { return crl_context(pCrlContext)->properties.next_after(dwPropId); });
}

}  // extern "C"
