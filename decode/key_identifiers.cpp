// Key identifiers: the authority key identifier in its old form
// (CERT_AUTHORITY_KEY_ID_INFO) and as RFC 5280 has it
// (CERT_AUTHORITY_KEY_ID2_INFO), and the key attributes
// (CERT_KEY_ATTRIBUTES_INFO).
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {

// [1] and [2] of any class.
constexpr DWORD kSelectorContext1 = 129;
constexpr DWORD kSelectorContext2 = 130;

static_assert(sizeof(CERT_AUTHORITY_KEY_ID_INFO) == 48, "CERT_AUTHORITY_KEY_ID_INFO layout");
static_assert(offsetof(CERT_AUTHORITY_KEY_ID2_INFO, AuthorityCertIssuer) == 16 &&
                  sizeof(CERT_AUTHORITY_KEY_ID2_INFO) == 48,
              "CERT_AUTHORITY_KEY_ID2_INFO layout");
static_assert(offsetof(CERT_KEY_ATTRIBUTES_INFO, IntendedKeyUsage) == 16 && sizeof(CERT_KEY_ATTRIBUTES_INFO) == 48,
              "CERT_KEY_ATTRIBUTES_INFO layout");

}  // namespace

bool DecodeAuthorityKeyId(DecodeInput *content, DecodeArea *area) {
    DecodeArea image;
    if (!DecodeBeginStructImage(area, sizeof(CERT_AUTHORITY_KEY_ID_INFO), &image)) return false;
    // keyIdentifier: tag number 0 of any class.
    DecodeInput keyId{0, nullptr};
    if (content->cbData != 0 && (content->pbData[0] & 0x1F) == 0 && !readAnyValue(content, &keyId)) return false;
    if (!blbCopyDataBlob(&image, &keyId)) return false;
    if (!ASN1DecodeSimpleEx(content, kSelectorContext1, kSimpleOctetString, &image)) return false;
    if (!ASN1DecodeSimpleEx(content, kSelectorContext2, kSimpleMultiByteInteger, &image)) return false;
    return DecodeRestoreStructInfo(area, &image, sizeof(CERT_AUTHORITY_KEY_ID_INFO));
}

bool DecodeAuthorityKeyId2(DecodeInput *content, DecodeArea *area) {
    BYTE *slot = nullptr;
    if (!reserveZeroedField(area, sizeof(CERT_AUTHORITY_KEY_ID2_INFO), &slot)) return false;
    auto *info = reinterpret_cast<CERT_AUTHORITY_KEY_ID2_INFO *>(slot);
    if (content->cbData == 0) return true;

    bool any = false;
    if ((content->pbData[0] & 0xDF) == 0x80) {
        DecodeInput keyId;
        if (!readAnyValue(content, &keyId) || keyId.cbData == 0) return false;
        BYTE *bytes = nullptr;
        if (!detail::copyToExtra(area, keyId.pbData, keyId.cbData, &bytes)) return false;
        if (info) info->KeyId = CRYPT_DATA_BLOB{keyId.cbData, bytes};
        any = true;
    }
    if (content->cbData != 0 && (content->pbData[0] & 0xDF) == 0x81) {
        if (!blb2GeneralNames(content, info ? &info->AuthorityCertIssuer : nullptr, area)) return false;
        any = true;
    }
    if (content->cbData != 0 && (content->pbData[0] & 0xDF) == 0x82) {
        DecodeInput serial;
        if (!readAnyValue(content, &serial)) return false;
        BYTE *bytes = nullptr;
        if (!detail::copyReversedToExtra(area, serial.pbData, serial.cbData, &bytes)) return false;
        if (info) info->AuthorityCertSerialNumber = CRYPT_INTEGER_BLOB{serial.cbData, bytes};
        any = true;
    }
    // A field out of order ends the reading; it fails only when nothing
    // was read at all.
    return content->cbData == 0 || any;
}

bool ASN1DecodeKeyAttributes(DecodeInput *content, DecodeArea *area) {
    BYTE *slot = nullptr;
    if (!detail::reserveAtExtra(area, sizeof(CERT_KEY_ATTRIBUTES_INFO), &slot)) return false;
    auto *info = reinterpret_cast<CERT_KEY_ATTRIBUTES_INFO *>(slot);
    if (content->cbData == 0) return true;

    if (content->pbData[0] == 0x04) {
        DecodeInput keyId;
        if (!readAnyValue(content, &keyId)) return false;
        if (keyId.cbData != 0) {
            BYTE *bytes = nullptr;
            if (!detail::copyToExtra(area, keyId.pbData, keyId.cbData, &bytes)) return false;
            if (info) info->KeyId = CRYPT_DATA_BLOB{keyId.cbData, bytes};
        }
    }
    if (content->cbData != 0 && content->pbData[0] == 0x03) {
        DecodeInput bits;
        if (!readAnyValue(content, &bits)) return false;
        if (bits.cbData < 2 || bits.pbData[0] > 7) return false;
        // The area keeps room for the count byte as well.
        BYTE *const at = area->pbExtra;
        if (at && !copyAt(area, at, bits.pbData + 1, bits.cbData - 1)) return false;
        if (info) {
            info->IntendedKeyUsage.cbData = bits.cbData - 1;
            info->IntendedKeyUsage.pbData = at;
            info->IntendedKeyUsage.cUnusedBits = bits.pbData[0];
        }
        advanceExtra(area, bits.cbData);
    }
    // The private key usage period is not read here.
    return true;
}

}  // namespace halden::decode
