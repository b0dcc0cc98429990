#include "platform/chain/issuer_search.h"

#include <maren/store.h>

#include "platform/chain/cert_facts.h"

namespace maren::chain {
namespace {

/* Calls visit for each certificate a find yields, until it returns false. */
template <typename Visit>
void for_each_found(HCERTSTORE store, DWORD find_type, const void *find_para, Visit visit) {
    const CERT_CONTEXT *found = nullptr;
    /* Each find releases the context it continues from. */
    while ((found = CertFindCertificateInStore(store, kEncoding, 0, find_type, find_para, found)) != nullptr) {
        if (!visit(found)) {
            CertFreeCertificateContext(found);
            return;
        }
    }
}

bool contains(const std::vector<CertHandle> &certs, const CERT_CONTEXT *cert) {
    for (const CertHandle &c : certs)
        if (same_certificate(c.get(), cert)) return true;
    return false;
}

class Search {
  public:
    Search(const CERT_CONTEXT *subject, const std::vector<CertHandle> &path, const FILETIME &time)
        : subject_(subject), path_(path), time_(time) {}

    /* Looks through every store with one kind of find; true once a perfect
     * candidate is in hand. */
    bool run(const SearchStores &stores, DWORD find_type, const void *find_para, IssuerMatch match) {
        for (const auto *group : {&stores.issuers, &stores.roots})
            for (const StoreHandle &store : *group) {
                bool perfect = false;
                for_each_found(store.get(), find_type, find_para, [&](const CERT_CONTEXT *candidate) {
                    perfect = consider(candidate, match);
                    return !perfect;
                });
                if (perfect) return true;
            }
        return false;
    }

    IssuerChoice result() {
        IssuerChoice choice;
        choice.only_cycles = saw_cycle_ && !best_;
        if (best_) {
            choice.cert = std::move(best_);
            choice.match = best_match_;
            choice.signature_valid = best_rank_ >= kSigned;
        }
        return choice;
    }

  private:
    static constexpr int kSigned = 2;
    static constexpr int kTimeValid = 1;

    /* True when the candidate cannot be beaten. */
    bool consider(const CERT_CONTEXT *candidate, IssuerMatch match) {
        if (contains(path_, candidate)) {
            saw_cycle_ = true;
            return false;
        }
        /* The same certificate in a second store: judged already. */
        if (contains(tried_, candidate)) return false;
        tried_.push_back(share(candidate));

        const int rank = (is_signed_by(subject_, candidate) ? kSigned : 0) |
                         (is_time_valid(candidate, time_) ? kTimeValid : 0);
        if (!best_ || rank > best_rank_) {
            best_ = share(candidate);
            best_rank_ = rank;
            best_match_ = match;
        }
        return best_rank_ == (kSigned | kTimeValid);
    }

    const CERT_CONTEXT *subject_;
    const std::vector<CertHandle> &path_;
    const FILETIME &time_;
    std::vector<CertHandle> tried_;
    CertHandle best_;
    int best_rank_ = -1;
    IssuerMatch best_match_ = IssuerMatch::none;
    bool saw_cycle_ = false;
};

}  // namespace

IssuerChoice find_issuer(const SearchStores &stores, const CERT_CONTEXT *subject,
                         const std::vector<CertHandle> &path, const FILETIME &time) {
    Search search(subject, path, time);
    std::vector<BYTE> key_id = authority_key_id(subject);
    if (!key_id.empty()) {
        const CRYPT_HASH_BLOB blob{static_cast<DWORD>(key_id.size()), key_id.data()};
        if (search.run(stores, CERT_FIND_KEY_IDENTIFIER, &blob, IssuerMatch::key)) return search.result();
        IssuerChoice by_key = search.result();
        if (by_key.cert) return by_key;
    }
    search.run(stores, CERT_FIND_SUBJECT_NAME, &subject->pCertInfo->Issuer, IssuerMatch::name);
    return search.result();
}

}  // namespace maren::chain
