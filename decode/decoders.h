// The decoders behind the rows of TSDecodeObject's table, and the string
// helpers shared by the name and extension decoders. All work over the
// DecodeArea contract of primitives.h and return true for success.
//
// Decoders marked "content" take the content of their SEQUENCE (the
// dispatcher wraps them in ASN1DecodeConstructed with tag number 16);
// "element" decoders read one whole element of a list themselves.
#ifndef HALDEN_DECODE_DECODERS_H
#define HALDEN_DECODE_DECODERS_H

#include <cstdint>

#include <decode/primitives.h>

namespace halden::decode {

// --- Certificates, CRLs, requests ---

bool DecodeCertificate(DecodeInput *content, DecodeArea *area);     // content, CERT_SIGNED_CONTENT_INFO
bool DecodeTBSCertificate(DecodeInput *content, DecodeArea *area);  // content, CERT_INFO
// The CRL body (CRL_INFO) and the request body (CERT_REQUEST_INFO) take the
// whole TBSCertList / CertificationRequestInfo value, outer SEQUENCE included.
bool DecodeCRLToBeSigned(DecodeInput *input, DecodeArea *area);
bool DecodeCertRequestToBeSigned(DecodeInput *input, DecodeArea *area);
bool DecodeExtension(DecodeInput *input, DecodeArea *area);       // element, CERT_EXTENSION
bool DecodePublicKeyInfo(DecodeInput *content, DecodeArea *area);  // content, CERT_PUBLIC_KEY_INFO
bool DecodePkcsContentInfoSequenceOfAny(DecodeInput *content, DecodeArea *area);
bool DecodeX509EccSignature(DecodeInput *content, DecodeArea *area);

// --- Extensions ---

bool DecodeAuthorityKeyId(DecodeInput *content, DecodeArea *area);
bool ASN1DecodeKeyAttributes(DecodeInput *content, DecodeArea *area);
// GeneralNames into `info` (reserved elsewhere; null while measuring). Only
// the extra cursor of `area` is used and moved.
bool blb2GeneralNames(DecodeInput *input, CERT_ALT_NAME_INFO *info, DecodeArea *area);
bool DecodeBasicConstraints2(DecodeInput *content, DecodeArea *area);
bool ASN1DecodeCertPolicyInfo(DecodeInput *input, DecodeArea *area);  // element, CERT_POLICY_INFO
bool DecodeAuthorityKeyId2(DecodeInput *content, DecodeArea *area);
bool DecodeAuthAccessInfoEntry(DecodeInput *input, DecodeArea *area);  // element, CERT_ACCESS_DESCRIPTION
bool ASN1DecodeCDP(DecodeInput *input, DecodeArea *area);              // element, CRL_DIST_POINT
bool DecodePolicyQualifierUserNotice(DecodeInput *content, DecodeArea *area);
bool DecodeIDP(DecodeInput *content, DecodeArea *area);
bool DecodePolicyMapping(DecodeInput *input, DecodeArea *area);  // element, CERT_POLICY_MAPPING
bool DecodePolicyConstraints(DecodeInput *content, DecodeArea *area);
bool DecodeCertificateTemplate(DecodeInput *content, DecodeArea *area);
bool DecodeEnrollmentNameValuePair(DecodeInput *content, DecodeArea *area);
bool DecodeEnrollmentCSPInfo(DecodeInput *content, DecodeArea *area);

// --- Names and their attributes (names.cpp, attributes.cpp, name_values.cpp) ---

// One RelativeDistinguishedName (a SET, byte 0x31) into a CERT_RDN: the
// element decoders of the outer SEQUENCE OF of X509_NAME,
// X509_UNICODE_NAME and X509_CERT_NAME_LENIENT.
bool ASN1DecodeRDN(DecodeInput *input, DecodeArea *area);
bool ASN1DecodeURDN(DecodeInput *input, DecodeArea *area);
bool ASN1DecodeCertRDN(DecodeInput *input, DecodeArea *area);

// One AttributeTypeAndValue into a CERT_RDN_ATTR, in the three flavours.
bool ASN1DecodeRDNAttr(DecodeInput *input, DecodeArea *area);
bool ASN1DecodeURDNAttr(DecodeInput *input, DecodeArea *area);
bool ASN1DecodeCertRDNAttr(DecodeInput *input, DecodeArea *area);

// A directory string into a CERT_NAME_VALUE at the fixed cursor. The strict
// flavour refuses the string types a strict name may not carry and checks
// NumericString; the wide flavour stores every string in 32-bit units.
bool DecodeNameValue(DecodeInput *input, DecodeArea *area, bool strict);
bool DecodeUNameValue(DecodeInput *input, DecodeArea *area);
// All remaining input, from the tag on, as a CERT_RDN_ENCODED_BLOB value.
bool DecodeRDN_ENCODED_BLOB(DecodeInput *input, DecodeArea *area);

// Row adapters: X509_NAME_VALUE (strict) and X509_UNICODE_NAME_VALUE.
bool DecodeStrictNameValue(DecodeInput *input, DecodeArea *area);
bool DecodeUnicodeNameValue(DecodeInput *input, DecodeArea *area);

// Copies or converts a string of universal tag `tag` from `source`.
// Returns its stored size in bytes, or -1 for a tag without a row (and for
// a target too small). With a null `value` or null value->pbData only the
// size is computed; otherwise value->cbData is on entry the room at pbData
// in bytes and receives the size. 8-bit types are copied unconverted,
// UTF8String (12) becomes wide text, UniversalString (28) and BMPString (30)
// become host-order 32-bit units.
int64_t decodeStringA(DWORD tag, CRYPT_DATA_BLOB *value, const DecodeInput *source);
// The length of the zero terminator the stored form of `source` needs.
DWORD needtermA(DWORD tag, const DecodeInput *source);

}  // namespace halden::decode

#endif
