// A stand-in revocation provider for halden-verify's tests. It answers what
// HALDEN_FAKE_ANSWER scripts, hands back the CRL in HALDEN_FAKE_CRL when
// asked for CRL information, and writes what it was given to the file
// HALDEN_FAKE_SEEN, so a test reads the tool's arguments as a provider sees
// them.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <maren/maren.h>

namespace {

// A provider reads the trace switch in its static initialisers.
const bool g_trace_at_load = std::getenv("TS_PRINT_CHAIN_DETAIL") != nullptr;

std::string serial_of(const CERT_CONTEXT* cert) {
    std::string hex;
    const CRYPT_INTEGER_BLOB& serial = cert->pCertInfo->SerialNumber;
    for (DWORD i = serial.cbData; i-- > 0;) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", serial.pbData[i]);
        hex += digits;
    }
    return hex;
}

// Serial numbers of the store's certificates, sorted, and its CRL count.
std::string store_text(HCERTSTORE store) {
    if (store == nullptr) return "none";
    std::vector<std::string> serials;
    for (const CERT_CONTEXT* c = CertEnumCertificatesInStore(store, nullptr); c != nullptr;
         c = CertEnumCertificatesInStore(store, c))
        serials.push_back(serial_of(c));
    std::sort(serials.begin(), serials.end());
    int crls = 0;
    for (const CRL_CONTEXT* c = CertEnumCRLsInStore(store, nullptr); c != nullptr; c = CertEnumCRLsInStore(store, c))
        ++crls;
    std::string text;
    for (const std::string& s : serials) text += s + " ";
    return text + "crls " + std::to_string(crls);
}

void write_seen(const char* path, DWORD encoding, DWORD type, DWORD count, PVOID* contexts, DWORD flags,
                const CERT_REVOCATION_PARA* para, const CERT_REVOCATION_STATUS* status) {
    std::ofstream seen(path);
    seen << "call " << std::hex << encoding << " " << type << " flags " << flags << std::dec << "\n";
    seen << "sizes " << (para->cbSize == sizeof *para) << " " << (status->cbSize == sizeof *status) << "\n";
    seen << "certs";
    for (DWORD i = 0; i < count; ++i) seen << " " << serial_of(static_cast<const CERT_CONTEXT*>(contexts[i]));
    DWORD stapled = 0;
    CertGetCertificateContextProperty(static_cast<const CERT_CONTEXT*>(contexts[0]), CERT_OCSP_RESPONSE_PROP_ID,
                                      nullptr, &stapled);
    seen << "\nstapled " << stapled << "\n";
    seen << "issuer " << (para->pIssuerCert ? serial_of(para->pIssuerCert) : "none") << "\n";
    seen << "stores " << para->cCertStore << ": " << store_text(para->cCertStore ? para->rgCertStore[0] : nullptr)
         << "\n";
    seen << "crl store: " << store_text(para->hCrlStore) << "\n";
    const FILETIME* t = para->pftTimeToUse;
    seen << "time " << (t ? std::to_string((static_cast<unsigned long long>(t->dwHighDateTime) << 32) |
                                           t->dwLowDateTime)
                          : "none")
         << "\ntimeout " << para->dwUrlRetrievalTimeout << "\ncrl info " << (para->pCrlInfo != nullptr) << "\n";
    const char* home = std::getenv("MAREN_HOME");
    seen << "trace at load " << g_trace_at_load << ", home " << (home ? home : "unset") << "\n";
}

// The CRLs handed back live in this store. At exit a checking close tells
// whether the caller released them all, which the seen file then records.
struct HandedBack {
    HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    bool used = false;
    ~HandedBack() {
        if (!used) return;
        const bool released = CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG) != FALSE;
        if (const char* seen = std::getenv("HALDEN_FAKE_SEEN"))
            std::ofstream(seen, std::ios::app) << "crls released " << released << "\n";
    }
} g_handed_back;

// The CRL of the file, with its first entry.
void hand_back_crl(const char* path, CERT_REVOCATION_CRL_INFO* info) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<BYTE> der((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    g_handed_back.used = true;
    CertAddEncodedCRLToStore(g_handed_back.store, X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()),
                             CERT_STORE_ADD_ALWAYS, &info->pBaseCrlContext);
    if (info->pBaseCrlContext && info->pBaseCrlContext->pCrlInfo->cCRLEntry > 0)
        info->pCrlEntry = &info->pBaseCrlContext->pCrlInfo->rgCRLEntry[0];
}

}  // namespace

// HALDEN_FAKE_ANSWER: "good", "revoked INDEX REASON FRESHNESS",
// "unknown INDEX", "invalid", or "answer VALUE" for a result outside the
// contract.
extern "C" __attribute__((visibility("default"))) BOOL WINAPI
CertDllVerifyRevocation(DWORD encoding, DWORD type, DWORD count, PVOID contexts[], DWORD flags,
                        PCERT_REVOCATION_PARA para, PCERT_REVOCATION_STATUS status) {
    if (const char* seen = std::getenv("HALDEN_FAKE_SEEN"))
        write_seen(seen, encoding, type, count, contexts, flags, para, status);
    const char* crl = std::getenv("HALDEN_FAKE_CRL");
    if (crl != nullptr && para->pCrlInfo != nullptr) hand_back_crl(crl, para->pCrlInfo);

    const char* script = std::getenv("HALDEN_FAKE_ANSWER");
    unsigned index = 0, reason = 0, freshness = 0, value = 0;
    if (script == nullptr || std::string(script) == "good") {
        SetLastError(0);
        return TRUE;
    }
    if (std::sscanf(script, "revoked %u %u %u", &index, &reason, &freshness) == 3) {
        *status = {status->cbSize, index, static_cast<DWORD>(CRYPT_E_REVOKED), reason, TRUE, freshness};
        SetLastError(static_cast<DWORD>(CRYPT_E_REVOKED));
        return FALSE;
    }
    if (std::sscanf(script, "unknown %u", &index) == 1) {
        status->dwIndex = index;
        SetLastError(static_cast<DWORD>(CRYPT_E_NO_REVOCATION_CHECK));
        return FALSE;
    }
    if (std::sscanf(script, "answer %u", &value) == 1) return static_cast<BOOL>(value);
    // The last error is left misleading: the tool must not read it here.
    SetLastError(static_cast<DWORD>(CRYPT_E_REVOKED));
    return static_cast<BOOL>(E_INVALIDARG);
}
