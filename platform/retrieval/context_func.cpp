#include "platform/retrieval/context_func.h"

#include <cstdint>
#include <new>

namespace maren::retrieval {
namespace {

// The small CONTEXT_OID_ values are kept in the pointer.
std::uintptr_t oid_value(const char *oid) { return reinterpret_cast<std::uintptr_t>(oid); }

bool in_force(const FILETIME &start, const FILETIME &end, const char *oid) {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    if (oid_value(oid) != 6 && CompareFileTime(&start, &now) >= 0) return false;
    return CompareFileTime(&end, &now) > 0;
}

PCCERT_CONTEXT cert(const void *context) { return static_cast<PCCERT_CONTEXT>(context); }
PCCRL_CONTEXT crl(const void *context) { return static_cast<PCCRL_CONTEXT>(context); }

class CertContextFunc final : public ContextFunc {
  public:
    const void *CreateContext(unsigned int encoding, const unsigned char *pb, unsigned int cb) const override {
        return CertCreateCertificateContext(encoding, pb, cb);
    }
    BOOL SetContextProperty(const void *context, unsigned int id, unsigned int flags, const void *pv) const override {
        return CertSetCertificateContextProperty(cert(context), id, flags, pv);
    }
    BOOL GetContextProperty(const void *context, unsigned int id, void *pv, unsigned int *pcb) const override {
        DWORD size = *pcb;
        const BOOL ok = CertGetCertificateContextProperty(cert(context), id, pv, &size);
        *pcb = size;
        return ok;
    }
    BOOL AddContextToStore(void *store, const void *context, unsigned int disposition,
                           const void **added) const override {
        PCCERT_CONTEXT out = nullptr;
        const BOOL ok = CertAddCertificateContextToStore(store, cert(context), disposition, added ? &out : nullptr);
        if (added) *added = out;
        return ok;
    }
    BOOL FreeContext(const void *context) const override { return CertFreeCertificateContext(cert(context)); }
    const void *DuplicateContext(const void *context) const override {
        return CertDuplicateCertificateContext(cert(context));
    }
    BOOL DeleteContextFromStore(const void *context) const override {
        return CertDeleteCertificateFromStore(cert(context));
    }
    const void *FindInStore(void *store, unsigned int encoding, unsigned int flags, unsigned int type,
                            const void *para, const void *prev) const override {
        return CertFindCertificateInStore(store, encoding, flags, type, para, cert(prev));
    }
    bool IsTimeValid(const void *context, const char *oid) const override {
        const CERT_INFO *info = cert(context)->pCertInfo;
        return in_force(info->NotBefore, info->NotAfter, oid);
    }
    HCERTSTORE GetStoreHandle(const void *context) const override { return cert(context)->hCertStore; }
};

class CRLContextFunc final : public ContextFunc {
  public:
    const void *CreateContext(unsigned int encoding, const unsigned char *pb, unsigned int cb) const override {
        return CertCreateCRLContext(encoding, pb, cb);
    }
    BOOL SetContextProperty(const void *context, unsigned int id, unsigned int flags, const void *pv) const override {
        return CertSetCRLContextProperty(crl(context), id, flags, pv);
    }
    BOOL GetContextProperty(const void *context, unsigned int id, void *pv, unsigned int *pcb) const override {
        DWORD size = *pcb;
        const BOOL ok = CertGetCRLContextProperty(crl(context), id, pv, &size);
        *pcb = size;
        return ok;
    }
    BOOL AddContextToStore(void *store, const void *context, unsigned int disposition,
                           const void **added) const override {
        PCCRL_CONTEXT out = nullptr;
        const BOOL ok = CertAddCRLContextToStore(store, crl(context), disposition, added ? &out : nullptr);
        if (added) *added = out;
        return ok;
    }
    BOOL FreeContext(const void *context) const override { return CertFreeCRLContext(crl(context)); }
    const void *DuplicateContext(const void *context) const override { return CertDuplicateCRLContext(crl(context)); }
    BOOL DeleteContextFromStore(const void *context) const override { return CertDeleteCRLFromStore(crl(context)); }
    const void *FindInStore(void *store, unsigned int, unsigned int flags, unsigned int type, const void *para,
                            const void *prev) const override {
        return CertFindCRLInStore(store, 0, flags, type, para, crl(prev));
    }
    bool IsTimeValid(const void *context, const char *oid) const override {
        const CRL_INFO *info = crl(context)->pCrlInfo;
        return in_force(info->ThisUpdate, info->NextUpdate, oid);
    }
    HCERTSTORE GetStoreHandle(const void *context) const override { return crl(context)->hCertStore; }
};

}  // namespace

std::unique_ptr<ContextFunc> ContextFuncFactory::CreateContextFunc(const char *oid) {
    switch (oid_value(oid)) {
        case 0:
        case 1:
        case 4:
            return std::unique_ptr<ContextFunc>(new (std::nothrow) CertContextFunc);
        case 2:
        case 6:
            return std::unique_ptr<ContextFunc>(new (std::nothrow) CRLContextFunc);
        default:
            return nullptr;
    }
}

}  // namespace maren::retrieval
