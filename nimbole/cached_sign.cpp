#include "nimbole/cached_sign.h"

#include "nimbole/public_key_copy.h"
#include "nimbole/signature_store.h"

namespace halden::nimbole {

bool CACHED_SIGN::is_signed_by(const CERT_PUBLIC_KEY_INFO& asked, const unsigned char* encoded,
                               unsigned int encoded_size, PCCERT_CONTEXT cert, PCCRL_CONTEXT crl) {
    if (const Memory memory = from_memory(asked); memory != Memory::silent) return memory == Memory::yes;
    // The process-wide store is opened on first need, and only for the
    // objects it takes.
    SignatureStore* store = cert != nullptr || crl != nullptr ? process_signature_store() : nullptr;
    return check_and_remember(asked, encoded, encoded_size, cert, crl, store);
}

bool CACHED_SIGN::is_signed_by(const CERT_PUBLIC_KEY_INFO& asked, const unsigned char* encoded,
                               unsigned int encoded_size, PCCERT_CONTEXT cert, PCCRL_CONTEXT crl,
                               SignatureStore* store) {
    if (const Memory memory = from_memory(asked); memory != Memory::silent) return memory == Memory::yes;
    return check_and_remember(asked, encoded, encoded_size, cert, crl, store);
}

CACHED_SIGN::Memory CACHED_SIGN::from_memory(const CERT_PUBLIC_KEY_INFO& asked) const {
    // A success holds against every later key; a failure only against the
    // key that failed.
    if (state == kVerified) return same_public_key(asked, key) ? Memory::yes : Memory::no;
    if (state == kFailed && same_public_key(asked, key)) return Memory::no;
    return Memory::silent;
}

bool CACHED_SIGN::check_and_remember(const CERT_PUBLIC_KEY_INFO& asked, const unsigned char* encoded,
                                     unsigned int encoded_size, PCCERT_CONTEXT cert, PCCRL_CONTEXT crl,
                                     SignatureStore* store) {
    const bool use_store = store != nullptr && (cert != nullptr || crl != nullptr);
    const bool answer = use_store ? store->check(asked, encoded, encoded_size, cert, crl)
                                  : verify_signed_object(asked, encoded, encoded_size);
    remember(asked, answer);
    return answer;
}

void CACHED_SIGN::remember(const CERT_PUBLIC_KEY_INFO& asked, bool answer) {
    if (state == kUnknown) {
        if (copy_key_info(&key, &asked)) state = answer ? kVerified : kFailed;
        return;
    }
    // An earlier key failed: a second failure keeps the first key, a success
    // replaces it.
    if (state == kFailed && answer) {
        free_cached_key_info();
        if (copy_key_info(&key, &asked)) state = kVerified;
    }
}

void CACHED_SIGN::free_cached_key_info() noexcept {
    if (state != kUnknown) free_key_info(&key);
    state = kUnknown;
}

}  // namespace halden::nimbole
