// The name of a certificate store as configuration gives it: a wide name
// and whether it is a system store or a user's.
#ifndef HALDEN_NIMBOLE_CERTIFICATE_STORE_H
#define HALDEN_NIMBOLE_CERTIFICATE_STORE_H

#include <cstdlib>
#include <memory>

namespace halden::nimbole {

class CertificateStore {
public:
    CertificateStore() = default;
    CertificateStore(const CertificateStore& other);
    CertificateStore& operator=(const CertificateStore& other);
    CertificateStore(CertificateStore&&) noexcept = default;
    CertificateStore& operator=(CertificateStore&&) noexcept = default;

    // Keeps its own copy of `name`; null keeps none. Throws CAException
    // "out of memory" when the copy can't be made.
    void Set(const wchar_t* name, bool is_system);
    // A name of the form "user.<name>" or "system.<name>"; anything else
    // throws CAException.
    void Set(const wchar_t* name);

    const wchar_t* name() const { return name_.get(); }
    bool is_system() const { return is_system_; }

    // User stores before system stores, then by name.
    friend bool operator==(const CertificateStore& a, const CertificateStore& b);
    friend bool operator!=(const CertificateStore& a, const CertificateStore& b) { return !(a == b); }
    friend bool operator<(const CertificateStore& a, const CertificateStore& b);

private:
    struct FreeName {
        void operator()(wchar_t* name) const noexcept { std::free(name); }
    };

    std::unique_ptr<wchar_t, FreeName> name_;
    bool is_system_ = false;
};

}  // namespace halden::nimbole

#endif
