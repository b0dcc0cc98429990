#include "nimbole/certificate_item.h"

#include <cstring>

#include "nimbole/item_text.h"
#include "nimbole/signing_period.h"

namespace halden::nimbole {

CertificateItem::CertificateItem(PCCERT_CONTEXT context)
    : context_(CertContextRef::duplicate(context)),
      // The shared pointer takes the block at once, so that a throw in the
      // filling below releases it.
      data_(new SHARED_CERT_DATA, free_cert_data) {
    fill_cert_data(*data_, info());
}

bool CertificateItem::is_signed_by(const CERT_PUBLIC_KEY_INFO& key, const CRYPT_DATA_BLOB& issuer_key_id) const {
    const std::vector<BYTE>& own = data_->aki_key_id;
    if (issuer_key_id.cbData != 0 && !own.empty()) {
        if (issuer_key_id.cbData != own.size() || std::memcmp(issuer_key_id.pbData, own.data(), own.size()) != 0)
            return false;
    }
    // End-entity results stay in the item; the store is for CA certificates.
    const bool ca = data_->has_basic_constraints && data_->basic_constraints.fCA == TRUE;
    return data_->sign.is_signed_by(key, context_->pbCertEncoded, context_->cbCertEncoded,
                                    ca ? context_.get() : nullptr, nullptr);
}

bool CertificateItem::was_valid_to_sign(const CertificateItem& issuer) const {
    return was_valid_to_sign_at(info().NotBefore, issuer);
}

bool CertificateItem::is_extKeyUsage(CERT_USAGE_MATCH* usage) const {
    const CTL_USAGE* listed = data_->ext_key_usage.get();
    if (listed == nullptr || usage == nullptr) return true;
    const bool all = usage->dwType == USAGE_MATCH_TYPE_AND;
    const CERT_ENHKEY_USAGE& asked = usage->Usage;
    for (DWORD i = 0; i < asked.cUsageIdentifier; ++i) {
        const char* wanted = asked.rgpszUsageIdentifier[i];
        bool found = false;
        for (DWORD j = 0; j < listed->cUsageIdentifier && !found; ++j)
            found = wanted != nullptr && listed->rgpszUsageIdentifier[j] != nullptr &&
                    std::strcmp(wanted, listed->rgpszUsageIdentifier[j]) == 0;
        // AND stops at the first missing identifier, OR at the first present.
        if (found != all) return found;
    }
    return all;
}

bool CertificateItem::is_self_signed() const {
    if (data_->self_signed == kTriStateUnknown)
        data_->self_signed = is_signed_by(info().SubjectPublicKeyInfo, data_->subject_key_id) ? 1 : 0;
    return data_->self_signed == 1;
}

bool CertificateItem::is_self_issued() const {
    if (data_->self_issued == kTriStateUnknown)
        data_->self_issued = cmp_CERT_NAME_INFO(data_->issuer_name.get(), data_->subject_name.get()) ? 1 : 0;
    return data_->self_issued == 1;
}

std::wstring CertificateItem::toString(const char* prefix) const {
    const std::wstring lead = widen_prefix(prefix);
    std::wstring text;
    text += lead + L"Subject:'" + name_text(info().Subject) + L"'\n";
    text += lead + L"Issuer:'" + name_text(info().Issuer) + L"'\n";
    text += lead + L"Serial:" + serial_text(info().SerialNumber) + L"\n";
    return text;
}

int CertificateItem::compare(const CertificateItem& a, const CertificateItem& b) {
    return compare_encodings({a.context_->pbCertEncoded, a.context_->cbCertEncoded},
                             {b.context_->pbCertEncoded, b.context_->cbCertEncoded},
                             [&]() -> const EncodingDigest& { return a.digest(); },
                             [&]() -> const EncodingDigest& { return b.digest(); });
}

const EncodingDigest& CertificateItem::digest() const {
    if (!data_->digest) data_->digest = encoding_digest(context_.get());
    return *data_->digest;
}

}  // namespace halden::nimbole
