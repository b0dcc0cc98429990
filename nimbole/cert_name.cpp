#include "nimbole/cert_name.h"

#include <cstring>

#include <decode/decode.h>

#include "base/ascii.h"
#include "nimbole/x509_decode.h"

namespace halden::nimbole {
namespace {

// Attributes whose PrintableString values are compared without regard to
// letter case and to the amount of white space.
const char* const kNormalizedAttributes[] = {
    szOID_COUNTRY_NAME,   szOID_RSA_emailAddr,          szOID_STATE_OR_PROVINCE_NAME,
    szOID_LOCALITY_NAME,  szOID_ORGANIZATION_NAME,      szOID_ORGANIZATIONAL_UNIT_NAME,
    szOID_TITLE,          szOID_GIVEN_NAME,             szOID_INITIALS,
    szOID_SUR_NAME,       szOID_COMMON_NAME,
};

bool is_normalized(const CERT_RDN_ATTR& attribute) {
    if (attribute.dwValueType != CERT_RDN_PRINTABLE_STRING || attribute.pszObjId == nullptr) return false;
    for (const char* oid : kNormalizedAttributes)
        if (std::strcmp(oid, attribute.pszObjId) == 0) return true;
    return false;
}

bool space(BYTE b) { return ascii_isspace(static_cast<char>(b)); }

}  // namespace

DWORD normalize_name_value(BYTE* value, DWORD length) {
    if (value == nullptr) return 0;
    DWORD start = 0;
    while (start < length && space(value[start])) ++start;
    DWORD end = length;
    while (end > start && value[end - 1] == 0) --end;
    while (end > start && space(value[end - 1])) --end;

    // Each run of white space shrinks to its last byte; then letters fold and
    // the white space left becomes a blank.
    DWORD out = 0;
    for (DWORD i = start; i < end; ++i) {
        if (space(value[i]) && i + 1 < end && space(value[i + 1])) continue;
        const char c = ascii_tolower(static_cast<char>(value[i]));
        value[out++] = space(static_cast<BYTE>(c)) ? BYTE(' ') : static_cast<BYTE>(c);
    }
    return out;
}

CertNamePtr parse_CERT_NAME(const CRYPT_DATA_BLOB& encoded) {
    if (encoded.cbData == 0 || encoded.pbData == nullptr) return nullptr;
    DWORD size = 0;
    if (!TSDecodeObject(0, X509_CERT_NAME_LENIENT, encoded.pbData, encoded.cbData, 0, nullptr, &size) || size == 0)
        return nullptr;
    CertNamePtr name(static_cast<CERT_NAME_INFO*>(std::malloc(size)));
    if (!name) return nullptr;
    // A non-zero encoding type tells the decoder that the size is measured:
    // only the writing pass runs.
    if (!TSDecodeObject(kCertEncoding, X509_CERT_NAME_LENIENT, encoded.pbData, encoded.cbData, 0, name.get(),
                        &size))
        return nullptr;
    for (DWORD r = 0; r < name->cRDN; ++r) {
        CERT_RDN& rdn = name->rgRDN[r];
        for (DWORD a = 0; a < rdn.cRDNAttr; ++a) {
            CERT_RDN_ATTR& attribute = rdn.rgRDNAttr[a];
            if (is_normalized(attribute))
                attribute.Value.cbData = normalize_name_value(attribute.Value.pbData, attribute.Value.cbData);
        }
    }
    return name;
}

bool cmp_CERT_NAME_INFO(const CERT_NAME_INFO* a, const CERT_NAME_INFO* b) {
    if (a == nullptr || b == nullptr) return false;
    if (a->cRDN != b->cRDN) return false;
    for (DWORD r = 0; r < a->cRDN; ++r) {
        const CERT_RDN& x = a->rgRDN[r];
        const CERT_RDN& y = b->rgRDN[r];
        if (x.cRDNAttr != y.cRDNAttr) return false;
        for (DWORD i = 0; i < x.cRDNAttr; ++i) {
            const CERT_RDN_ATTR& p = x.rgRDNAttr[i];
            const CERT_RDN_ATTR& q = y.rgRDNAttr[i];
            if (p.pszObjId == nullptr || q.pszObjId == nullptr) {
                if (p.pszObjId != q.pszObjId) return false;
            } else if (std::strcmp(p.pszObjId, q.pszObjId) != 0) {
                return false;
            }
            if (p.Value.cbData != q.Value.cbData) return false;
            if (p.Value.cbData != 0 && std::memcmp(p.Value.pbData, q.Value.pbData, p.Value.cbData) != 0)
                return false;
        }
    }
    return true;
}

}  // namespace halden::nimbole
