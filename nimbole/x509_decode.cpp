#include "nimbole/x509_decode.h"

#include <cstring>

namespace halden::nimbole {
namespace {

struct ExtensionType {
    const char* oid;
    LPCSTR struct_type;
};

// The order is the order of the look-up; an OID appears once.
const ExtensionType kExtensionTypes[] = {
    {szOID_CRL_DIST_POINTS, X509_CRL_DIST_POINTS},
    {szOID_FRESHEST_CRL, X509_CRL_DIST_POINTS},
    {szOID_BASIC_CONSTRAINTS2, X509_BASIC_CONSTRAINTS2},
    {szOID_ENHANCED_KEY_USAGE, X509_ENHANCED_KEY_USAGE},
    {szOID_CERT_POLICIES, X509_CERT_POLICIES},
    {szOID_APPLICATION_CERT_POLICIES, X509_CERT_POLICIES},
    {szOID_KEY_USAGE, X509_KEY_USAGE},
    {szOID_PRIVATEKEY_USAGE_PERIOD, MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT},
    {szOID_POLICY_CONSTRAINTS, X509_POLICY_CONSTRAINTS},
    {szOID_APPLICATION_POLICY_CONSTRAINTS, X509_POLICY_CONSTRAINTS},
    {szOID_AUTHORITY_INFO_ACCESS, X509_AUTHORITY_INFO_ACCESS},
    {szOID_ISSUER_ALT_NAME2, X509_ALTERNATE_NAME},
    {szOID_SUBJECT_ALT_NAME2, X509_ALTERNATE_NAME},
};

}  // namespace

Decoded<void> decode_object(LPCSTR struct_type, const CRYPT_OBJID_BLOB& value) {
    DWORD size = 0;
    if (!CryptDecodeObject(kCertEncoding, struct_type, value.pbData, value.cbData, 0, nullptr, &size) || size == 0)
        return nullptr;
    Decoded<void> out(new unsigned char[size]);
    if (!CryptDecodeObject(kCertEncoding, struct_type, value.pbData, value.cbData, 0, out.get(), &size))
        return nullptr;
    return out;
}

bool decode_fixed(LPCSTR struct_type, const CRYPT_OBJID_BLOB& value, void* out, DWORD size) {
    DWORD room = size;
    return CryptDecodeObject(kCertEncoding, struct_type, value.pbData, value.cbData, 0, out, &room) != FALSE;
}

LPCSTR extension_struct_type(const char* oid) {
    if (oid == nullptr) return nullptr;
    for (const ExtensionType& row : kExtensionTypes)
        if (std::strcmp(row.oid, oid) == 0) return row.struct_type;
    return nullptr;
}

Decoded<void> decode_extension(DWORD cExtension, CERT_EXTENSION* rgExtension, const char* oid) {
    const LPCSTR struct_type = extension_struct_type(oid);
    if (struct_type == nullptr) return nullptr;
    const CERT_EXTENSION* extension = CertFindExtension(oid, cExtension, rgExtension);
    if (extension == nullptr) return nullptr;
    return decode_object(struct_type, extension->Value);
}

}  // namespace halden::nimbole
