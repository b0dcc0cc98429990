// The recursion guard. Checking one certificate can lead, through the
// platform and the OCSP client, back into this provider for the same
// certificate. Each thread keeps the SHA-1 thumbprints of the certificates
// it is checking at this moment, and a certificate already among them is
// refused instead of being checked again.
#ifndef HALDEN_PROVIDER_RECURSION_GUARD_H
#define HALDEN_PROVIDER_RECURSION_GUARD_H

#include <pthread.h>

#include <list>
#include <string>

#include <maren/context.h>

namespace Tarsis {
namespace PKI {

// The thumbprints in progress, in order of entry. Each string holds the
// raw hash bytes (its c_str() adds the terminating zero).
using CertList = std::list<std::string>;

// Where the current thread's certificate list lives.
class ICertListStorer {
public:
    virtual CertList* get_CurrentCertList() = 0;
    virtual ~ICertListStorer() = default;
};

// One list per thread, found through a thread key. A thread's list is made
// at its first call and kept until the library goes: the key has no
// destructor, and nothing touches another thread's list.
class TlsCertListStorer : public ICertListStorer {
public:
    // Never throws: a failure to make the key or the mutex is remembered
    // and raised by get_CurrentCertList.
    TlsCertListStorer() noexcept;
    ~TlsCertListStorer() override;
    TlsCertListStorer(const TlsCertListStorer&) = delete;
    TlsCertListStorer& operator=(const TlsCertListStorer&) = delete;

    // Lock-free after a thread's first call. Throws ATL::CAtlException.
    CertList* get_CurrentCertList() override;

private:
    pthread_mutex_t mutex_;
    pthread_key_t key_;
    int mutex_error_;
    int key_error_;
    // A list, not a vector: growing it leaves other threads' pointers valid.
    std::list<CertList> lists_;
};

// A list kept in a caller's own context object, for a caller that has one.
class ContextCertListStorer : public ICertListStorer {
public:
    CertList* get_CurrentCertList() override { return &list_; }

private:
    CertList list_;
};

// A scope object of the provider's loop: its constructor takes the
// certificate's thumbprint and pushes it unless it is already there (a
// cycle); its destructor pops what it pushed.
class CertCycleBreaker {
public:
    // Throws ATL::CAtlException when the thumbprint can't be had.
    CertCycleBreaker(ICertListStorer* storer, const CERT_CONTEXT* cert);
    ~CertCycleBreaker();
    CertCycleBreaker(const CertCycleBreaker&) = delete;
    CertCycleBreaker& operator=(const CertCycleBreaker&) = delete;

    // True when the certificate was already being checked on this thread.
    bool IsCycle() const { return list_ == nullptr; }
    // The thumbprint in upper-case hexadecimal, no separators.
    std::string ThumbprintHex() const;

private:
    ICertListStorer* storer_;
    CertList* list_;
    std::string thumbprint_;
};

// The storer of the provider, made when the library loads.
extern TlsCertListStorer certListStorer;

}  // namespace PKI
}  // namespace Tarsis

#endif
