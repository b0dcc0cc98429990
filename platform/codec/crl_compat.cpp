#include "platform/codec/crl_compat.h"

#include "platform/codec/der_reader.h"

namespace maren::codec {
namespace {

bool is_time(std::uint8_t tag) { return tag == kTagUtcTime || tag == kTagGeneralizedTime; }

// The TBSCertList's SEQUENCE: the input itself, or the first element of a
// signed list. A signed list holds a SEQUENCE whose first element is the
// version INTEGER or the signature SEQUENCE; a bare version 1 list holds
// the signature SEQUENCE, whose first element is an OID.
bool find_to_be_signed(DerView input, bool to_be_signed, DerElement* tbs) {
    DerReader reader(input);
    DerElement outer;
    if (reader.expect(kTagSequence, &outer) != DerStatus::ok) return false;
    if (to_be_signed) {
        *tbs = outer;
        return true;
    }
    DerReader inside(outer.content);
    DerElement first;
    if (inside.expect(kTagSequence, &first) != DerStatus::ok) return false;
    std::uint8_t tag = 0;
    if (DerReader(first.content).peek(&tag) && (tag == kTagInteger || tag == kTagSequence)) {
        *tbs = first;
        return true;
    }
    *tbs = outer;
    return true;
}

}  // namespace

Bytes crl_to_be_signed_for_decoder(const BYTE* encoded, DWORD size, bool to_be_signed) {
    DerElement tbs;
    if (encoded == nullptr || !find_to_be_signed(DerView{encoded, size}, to_be_signed, &tbs)) return Bytes();

    DerReader fields(tbs.content);
    DerElement version, signature, issuer, this_update, next_update, entries, extensions;
    bool has_version = false, has_next = false, has_entries = false, has_extensions = false;
    if (fields.optional(kTagInteger, &version, &has_version) != DerStatus::ok) return Bytes();
    if (fields.expect(kTagSequence, &signature) != DerStatus::ok) return Bytes();
    if (fields.expect(kTagSequence, &issuer) != DerStatus::ok) return Bytes();
    std::uint8_t tag = 0;
    if (!fields.peek(&tag) || !is_time(tag) || fields.next(&this_update) != DerStatus::ok) return Bytes();
    if (fields.peek(&tag) && is_time(tag)) {
        if (fields.next(&next_update) != DerStatus::ok) return Bytes();
        has_next = true;
    }
    if (fields.optional(kTagSequence, &entries, &has_entries) != DerStatus::ok) return Bytes();
    if (fields.optional(kTagContext0, &extensions, &has_extensions) != DerStatus::ok) return Bytes();
    if (!fields.empty()) return Bytes();
    if (has_version && (has_entries || has_extensions)) return Bytes();

    DerWriter out;
    const std::size_t mark = out.open(kTagSequence);
    if (has_version)
        out.raw(version.whole.data, version.whole.size);
    else
        out.small_integer(kTagInteger, 0);
    for (const DerElement* e : {&signature, &issuer, &this_update}) out.raw(e->whole.data, e->whole.size);
    if (has_next) out.raw(next_update.whole.data, next_update.whole.size);
    if (has_entries) out.raw(entries.whole.data, entries.whole.size);
    if (has_extensions) {
        out.raw(extensions.whole.data, extensions.whole.size);
    } else if (!has_entries) {
        const std::size_t list = out.open(kTagContext0);
        out.close(out.open(kTagSequence));
        out.close(list);
    }
    out.close(mark);
    return out.take();
}

}  // namespace maren::codec
