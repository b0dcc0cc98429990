// A ContentInfo whose content is a SEQUENCE OF ANY, into
// CRYPT_CONTENT_INFO_SEQUENCE_OF_ANY: each element is kept encoded, after a
// check that its length header fits.
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {
constexpr BYTE kTagNumberSequence = 16;
constexpr BYTE kExplicitContentTag = 0xA0;
static_assert(offsetof(CRYPT_CONTENT_INFO_SEQUENCE_OF_ANY, cValue) == 8 &&
                  sizeof(CRYPT_CONTENT_INFO_SEQUENCE_OF_ANY) == 24,
              "CRYPT_CONTENT_INFO_SEQUENCE_OF_ANY layout");
}  // namespace

bool DecodePkcsContentInfoSequenceOfAny(DecodeInput *content, DecodeArea *area) {
    DecodeArea image;
    if (!DecodeBeginStructImage(area, sizeof(CRYPT_CONTENT_INFO_SEQUENCE_OF_ANY), &image)) return false;
    if (!DecodeOIDToString(content, &image)) return false;
    if (content->cbData != 0) {
        DecodeInput explicitContent;
        if (!readTaggedValue(content, kExplicitContentTag, &explicitContent)) return false;
        if (!ASN1DecodeConstructedList(&explicitContent, &image, kTagNumberSequence, sizeof(CRYPT_DER_BLOB),
                                       DecodeCheckBlob))
            return false;
    } else if (!reserveZeroedField(&image, kListPairSize, nullptr)) {
        return false;
    }
    return DecodeRestoreStructInfo(area, &image, sizeof(CRYPT_CONTENT_INFO_SEQUENCE_OF_ANY));
}

}  // namespace halden::decode
