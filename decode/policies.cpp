// Certificate policies (CERT_POLICY_INFO with its qualifiers), the user
// notice qualifier (CERT_POLICY_QUALIFIER_USER_NOTICE) and policy mappings
// (CERT_POLICY_MAPPING).
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {

constexpr BYTE kTagNumberSequence = 16;

static_assert(offsetof(CERT_POLICY_INFO, cPolicyQualifier) == 8 && sizeof(CERT_POLICY_INFO) == 24,
              "CERT_POLICY_INFO layout");
static_assert(sizeof(CERT_POLICY_QUALIFIER_INFO) == 24, "CERT_POLICY_QUALIFIER_INFO layout");
static_assert(sizeof(CERT_POLICY_QUALIFIER_USER_NOTICE) == 16, "CERT_POLICY_QUALIFIER_USER_NOTICE layout");
static_assert(sizeof(CERT_POLICY_MAPPING) == 16, "CERT_POLICY_MAPPING layout");

// PolicyQualifierInfo: the qualifier's OID, then its whole value as it is.
bool ASN1DecodePolicyQInfo(DecodeInput *input, DecodeArea *area) {
    DecodeInput content;
    if (!readTaggedValue(input, 0x30, &content)) return false;
    if (!DecodeOIDToString(&content, area)) return false;
    DecodeInput qualifier;
    if (!extractEncodedBlob(&content, &qualifier)) return false;
    return blbCopyDataBlob(area, &qualifier);
}

}  // namespace

bool ASN1DecodeCertPolicyInfo(DecodeInput *input, DecodeArea *area) {
    DecodeInput content;
    if (!readTaggedValue(input, 0x30, &content)) return false;
    if (!DecodeOIDToString(&content, area)) return false;
    return ASN1DecodeConstructedList(&content, area, kTagNumberSequence, sizeof(CERT_POLICY_QUALIFIER_INFO),
                                     ASN1DecodePolicyQInfo);
}

bool DecodePolicyMapping(DecodeInput *input, DecodeArea *area) {
    DecodeInput content;
    if (!readTaggedValue(input, 0x30, &content)) return false;
    return DecodeOIDToString(&content, area) && DecodeOIDToString(&content, area);
}

// Only the explicitText is read, stored as the string type makes it: 8-bit
// text for IA5String and VisibleString, wide text for UTF8String and
// BMPString, although the field is declared wide. A noticeRef (a SEQUENCE)
// is refused.
bool DecodePolicyQualifierUserNotice(DecodeInput *content, DecodeArea *area) {
    if (content->cbData != 0 && content->pbData[0] == 0x10) return false;
    BYTE *slot = nullptr;
    if (!detail::reserveAtExtra(area, sizeof(CERT_POLICY_QUALIFIER_USER_NOTICE), &slot)) return false;
    if (content->cbData == 0) return true;
    const BYTE tag = content->pbData[0];
    if ((tag & 0xE0) != 0) {
        SetLastError(DWORD(CRYPT_E_ASN1_BADTAG));
        return false;
    }
    DecodeInput text;
    if (!readAnyValue(content, &text)) return false;

    BYTE *const at = area->pbExtra;
    CRYPT_DATA_BLOB target{at ? detail::roomFrom(area, at) : 0, at};
    const int64_t size = decodeStringA(tag, at ? &target : nullptr, &text);
    if (size < 0 || size > 0xFFFFFFFF) return false;
    const DWORD terminator = needtermA(tag, &text);
    if (at && !zeroAt(area, at + size, terminator)) return false;
    if (slot)
        reinterpret_cast<CERT_POLICY_QUALIFIER_USER_NOTICE *>(slot)->pszDisplayText = reinterpret_cast<LPWSTR>(at);
    const uint64_t total = uint64_t(size) + terminator;
    if (total > 0xFFFFFFFFu) return false;
    detail::advanceExact(area->pbExtra, area->cbExtra, DWORD(total));
    return true;
}

}  // namespace halden::decode
