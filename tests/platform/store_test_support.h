/* RAII holders for maren handles, small helpers and a temporary platform
 * home, for the store tests and the store benchmark. */
#ifndef MAREN_TESTS_PLATFORM_STORE_TEST_SUPPORT_H
#define MAREN_TESTS_PLATFORM_STORE_TEST_SUPPORT_H

#include <stdlib.h>
#include <unistd.h>

#include <ftw.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <maren/maren.h>

#include "tests/platform/store_test_pki.h"

namespace store_test {

/* Holders. */
struct CertFree {
    void operator()(const CERT_CONTEXT *c) const { CertFreeCertificateContext(c); }
};
using Cert = std::unique_ptr<const CERT_CONTEXT, CertFree>;
struct CrlFree {
    void operator()(const CRL_CONTEXT *c) const { CertFreeCRLContext(c); }
};
using Crl = std::unique_ptr<const CRL_CONTEXT, CrlFree>;

class Store {
  public:
    Store() = default;
    explicit Store(HCERTSTORE h) : h_(h) {}
    Store(Store &&o) noexcept : h_(o.h_) { o.h_ = nullptr; }
    Store &operator=(Store &&o) noexcept {
        std::swap(h_, o.h_);
        return *this;
    }
    Store(const Store &) = delete;
    ~Store() {
        if (h_) CertCloseStore(h_, 0);
    }
    HCERTSTORE get() const { return h_; }
    HCERTSTORE release() {
        HCERTSTORE h = h_;
        h_ = nullptr;
        return h;
    }

  private:
    HCERTSTORE h_ = nullptr;
};

inline Store memory_store() { return Store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)); }
inline Store collection_store() { return Store(CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr)); }
inline Store system_store(const wchar_t *name, DWORD flags = CERT_SYSTEM_STORE_CURRENT_USER) {
    return Store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, flags, name));
}

inline Cert cert_of(const Bytes &der) {
    return Cert(CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
}
inline Crl crl_of(const Bytes &der) {
    return Crl(CertCreateCRLContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
}

inline BOOL add_cert(HCERTSTORE store, const Bytes &der, DWORD disposition = CERT_STORE_ADD_ALWAYS) {
    return CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()),
                                            disposition, nullptr);
}
inline BOOL add_crl(HCERTSTORE store, const Bytes &der, DWORD disposition = CERT_STORE_ADD_ALWAYS) {
    return CertAddEncodedCRLToStore(store, X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()),
                                    disposition, nullptr);
}

inline int count_certs(HCERTSTORE store) {
    int n = 0;
    for (PCCERT_CONTEXT c = nullptr; (c = CertEnumCertificatesInStore(store, c)) != nullptr;) ++n;
    return n;
}
inline int count_crls(HCERTSTORE store) {
    int n = 0;
    for (PCCRL_CONTEXT c = nullptr; (c = CertEnumCRLsInStore(store, c)) != nullptr;) ++n;
    return n;
}

inline CRYPT_DATA_BLOB blob_of(const Bytes &bytes) {
    return CRYPT_DATA_BLOB{static_cast<DWORD>(bytes.size()), const_cast<BYTE *>(bytes.data())};
}

inline Bytes thumbprint(PCCERT_CONTEXT cert) {
    Bytes hash(20);
    DWORD size = 20;
    if (!CertGetCertificateContextProperty(cert, CERT_SHA1_HASH_PROP_ID, hash.data(), &size)) hash.clear();
    return hash;
}

/* A temporary platform home, MAREN_HOME pointing at it for the scope. */
class TempHome {
  public:
    TempHome() {
        const char *base = getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/maren-store-XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        if (mkdtemp(buffer.data())) path_ = buffer.data();
        if (const char *old = getenv("MAREN_HOME")) old_ = old;
        setenv("MAREN_HOME", path_.c_str(), 1);
    }
    ~TempHome() {
        if (old_) setenv("MAREN_HOME", old_->c_str(), 1);
        else unsetenv("MAREN_HOME");
        nftw(path_.c_str(), [](const char *p, const struct stat *, int, struct FTW *) { return remove(p); }, 16,
             FTW_DEPTH | FTW_PHYS);
    }
    TempHome(const TempHome &) = delete;
    TempHome &operator=(const TempHome &) = delete;

    const std::string &path() const { return path_; }
    std::string user_store(const std::string &name) const { return path_ + "/stores/user/" + name; }

  private:
    std::string path_;
    std::optional<std::string> old_;
};

}  // namespace store_test

#endif
