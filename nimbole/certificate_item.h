// The engine's parsed view of one certificate: a counted reference to the
// platform's context and a shared block of decoded fields. Copies share the
// block, so what is worked out lazily (self-signed, self-issued, the
// signature memory) is worked out once for all of them. Two items are equal
// exactly when their encodings are byte-identical.
#ifndef HALDEN_NIMBOLE_CERTIFICATE_ITEM_H
#define HALDEN_NIMBOLE_CERTIFICATE_ITEM_H

#include <memory>
#include <string>

#include <maren/maren.h>

#include "nimbole/handle_refs.h"
#include "nimbole/shared_cert_data.h"

namespace halden::nimbole {

class CertificateItem {
public:
    // Decodes everything the engine reads. Throws CryptException with the
    // platform's last error when the context can't be duplicated.
    explicit CertificateItem(PCCERT_CONTEXT context);

    PCCERT_CONTEXT context() const { return context_.get(); }
    const CERT_INFO& info() const { return *context_->pCertInfo; }
    // The shared block. Shared by all copies; its lazy fields change behind
    // a const item.
    SHARED_CERT_DATA& data() const { return *data_; }

    // Whether this certificate is signed by `key`. When both `issuer_key_id`
    // and this certificate's authority key identifier are present they must
    // agree first. Only CA certificates reach the process-wide signature
    // store.
    bool is_signed_by(const CERT_PUBLIC_KEY_INFO& key, const CRYPT_DATA_BLOB& issuer_key_id) const;

    // Called on the subject with the candidate issuer: the strict check of
    // the issuer's private key usage period at this certificate's NotBefore.
    bool was_valid_to_sign(const CertificateItem& issuer) const;

    // Whether the extended key usage satisfies `usage` (AND needs every
    // identifier, OR one). A certificate without the extension satisfies
    // everything.
    bool is_extKeyUsage(CERT_USAGE_MATCH* usage) const;

    // The tri-states, worked out on first need.
    bool is_self_signed() const;
    bool is_self_issued() const;

    // Diagnostic lines (subject, issuer, serial), each led by `prefix`.
    std::wstring toString(const char* prefix) const;
    std::wstring toString(const std::string& prefix) const { return toString(prefix.c_str()); }

    // By the length of the encoding, then its digest, then its bytes.
    friend bool operator<(const CertificateItem& a, const CertificateItem& b) { return compare(a, b) < 0; }
    friend bool operator==(const CertificateItem& a, const CertificateItem& b) { return compare(a, b) == 0; }
    friend bool operator!=(const CertificateItem& a, const CertificateItem& b) { return compare(a, b) != 0; }

private:
    static int compare(const CertificateItem& a, const CertificateItem& b);
    const EncodingDigest& digest() const;

    CertContextRef context_;
    std::shared_ptr<SHARED_CERT_DATA> data_;
};

}  // namespace halden::nimbole

#endif
