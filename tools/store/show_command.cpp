#include "tools/store/show_command.h"

#include <cstdio>
#include <cstring>

#include "tools/common/holders.h"
#include "tools/common/input_files.h"
#include "tools/common/text.h"
#include "tools/store/extension_text.h"

namespace store_tool {
using namespace halden_tools;

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

void field(const char* label, const std::string& value) { std::printf("  %-22s %s\n", label, value.c_str()); }

void extensions(DWORD count, const CERT_EXTENSION* list, const char* indent) {
    if (count == 0) return;
    std::printf("%sExtensions:\n", indent);
    for (DWORD i = 0; i < count; ++i) {
        const CERT_EXTENSION& ext = list[i];
        std::printf("%s  %s%s\n", indent, oid_text(ext.pszObjId).c_str(), ext.fCritical ? " [critical]" : "");
        for (const std::string& line : extension_lines(ext)) std::printf("%s      %s\n", indent, line.c_str());
    }
}

void show_certificate(const Cert& cert) {
    const CERT_INFO& info = *cert->pCertInfo;
    std::printf("Certificate\n");
    field("Version:", std::to_string(info.dwVersion + 1));
    field("Serial number:", serial_text(info.SerialNumber));
    field("Signature algorithm:", oid_text(info.SignatureAlgorithm.pszObjId));
    field("Issuer:", name_text(info.Issuer));
    field("Subject:", name_text(info.Subject));
    field("Not before:", time_text(info.NotBefore));
    field("Not after:", time_text(info.NotAfter));
    field("Public key algorithm:", oid_text(info.SubjectPublicKeyInfo.Algorithm.pszObjId));
    field("SHA-1 thumbprint:", thumbprint_of(cert->pbCertEncoded, cert->cbCertEncoded));
    extensions(info.cExtension, info.rgExtension, "  ");
}

void show_crl(const Crl& crl) {
    const CRL_INFO& info = *crl->pCrlInfo;
    std::printf("CRL\n");
    field("Version:", std::to_string(info.dwVersion + 1));
    field("Signature algorithm:", oid_text(info.SignatureAlgorithm.pszObjId));
    field("Issuer:", name_text(info.Issuer));
    field("This update:", time_text(info.ThisUpdate));
    field("Next update:", time_text(info.NextUpdate));
    field("SHA-1 thumbprint:", thumbprint_of(crl->pbCrlEncoded, crl->cbCrlEncoded));
    field("Entries:", std::to_string(info.cCRLEntry));
    for (DWORD i = 0; i < info.cCRLEntry; ++i) {
        const CRL_ENTRY& entry = info.rgCRLEntry[i];
        const std::string reason = entry_reason(entry);
        std::printf("    serial %s  revoked %s%s%s\n", serial_text(entry.SerialNumber).c_str(),
                    time_text(entry.RevocationDate).c_str(), reason.empty() ? "" : "  reason ", reason.c_str());
        // The reason is shown above; other entry extensions are listed.
        DWORD others = 0;
        for (DWORD e = 0; e < entry.cExtension; ++e)
            if (entry.rgExtension[e].pszObjId == nullptr ||
                std::strcmp(entry.rgExtension[e].pszObjId, szOID_CRL_REASON_CODE) != 0)
                ++others;
        if (others != 0) extensions(entry.cExtension, entry.rgExtension, "      ");
    }
    extensions(info.cExtension, info.rgExtension, "  ");
}

}  // namespace

ExitStatus show_file(const std::string& path) {
    const std::vector<EncodedObject> objects = read_objects(path);
    ExitStatus status = kSuccess;
    for (size_t i = 0; i < objects.size(); ++i) {
        if (i != 0) std::printf("\n");
        const EncodedObject& object = objects[i];
        const DWORD size = static_cast<DWORD>(object.der.size());
        if (object.kind == ObjectKind::certificate) {
            const Cert cert(CertCreateCertificateContext(kEncoding, object.der.data(), size));
            if (cert) {
                show_certificate(cert);
                continue;
            }
        } else {
            const Crl crl(CertCreateCRLContext(kEncoding, object.der.data(), size));
            if (crl) {
                show_crl(crl);
                continue;
            }
        }
        std::fflush(stdout);
        std::fprintf(stderr, "halden-store: %s: maren cannot decode %s %zu (error 0x%08X)\n", path.c_str(),
                     object.kind == ObjectKind::certificate ? "certificate" : "CRL", i + 1,
                     static_cast<unsigned>(GetLastError()));
        status = kUsage;
    }
    return status;
}

}  // namespace store_tool
