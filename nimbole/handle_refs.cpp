#include "nimbole/handle_refs.h"

#include "base/exceptions.h"

namespace halden::nimbole {

template <>
const CERT_CONTEXT* ContextRef<CERT_CONTEXT>::add_reference(const CERT_CONTEXT* context) {
    const CERT_CONTEXT* copy = CertDuplicateCertificateContext(context);
    if (copy == nullptr) throw CryptException(GetLastError(), __FILE__, __LINE__);
    return copy;
}

template <>
void ContextRef<CERT_CONTEXT>::drop_reference(const CERT_CONTEXT* context) noexcept {
    if (context != nullptr) CertFreeCertificateContext(context);
}

template <>
const CRL_CONTEXT* ContextRef<CRL_CONTEXT>::add_reference(const CRL_CONTEXT* context) {
    const CRL_CONTEXT* copy = CertDuplicateCRLContext(context);
    if (copy == nullptr) throw CryptException(GetLastError(), __FILE__, __LINE__);
    return copy;
}

template <>
void ContextRef<CRL_CONTEXT>::drop_reference(const CRL_CONTEXT* context) noexcept {
    if (context != nullptr) CertFreeCRLContext(context);
}

}  // namespace halden::nimbole
