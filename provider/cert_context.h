// ATL2::CCertContext: the owner of one reference to a certificate context.
#ifndef HALDEN_PROVIDER_CERT_CONTEXT_H
#define HALDEN_PROVIDER_CERT_CONTEXT_H

#include <maren/context.h>

namespace ATL2 {

class CCertContext {
public:
    CCertContext() = default;
    // Takes over one reference.
    explicit CCertContext(const CERT_CONTEXT* context) : context_(context) {}
    CCertContext(const CCertContext&) = delete;
    CCertContext& operator=(const CCertContext&) = delete;
    CCertContext(CCertContext&& other) noexcept : context_(other.context_) { other.context_ = nullptr; }
    CCertContext& operator=(CCertContext&& other) noexcept {
        if (this != &other) {
            Destroy();
            context_ = other.context_;
            other.context_ = nullptr;
        }
        return *this;
    }
    ~CCertContext() { Destroy(); }

    // Frees the reference, if any, and leaves the holder empty.
    void Destroy() {
        if (context_ != nullptr) {
            CertFreeCertificateContext(context_);
            context_ = nullptr;
        }
    }

    const CERT_CONTEXT* get() const { return context_; }
    // For functions that fill an output reference; the holder owns what
    // they store there.
    const CERT_CONTEXT*& ref() { return context_; }

private:
    const CERT_CONTEXT* context_ = nullptr;
};

}  // namespace ATL2

#endif
