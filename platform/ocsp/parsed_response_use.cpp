// What a parsed response works out once and remembers: signature checks per
// key, and the contexts of its certificates.
#include <cstring>

#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>

#include "platform/ocsp/ocsp_config.h"
#include "platform/ocsp/parsed_response.h"

namespace Tarsis::PKI::OCSP::detail {
namespace {

// A few keys at most sign one response in practice: the CA, a delegated
// responder, a wrong guess. The memo stays small.
constexpr std::size_t kMemoSize = 8;

std::string memo_key(const CERT_PUBLIC_KEY_INFO& key) {
    std::string out(key.Algorithm.pszObjId != nullptr ? key.Algorithm.pszObjId : "");
    out.push_back('\0');
    const auto append = [&out](const BYTE* data, DWORD size) {
        out.append(reinterpret_cast<const char*>(&size), sizeof size);
        if (data != nullptr) out.append(reinterpret_cast<const char*>(data), size);
    };
    append(key.Algorithm.Parameters.pbData, key.Algorithm.Parameters.cbData);
    append(key.PublicKey.pbData, key.PublicKey.cbData);
    return out;
}

}  // namespace

HRESULT ParsedResponse::verify_signature(const CERT_PUBLIC_KEY_INFO& key) const {
    if (signed_core.empty()) return CRYPT_E_NOT_FOUND;
    const std::string memo_id = memo_key(key);
    {
        std::lock_guard<std::mutex> guard(memo_lock_);
        for (const auto& entry : memo_)
            if (entry.first == memo_id) return entry.second;
    }
    const DWORD saved = GetLastError();
    HRESULT result = S_OK;
    if (!CryptVerifyCertificateSignature(0, X509_ASN_ENCODING, signed_core.data(),
                                         static_cast<DWORD>(signed_core.size()),
                                         const_cast<CERT_PUBLIC_KEY_INFO*>(&key))) {
        result = static_cast<HRESULT>(GetLastError());
        if (result == S_OK) result = NTE_BAD_SIGNATURE;
    }
    SetLastError(saved);
    std::lock_guard<std::mutex> guard(memo_lock_);
    if (memo_.size() >= kMemoSize) memo_.erase(memo_.begin());
    memo_.emplace_back(memo_id, result);
    return result;
}

bool ParsedResponse::is_known_delegate(const CERT_CONTEXT* delegate, const std::string& issuer) const {
    std::lock_guard<std::mutex> guard(memo_lock_);
    for (const auto& entry : delegates_)
        if (entry.first == issuer && entry.second.size() == delegate->cbCertEncoded &&
            std::memcmp(entry.second.data(), delegate->pbCertEncoded, delegate->cbCertEncoded) == 0)
            return true;
    return false;
}

void ParsedResponse::remember_delegate(const CERT_CONTEXT* delegate, const std::string& issuer) const {
    std::lock_guard<std::mutex> guard(memo_lock_);
    if (delegates_.size() >= kMemoSize) delegates_.erase(delegates_.begin());
    delegates_.emplace_back(issuer, Bytes(delegate->pbCertEncoded, delegate->pbCertEncoded + delegate->cbCertEncoded));
}

HRESULT check_single_times(const SingleResponse& single, std::uint64_t now) {
    if (ticks_of(single.this_update) > now + kClockSkewTicks) return CERT_E_EXPIRED;
    if (single.next_update && ticks_of(*single.next_update) + kClockSkewTicks < now) return CERT_E_EXPIRED;
    return S_OK;
}

const std::vector<maren::chain::CertHandle>& ParsedResponse::certificates() const {
    std::call_once(certificates_once_, [this] {
        for (const Bytes& encoded : certs)
            if (const CERT_CONTEXT* cert = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                                       encoded.data(), static_cast<DWORD>(encoded.size())))
                certificates_.emplace_back(cert);
    });
    return certificates_;
}

}  // namespace Tarsis::PKI::OCSP::detail
