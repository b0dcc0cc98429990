#include "nimbole/crl_item.h"

#include "nimbole/item_text.h"
#include "nimbole/signing_period.h"

namespace halden::nimbole {

CRLItem::CRLItem(PCCRL_CONTEXT context)
    : context_(CrlContextRef::duplicate(context)), data_(new SHARED_CRL_DATA, free_crl_data) {
    fill_crl_data(*data_, info());
}

bool CRLItem::was_valid_to_sign(const CertificateItem& issuer) const {
    return was_valid_to_sign_at(info().ThisUpdate, issuer);
}

bool CRLItem::is_signed_by(const CERT_PUBLIC_KEY_INFO& key) const {
    return data_->sign.is_signed_by(key, context_->pbCrlEncoded, context_->cbCrlEncoded, nullptr, context_.get());
}

const CRL_ENTRY* CRLItem::first_entry(const CRYPT_DATA_BLOB& serial) const {
    // The serial is compared raw (no leading bytes dropped, no reading as a
    // number), through the platform's serial index of the CRL: a lookup
    // costs the same in a CRL of ten entries and of a million.
    return maren_crl_find_entry_exact(context_.get(), &serial);
}

int CRLItem::get_CRLReason(const CRYPT_DATA_BLOB* serial, const FILETIME* time) const {
    if (serial == nullptr || info().cCRLEntry == 0) return kCrlNotRevoked;
    const CRL_ENTRY* entry = first_entry(*serial);
    if (entry == nullptr) return kCrlNotRevoked;
    // Not yet revoked at that moment; the revocation date itself counts.
    if (time != nullptr && CompareFileTime(time, &entry->RevocationDate) < 0) return kCrlNotRevoked;
    if (entry->cExtension == 0) return CRL_REASON_UNSPECIFIED;
    const CERT_EXTENSION* reason = CertFindExtension(szOID_CRL_REASON_CODE, entry->cExtension, entry->rgExtension);
    // The value is read as the three bytes of a one-byte ENUMERATED, without
    // decoding; anything shorter reads as unspecified.
    if (reason == nullptr || reason->Value.cbData < 3) return CRL_REASON_UNSPECIFIED;
    return reason->Value.pbData[2];
}

std::wstring CRLItem::toString(const char* prefix) const {
    return widen_prefix(prefix) + L"Issuer:'" + name_text(info().Issuer) + L"'\n";
}

int CRLItem::compare(const CRLItem& a, const CRLItem& b) {
    return compare_encodings({a.context_->pbCrlEncoded, a.context_->cbCrlEncoded},
                             {b.context_->pbCrlEncoded, b.context_->cbCrlEncoded},
                             [&]() -> const EncodingDigest& { return a.digest(); },
                             [&]() -> const EncodingDigest& { return b.digest(); });
}

const EncodingDigest& CRLItem::digest() const {
    if (!data_->digest) data_->digest = encoding_digest(context_.get());
    return *data_->digest;
}

}  // namespace halden::nimbole
