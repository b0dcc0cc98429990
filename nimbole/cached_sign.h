// The remembered outcome of a signature check, embedded in the shared data
// of every certificate and CRL item. It answers from the item's own memory
// when it can, then from the process-wide signature store (for CA
// certificates and CRLs), and calls the platform only when both are silent.
#ifndef HALDEN_NIMBOLE_CACHED_SIGN_H
#define HALDEN_NIMBOLE_CACHED_SIGN_H

#include <maren/maren.h>

namespace halden::nimbole {

class SignatureStore;

struct CACHED_SIGN {
    static constexpr DWORD kUnknown = 2;   // nothing remembered
    static constexpr DWORD kVerified = 1;  // the object verified with `key`
    static constexpr DWORD kFailed = 0;    // the object failed with `key`

    // A private deep copy of the key last asked about; valid while `state`
    // isn't kUnknown.
    CERT_PUBLIC_KEY_INFO key{};
    DWORD state = kUnknown;

    CACHED_SIGN() = default;
    CACHED_SIGN(const CACHED_SIGN&) = delete;
    CACHED_SIGN& operator=(const CACHED_SIGN&) = delete;
    ~CACHED_SIGN() { free_cached_key_info(); }

    // Whether `encoded` (the whole signed object) is signed by `key`. `cert`
    // (a CA certificate) or `crl` names the object for the process-wide
    // store; with neither the store isn't used. Never throws.
    bool is_signed_by(const CERT_PUBLIC_KEY_INFO& key, const unsigned char* encoded, unsigned int encoded_size,
                      PCCERT_CONTEXT cert, PCCRL_CONTEXT crl);
    // The same with the store to consult given (null: none).
    bool is_signed_by(const CERT_PUBLIC_KEY_INFO& key, const unsigned char* encoded, unsigned int encoded_size,
                      PCCERT_CONTEXT cert, PCCRL_CONTEXT crl, SignatureStore* store);

    // Forgets the remembered key; the state returns to kUnknown.
    void free_cached_key_info() noexcept;

private:
    enum class Memory { silent, yes, no };
    Memory from_memory(const CERT_PUBLIC_KEY_INFO& asked) const;
    bool check_and_remember(const CERT_PUBLIC_KEY_INFO& asked, const unsigned char* encoded,
                            unsigned int encoded_size, PCCERT_CONTEXT cert, PCCRL_CONTEXT crl,
                            SignatureStore* store);
    void remember(const CERT_PUBLIC_KEY_INFO& asked, bool answer);
};

}  // namespace halden::nimbole

#endif
