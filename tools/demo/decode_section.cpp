// The object decoder at work on real certificates and a CRL.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <maren/maren.h>

#include "base/base64.h"
#include "base/date_time.h"
#include "decode/decode.h"
#include "tools/demo/demo_sections.h"

namespace demo {
namespace {

// Two-pass decode into a buffer of the measured size.
bool decode(LPCSTR type, const std::vector<BYTE>& der, std::vector<BYTE>& out) {
    DWORD size = 0;
    if (!TSDecodeObject(0, type, der.data(), static_cast<DWORD>(der.size()), 0, nullptr, &size)) return false;
    out.assign(size, 0);
    return TSDecodeObject(1, type, der.data(), static_cast<DWORD>(der.size()), 0, out.data(), &size) != FALSE;
}

std::vector<BYTE> from_pem(const std::string& pem) {
    DWORD size = 0;
    base64hdr_decode(pem.data(), static_cast<DWORD>(pem.size()), nullptr, &size);
    std::vector<BYTE> der(size);
    if (!base64hdr_decode(pem.data(), static_cast<DWORD>(pem.size()), der.data(), &size)) return {};
    der.resize(size);
    return der;
}

std::string utc(const FILETIME& ft) {
    if (ft.dwHighDateTime == 0 && ft.dwLowDateTime == 0) return "(none)";
    try {
        return Tarsis::CDateTime(ft).getGeneralizedTime().c_str();
    } catch (...) {
        return "(not a valid time)";
    }
}

std::string serial_hex(const CRYPT_INTEGER_BLOB& serial) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (DWORD i = serial.cbData; i-- > 0;) {  // stored little-endian
        text += digits[serial.pbData[i] >> 4];
        text += digits[serial.pbData[i] & 15];
    }
    return text;
}

// The common name of a decoded name, as text.
std::string common_name(const CERT_NAME_BLOB& name) {
    std::vector<BYTE> der(name.pbData, name.pbData + name.cbData), area;
    if (!decode(X509_CERT_NAME_LENIENT, der, area)) return "(undecodable name)";
    const auto* info = reinterpret_cast<const CERT_NAME_INFO*>(area.data());
    for (DWORD i = 0; i < info->cRDN; ++i) {
        for (DWORD j = 0; j < info->rgRDN[i].cRDNAttr; ++j) {
            const CERT_RDN_ATTR& attr = info->rgRDN[i].rgRDNAttr[j];
            if (std::string(attr.pszObjId) != szOID_COMMON_NAME) continue;
            const DWORD type = attr.dwValueType & CERT_RDN_TYPE_MASK;
            if (type == CERT_RDN_UTF8_STRING || type == CERT_RDN_BMP_STRING || type == CERT_RDN_UNIVERSAL_STRING) {
                const auto* wide = reinterpret_cast<const wchar_t*>(attr.Value.pbData);
                std::wstring w(wide, attr.Value.cbData / sizeof(wchar_t));
                std::string text(w.size() * 4 + 1, '\0');
                int n = WideCharToMultiByte(CP_UTF8, 0, w.c_str(), static_cast<int>(w.size()), text.data(),
                                            static_cast<int>(text.size()), nullptr, nullptr);
                text.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
                return text;
            }
            return std::string(reinterpret_cast<const char*>(attr.Value.pbData), attr.Value.cbData);
        }
    }
    return "(no common name)";
}

void show_certificates(const std::vector<std::string>& pems) {
    heading("decoder: the system's CA bundle as X509_CERT_TO_BE_SIGNED");
    std::vector<std::vector<BYTE>> ders;
    for (const std::string& pem : pems) ders.push_back(from_pem(pem));

    std::size_t shown = 0, decoded = 0, bytes = 0;
    std::vector<BYTE> area;
    const auto start = std::chrono::steady_clock::now();
    for (const auto& der : ders) {
        if (!decode(X509_CERT_TO_BE_SIGNED, der, area)) continue;
        ++decoded;
        bytes += der.size();
        if (shown++ >= 5) continue;
        const auto* info = reinterpret_cast<const CERT_INFO*>(area.data());
        std::printf("  v%u serial %s\n    subject CN \"%s\"\n    valid %s .. %s, key %s, %u extensions\n",
                    info->dwVersion + 1, serial_hex(info->SerialNumber).c_str(),
                    common_name(info->Subject).c_str(), utc(info->NotBefore).c_str(),
                    utc(info->NotAfter).c_str(), info->SubjectPublicKeyInfo.Algorithm.pszObjId,
                    info->cExtension);
    }
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    std::printf("decoded %zu of %zu certificates (%zu bytes of DER) in %.2f ms\n", decoded, ders.size(), bytes, ms);
}

const char* reason_name(DWORD reason) {
    static const char* const names[] = {"unspecified", "keyCompromise", "cACompromise", "affiliationChanged",
                                        "superseded", "cessationOfOperation", "certificateHold", "(7)",
                                        "removeFromCRL", "privilegeWithdrawn", "aACompromise"};
    return reason < 11 ? names[reason] : "(unknown)";
}

void show_crl(const char* path) {
    heading("decoder: a CRL as X509_CERT_CRL_TO_BE_SIGNED");
    std::ifstream in(path, std::ios::binary);
    std::vector<BYTE> der((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<BYTE> area;
    if (!decode(X509_CERT_CRL_TO_BE_SIGNED, der, area)) {
        std::printf("%s did not decode (last error 0x%08X)\n", path, GetLastError());
        return;
    }
    const auto* info = reinterpret_cast<const CRL_INFO*>(area.data());
    std::printf("%s: issuer CN \"%s\", thisUpdate %s, nextUpdate %s, %u entries, %u extensions\n", path,
                common_name(info->Issuer).c_str(), utc(info->ThisUpdate).c_str(), utc(info->NextUpdate).c_str(),
                info->cCRLEntry, info->cExtension);
    for (DWORD i = 0; i < info->cCRLEntry; ++i) {
        const CRL_ENTRY& entry = info->rgCRLEntry[i];
        std::string reason = "no reason code";
        for (DWORD e = 0; e < entry.cExtension; ++e) {
            const CERT_EXTENSION& ext = entry.rgExtension[e];
            // The value is an ENUMERATED: 0A 01 nn.
            if (std::string(ext.pszObjId) == szOID_CRL_REASON_CODE && ext.Value.cbData == 3)
                reason = reason_name(ext.Value.pbData[2]);
        }
        std::printf("  serial %s revoked %s: %s\n", serial_hex(entry.SerialNumber).c_str(),
                    utc(entry.RevocationDate).c_str(), reason.c_str());
    }
}

}  // namespace

void show_decoder(const std::vector<std::string>& pems, const char* crl_path) {
    show_certificates(pems);
    if (crl_path) show_crl(crl_path);
}

}  // namespace demo
