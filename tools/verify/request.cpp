#include "tools/verify/request.h"

#include <cstdio>

#include "tools/verify/status.h"

namespace verify_tool {
namespace {

using halden_tools::Cert;
using halden_tools::Crl;
using halden_tools::ObjectKind;
using halden_tools::Store;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

std::string error_text(DWORD error) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(error));
    return text;
}

Store memory_store() {
    Store store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr));
    if (!store) throw ToolError(kInternal, "cannot open a memory store (error " + error_text(GetLastError()) + ")");
    return store;
}

[[noreturn]] void undecodable(const FileObject& file, const char* kind) {
    throw ToolError(kUsage, file.path + ": maren cannot decode the " + kind + " (error " +
                                error_text(GetLastError()) + ")");
}

// The store's context for the certificate: one given twice is one context.
Cert add_certificate(HCERTSTORE store, const FileObject& file) {
    const auto& der = file.object.der;
    const CERT_CONTEXT* added = nullptr;
    if (!CertAddEncodedCertificateToStore(store, kEncoding, der.data(), static_cast<DWORD>(der.size()),
                                          CERT_STORE_ADD_USE_EXISTING, &added))
        undecodable(file, "certificate");
    return Cert(added);
}

void add_crl(HCERTSTORE store, const FileObject& file) {
    const auto& der = file.object.der;
    // Every CRL is kept: the provider picks among CRLs of one issuer itself.
    if (!CertAddEncodedCRLToStore(store, kEncoding, der.data(), static_cast<DWORD>(der.size()), CERT_STORE_ADD_ALWAYS,
                                  nullptr))
        undecodable(file, "CRL");
}

}  // namespace

Request::Request(const Inputs& inputs, const Options& options) : additional_(memory_store()) {
    // The additional store holds every certificate the user gave, as a
    // platform's chain engine passes what it collected, so that the
    // provider finds issuers there whatever the mode.
    for (const FileObject& file : inputs.certs) certs_.push_back(add_certificate(additional_.get(), file));
    if (inputs.issuer) issuer_ = add_certificate(additional_.get(), *inputs.issuer);
    for (const FileObject& file : inputs.store_objects) {
        if (file.object.kind == ObjectKind::certificate) add_certificate(additional_.get(), file);
        else add_crl(additional_.get(), file);
    }
    // Without --crl there is no CRL store at all: an empty one would keep
    // the provider from reading CRLs of the Root store.
    if (!inputs.crls.empty()) {
        crl_store_ = memory_store();
        for (const FileObject& file : inputs.crls) add_crl(crl_store_.get(), file);
    }
    if (!inputs.ocsp_response.empty()) {
        stapled_response_ = inputs.ocsp_response;
        CRYPT_DATA_BLOB blob{static_cast<DWORD>(stapled_response_.size()), stapled_response_.data()};
        if (!CertSetCertificateContextProperty(certs_.front().get(), CERT_OCSP_RESPONSE_PROP_ID, 0, &blob))
            throw ToolError(kInternal, "cannot staple the OCSP response (error " + error_text(GetLastError()) + ")");
    }

    for (const Cert& cert : certs_) contexts_.push_back(const_cast<CERT_CONTEXT*>(cert.get()));
    stores_[0] = additional_.get();
    if (options.chain) flags_ |= CERT_VERIFY_REV_CHAIN_FLAG;
    if (options.cache_only) flags_ |= CERT_VERIFY_CACHE_ONLY_BASED_REVOCATION;
    if (options.accumulative_timeout) flags_ |= CERT_VERIFY_REV_ACCUMULATIVE_TIMEOUT_FLAG;

    para_.cbSize = sizeof para_;
    para_.pIssuerCert = issuer_.get();
    para_.cCertStore = 1;
    para_.rgCertStore = stores_;
    para_.hCrlStore = crl_store_.get();
    if (options.time) {
        time_ = *options.time;
        para_.pftTimeToUse = &time_;
    }
    // 0 leaves the provider's own default.
    para_.dwUrlRetrievalTimeout = options.timeout.value_or(0);
    if (options.crl_info) {
        crl_info_ = std::make_unique<halden_tools::RevocationCrlInfo>();
        para_.pCrlInfo = crl_info_->get();
    }
}

}  // namespace verify_tool
