#include "provider/ocsp_to_crl.h"

#include <string>
#include <vector>

#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>

#include "base/blob.h"
#include "base/date_time.h"
#include "base/date_time_span.h"
#include "base/last_error.h"
#include "provider/cert_context.h"
#include "provider/crl_info.h"

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr char kOcspBasicOid[] = "1.3.6.1.5.5.7.48.1.1";
// The outer algorithm names a bare hash: the "signature" is the SHA-1 of
// the to-be-signed part, which proves integrity and nothing else.
constexpr char kSha1Oid[] = "1.3.14.3.2.26";
// Without a nextUpdate the CRL is given half a day.
constexpr unsigned int kDefaultValidityHours = 12;

static_assert(sizeof(CERT_REVOCATION_CRL_INFO) == 40, "the published layout of CERT_REVOCATION_CRL_INFO");

HRESULT fail_with(DWORD error) {
    SetLastError(error);
    return hresult_from_last_error(E_FAIL);
}

}  // namespace

HRESULT ConvertOcspToCrl(Tarsis::PKI::OCSP::Client::CResponse& response, CERT_REVOCATION_CRL_INFO* info) {
    // An unsuccessful response has no single response to speak of.
    if (response.get_Status() != 0) {
        return fail_with(ERROR_INVALID_DATA);
    }
    if (info == nullptr) {
        return fail_with(ERROR_INVALID_PARAMETER);
    }

    Tarsis::CBlob parameters = response.get_SignatureAlgorithmParameters();
    std::string algorithm = response.get_SignatureAlgorithmOID();

    // A CRL has one issuer and one time frame; several single responses
    // can't be expressed.
    if (response.get_SRNumber() != 1) {
        return fail_with(ERROR_INVALID_DATA);
    }

    // The CertID holds the serial in wire order; CRYPT_INTEGER_BLOB is
    // little-endian.
    Tarsis::CBlob serial = response.get_SRCertID(0).get_serialNumber();
    serial.reverse();

    CRL_ENTRY entry{};
    entry.SerialNumber.cbData = static_cast<DWORD>(serial.cbData());
    entry.SerialNumber.pbData = serial.pbData();
    const Tarsis::CDateTime this_update = response.get_SRThisUpdate(0);
    if (const Tarsis::CDateTime* revoked_at = response.get_SRRevTime(0)) {
        entry.RevocationDate = revoked_at->getFileTime();
    } else {
        entry.RevocationDate = this_update.getFileTime();
    }

    ATL2::CCertContext responder(response.get_OCSPCertificate(nullptr, 0));
    if (responder.get() == nullptr) {
        return fail_with(ERROR_INVALID_DATA);
    }

    Tarsis::CDateTime next_update;
    if (const Tarsis::CDateTime* next = response.get_SRNextUpdate(0)) {
        next_update = *next;
    } else {
        next_update = this_update + Tarsis::CDateTimeSpan::OneHour() * kDefaultValidityHours;
    }

    unsigned long size = 0;
    response.Export(nullptr, &size);
    Tarsis::CBlob encoded_response(size);
    response.Export(encoded_response.pbData(), &size);
    encoded_response.resize_to(size);

    std::string extension_oid = kOcspBasicOid;
    CERT_EXTENSION extension{};
    extension.pszObjId = &extension_oid[0];
    extension.fCritical = TRUE;
    extension.Value.cbData = static_cast<DWORD>(encoded_response.cbData());
    extension.Value.pbData = encoded_response.pbData();

    CRL_INFO crl{};
    crl.dwVersion = CRL_V2;
    crl.SignatureAlgorithm.pszObjId = &algorithm[0];
    crl.SignatureAlgorithm.Parameters.cbData = static_cast<DWORD>(parameters.cbData());
    crl.SignatureAlgorithm.Parameters.pbData = parameters.pbData();
    crl.Issuer = responder.get()->pCertInfo->Subject;
    crl.ThisUpdate = this_update.getFileTime();
    crl.NextUpdate = next_update.getFileTime();
    // Anything but good makes an entry: to a CRL reader, unknown reads
    // like revoked.
    crl.cCRLEntry = response.get_SRStatus(0) != 0 ? 1 : 0;
    crl.rgCRLEntry = &entry;
    crl.cExtension = 1;
    crl.rgExtension = &extension;

    std::string hash_oid = kSha1Oid;
    CRYPT_ALGORITHM_IDENTIFIER hash{};
    hash.pszObjId = &hash_oid[0];

    DWORD encoded_size = 0;
    if (!CryptSignAndEncodeCertificate(0, 0, kEncoding, X509_CERT_CRL_TO_BE_SIGNED, &crl, &hash, nullptr, nullptr,
                                       &encoded_size)) {
        return hresult_from_last_error(E_FAIL);
    }
    std::vector<BYTE> encoded(encoded_size);
    if (!CryptSignAndEncodeCertificate(0, 0, kEncoding, X509_CERT_CRL_TO_BE_SIGNED, &crl, &hash, nullptr,
                                       encoded.data(), &encoded_size)) {
        return hresult_from_last_error(E_FAIL);
    }
    const CRL_CONTEXT* context = CertCreateCRLContext(X509_ASN_ENCODING, encoded.data(), encoded_size);
    if (context == nullptr) {
        return hresult_from_last_error(E_FAIL);
    }

    // Only now is the caller's structure touched.
    halden::provider::ReleaseCrlInfo(info);
    info->cbSize = sizeof(CERT_REVOCATION_CRL_INFO);
    info->pBaseCrlContext = context;
    return S_OK;
}
