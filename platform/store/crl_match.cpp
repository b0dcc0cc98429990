#include "platform/store/crl_match.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/store/der_view.h"
#include "platform/store/signature_check.h"

namespace maren::store {
namespace {

constexpr BYTE kKeyIdTag = 0x80;        // [0] IMPLICIT OCTET STRING
constexpr BYTE kIssuerTag = 0xA1;       // [1] IMPLICIT GeneralNames
constexpr BYTE kSerialTag = 0x82;       // [2] IMPLICIT INTEGER
constexpr BYTE kDirectoryNameTag = 0xA4;  // GeneralName [4] EXPLICIT Name

const CERT_EXTENSION *find_extension(const EncodedObject &object, const char *oid) {
    DWORD count = 0;
    const CERT_EXTENSION *extensions = object.extensions(&count);
    for (DWORD i = 0; i < count; ++i)
        if (extensions[i].pszObjId && std::strcmp(extensions[i].pszObjId, oid) == 0) return &extensions[i];
    return nullptr;
}

bool equal_bytes(const BYTE *a, size_t na, const BYTE *b, size_t nb) {
    return na == nb && (na == 0 || std::memcmp(a, b, na) == 0);
}

// A big-endian INTEGER against a little-endian serial blob.
bool same_serial(const der::Value &integer, const CRYPT_INTEGER_BLOB &serial) {
    CRYPT_INTEGER_BLOB reversed;
    std::vector<BYTE> bytes(integer.content, integer.end());
    std::reverse(bytes.begin(), bytes.end());
    reversed.cbData = static_cast<DWORD>(bytes.size());
    reversed.pbData = bytes.data();
    return CertCompareIntegerBlob(&reversed, const_cast<PCRYPT_INTEGER_BLOB>(&serial));
}

// Whether a directory name among the GeneralNames equals `name`.
bool names_include(const der::Value &general_names, const CERT_NAME_BLOB &name) {
    der::Reader names(general_names);
    der::Value entry;
    while (names.next(&entry)) {
        if (entry.tag != kDirectoryNameTag) continue;
        der::Value inner;
        if (der::read(entry.content, entry.length, &inner) && equal_bytes(inner.start, inner.total, name.pbData, name.cbData))
            return true;
    }
    return false;
}

bool authority_key_matches(const EncodedObject &crl, const EncodedObject &issuer) {
    const CERT_EXTENSION *aki = find_extension(crl, szOID_AUTHORITY_KEY_IDENTIFIER2);
    if (aki == nullptr) return true;
    der::Value sequence;
    if (!der::read(aki->Value.pbData, aki->Value.cbData, &sequence) || sequence.tag != der::kSequence) return false;
    der::Reader fields(sequence);
    der::Value field, key_id, names, serial;
    while (fields.next(&field)) {
        if (field.tag == kKeyIdTag) key_id = field;
        else if (field.tag == kIssuerTag) names = field;
        else if (field.tag == kSerialTag) serial = field;
    }
    if (key_id.start) {
        const std::string_view id = issuer.key_identifier();
        return equal_bytes(key_id.content, key_id.length, reinterpret_cast<const BYTE *>(id.data()), id.size());
    }
    if (names.start && serial.start) {
        const CERT_INFO *info = issuer.cert_info();
        return names_include(names, info->Issuer) && same_serial(serial, info->SerialNumber);
    }
    return true;
}

}  // namespace

bool is_delta_crl(const EncodedObject &crl) { return find_extension(crl, szOID_DELTA_CRL_INDICATOR) != nullptr; }

bool crl_issued_by(const EncodedObject &crl, const EncodedObject *issuer, DWORD flags) {
    const DWORD kinds = flags & (CRL_FIND_ISSUED_BY_DELTA_FLAG | CRL_FIND_ISSUED_BY_BASE_FLAG);
    if (kinds == CRL_FIND_ISSUED_BY_DELTA_FLAG && !is_delta_crl(crl)) return false;
    if (kinds == CRL_FIND_ISSUED_BY_BASE_FLAG && is_delta_crl(crl)) return false;
    if (issuer == nullptr) return true;
    if ((flags & CRL_FIND_ISSUED_BY_AKI_FLAG) && !authority_key_matches(crl, *issuer)) return false;
    if ((flags & CRL_FIND_ISSUED_BY_SIGNATURE_FLAG) &&
        !signature_verifies(crl, issuer->cert_info()->SubjectPublicKeyInfo))
        return false;
    return true;
}

}  // namespace maren::store
