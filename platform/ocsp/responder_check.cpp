#include "platform/ocsp/responder_check.h"

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <maren/chain.h>
#include <maren/cert_compare.h>
#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>
#include <maren/oids.h>
#include <maren/store.h>

#include "platform/chain/cert_facts.h"
#include "platform/crypto/digest.h"

namespace Tarsis::PKI::OCSP::detail {
namespace {

using maren::chain::kEncoding;
using maren::chain::StoreHandle;

struct ChainReleaser {
    void operator()(const CERT_CHAIN_CONTEXT* chain) const { CertFreeCertificateChain(chain); }
};
using ChainHandle = std::unique_ptr<const CERT_CHAIN_CONTEXT, ChainReleaser>;

using Visit = std::function<bool(const CERT_CONTEXT*)>;

bool same_name(const CERT_NAME_BLOB& a, const CERT_NAME_BLOB& b) {
    return CertCompareCertificateName(kEncoding, const_cast<CERT_NAME_BLOB*>(&a), const_cast<CERT_NAME_BLOB*>(&b)) !=
           FALSE;
}

// Certificates of store whose subject is name, until visit says stop.
bool visit_by_subject(HCERTSTORE store, const CERT_NAME_BLOB& name, const Visit& visit) {
    if (store == nullptr) return false;
    const CERT_CONTEXT* found = nullptr;
    while ((found = CertFindCertificateInStore(store, kEncoding, 0, CERT_FIND_SUBJECT_NAME, &name, found)) != nullptr) {
        if (visit(found)) {
            CertFreeCertificateContext(found);
            return true;
        }
    }
    return false;
}

// The responder named by key hash: found by its key identifier, which
// certificates usually carry as the same SHA-1.
bool visit_by_key_hash(HCERTSTORE store, const Bytes& key_hash, const Visit& visit) {
    if (store == nullptr) return false;
    CRYPT_HASH_BLOB blob{static_cast<DWORD>(key_hash.size()), const_cast<BYTE*>(key_hash.data())};
    const CERT_CONTEXT* found = nullptr;
    while ((found = CertFindCertificateInStore(store, kEncoding, 0, CERT_FIND_KEY_IDENTIFIER, &blob, found)) !=
           nullptr) {
        if (visit(found)) {
            CertFreeCertificateContext(found);
            return true;
        }
    }
    return false;
}

StoreHandle open_system_store(DWORD location, const wchar_t* name) {
    return StoreHandle(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                     location | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG, name));
}

std::vector<StoreHandle> system_stores() {
    std::vector<StoreHandle> out;
    for (const wchar_t* name : {L"CA", L"Root"})
        for (DWORD location : {CERT_SYSTEM_STORE_CURRENT_USER, CERT_SYSTEM_STORE_LOCAL_MACHINE})
            if (StoreHandle store = open_system_store(location, name)) out.push_back(std::move(store));
    return out;
}

bool has_ocsp_signing(const CERT_CONTEXT* cert) {
    const CERT_INFO* info = cert->pCertInfo;
    const CERT_EXTENSION* ext = CertFindExtension(szOID_ENHANCED_KEY_USAGE, info->cExtension, info->rgExtension);
    if (ext == nullptr) return false;
    DWORD size = 0;
    if (!CryptDecodeObject(kEncoding, X509_ENHANCED_KEY_USAGE, ext->Value.pbData, ext->Value.cbData, 0, nullptr,
                           &size) ||
        size == 0)
        return false;
    std::vector<std::uint64_t> area((size + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t));
    if (!CryptDecodeObject(kEncoding, X509_ENHANCED_KEY_USAGE, ext->Value.pbData, ext->Value.cbData, 0, area.data(),
                           &size))
        return false;
    const auto* usage = reinterpret_cast<const CERT_ENHKEY_USAGE*>(area.data());
    for (DWORD i = 0; i < usage->cUsageIdentifier; ++i)
        if (usage->rgpszUsageIdentifier[i] != nullptr &&
            std::strcmp(usage->rgpszUsageIdentifier[i], szOID_PKIX_KP_OCSP_SIGNING) == 0)
            return true;
    return false;
}

FILETIME now() {
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    return time;
}

// The distinct issuers the single responses name.
std::vector<const CertIdState*> distinct_issuers(const ParsedResponse& response) {
    std::vector<const CertIdState*> out;
    std::set<std::string> seen;
    for (const SingleResponse& single : response.singles)
        if (seen.insert(single.id.issuer_key()).second) out.push_back(&single.id);
    return out;
}

HRESULT authorize_for(const CertIdState& id, const CERT_CONTEXT* responder, const ParsedResponse& response,
                      const CertSources& sources) {
    if (names_issuer(id, responder)) return S_OK;
    if (!has_ocsp_signing(responder)) return CERT_E_WRONG_USAGE;
    if (!maren::chain::is_time_valid(responder, now())) return CERT_E_EXPIRED;
    const std::string issuer_key = id.issuer_key();
    if (response.is_known_delegate(responder, issuer_key)) return S_OK;
    const CertHandle issuer = find_issuer(responder, response, sources, [&id](const CERT_CONTEXT* candidate) {
        return names_issuer(id, candidate);
    });
    if (!issuer) return CERT_E_UNTRUSTEDCA;
    response.remember_delegate(responder, issuer_key);
    return S_OK;
}

}  // namespace

bool is_named_responder(const ParsedResponse& response, const CERT_CONTEXT* cert) {
    if (cert == nullptr || cert->pCertInfo == nullptr) return false;
    if (!response.responder_name.empty()) {
        CERT_NAME_BLOB name{static_cast<DWORD>(response.responder_name.size()),
                            const_cast<BYTE*>(response.responder_name.data())};
        return same_name(name, cert->pCertInfo->Subject);
    }
    if (!response.responder_key_hash.empty()) {
        const CRYPT_BIT_BLOB& key = cert->pCertInfo->SubjectPublicKeyInfo.PublicKey;
        const maren::crypto::Sha1 hash = maren::crypto::sha1(key.pbData, key.cbData);
        return response.responder_key_hash.size() == hash.size() &&
               std::memcmp(response.responder_key_hash.data(), hash.data(), hash.size()) == 0;
    }
    return false;
}

CertHandle find_responder(const ParsedResponse& response, const CertSources& sources) {
    CertHandle fallback;
    CertHandle chosen;
    const Visit consider = [&](const CERT_CONTEXT* cert) {
        if (!is_named_responder(response, cert)) return false;
        if (response.verify_signature(cert->pCertInfo->SubjectPublicKeyInfo) == S_OK) {
            chosen = maren::chain::share(cert);
            return true;
        }
        if (!fallback) fallback = maren::chain::share(cert);
        return false;
    };
    for (const CertHandle& cert : response.certificates())
        if (consider(cert.get())) return chosen;
    if (sources.known != nullptr && consider(sources.known)) return chosen;
    for (unsigned long i = 0; i < sources.count && sources.stores != nullptr; ++i) {
        const bool found =
            !response.responder_name.empty()
                ? visit_by_subject(sources.stores[i],
                                   CERT_NAME_BLOB{static_cast<DWORD>(response.responder_name.size()),
                                                  const_cast<BYTE*>(response.responder_name.data())},
                                   consider)
                : visit_by_key_hash(sources.stores[i], response.responder_key_hash, consider);
        if (found) return chosen;
    }
    return fallback;
}

CertHandle find_issuer(const CERT_CONTEXT* subject, const ParsedResponse& response, const CertSources& sources,
                       const std::function<bool(const CERT_CONTEXT*)>& accept) {
    if (subject == nullptr || subject->pCertInfo == nullptr) return CertHandle();
    const CERT_NAME_BLOB& issuer_name = subject->pCertInfo->Issuer;
    CertHandle chosen;
    const Visit consider = [&](const CERT_CONTEXT* candidate) {
        if (candidate == nullptr || candidate->pCertInfo == nullptr) return false;
        if (!same_name(candidate->pCertInfo->Subject, issuer_name)) return false;
        if (!accept(candidate) || !maren::chain::is_signed_by(subject, candidate)) return false;
        chosen = maren::chain::share(candidate);
        return true;
    };

    if (sources.known != nullptr && consider(sources.known)) return chosen;
    for (const CertHandle& cert : response.certificates())
        if (consider(cert.get())) return chosen;
    for (unsigned long i = 0; i < sources.count && sources.stores != nullptr; ++i)
        if (visit_by_subject(sources.stores[i], issuer_name, consider)) return chosen;
    if (visit_by_subject(subject->hCertStore, issuer_name, consider)) return chosen;
    for (const StoreHandle& store : system_stores())
        if (visit_by_subject(store.get(), issuer_name, consider)) return chosen;

    // The chain builder also finds issuers by key identifier and in the
    // stores a chain engine adds.
    CERT_CHAIN_PARA para{};
    para.cbSize = sizeof para;
    const CERT_CHAIN_CONTEXT* raw = nullptr;
    const DWORD saved = GetLastError();
    if (CertGetCertificateChain(nullptr, subject, nullptr, nullptr, &para, 0, nullptr, &raw)) {
        const ChainHandle chain(raw);
        if (chain->cChain > 0 && chain->rgpChain[0] != nullptr && chain->rgpChain[0]->cElement > 1 &&
            consider(chain->rgpChain[0]->rgpElement[1]->pCertContext))
            return chosen;
    }
    SetLastError(saved);
    return CertHandle();
}

HRESULT authorize_responder(const ParsedResponse& response, const CERT_CONTEXT* responder,
                            const CertSources& sources) {
    if (responder == nullptr || responder->pCertInfo == nullptr) return E_INVALIDARG;
    const std::vector<const CertIdState*> issuers = distinct_issuers(response);
    if (issuers.empty()) return CRYPT_E_NOT_FOUND;
    for (const CertIdState* id : issuers) {
        const HRESULT result = authorize_for(*id, responder, response, sources);
        if (result != S_OK) return result;
    }
    return S_OK;
}

HRESULT check_signer(const ParsedResponse& response, const CertSources& sources) {
    const CertHandle responder = find_responder(response, sources);
    if (!responder) return CRYPT_E_NOT_FOUND;
    const HRESULT signature = response.verify_signature(responder->pCertInfo->SubjectPublicKeyInfo);
    if (signature != S_OK) return signature;
    return authorize_responder(response, responder.get(), sources);
}

}  // namespace Tarsis::PKI::OCSP::detail
