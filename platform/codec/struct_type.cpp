#include "platform/codec/struct_type.h"

#include <cstring>

#include <maren/extension_structs.h>
#include <maren/struct_types.h>

namespace maren::codec {
namespace {

std::uintptr_t number(LPCSTR type) { return reinterpret_cast<std::uintptr_t>(type); }

struct OidStructType {
    const char* oid;
    LPCSTR type;
};

// Extension and attribute OIDs that name their structure.
const OidStructType kOidTypes[] = {
    {szOID_AUTHORITY_KEY_IDENTIFIER2, X509_AUTHORITY_KEY_ID2},
    {szOID_KEY_USAGE, X509_KEY_USAGE},
    {szOID_BASIC_CONSTRAINTS2, X509_BASIC_CONSTRAINTS2},
    {szOID_CRL_DIST_POINTS, X509_CRL_DIST_POINTS},
    {szOID_FRESHEST_CRL, X509_CRL_DIST_POINTS},
    {szOID_ISSUING_DIST_POINT, X509_ISSUING_DIST_POINT},
    {szOID_AUTHORITY_INFO_ACCESS, X509_AUTHORITY_INFO_ACCESS},
    {szOID_SUBJECT_INFO_ACCESS, X509_AUTHORITY_INFO_ACCESS},
    {szOID_CERT_POLICIES, X509_CERT_POLICIES},
    {szOID_APPLICATION_CERT_POLICIES, X509_CERT_POLICIES},
    {szOID_POLICY_MAPPINGS, X509_POLICY_MAPPINGS},
    {szOID_APPLICATION_POLICY_MAPPINGS, X509_POLICY_MAPPINGS},
    {szOID_POLICY_CONSTRAINTS, X509_POLICY_CONSTRAINTS},
    {szOID_APPLICATION_POLICY_CONSTRAINTS, X509_POLICY_CONSTRAINTS},
    {szOID_SUBJECT_ALT_NAME, X509_ALTERNATE_NAME},
    {szOID_ISSUER_ALT_NAME, X509_ALTERNATE_NAME},
    {szOID_SUBJECT_ALT_NAME2, X509_ALTERNATE_NAME},
    {szOID_ISSUER_ALT_NAME2, X509_ALTERNATE_NAME},
    {szOID_NEXT_UPDATE_LOCATION, X509_ALTERNATE_NAME},
    {szOID_ENHANCED_KEY_USAGE, X509_ENHANCED_KEY_USAGE},
    {szOID_CRL_REASON_CODE, X509_ENUMERATED},
    {szOID_CRL_NUMBER, X509_INTEGER},
    {szOID_DELTA_CRL_INDICATOR, X509_INTEGER},
    {szOID_SUBJECT_KEY_IDENTIFIER, X509_OCTET_STRING},
    {szOID_AUTHORITY_KEY_IDENTIFIER, X509_AUTHORITY_KEY_ID},
    {szOID_KEY_ATTRIBUTES, X509_KEY_ATTRIBUTES},
    {szOID_CERT_EXTENSIONS, X509_EXTENSIONS},
    {szOID_RSA_certExtensions, X509_EXTENSIONS},
    {szOID_RSA_signingTime, PKCS_UTC_TIME},
    {szOID_PKIX_POLICY_QUALIFIER_USERNOTICE, X509_PKIX_POLICY_QUALIFIER_USERNOTICE},
    {szOID_CERTIFICATE_TEMPLATE, X509_CERTIFICATE_TEMPLATE},
    {szOID_ENROLLMENT_NAME_VALUE_PAIR, X509_ENROLLMENT_NAME_VALUE},
    {szOID_ENROLLMENT_CSP_PROVIDER, X509_ENROLLMENT_CSP_INFO},
};

// The rows of the object decoder's table.
const LPCSTR kDecoderTypes[] = {
    X509_CERT, X509_CERT_TO_BE_SIGNED, X509_CERT_CRL_TO_BE_SIGNED, X509_CERT_REQUEST_TO_BE_SIGNED,
    X509_EXTENSIONS, X509_NAME_VALUE, X509_NAME, X509_PUBLIC_KEY_INFO, X509_AUTHORITY_KEY_ID,
    X509_KEY_ATTRIBUTES, X509_ALTERNATE_NAME, X509_KEY_USAGE, X509_BASIC_CONSTRAINTS2, X509_CERT_POLICIES,
    PKCS_UTC_TIME, X509_UNICODE_NAME, PKCS_CONTENT_INFO_SEQUENCE_OF_ANY, X509_UNICODE_NAME_VALUE,
    X509_OCTET_STRING, X509_BITS, X509_INTEGER, X509_MULTI_BYTE_INTEGER, X509_ENUMERATED, X509_CHOICE_OF_TIME,
    X509_AUTHORITY_KEY_ID2, X509_AUTHORITY_INFO_ACCESS, X509_SEQUENCE_OF_ANY, X509_CRL_DIST_POINTS,
    X509_ENHANCED_KEY_USAGE, X509_MULTI_BYTE_UINT, X509_PKIX_POLICY_QUALIFIER_USERNOTICE, X509_ECC_SIGNATURE,
    X509_BITS_WITHOUT_TRAILING_ZEROES, X509_ISSUING_DIST_POINT, X509_POLICY_MAPPINGS, X509_POLICY_CONSTRAINTS,
    X509_CERTIFICATE_TEMPLATE, X509_OBJECT_IDENTIFIER, X509_ANY_OCTETS, X509_ANY_ENCODED,
    X509_ENROLLMENT_NAME_VALUE, X509_ENROLLMENT_CSP_INFO, X509_CERT_NAME_LENIENT,
};

}  // namespace

StructType resolve_struct_type(LPCSTR lpszStructType) {
    StructType result;
    if (lpszStructType == nullptr) return result;
    if (MAREN_IS_INT_STRUCT_TYPE(lpszStructType)) {
        result.kind = StructType::Kind::numeric;
        result.constant = number(lpszStructType);
        return result;
    }
    if (std::strcmp(lpszStructType, MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT) == 0) {
        result.kind = StructType::Kind::private_key_usage_period;
        return result;
    }
    for (const OidStructType& entry : kOidTypes) {
        if (std::strcmp(lpszStructType, entry.oid) == 0) {
            result.kind = StructType::Kind::numeric;
            result.constant = number(entry.type);
            return result;
        }
    }
    return result;
}

bool decoder_knows(std::uintptr_t constant) {
    for (LPCSTR type : kDecoderTypes)
        if (number(type) == constant) return true;
    return false;
}

DWORD fixed_output_size(std::uintptr_t constant) {
    if (constant == number(X509_BASIC_CONSTRAINTS2)) return sizeof(CERT_BASIC_CONSTRAINTS2_INFO);
    if (constant == number(X509_POLICY_CONSTRAINTS)) return sizeof(CERT_POLICY_CONSTRAINTS_INFO);
    if (constant == number(X509_INTEGER) || constant == number(X509_ENUMERATED)) return sizeof(DWORD);
    if (constant == number(PKCS_UTC_TIME) || constant == number(X509_CHOICE_OF_TIME)) return sizeof(FILETIME);
    return 0;
}

}  // namespace maren::codec
