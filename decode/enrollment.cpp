// Enrollment structures: the certificate template extension
// (CERT_TEMPLATE_EXT), and the name-value pair (CRYPT_ENROLLMENT_NAME_VALUE_PAIR)
// and CSP information (CRYPT_CSP_PROVIDER) attributes of a request. Each is
// built at the extra cursor, so they stand at the top level only.
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {

constexpr BYTE kBmpStringTag = 30;

static_assert(offsetof(CERT_TEMPLATE_EXT, dwMinorVersion) == 16 && sizeof(CERT_TEMPLATE_EXT) == 24,
              "CERT_TEMPLATE_EXT layout");
static_assert(sizeof(CRYPT_ENROLLMENT_NAME_VALUE_PAIR) == 16, "CRYPT_ENROLLMENT_NAME_VALUE_PAIR layout");
static_assert(offsetof(CRYPT_CSP_PROVIDER, Signature) == 16 && sizeof(CRYPT_CSP_PROVIDER) == 40,
              "CRYPT_CSP_PROVIDER layout");

// Big-endian bytes of any number, sign-extended from the first; the low 32
// bits are kept.
DWORD accumulateSigned(const DecodeInput *number) {
    DWORD v = (number->cbData != 0 && (number->pbData[0] & 0x80)) ? 0xFFFFFFFFu : 0;
    for (DWORD i = 0; i < number->cbData; ++i) v = (v << 8) | number->pbData[i];
    return v;
}

}  // namespace

bool DecodeCertificateTemplate(DecodeInput *content, DecodeArea *area) {
    if (content->cbData == 0) return false;
    DecodeInput oid;
    if (!readTaggedValue(content, 0x06, &oid)) return false;
    if (content->cbData == 0) return false;
    DecodeInput major;
    if (!readTaggedValue(content, 0x02, &major)) return false;
    if (major.cbData < 1 || major.cbData > 4) return false;
    DecodeInput minor{0, nullptr};
    if (content->cbData != 0) {
        if (!readTaggedValue(content, 0x02, &minor)) return false;
        if (minor.cbData > 4) return false;
    }

    BYTE *slot = nullptr;
    if (!detail::reserveAtExtra(area, sizeof(CERT_TEMPLATE_EXT), &slot)) return false;
    char *text = nullptr;
    if (!detail::oidTextToExtra(area, &oid, &text)) return false;
    if (slot) {
        auto *ext = reinterpret_cast<CERT_TEMPLATE_EXT *>(slot);
        ext->pszObjId = text;
        ext->dwMajorVersion = detail::bigEndianSigned(major.pbData, major.cbData);
        ext->fMinorVersion = minor.cbData != 0;
        ext->dwMinorVersion = detail::bigEndianSigned(minor.pbData, minor.cbData);
    }
    return true;
}

bool DecodeEnrollmentNameValuePair(DecodeInput *content, DecodeArea *area) {
    if (content->cbData == 0) return false;
    DecodeInput name;
    if (!readTaggedValue(content, kBmpStringTag, &name)) return false;
    DecodeInput value{0, nullptr};
    if (content->cbData != 0 && !readTaggedValue(content, kBmpStringTag, &value)) return false;

    BYTE *slot = nullptr;
    if (!detail::reserveAtExtra(area, sizeof(CRYPT_ENROLLMENT_NAME_VALUE_PAIR), &slot)) return false;
    LPWSTR nameText = nullptr;
    LPWSTR valueText = nullptr;
    if (!detail::bmpTextToExtra(area, &name, true, &nameText)) return false;
    if (!detail::bmpTextToExtra(area, &value, false, &valueText)) return false;
    if (slot) {
        auto *pair = reinterpret_cast<CRYPT_ENROLLMENT_NAME_VALUE_PAIR *>(slot);
        pair->pwszName = nameText;
        pair->pwszValue = valueText;
    }
    return true;
}

bool DecodeEnrollmentCSPInfo(DecodeInput *content, DecodeArea *area) {
    if (content->cbData == 0) return false;
    DecodeInput keySpec;
    if (!readTaggedValue(content, 0x02, &keySpec)) return false;
    DecodeInput provider{0, nullptr};
    if (content->cbData != 0 && !readTaggedValue(content, kBmpStringTag, &provider)) return false;

    BYTE *slot = nullptr;
    if (!detail::reserveAtExtra(area, sizeof(CRYPT_CSP_PROVIDER), &slot)) return false;
    auto *info = reinterpret_cast<CRYPT_CSP_PROVIDER *>(slot);
    LPWSTR name = nullptr;
    if (!detail::bmpTextToExtra(area, &provider, true, &name)) return false;
    if (info) {
        info->dwKeySpec = accumulateSigned(&keySpec);
        info->pwszProviderName = name;
    }
    // Whatever value follows, of any tag, is the signature.
    return blb2bits(content, info ? &info->Signature : nullptr, area);
}

}  // namespace halden::decode
