#include "nimbole/shared_crl_data.h"

namespace halden::nimbole {
namespace {

void fill_aki(SHARED_CRL_DATA& data, const CRL_INFO& info) {
    const CERT_EXTENSION* extension =
        CertFindExtension(szOID_AUTHORITY_KEY_IDENTIFIER2, info.cExtension, info.rgExtension);
    if (extension == nullptr) return;
    data.aki = decode_as<CERT_AUTHORITY_KEY_ID2_INFO>(X509_AUTHORITY_KEY_ID2, extension->Value);
    if (!data.aki) return;
    data.aki_raw = extension->Value;
    const CRYPT_DATA_BLOB& key_id = data.aki->KeyId;
    if (key_id.cbData != 0) data.aki_key_id.assign(key_id.pbData, key_id.pbData + key_id.cbData);
}

void fill_idp(SHARED_CRL_DATA& data, const CRL_INFO& info) {
    const CERT_EXTENSION* extension = CertFindExtension(szOID_ISSUING_DIST_POINT, info.cExtension, info.rgExtension);
    if (extension == nullptr) return;
    const CRYPT_OBJID_BLOB& value = extension->Value;
    if (value.cbData != 0) data.idp_raw.assign(value.pbData, value.pbData + value.cbData);
    data.idp = decode_as<CRL_ISSUING_DIST_POINT>(X509_ISSUING_DIST_POINT, value);
}

}  // namespace

int fill_tsCertCrlMatching(const CRL_INFO& info) {
    if (info.cExtension == 0) return kCrlMatchingUnstated;
    const CERT_EXTENSION* extension = CertFindExtension(kCrlMatchingOid, info.cExtension, info.rgExtension);
    if (extension == nullptr) return kCrlMatchingUnstated;
    int value = 0;
    if (!decode_fixed(X509_ENUMERATED, extension->Value, &value, sizeof value)) return kCrlMatchingUnstated;
    if (value == kCrlMatchingOn || value == kCrlMatchingOff) return value;
    return kCrlMatchingUnstated;
}

void fill_crl_data(SHARED_CRL_DATA& data, const CRL_INFO& info) {
    data.issuer_name = parse_CERT_NAME(info.Issuer);
    fill_aki(data, info);
    fill_idp(data, info);
    data.freshest_crl = X509_tdecodeEx<CRL_DIST_POINTS_INFO*>(info.cExtension, info.rgExtension, szOID_FRESHEST_CRL);
    data.crl_matching = fill_tsCertCrlMatching(info);
}

void free_crl_data(SHARED_CRL_DATA* data) noexcept { delete data; }

}  // namespace halden::nimbole
