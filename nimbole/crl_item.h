// The engine's parsed view of one CRL: a counted reference to the platform's
// context and a shared block of decoded fields. It answers the question the
// revocation logic comes down to: what this CRL says about a serial number
// at a moment. Two items are equal exactly when their encodings are
// byte-identical.
#ifndef HALDEN_NIMBOLE_CRL_ITEM_H
#define HALDEN_NIMBOLE_CRL_ITEM_H

#include <memory>
#include <string>

#include <maren/maren.h>

#include "nimbole/cache_entries.h"
#include "nimbole/crl_cache_info.h"
#include "nimbole/handle_refs.h"
#include "nimbole/shared_crl_data.h"

namespace halden::nimbole {

class CertificateItem;

// What get_CRLReason answers when the CRL doesn't revoke the serial number
// at that moment.
constexpr int kCrlNotRevoked = 0xFFFF;

class CRLItem {
public:
    // Throws CryptException with the platform's last error when the context
    // can't be duplicated.
    explicit CRLItem(PCCRL_CONTEXT context);

    PCCRL_CONTEXT context() const { return context_.get(); }
    const CRL_INFO& info() const { return *context_->pCrlInfo; }
    SHARED_CRL_DATA& data() const { return *data_; }

    // The strict check of the signer's private key usage period at this
    // CRL's ThisUpdate.
    bool was_valid_to_sign(const CertificateItem& issuer) const;

    // Whether the CRL is signed by `key`, through its signature memory and
    // the process-wide store.
    bool is_signed_by(const CERT_PUBLIC_KEY_INFO& key) const;

    // The reason code of the first entry for `serial` (raw bytes, as
    // decoded), or kCrlNotRevoked when there is none or `time` lies before
    // its revocation date. Only that first entry counts. An entry without a
    // readable reason revokes as unspecified (0).
    int get_CRLReason(const CRYPT_DATA_BLOB* serial, const FILETIME* time) const;

    // prefix, "Issuer:'", the issuer, "'" and a line feed.
    std::wstring toString(const char* prefix) const;
    std::wstring toString(const std::string& prefix) const { return toString(prefix.c_str()); }

    // By the length of the encoding, then its digest, then its bytes.
    friend bool operator<(const CRLItem& a, const CRLItem& b) { return compare(a, b) < 0; }
    friend bool operator==(const CRLItem& a, const CRLItem& b) { return compare(a, b) == 0; }
    friend bool operator!=(const CRLItem& a, const CRLItem& b) { return compare(a, b) != 0; }

private:
    static int compare(const CRLItem& a, const CRLItem& b);
    const EncodingDigest& digest() const;
    const CRL_ENTRY* first_entry(const CRYPT_DATA_BLOB& serial) const;

    CrlContextRef context_;
    std::shared_ptr<SHARED_CRL_DATA> data_;
};

// The order of the delta sets: newest ThisUpdate first, and nothing else,
// so two CRLs with the same ThisUpdate are one to a set (the first stays).
struct ThisUpdateDescendingOrder {
    bool operator()(const CRLItem& a, const CRLItem& b) const {
        return CompareFileTime(&a.info().ThisUpdate, &b.info().ThisUpdate) > 0;
    }
    bool operator()(const CRLEntry& a, const CRLEntry& b) const { return (*this)(a.key(), b.key()); }
};

}  // namespace halden::nimbole

#endif
