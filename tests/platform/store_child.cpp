/* The other process of the system store tests: it opens a store of the
 * current user under the MAREN_HOME it inherits and does one thing.
 *
 *   count NAME                     prints "<certificates> <crls>"
 *   add NAME FILE                  adds a DER certificate or CRL (ADD_NEW)
 *   delete NAME THUMBPRINT         deletes the object with that SHA-1
 *   property NAME THUMBPRINT ID    prints the property in hex, or "absent"
 *
 * The exit status is 0 on success. */
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <maren/maren.h>

namespace {

std::string hex(const BYTE *p, DWORD n) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (DWORD i = 0; i < n; ++i) {
        text += digits[p[i] >> 4];
        text += digits[p[i] & 15];
    }
    return text;
}

std::wstring wide(const std::string &s) { return std::wstring(s.begin(), s.end()); }

// The certificate or CRL with this thumbprint; one of the two is set.
struct Found {
    PCCERT_CONTEXT cert = nullptr;
    PCCRL_CONTEXT crl = nullptr;
};

Found find(HCERTSTORE store, const std::string &thumbprint) {
    Found found;
    BYTE hash[20];
    DWORD size;
    for (PCCERT_CONTEXT c = nullptr; (c = CertEnumCertificatesInStore(store, c)) != nullptr;) {
        size = sizeof hash;
        if (CertGetCertificateContextProperty(c, CERT_SHA1_HASH_PROP_ID, hash, &size) && hex(hash, size) == thumbprint) {
            found.cert = c;
            return found;
        }
    }
    for (PCCRL_CONTEXT c = nullptr; (c = CertEnumCRLsInStore(store, c)) != nullptr;) {
        size = sizeof hash;
        if (CertGetCRLContextProperty(c, CERT_SHA1_HASH_PROP_ID, hash, &size) && hex(hash, size) == thumbprint) {
            found.crl = c;
            return found;
        }
    }
    return found;
}

int run(int argc, char **argv) {
    if (argc < 3) return 2;
    const std::string command = argv[1];
    const std::wstring name = wide(argv[2]);
    HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, name.c_str());
    if (store == nullptr) return 3;
    int status = 1;
    if (command == "count") {
        int certs = 0, crls = 0;
        for (PCCERT_CONTEXT c = nullptr; (c = CertEnumCertificatesInStore(store, c)) != nullptr;) ++certs;
        for (PCCRL_CONTEXT c = nullptr; (c = CertEnumCRLsInStore(store, c)) != nullptr;) ++crls;
        std::printf("%d %d\n", certs, crls);
        status = 0;
    } else if (command == "add" && argc == 4) {
        std::ifstream in(argv[3], std::ios::binary);
        std::vector<BYTE> der((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        const DWORD n = static_cast<DWORD>(der.size());
        if (CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, der.data(), n, CERT_STORE_ADD_NEW, nullptr) ||
            CertAddEncodedCRLToStore(store, X509_ASN_ENCODING, der.data(), n, CERT_STORE_ADD_NEW, nullptr))
            status = 0;
    } else if (command == "delete" && argc == 4) {
        const Found found = find(store, argv[3]);
        if (found.cert) status = CertDeleteCertificateFromStore(found.cert) ? 0 : 1;
        if (found.crl) status = CertDeleteCRLFromStore(found.crl) ? 0 : 1;
    } else if (command == "property" && argc == 5) {
        const Found found = find(store, argv[3]);
        const DWORD id = static_cast<DWORD>(std::strtoul(argv[4], nullptr, 0));
        BYTE value[4096];
        DWORD size = sizeof value;
        BOOL ok = FALSE;
        if (found.cert) ok = CertGetCertificateContextProperty(found.cert, id, value, &size);
        if (found.crl) ok = CertGetCRLContextProperty(found.crl, id, value, &size);
        std::printf("%s\n", ok ? hex(value, size).c_str() : "absent");
        CertFreeCertificateContext(found.cert);
        CertFreeCRLContext(found.crl);
        status = found.cert || found.crl ? 0 : 1;
    }
    CertCloseStore(store, 0);
    return status;
}

}  // namespace

int main(int argc, char **argv) { return run(argc, argv); }
