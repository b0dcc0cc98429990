// CertFindCertificateInStore and CertEnumCertificatesInStore: a find type
// becomes a Query, which the store answers through its indexes where one
// fits (thumbprint, key identifier, subject, issuer, equality) and by a walk
// in store order otherwise.
#include <cstring>
#include <vector>

#include "base/ascii.h"
#include "platform/store/c_boundary.h"
#include "platform/store/context_properties.h"
#include "platform/store/store.h"
#include "platform/store/store_handles.h"

using namespace maren::store;

namespace {

std::string_view view(const CRYPTOAPI_BLOB &blob) {
    return {reinterpret_cast<const char *>(blob.pbData), blob.cbData};
}

// Everything a query points at, alive for one find.
struct CertFind {
    Query query;
    DWORD property = 0;
    const CRYPTOAPI_BLOB *blob = nullptr;
    std::vector<BYTE> bytes;
};

bool property_equals(const ContextCore &candidate, const void *para) {
    const auto *find = static_cast<const CertFind *>(para);
    std::vector<BYTE> value;
    return property_value(const_cast<ContextCore &>(candidate), find->property, &value) &&
           value.size() == find->blob->cbData &&
           (value.empty() || std::memcmp(value.data(), find->blob->pbData, value.size()) == 0);
}

bool has_property(const ContextCore &candidate, const void *para) {
    std::vector<BYTE> value;
    return property_value(const_cast<ContextCore &>(candidate), static_cast<const CertFind *>(para)->property, &value);
}

bool same_public_key(const ContextCore &candidate, const void *para) {
    return CertComparePublicKeyInfo(X509_ASN_ENCODING, &candidate.object().cert_info()->SubjectPublicKeyInfo,
                                    const_cast<PCERT_PUBLIC_KEY_INFO>(static_cast<const CERT_PUBLIC_KEY_INFO *>(para)));
}

bool same_serial(const ContextCore &candidate, const void *para) {
    auto *id = const_cast<PCERT_INFO>(static_cast<const CERT_INFO *>(para));
    return CertCompareIntegerBlob(&candidate.object().cert_info()->SerialNumber, &id->SerialNumber);
}

// A thumbprint written in hexadecimal, blanks allowed between digits.
bool parse_hex(LPCWSTR text, std::vector<BYTE> *bytes) {
    int high = -1;
    for (; *text; ++text) {
        const wchar_t c = *text;
        if (c == L' ' || c == L'\t') continue;
        const int digit = c < 0x80 ? halden::ascii_hex_value(static_cast<char>(c)) : -1;
        if (digit < 0) return false;
        if (high < 0) {
            high = digit;
        } else {
            bytes->push_back(static_cast<BYTE>(high << 4 | digit));
            high = -1;
        }
    }
    return high < 0;
}

// Fills `find` for the find type; false with the last error set.
bool build(DWORD type, const void *para, CertFind *find) {
    Query &q = find->query;
    q.kind = ObjectKind::certificate;
    if (type == CERT_FIND_ANY) return true;
    if (para == nullptr) return fail(E_INVALIDARG);
    const auto *blob = static_cast<const CRYPTOAPI_BLOB *>(para);
    switch (type) {
    case CERT_FIND_EXISTING:
        q.index = IndexKey::existing;
        q.object = &cert_context(static_cast<PCCERT_CONTEXT>(para))->object();
        return true;
    case CERT_FIND_SHA1_HASH:
        q.index = IndexKey::sha1;
        q.key = view(*blob);
        return true;
    case CERT_FIND_KEY_IDENTIFIER:
        q.index = IndexKey::key_id;
        q.key = view(*blob);
        return true;
    case CERT_FIND_SUBJECT_NAME:
        q.index = IndexKey::subject;
        q.key = view(*blob);
        return true;
    case CERT_FIND_ISSUER_NAME:
        q.index = IndexKey::issuer;
        q.key = view(*blob);
        return true;
    case CERT_FIND_HASH_STR:
        if (!parse_hex(static_cast<LPCWSTR>(para), &find->bytes)) return fail(E_INVALIDARG);
        q.index = IndexKey::sha1;
        q.key = {reinterpret_cast<const char *>(find->bytes.data()), find->bytes.size()};
        return true;
    case CERT_FIND_SUBJECT_CERT: {
        // The certificate with this issuer and serial number.
        const auto *id = static_cast<const CERT_INFO *>(para);
        q.index = IndexKey::issuer;
        q.key = view(id->Issuer);
        q.accept = same_serial;
        q.para = id;
        return true;
    }
    case CERT_FIND_ISSUER_OF: {
        const auto *subject = static_cast<PCCERT_CONTEXT>(para);
        q.index = IndexKey::subject;
        q.key = view(subject->pCertInfo->Issuer);
        return true;
    }
    case CERT_FIND_PUBLIC_KEY:
        q.accept = same_public_key;
        q.para = para;
        return true;
    case CERT_FIND_MD5_HASH:
    case CERT_FIND_SIGNATURE_HASH:
    case CERT_FIND_PUBKEY_MD5_HASH:
        find->property = type == CERT_FIND_MD5_HASH        ? CERT_MD5_HASH_PROP_ID
                         : type == CERT_FIND_SIGNATURE_HASH ? CERT_SIGNATURE_HASH_PROP_ID
                                                            : CERT_SUBJECT_PUBLIC_KEY_MD5_HASH_PROP_ID;
        find->blob = blob;
        q.accept = property_equals;
        q.para = find;
        return true;
    case CERT_FIND_PROPERTY:
        find->property = *static_cast<const DWORD *>(para);
        q.accept = has_property;
        q.para = find;
        return true;
    default:
        // Name strings, attributes, usages and key specs need what this
        // platform does not keep; anything else is no find type.
        return fail((type >> CERT_COMPARE_SHIFT) <= CERT_COMPARE_HAS_PRIVATE_KEY ? E_NOTIMPL : E_INVALIDARG);
    }
}

}  // namespace

extern "C" {

PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE hCertStore, DWORD, DWORD, DWORD dwFindType,
                                          const void *pvFindPara, PCCERT_CONTEXT pPrevCertContext) {
    // The previous context is released on every path, after the find.
    ContextRef previous(pPrevCertContext ? cert_context(pPrevCertContext) : nullptr);
    return guarded<PCCERT_CONTEXT>(nullptr, [&]() -> PCCERT_CONTEXT {
        HandleInfo info;
        if (!handles::find(hCertStore, &info)) return fail_with<PCCERT_CONTEXT>(E_INVALIDARG, nullptr);
        CertFind find;
        if (!build(dwFindType, pvFindPara, &find)) return nullptr;
        ContextCore *found = info.store->find_next(find.query, previous.get());
        if (found == nullptr) return fail_with<PCCERT_CONTEXT>(CRYPT_E_NOT_FOUND, nullptr);
        return public_cert(found);
    });
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext) {
    return CertFindCertificateInStore(hCertStore, 0, 0, CERT_FIND_ANY, nullptr, pPrevCertContext);
}

}  // extern "C"
