// The operations the URL cache needs on one kind of object, certificates or
// CRLs, behind one interface, so that the cache is written once for both.
// Contexts travel as `const void *`; each implementation forwards to the
// published functions of its kind.
#ifndef MAREN_PLATFORM_RETRIEVAL_CONTEXT_FUNC_H
#define MAREN_PLATFORM_RETRIEVAL_CONTEXT_FUNC_H

#include <memory>

#include <maren/maren.h>

namespace maren::retrieval {

class ContextFunc {
  public:
    virtual ~ContextFunc() = default;

    virtual const void *CreateContext(unsigned int encoding, const unsigned char *pb, unsigned int cb) const = 0;
    virtual BOOL SetContextProperty(const void *context, unsigned int id, unsigned int flags,
                                    const void *pv) const = 0;
    virtual BOOL GetContextProperty(const void *context, unsigned int id, void *pv, unsigned int *pcb) const = 0;
    virtual BOOL AddContextToStore(void *store, const void *context, unsigned int disposition,
                                   const void **added) const = 0;
    virtual BOOL FreeContext(const void *context) const = 0;
    virtual const void *DuplicateContext(const void *context) const = 0;
    // Takes the reference it is given, on every path.
    virtual BOOL DeleteContextFromStore(const void *context) const = 0;
    virtual const void *FindInStore(void *store, unsigned int encoding, unsigned int flags, unsigned int type,
                                    const void *para, const void *prev) const = 0;
    // Whether the object is in force now: its start strictly before now
    // (not asked for an OCSP response, oid 6) and its end strictly after.
    virtual bool IsTimeValid(const void *context, const char *oid) const = 0;
    virtual HCERTSTORE GetStoreHandle(const void *context) const = 0;
};

struct ContextFuncFactory {
    // CONTEXT_OID_ values in the pointer: 0, 1 and 4 make the certificate
    // operations, 2 and 6 the CRL ones; anything else gives null.
    static std::unique_ptr<ContextFunc> CreateContextFunc(const char *oid);
};

// One reference to a context, released through its ContextFunc.
class ContextRef {
  public:
    ContextRef() = default;
    ContextRef(const ContextFunc *func, const void *context) : func_(func), context_(context) {}
    ContextRef(ContextRef &&other) noexcept : func_(other.func_), context_(other.context_) { other.context_ = nullptr; }
    ContextRef &operator=(ContextRef &&other) noexcept {
        if (this != &other) {
            reset();
            func_ = other.func_;
            context_ = other.context_;
            other.context_ = nullptr;
        }
        return *this;
    }
    ContextRef(const ContextRef &) = delete;
    ContextRef &operator=(const ContextRef &) = delete;
    ~ContextRef() { reset(); }

    const void *get() const { return context_; }
    const void *release() {
        const void *context = context_;
        context_ = nullptr;
        return context;
    }
    void reset() {
        if (context_ != nullptr) func_->FreeContext(context_);
        context_ = nullptr;
    }
    explicit operator bool() const { return context_ != nullptr; }

  private:
    const ContextFunc *func_ = nullptr;
    const void *context_ = nullptr;
};

}  // namespace maren::retrieval

#endif
