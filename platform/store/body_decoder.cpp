#include "platform/store/body_decoder.h"

#include <vector>

#include "decode/decode.h"
#include "platform/store/der_view.h"

namespace maren::store {
namespace {

// Measures, then writes into an exact allocation. The decoder leaves the
// last error alone on some failures; those read as a corrupt encoding.
bool decode_into(LPCSTR type, const BYTE *pb, DWORD cb, DecodedArea *out) {
    const DWORD before = GetLastError();
    SetLastError(0);
    DWORD size = 0;
    bool ok = TSDecodeObject(0, type, pb, cb, CRYPT_DECODE_TO_BE_SIGNED_FLAG, nullptr, &size) && size != 0;
    if (ok) {
        DecodedArea area(new std::uint64_t[(size + 7) / 8]);
        ok = TSDecodeObject(X509_ASN_ENCODING, type, pb, cb, CRYPT_DECODE_TO_BE_SIGNED_FLAG, area.get(), &size);
        if (ok) *out = std::move(area);
    }
    if (ok) {
        SetLastError(before);
        return true;
    }
    if (GetLastError() == 0) SetLastError(static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
    return false;
}

bool is_time(BYTE tag) { return tag == der::kUtcTime || tag == der::kGeneralizedTime; }

void append_length(std::vector<BYTE> *out, size_t length) {
    if (length < 0x80) {
        out->push_back(static_cast<BYTE>(length));
        return;
    }
    BYTE digits[4];
    int n = 0;
    for (size_t v = length; v != 0; v >>= 8) digits[n++] = static_cast<BYTE>(v & 0xFF);
    out->push_back(static_cast<BYTE>(0x80 | n));
    while (n > 0) out->push_back(digits[--n]);
}

}  // namespace

bool decode_certificate_body(const BYTE *tbs, DWORD size, DecodedArea *out) {
    return decode_into(X509_CERT_TO_BE_SIGNED, tbs, size, out);
}

bool decode_crl_body(const BYTE *tbs, DWORD size, DecodedArea *out) {
    // Walk the top of the body: [version] signature issuer thisUpdate
    // [nextUpdate], then whatever follows. A body that can't be walked goes
    // to the decoder as it is, which then reports the fault.
    der::Value body;
    bool has_version = false;
    bool has_tail = true;
    bool walked = false;
    if (der::read(tbs, size, &body) && body.tag == der::kSequence) {
        der::Reader fields(body);
        der::Value v;
        has_version = fields.peek_tag() == der::kInteger;
        walked = (!has_version || fields.next(&v)) && fields.next(&v) && v.tag == der::kSequence &&
                 fields.next(&v) && v.tag == der::kSequence && fields.next(&v) && is_time(v.tag);
        if (walked && is_time(fields.peek_tag())) walked = fields.next(&v);
        if (walked) has_tail = !fields.empty();
    }
    if (!walked || (has_version && has_tail)) return decode_into(X509_CERT_CRL_TO_BE_SIGNED, tbs, size, out);

    static const BYTE kVersion1[] = {der::kInteger, 0x01, 0x00};
    static const BYTE kNoExtensions[] = {0xA0, 0x02, der::kSequence, 0x00};
    const size_t content = body.length + (has_version ? 0 : sizeof kVersion1) + (has_tail ? 0 : sizeof kNoExtensions);
    std::vector<BYTE> rewritten;
    rewritten.reserve(content + 6);
    rewritten.push_back(der::kSequence);
    append_length(&rewritten, content);
    if (!has_version) rewritten.insert(rewritten.end(), kVersion1, kVersion1 + sizeof kVersion1);
    rewritten.insert(rewritten.end(), body.content, body.end());
    if (!has_tail) rewritten.insert(rewritten.end(), kNoExtensions, kNoExtensions + sizeof kNoExtensions);
    if (rewritten.size() > 0xFFFFFFFFu) {
        SetLastError(static_cast<DWORD>(CRYPT_E_ASN1_LARGE));
        return false;
    }
    return decode_into(X509_CERT_CRL_TO_BE_SIGNED, rewritten.data(), static_cast<DWORD>(rewritten.size()), out);
}

}  // namespace maren::store
