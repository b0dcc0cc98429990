#include "nimbole/signature_store.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "nimbole/encoding_order.h"
#include "nimbole/public_key_copy.h"

namespace halden::nimbole {
namespace {

constexpr long long kDefaultCacheSize = 50;

// Read and written with relaxed atomics: the once-guard orders the first
// write before every use of the store.
std::atomic<long long> gcache_size{kDefaultCacheSize};
pthread_once_t gcache_once = PTHREAD_ONCE_INIT;
// The process-wide store. Never deleted: the key copies it holds are meant
// to live as long as the process.
SignatureStore* gcache = nullptr;

void init_global_cache() {
    const long long size = read_signature_cache_size();
    gcache_size.store(size, std::memory_order_relaxed);
    if (size < 1) return;
    auto* store = new (std::nothrow) SignatureStore(size);
    if (store == nullptr || !store->enabled()) {
        delete store;
        gcache_size.store(0, std::memory_order_relaxed);
        return;
    }
    gcache = store;
}

// The key remembered on a store entry: only a property of exactly a
// pointer's size holds one.
template <class Context, class GetProperty>
const CERT_PUBLIC_KEY_INFO* stored_key(const Context* entry, GetProperty get_property) {
    CERT_PUBLIC_KEY_INFO* key = nullptr;
    DWORD size = sizeof key;
    if (!get_property(entry, kVerifiedKeyPropId, &key, &size) || size != sizeof key) return nullptr;
    return key;
}

// Hangs a malloc copy of `key` on a fresh entry. On failure the entry stays
// without the property, and so reads as unverified.
template <class Context, class SetProperty>
void attach_key(const Context* entry, const CERT_PUBLIC_KEY_INFO& key, SetProperty set_property) {
    auto* copy = static_cast<CERT_PUBLIC_KEY_INFO*>(std::malloc(sizeof(CERT_PUBLIC_KEY_INFO)));
    if (copy == nullptr) return;
    if (!copy_key_info(copy, &key)) {
        std::free(copy);
        return;
    }
    CRYPT_DATA_BLOB value{sizeof copy, reinterpret_cast<BYTE*>(&copy)};
    if (!set_property(entry, kVerifiedKeyPropId, 0, &value)) {
        free_key_info(copy);
        std::free(copy);
    }
}

template <class Context, class GetProperty>
void release_key(const Context* entry, GetProperty get_property) {
    if (const CERT_PUBLIC_KEY_INFO* key = stored_key(entry, get_property)) {
        auto* owned = const_cast<CERT_PUBLIC_KEY_INFO*>(key);
        free_key_info(owned);
        std::free(owned);
    }
}

}  // namespace

SignatureStore::SignatureStore(long long capacity) : capacity_(capacity) {
    if (capacity_ >= 1) store_ = StoreRef(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
}

SignatureStore::~SignatureStore() {
    if (!store_) return;
    for (PCCERT_CONTEXT c = nullptr; (c = CertEnumCertificatesInStore(store_.get(), c)) != nullptr;)
        release_key(c, CertGetCertificateContextProperty);
    for (PCCRL_CONTEXT c = nullptr; (c = CertEnumCRLsInStore(store_.get(), c)) != nullptr;)
        release_key(c, CertGetCRLContextProperty);
}

bool SignatureStore::check(const CERT_PUBLIC_KEY_INFO& key, const BYTE* encoded, DWORD encoded_size,
                           PCCERT_CONTEXT cert, PCCRL_CONTEXT crl) {
    if (!enabled() || (cert == nullptr && crl == nullptr)) return verify_signed_object(key, encoded, encoded_size);
    std::lock_guard<std::mutex> hold(lock_);
    if (cert != nullptr ? remembered(cert, key) : remembered(crl, key)) return true;
    if (!verify_signed_object(key, encoded, encoded_size)) return false;
    if (cert != nullptr) remember(cert, key);
    else remember(crl, key);
    return true;
}

bool SignatureStore::remembered(PCCERT_CONTEXT cert, const CERT_PUBLIC_KEY_INFO& key) const {
    // An indexed find of the same encoding.
    const CertContextRef found = CertContextRef::adopt(
        CertFindCertificateInStore(store_.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, cert, nullptr));
    if (!found) return false;
    const CERT_PUBLIC_KEY_INFO* stored = stored_key(found.get(), CertGetCertificateContextProperty);
    return stored != nullptr && same_public_key(*stored, key);
}

bool SignatureStore::remembered(PCCRL_CONTEXT crl, const CERT_PUBLIC_KEY_INFO& key) const {
    // The platform's "existing" CRL need not be byte-identical; the first
    // one that is decides.
    PCCRL_CONTEXT found = nullptr;
    while ((found = CertFindCRLInStore(store_.get(), X509_ASN_ENCODING, 0, CRL_FIND_EXISTING, crl, found)) !=
           nullptr) {
        if (same_encoding(found, crl)) break;
    }
    const CrlContextRef hold = CrlContextRef::adopt(found);
    if (!hold) return false;
    const CERT_PUBLIC_KEY_INFO* stored = stored_key(hold.get(), CertGetCRLContextProperty);
    return stored != nullptr && same_public_key(*stored, key);
}

void SignatureStore::remember(PCCERT_CONTEXT cert, const CERT_PUBLIC_KEY_INFO& key) {
    if (certs_ > capacity_) return;
    ++certs_;
    // From the encoded bytes, so that nothing the caller put on its context
    // travels into the store.
    PCCERT_CONTEXT added = nullptr;
    if (!CertAddEncodedCertificateToStore(store_.get(), X509_ASN_ENCODING, cert->pbCertEncoded, cert->cbCertEncoded,
                                          CERT_STORE_ADD_ALWAYS, &added))
        return;
    const CertContextRef hold = CertContextRef::adopt(added);
    attach_key(hold.get(), key, CertSetCertificateContextProperty);
}

void SignatureStore::remember(PCCRL_CONTEXT crl, const CERT_PUBLIC_KEY_INFO& key) {
    if (crls_ > capacity_) return;
    ++crls_;
    PCCRL_CONTEXT added = nullptr;
    if (!CertAddEncodedCRLToStore(store_.get(), X509_ASN_ENCODING, crl->pbCrlEncoded, crl->cbCrlEncoded,
                                  CERT_STORE_ADD_ALWAYS, &added))
        return;
    const CrlContextRef hold = CrlContextRef::adopt(added);
    attach_key(hold.get(), key, CertSetCRLContextProperty);
}

bool verify_signed_object(const CERT_PUBLIC_KEY_INFO& key, const BYTE* encoded, DWORD encoded_size) {
    return CryptVerifyCertificateSignature(0, X509_ASN_ENCODING, encoded, encoded_size,
                                           const_cast<CERT_PUBLIC_KEY_INFO*>(&key)) == TRUE;
}

long long read_signature_cache_size() {
    long value = 0;
    if (host_registry_get_long("\\config\\Parameters\\ChainSignatureCacheSize", &value) == 0 && value >= 0)
        return value;
    return kDefaultCacheSize;
}

SignatureStore* process_signature_store() {
    if (pthread_once(&gcache_once, init_global_cache) != 0) gcache_size.store(0, std::memory_order_relaxed);
    if (gcache_size.load(std::memory_order_relaxed) < 1) return nullptr;
    return gcache;
}

long long signature_cache_size() { return gcache_size.load(std::memory_order_relaxed); }

}  // namespace halden::nimbole
