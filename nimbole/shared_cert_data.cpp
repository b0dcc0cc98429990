#include "nimbole/shared_cert_data.h"

namespace halden::nimbole {
namespace {

constexpr DWORD kBadTag = 0x80093101;     // CRYPT_E_ASN1_BADTAG
constexpr DWORD kEndOfData = 0x80093102;  // CRYPT_E_ASN1_EOD

void fill_aki(SHARED_CERT_DATA& data, const CERT_INFO& info) {
    const CERT_EXTENSION* extension =
        CertFindExtension(szOID_AUTHORITY_KEY_IDENTIFIER2, info.cExtension, info.rgExtension);
    if (extension == nullptr) return;
    data.aki = decode_as<CERT_AUTHORITY_KEY_ID2_INFO>(X509_AUTHORITY_KEY_ID2, extension->Value);
    if (!data.aki) return;
    const CRYPT_DATA_BLOB& key_id = data.aki->KeyId;
    if (key_id.cbData != 0) data.aki_key_id.assign(key_id.pbData, key_id.pbData + key_id.cbData);
}

// Decodes a fixed-size extension into `out`; the outcome is its flag.
bool fill_fixed(const CERT_INFO& info, const char* oid, LPCSTR struct_type, void* out, DWORD size) {
    const CERT_EXTENSION* extension = CertFindExtension(oid, info.cExtension, info.rgExtension);
    return extension != nullptr && decode_fixed(struct_type, extension->Value, out, size);
}

}  // namespace

CRYPT_DATA_BLOB subject_key_identifier(DWORD cExtension, CERT_EXTENSION* rgExtension) {
    const CERT_EXTENSION* extension = CertFindExtension(szOID_SUBJECT_KEY_IDENTIFIER, cExtension, rgExtension);
    if (extension == nullptr || extension->Value.cbData == 0 || extension->Value.pbData == nullptr) return {};
    const BYTE* value = extension->Value.pbData;
    const DWORD size = extension->Value.cbData;
    if (value[0] != 0x04) {
        SetLastError(kBadTag);
        return {};
    }
    if (size == 1) {
        SetLastError(kEndOfData);
        return {};
    }
    DWORD position = 2;
    DWORD length = value[1];
    bool indefinite = false;
    if (length & 0x80) {
        const DWORD count = length & 0x7F;
        indefinite = count == 0;
        if (count > 4 || count > size - 2) {
            SetLastError(kEndOfData);
            return {};
        }
        length = 0;
        for (DWORD i = 0; i < count; ++i) length = length << 8 | value[position++];
    }
    const DWORD remaining = size - position;
    if (!indefinite && remaining < length) {
        SetLastError(kBadTag);
        return {};
    }
    // Everything that follows, not merely the stated length: kept so on
    // purpose.
    return CRYPT_DATA_BLOB{remaining, remaining != 0 ? const_cast<BYTE*>(value + position) : nullptr};
}

void fill_cert_data(SHARED_CERT_DATA& data, const CERT_INFO& info) {
    DWORD count = info.cExtension;
    CERT_EXTENSION* extensions = info.rgExtension;

    data.subject_key_id = subject_key_identifier(count, extensions);
    fill_aki(data, info);

    data.key_usage = X509_tdecodeEx<CRYPT_BIT_BLOB*>(count, extensions, szOID_KEY_USAGE);
    data.cert_policies = X509_tdecodeEx<CERT_POLICIES_INFO*>(count, extensions, szOID_CERT_POLICIES);
    data.app_policies = X509_tdecodeEx<CERT_POLICIES_INFO*>(count, extensions, szOID_APPLICATION_CERT_POLICIES);
    data.ext_key_usage = X509_tdecodeEx<CTL_USAGE*>(count, extensions, szOID_ENHANCED_KEY_USAGE);
    data.crl_dist_points = X509_tdecodeEx<CRL_DIST_POINTS_INFO*>(count, extensions, szOID_CRL_DIST_POINTS);
    data.freshest_crl = X509_tdecodeEx<CRL_DIST_POINTS_INFO*>(count, extensions, szOID_FRESHEST_CRL);

    data.has_basic_constraints = fill_fixed(info, szOID_BASIC_CONSTRAINTS2, X509_BASIC_CONSTRAINTS2,
                                            &data.basic_constraints, sizeof data.basic_constraints);

    // A period that names neither bound says nothing: the validity serves.
    data.pkup = X509_tdecodeEx<TSCERT_PRIVATEKEY_USAGE_PERIOD*>(count, extensions, szOID_PRIVATEKEY_USAGE_PERIOD);
    if (data.pkup && data.pkup->pNotBefore == nullptr && data.pkup->pNotAfter == nullptr) data.pkup.reset();

    data.has_policy_constraints = fill_fixed(info, szOID_POLICY_CONSTRAINTS, X509_POLICY_CONSTRAINTS,
                                             &data.policy_constraints, sizeof data.policy_constraints);
    data.has_app_policy_constraints =
        fill_fixed(info, szOID_APPLICATION_POLICY_CONSTRAINTS, X509_POLICY_CONSTRAINTS,
                   &data.app_policy_constraints, sizeof data.app_policy_constraints);

    data.aia = X509_tdecodeEx<CERT_AUTHORITY_INFO_ACCESS*>(count, extensions, szOID_AUTHORITY_INFO_ACCESS);

    data.issuer_name = parse_CERT_NAME(info.Issuer);
    data.subject_name = parse_CERT_NAME(info.Subject);
    data.self_signed = kTriStateUnknown;
    data.self_issued = kTriStateUnknown;
}

void free_cert_data(SHARED_CERT_DATA* data) noexcept { delete data; }

}  // namespace halden::nimbole
