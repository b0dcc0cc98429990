// The order of encoded certificates and CRLs, and their equality: two
// objects are equal exactly when their encodings are byte-identical. The
// order is cheap first: the same bytes in memory, then the length, then the
// SHA-1 of the encoding (which the platform works out once per object), and
// only when all of these agree the bytes themselves, so that two large CRLs
// of the same length are not read through on every comparison. The order
// carries no other meaning.
#ifndef HALDEN_NIMBOLE_ENCODING_ORDER_H
#define HALDEN_NIMBOLE_ENCODING_ORDER_H

#include <array>
#include <cstring>

#include <maren/maren.h>

namespace halden::nimbole {

using EncodingDigest = std::array<BYTE, 20>;

// The SHA-1 of a context's encoding: the platform's hash property, or the
// platform's hash of the bytes when the property can't be read. The try_
// forms report failure by false; the others throw CryptException, since an
// order must not change its mind halfway.
bool try_encoding_digest(PCCERT_CONTEXT context, EncodingDigest* digest);
bool try_encoding_digest(PCCRL_CONTEXT context, EncodingDigest* digest);
EncodingDigest encoding_digest(PCCERT_CONTEXT context);
EncodingDigest encoding_digest(PCCRL_CONTEXT context);

// An encoded object as the order sees it.
struct EncodedView {
    const BYTE* bytes;
    DWORD size;
};

// Negative, zero or positive as a sorts before, with or after b. The digest
// callbacks run only when the lengths tie and the bytes are not the same
// memory.
template <class DigestA, class DigestB>
int compare_encodings(EncodedView a, EncodedView b, DigestA&& digest_a, DigestB&& digest_b) {
    if (a.size != b.size) return a.size < b.size ? -1 : 1;
    if (a.bytes == b.bytes || a.size == 0) return 0;
    const EncodingDigest& da = digest_a();
    const EncodingDigest& db = digest_b();
    if (const int c = std::memcmp(da.data(), db.data(), da.size()); c != 0) return c;
    return std::memcmp(a.bytes, b.bytes, a.size);
}

// Equality of two contexts' encodings by the same cheap steps; without a
// digest the bytes decide. Never throws.
bool same_encoding(PCCERT_CONTEXT a, PCCERT_CONTEXT b);
bool same_encoding(PCCRL_CONTEXT a, PCCRL_CONTEXT b);

}  // namespace halden::nimbole

#endif
