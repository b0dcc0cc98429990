#include "platform/names/attribute_keys.h"

#include <cstring>

#include <maren/oids.h>

namespace maren::names {
namespace {

struct AttributeKey {
    const char *oid;
    const char *key;
};

// The published keys; anything else is written by its identifier, so a
// string written here reads back to the same attribute types.
constexpr AttributeKey kKeys[] = {
    {szOID_COMMON_NAME, "CN"},
    {szOID_LOCALITY_NAME, "L"},
    {szOID_ORGANIZATION_NAME, "O"},
    {szOID_ORGANIZATIONAL_UNIT_NAME, "OU"},
    {szOID_RSA_emailAddr, "E"},
    {szOID_COUNTRY_NAME, "C"},
    {szOID_STATE_OR_PROVINCE_NAME, "S"},
    {szOID_STREET_ADDRESS, "STREET"},
    {szOID_TITLE, "T"},
    {szOID_GIVEN_NAME, "G"},
    {szOID_INITIALS, "I"},
    {szOID_SUR_NAME, "SN"},
    {szOID_DOMAIN_COMPONENT, "DC"},
    {szOID_DESCRIPTION, "Description"},
    {szOID_POSTAL_CODE, "PostalCode"},
    {szOID_POST_OFFICE_BOX, "POBox"},
    {szOID_TELEPHONE_NUMBER, "Phone"},
    {"2.5.4.24", "X21Address"},
    {szOID_DN_QUALIFIER, "dnQualifier"},
    {szOID_DEVICE_SERIAL_NUMBER, "SERIALNUMBER"},
    {szOID_RSA_unstructName, "UnstructuredName"},
    {szOID_RSA_unstructAddr, "UnstructuredAddress"},
};

}  // namespace

const char *attribute_key(const char *oid) {
    if (oid == nullptr) return nullptr;
    for (const AttributeKey &k : kKeys)
        if (std::strcmp(k.oid, oid) == 0) return k.key;
    return nullptr;
}

}  // namespace maren::names
