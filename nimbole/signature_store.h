// The process-wide memory of signature checks: an in-memory certificate
// store of CA certificates and CRLs that verified, each carrying the key it
// verified with in property 0x8000 (the bytes of a pointer to a malloc deep
// copy). It spares a new engine the signature math that an earlier engine,
// on any thread, already did. Entries never expire and are never removed;
// each kind takes at most capacity + 1 entries, then the store stops
// growing and keeps what it has.
#ifndef HALDEN_NIMBOLE_SIGNATURE_STORE_H
#define HALDEN_NIMBOLE_SIGNATURE_STORE_H

#include <mutex>

#include <maren/maren.h>

#include "nimbole/handle_refs.h"

namespace halden::nimbole {

// The property that holds the remembered key.
constexpr DWORD kVerifiedKeyPropId = CERT_FIRST_USER_PROP_ID;

class SignatureStore {
public:
    // A capacity below 1 is a store that is off: nothing is opened.
    explicit SignatureStore(long long capacity);
    // Releases the key copies of the entries and closes the store.
    ~SignatureStore();
    SignatureStore(const SignatureStore&) = delete;
    SignatureStore& operator=(const SignatureStore&) = delete;

    bool enabled() const { return capacity_ >= 1 && store_; }
    long long capacity() const { return capacity_; }
    HCERTSTORE handle() const { return store_.get(); }

    // Whether the object (`cert` or `crl`, whose whole encoding is
    // `encoded`) is signed by `key`: a remembered entry with an equal key
    // answers yes; otherwise the platform verifies and a success is
    // remembered while there is room. The lock is held throughout, the
    // platform's verification included.
    bool check(const CERT_PUBLIC_KEY_INFO& key, const BYTE* encoded, DWORD encoded_size, PCCERT_CONTEXT cert,
               PCCRL_CONTEXT crl);

private:
    bool remembered(PCCERT_CONTEXT cert, const CERT_PUBLIC_KEY_INFO& key) const;
    bool remembered(PCCRL_CONTEXT crl, const CERT_PUBLIC_KEY_INFO& key) const;
    void remember(PCCERT_CONTEXT cert, const CERT_PUBLIC_KEY_INFO& key);
    void remember(PCCRL_CONTEXT crl, const CERT_PUBLIC_KEY_INFO& key);

    const long long capacity_;
    std::mutex lock_;
    StoreRef store_;
    // Entries added so far, failed additions included; they only rise.
    long long certs_ = 0;
    long long crls_ = 0;
};

// The platform's verdict on a signed object (to-be-signed, algorithm,
// signature): true only for a return of 1.
bool verify_signed_object(const CERT_PUBLIC_KEY_INFO& key, const BYTE* encoded, DWORD encoded_size);

// \config\Parameters\ChainSignatureCacheSize, or 50 when it is missing or
// negative.
long long read_signature_cache_size();

// The process-wide store, made at the first call from the configured size
// and never closed; null when the size is below 1 or the store couldn't be
// made.
SignatureStore* process_signature_store();

// The configured size of the process-wide store (0 once it has turned out
// not to work). 50 before the first use.
long long signature_cache_size();

}  // namespace halden::nimbole

#endif
