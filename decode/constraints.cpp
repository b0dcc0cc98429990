// Basic constraints (CERT_BASIC_CONSTRAINTS2_INFO) and policy constraints
// (CERT_POLICY_CONSTRAINTS_INFO).
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {
static_assert(sizeof(CERT_BASIC_CONSTRAINTS2_INFO) == 12, "CERT_BASIC_CONSTRAINTS2_INFO layout");
static_assert(offsetof(CERT_POLICY_CONSTRAINTS_INFO, dwInhibitPolicyMappingSkipCerts) == 12 &&
                  sizeof(CERT_POLICY_CONSTRAINTS_INFO) == 16,
              "CERT_POLICY_CONSTRAINTS_INFO layout");

// One [n] INTEGER of policy constraints: 1 to 4 content bytes, whatever the
// constructed bit says.
bool readSkipCerts(DecodeInput *content, BOOL *present, DWORD *value) {
    DecodeInput number;
    if (!readAnyValue(content, &number)) return false;
    if (number.cbData < 1 || number.cbData > 4) return false;
    *present = TRUE;
    *value = detail::bigEndianSigned(number.pbData, number.cbData);
    return true;
}
}  // namespace

// A wrong tag is never a failure here: it leaves CRYPT_E_ASN1_BADTAG behind
// and reading goes on with the same byte, so the ordinary value without cA
// succeeds with that stale last error.
bool DecodeBasicConstraints2(DecodeInput *content, DecodeArea *area) {
    CERT_BASIC_CONSTRAINTS2_INFO info{FALSE, FALSE, 0};
    if (content->cbData != 0) {
        if (content->pbData[0] == 0x01) {
            ++content->pbData;
            --content->cbData;
            DWORD length = 0;
            // A bad length header leaves its last error and reading goes on.
            if (readLength(content, &length)) {
                info.fCA = length != 0 && content->pbData[0] != 0;
                content->pbData += length;
                content->cbData -= length;
            }
        } else {
            SetLastError(DWORD(CRYPT_E_ASN1_BADTAG));
        }
        if (content->cbData != 0) {
            if (content->pbData[0] == 0x02) {
                ++content->pbData;
                --content->cbData;
                DWORD length = 0;
                if (readLength(content, &length)) {
                    // Also refuses the indefinite form, which reads as length 0.
                    if (length == 0 || length > 4) return false;
                    info.fPathLenConstraint = TRUE;
                    info.dwPathLenConstraint = detail::bigEndianSigned(content->pbData, length);
                }
                // A malformed or over-long length is passed over.
            } else {
                SetLastError(DWORD(CRYPT_E_ASN1_BADTAG));
            }
        }
    }
    if (area->pbFixed && !storeAt(area, area->pbFixed, info)) return false;
    // Passed by its plain size, with no rounding.
    detail::advanceExact(area->pbFixed, area->cbFixed, sizeof info);
    detail::advanceExact(area->pbExtra, area->cbExtra, sizeof info);
    return true;
}

bool DecodePolicyConstraints(DecodeInput *content, DecodeArea *area) {
    BYTE *slot = nullptr;
    if (!detail::reserveAtExtra(area, sizeof(CERT_POLICY_CONSTRAINTS_INFO), &slot)) return false;
    CERT_POLICY_CONSTRAINTS_INFO info{FALSE, 0, FALSE, 0};
    if (content->cbData != 0 && (content->pbData[0] & 0xDF) == 0x80 &&
        !readSkipCerts(content, &info.fRequireExplicitPolicy, &info.dwRequireExplicitPolicySkipCerts))
        return false;
    if (content->cbData != 0 && (content->pbData[0] & 0xDF) == 0x81 &&
        !readSkipCerts(content, &info.fInhibitPolicyMapping, &info.dwInhibitPolicyMappingSkipCerts))
        return false;
    if (slot) std::memcpy(slot, &info, sizeof info);
    return true;
}

}  // namespace halden::decode
