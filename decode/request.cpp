// Certification requests (PKCS #10): the CertificationRequestInfo body into
// CERT_REQUEST_INFO, with its attributes.
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {

constexpr BYTE kTagNumberSet = 17;
constexpr BYTE kTagNumberExplicit0 = 160;

static_assert(offsetof(CERT_REQUEST_INFO, SubjectPublicKeyInfo) == 24, "CERT_REQUEST_INFO layout");
static_assert(offsetof(CERT_REQUEST_INFO, cAttribute) == 72 && sizeof(CERT_REQUEST_INFO) == 88,
              "CERT_REQUEST_INFO layout");
static_assert(offsetof(CRYPT_ATTRIBUTE, cValue) == 8 && sizeof(CRYPT_ATTRIBUTE) == 24, "CRYPT_ATTRIBUTE layout");

// The version INTEGER: tag number 2 of any class, 1 to 4 bytes.
bool decodeRequestVersion(DecodeInput *content, DecodeArea *image) {
    if (content->cbData == 0 || (content->pbData[0] & 0x1F) != 2) return false;
    DecodeInput value;
    if (!readAnyValue(content, &value)) return false;
    if (value.cbData < 1 || value.cbData > 4) return false;
    return storeDwordField(image, detail::bigEndianSigned(value.pbData, value.cbData));
}

}  // namespace

bool DecodeCryptAttributes(DecodeInput *input, DecodeArea *area) {
    DecodeInput content;
    if (!readTaggedValue(input, 0x30, &content)) return false;
    if (!DecodeOIDToString(&content, area)) return false;
    return ASN1DecodeConstructedList(&content, area, kTagNumberSet, sizeof(CRYPT_ATTR_BLOB), DecodeDERBlob);
}

bool DecodeCertRequestToBeSigned(DecodeInput *input, DecodeArea *area) {
    DecodeInput content{0, input->pbData};
    if (input->cbData != 0 && !readTaggedValue(input, 0x30, &content)) return false;

    DecodeArea image;
    if (!DecodeBeginStructImage(area, sizeof(CERT_REQUEST_INFO), &image)) return false;
    if (!decodeRequestVersion(&content, &image)) return false;
    DecodeInput subject;
    if (!extractEncodedBlob(&content, &subject) || !blbCopyDataBlob(&image, &subject)) return false;
    DecodeInput keyInfo{0, content.pbData};
    if (content.cbData != 0 && !readTaggedValue(&content, 0x30, &keyInfo)) return false;
    if (!DecodePublicKeyInfo(&keyInfo, &image)) return false;
    if (!ASN1DecodeConstructedList(&content, &image, kTagNumberExplicit0, sizeof(CRYPT_ATTRIBUTE),
                                   DecodeCryptAttributes))
        return false;
    return DecodeRestoreStructInfo(area, &image, sizeof(CERT_REQUEST_INFO));
}

}  // namespace halden::decode
