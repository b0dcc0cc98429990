#include "platform/chain/cert_facts.h"

#include <cstdint>
#include <cstring>

#include <maren/cert_compare.h>
#include <maren/decode.h>
#include <maren/oids.h>

namespace maren::chain {
namespace {

uint64_t ticks(const FILETIME &t) { return static_cast<uint64_t>(t.dwHighDateTime) << 32 | t.dwLowDateTime; }

/* The decoded form of an extension in an 8-aligned buffer, by the
 * size-then-decode protocol; empty when it does not decode. */
std::vector<uint64_t> decode_extension(LPCSTR type, const CERT_EXTENSION &ext) {
    DWORD size = 0;
    if (!CryptDecodeObject(kEncoding, type, ext.Value.pbData, ext.Value.cbData, 0, nullptr, &size) || size == 0)
        return {};
    std::vector<uint64_t> area((size + sizeof(uint64_t) - 1) / sizeof(uint64_t));
    if (!CryptDecodeObject(kEncoding, type, ext.Value.pbData, ext.Value.cbData, 0, area.data(), &size)) return {};
    return area;
}

std::vector<BYTE> copy_blob(const CRYPT_DATA_BLOB &blob) {
    if (blob.pbData == nullptr || blob.cbData == 0) return {};
    return std::vector<BYTE>(blob.pbData, blob.pbData + blob.cbData);
}

}  // namespace

bool same_certificate(const CERT_CONTEXT *a, const CERT_CONTEXT *b) {
    if (a == b) return true;
    return a->cbCertEncoded == b->cbCertEncoded &&
           std::memcmp(a->pbCertEncoded, b->pbCertEncoded, a->cbCertEncoded) == 0;
}

bool is_self_issued(const CERT_CONTEXT *cert) {
    return CertCompareCertificateName(kEncoding, &cert->pCertInfo->Subject, &cert->pCertInfo->Issuer) != FALSE;
}

bool is_signed_by(const CERT_CONTEXT *subject, const CERT_CONTEXT *issuer) {
    return CryptVerifyCertificateSignature(0, kEncoding, subject->pbCertEncoded, subject->cbCertEncoded,
                                           &issuer->pCertInfo->SubjectPublicKeyInfo) != FALSE;
}

bool is_time_valid(const CERT_CONTEXT *cert, const FILETIME &time) {
    const uint64_t now = ticks(time);
    return ticks(cert->pCertInfo->NotBefore) <= now && now <= ticks(cert->pCertInfo->NotAfter);
}

std::vector<BYTE> authority_key_id(const CERT_CONTEXT *cert) {
    const CERT_INFO *info = cert->pCertInfo;
    if (const CERT_EXTENSION *ext =
            CertFindExtension(szOID_AUTHORITY_KEY_IDENTIFIER2, info->cExtension, info->rgExtension)) {
        const std::vector<uint64_t> area = decode_extension(X509_AUTHORITY_KEY_ID2, *ext);
        if (!area.empty()) return copy_blob(reinterpret_cast<const CERT_AUTHORITY_KEY_ID2_INFO *>(area.data())->KeyId);
        return {};
    }
    if (const CERT_EXTENSION *ext =
            CertFindExtension(szOID_AUTHORITY_KEY_IDENTIFIER, info->cExtension, info->rgExtension)) {
        const std::vector<uint64_t> area = decode_extension(X509_AUTHORITY_KEY_ID, *ext);
        if (!area.empty()) return copy_blob(reinterpret_cast<const CERT_AUTHORITY_KEY_ID_INFO *>(area.data())->KeyId);
    }
    return {};
}

}  // namespace maren::chain
