// One AttributeTypeAndValue of a distinguished name into a CERT_RDN_ATTR:
// the type's dotted OID, then the value by the flavour's value decoder.
#include <decode/decoders.h>

namespace halden::decode {

namespace {

constexpr BYTE kTagSequence = 0x30;

template <typename ValueDecoder>
bool decodeRDNAttr(DecodeInput *input, DecodeArea *area, ValueDecoder decodeValue) {
    DecodeInput content;
    if (!readTaggedValue(input, kTagSequence, &content)) return false;
    // The type has no tag check; empty content fails in the OID conversion.
    if (!DecodeOIDToString(&content, area)) return false;
    return decodeValue(&content, area);
}

}  // namespace

bool ASN1DecodeRDNAttr(DecodeInput *input, DecodeArea *area) {
    return decodeRDNAttr(input, area, [](DecodeInput *value, DecodeArea *a) { return DecodeNameValue(value, a, true); });
}

bool ASN1DecodeCertRDNAttr(DecodeInput *input, DecodeArea *area) {
    return decodeRDNAttr(input, area,
                         [](DecodeInput *value, DecodeArea *a) { return DecodeNameValue(value, a, false); });
}

bool ASN1DecodeURDNAttr(DecodeInput *input, DecodeArea *area) {
    return decodeRDNAttr(input, area, DecodeUNameValue);
}

}  // namespace halden::decode
