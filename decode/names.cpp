// RelativeDistinguishedNames: a SET of attributes into a CERT_RDN, in the
// three flavours of X509_NAME (strict), X509_CERT_NAME_LENIENT and
// X509_UNICODE_NAME. The outer SEQUENCE OF is a list of these in the
// dispatcher.
#include <decode/decoders.h>

namespace halden::decode {

namespace {
constexpr BYTE kTagNumberSet = 17;
}  // namespace

bool ASN1DecodeRDN(DecodeInput *input, DecodeArea *area) {
    return ASN1DecodeConstructedList(input, area, kTagNumberSet, sizeof(CERT_RDN_ATTR), ASN1DecodeRDNAttr);
}

bool ASN1DecodeCertRDN(DecodeInput *input, DecodeArea *area) {
    return ASN1DecodeConstructedList(input, area, kTagNumberSet, sizeof(CERT_RDN_ATTR), ASN1DecodeCertRDNAttr);
}

bool ASN1DecodeURDN(DecodeInput *input, DecodeArea *area) {
    return ASN1DecodeConstructedList(input, area, kTagNumberSet, sizeof(CERT_RDN_ATTR), ASN1DecodeURDNAttr);
}

}  // namespace halden::decode
