#include "provider/recursion_guard.h"

#include <cstring>

#include <maren/errors.h>
#include <maren/host.h>

#include "base/atl.h"
#include "base/last_error.h"
#include "provider/cert_context.h"

namespace Tarsis {
namespace PKI {

TlsCertListStorer certListStorer;

TlsCertListStorer::TlsCertListStorer() noexcept
    : mutex_(),
      key_(),
      mutex_error_(host_mutex_init_recursive(&mutex_)),
      key_error_(pthread_key_create(&key_, nullptr)) {}

TlsCertListStorer::~TlsCertListStorer() {
    if (key_error_ == 0) {
        pthread_key_delete(key_);
    }
    if (mutex_error_ == 0) {
        pthread_mutex_destroy(&mutex_);
    }
}

CertList* TlsCertListStorer::get_CurrentCertList() {
    if (key_error_ != 0) {
        ATL::AtlThrowImpl(hresult_from_win32_error(static_cast<DWORD>(key_error_), E_FAIL));
    }
    if (void* mine = pthread_getspecific(key_)) {
        return static_cast<CertList*>(mine);
    }
    if (mutex_error_ != 0) {
        ATL::AtlThrowImpl(hresult_from_win32_error(static_cast<DWORD>(mutex_error_), E_FAIL));
    }
    CertList* list = nullptr;
    pthread_mutex_lock(&mutex_);
    try {
        lists_.emplace_back();
        list = &lists_.back();
    } catch (...) {
        pthread_mutex_unlock(&mutex_);
        throw;
    }
    pthread_mutex_unlock(&mutex_);
    if (const int error = pthread_setspecific(key_, list)) {
        ATL::AtlThrowImpl(hresult_from_win32_error(static_cast<DWORD>(error), E_FAIL));
    }
    return list;
}

CertCycleBreaker::CertCycleBreaker(ICertListStorer* storer, const CERT_CONTEXT* cert)
    : storer_(storer), list_(nullptr) {
    {
        ATL2::CCertContext duplicate(CertDuplicateCertificateContext(cert));
        if (duplicate.get() == nullptr) {
            ATL::AtlThrowImpl(E_FAIL);
        }
        DWORD size = 0;
        if (!CertGetCertificateContextProperty(duplicate.get(), CERT_SHA1_HASH_PROP_ID, nullptr, &size)) {
            // A failure that leaves no last error is passed over: the
            // thumbprint then has the size reported, 0.
            const HRESULT code = hresult_from_last_error(S_OK);
            if (code != S_OK) {
                ATL::AtlThrowImpl(code);
            }
        }
        thumbprint_.assign(size, '\0');
        if (size != 0 &&
            !CertGetCertificateContextProperty(duplicate.get(), CERT_SHA1_HASH_PROP_ID, &thumbprint_[0], &size)) {
            ATL::AtlThrowImpl(hresult_from_last_error(E_FAIL));
        }
        thumbprint_.resize(size);
    }

    CertList* list = storer_->get_CurrentCertList();
    // strcmp on purpose: raw hashes compare up to the first zero byte of
    // either, so two hashes that agree that far count as one. That errs
    // only towards refusing a check.
    for (const std::string& entry : *list) {
        if (std::strcmp(entry.c_str(), thumbprint_.c_str()) == 0) {
            return;
        }
    }
    list->push_back(thumbprint_);
    list_ = list;
}

CertCycleBreaker::~CertCycleBreaker() {
    // Guards nest, so the last entry is this guard's own.
    if (list_ != nullptr && !list_->empty()) {
        list_->pop_back();
    }
}

std::string CertCycleBreaker::ThumbprintHex() const {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(thumbprint_.size() * 2);
    for (const char c : thumbprint_) {
        const unsigned char byte = static_cast<unsigned char>(c);
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 0x0f]);
    }
    return text;
}

}  // namespace PKI
}  // namespace Tarsis
