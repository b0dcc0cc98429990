#include "tools/store/store_commands.h"

#include <cstdio>
#include <cstring>

#include "tools/common/holders.h"
#include "tools/common/input_files.h"
#include "tools/common/text.h"

namespace store_tool {
using namespace halden_tools;

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

std::string where(const StoreName& store) {
    return "store \"" + store.name + "\" of the " +
           (store.location == CERT_SYSTEM_STORE_LOCAL_MACHINE ? "local machine" : "current user");
}

std::string error_text(DWORD error) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(error));
    return text;
}

// An existing store to read or change; a missing store is a thing asked
// for that is not there.
Store open_existing(const StoreName& store, DWORD flags) {
    const std::wstring name = wide_of(store.name);
    Store handle(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, store.location | CERT_STORE_OPEN_EXISTING_FLAG | flags,
                               name.c_str()));
    if (!handle) throw CommandError(kFailure, "no " + where(store) + " (error " + error_text(GetLastError()) + ")");
    return handle;
}

// Calls visit for every certificate and every CRL of the store.
template <typename VisitCert, typename VisitCrl>
void for_each_object(void* store, VisitCert visit_cert, VisitCrl visit_crl) {
    // Each enumeration step releases the context it continues from.
    for (const CERT_CONTEXT* cert = CertEnumCertificatesInStore(store, nullptr); cert != nullptr;
         cert = CertEnumCertificatesInStore(store, cert))
        visit_cert(cert);
    for (const CRL_CONTEXT* crl = CertEnumCRLsInStore(store, nullptr); crl != nullptr;
         crl = CertEnumCRLsInStore(store, crl))
        visit_crl(crl);
}

std::string cert_line(const CERT_CONTEXT* cert) {
    return "certificate " + thumbprint_of(cert->pbCertEncoded, cert->cbCertEncoded) + "  " +
           name_text(cert->pCertInfo->Subject);
}

std::string crl_line(const CRL_CONTEXT* crl) {
    return "CRL         " + thumbprint_of(crl->pbCrlEncoded, crl->cbCrlEncoded) + "  " +
           name_text(crl->pCrlInfo->Issuer);
}

bool same_bytes(const std::vector<BYTE>& der, const BYTE* data, DWORD size) {
    return der.size() == size && std::memcmp(der.data(), data, size) == 0;
}

// Whether the store holds these very bytes already.
bool holds(void* store, const EncodedObject& object) {
    bool found = false;
    for_each_object(
        store,
        [&](const CERT_CONTEXT* c) {
            found = found || (object.kind == ObjectKind::certificate &&
                              same_bytes(object.der, c->pbCertEncoded, c->cbCertEncoded));
        },
        [&](const CRL_CONTEXT* c) {
            found = found || (object.kind == ObjectKind::crl && same_bytes(object.der, c->pbCrlEncoded, c->cbCrlEncoded));
        });
    return found;
}

// Adds one object; its listing line, or a CommandError.
std::string add_object(void* store, const EncodedObject& object) {
    const DWORD size = static_cast<DWORD>(object.der.size());
    if (object.kind == ObjectKind::certificate) {
        const CERT_CONTEXT* raw = nullptr;
        if (!CertAddEncodedCertificateToStore(store, kEncoding, object.der.data(), size, CERT_STORE_ADD_ALWAYS, &raw))
            throw CommandError(kFailure, "cannot add a certificate (error " + error_text(GetLastError()) + ")");
        const Cert added(raw);
        return cert_line(added.get());
    }
    const CRL_CONTEXT* raw = nullptr;
    if (!CertAddEncodedCRLToStore(store, kEncoding, object.der.data(), size, CERT_STORE_ADD_ALWAYS, &raw))
        throw CommandError(kFailure, "cannot add a CRL (error " + error_text(GetLastError()) + ")");
    const Crl added(raw);
    return crl_line(added.get());
}

}  // namespace

ExitStatus list_store(const StoreName& store) {
    const Store handle = open_existing(store, CERT_STORE_READONLY_FLAG);
    for_each_object(
        handle.get(), [](const CERT_CONTEXT* cert) { std::printf("%s\n", cert_line(cert).c_str()); },
        [](const CRL_CONTEXT* crl) { std::printf("%s\n", crl_line(crl).c_str()); });
    return kSuccess;
}

ExitStatus add_files(const StoreName& store, const std::vector<std::string>& files) {
    // Every file is read before the store changes, so a bad file adds nothing.
    std::vector<EncodedObject> objects;
    for (const std::string& file : files) {
        std::vector<EncodedObject> more = read_objects(file);
        objects.insert(objects.end(), more.begin(), more.end());
    }
    const std::wstring name = wide_of(store.name);
    const Store handle(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, store.location, name.c_str()));
    if (!handle)
        throw CommandError(kFailure, "cannot open the " + where(store) + " (error " + error_text(GetLastError()) + ")");

    ExitStatus status = kSuccess;
    for (const EncodedObject& object : objects) {
        // Byte-identical objects are kept once; different CRLs of one
        // issuer are all kept, which the add dispositions would not do.
        if (holds(handle.get(), object)) {
            const std::string kind = object.kind == ObjectKind::certificate ? "certificate" : "CRL";
            std::printf("present  %s %s\n", kind.c_str(),
                        thumbprint_of(object.der.data(), static_cast<DWORD>(object.der.size())).c_str());
            continue;
        }
        try {
            std::printf("added    %s\n", add_object(handle.get(), object).c_str());
        } catch (const CommandError& error) {
            std::fflush(stdout);
            std::fprintf(stderr, "halden-store: %s\n", error.what());
            status = kFailure;
        }
    }
    return status;
}

ExitStatus remove_object(const StoreName& store, const std::string& thumbprint) {
    const std::string wanted = parse_thumbprint(thumbprint);
    if (wanted.empty())
        throw CommandError(kUsage, "\"" + thumbprint + "\" is not a SHA-1 thumbprint (40 hexadecimal digits)");
    const Store handle = open_existing(store, 0);

    // Found first and deleted after, so the enumeration never walks over a
    // deleted context.
    std::vector<Cert> certs;
    std::vector<Crl> crls;
    for_each_object(
        handle.get(),
        [&](const CERT_CONTEXT* c) {
            if (thumbprint_of(c->pbCertEncoded, c->cbCertEncoded) == wanted)
                certs.emplace_back(CertDuplicateCertificateContext(c));
        },
        [&](const CRL_CONTEXT* c) {
            if (thumbprint_of(c->pbCrlEncoded, c->cbCrlEncoded) == wanted) crls.emplace_back(CertDuplicateCRLContext(c));
        });
    if (certs.empty() && crls.empty())
        throw CommandError(kFailure, "nothing with thumbprint " + wanted + " in the " + where(store));

    ExitStatus status = kSuccess;
    auto report = [&](bool deleted, const std::string& line) {
        if (deleted) {
            std::printf("removed  %s\n", line.c_str());
            return;
        }
        std::fflush(stdout);
        std::fprintf(stderr, "halden-store: cannot remove %s (error %s)\n", line.c_str(),
                     error_text(GetLastError()).c_str());
        status = kFailure;
    };
    // Deleting releases the reference it is given, whatever the outcome.
    for (Cert& cert : certs) {
        const std::string line = cert_line(cert.get());
        report(CertDeleteCertificateFromStore(cert.release()) != FALSE, line);
    }
    for (Crl& crl : crls) {
        const std::string line = crl_line(crl.get());
        report(CertDeleteCRLFromStore(crl.release()) != FALSE, line);
    }
    return status;
}

}  // namespace store_tool
