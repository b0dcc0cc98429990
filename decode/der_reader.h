// Pieces shared by the certificate, CRL, request and extension decoders:
// algorithm identifiers, extension lists, general names, distribution point
// names, and the small storing steps of in-place structures. Internal to
// decode/.
#ifndef HALDEN_DECODE_DER_READER_H
#define HALDEN_DECODE_DER_READER_H

#include <decode/decoders.h>

namespace halden::decode {

// AlgorithmIdentifier content into CRYPT_ALGORITHM_IDENTIFIER: the OID with
// no tag check (empty content fails), then the whole next value of any tag
// as Parameters (so NULL parameters are the two bytes 05 00).
bool DecodeAlgorithmID(DecodeInput *content, DecodeArea *area);

// The next AlgorithmIdentifier field of a structure: a first byte other than
// 0x30 is CRYPT_E_ASN1_BADTAG; an absent field fails in DecodeAlgorithmID.
bool decodeAlgorithmField(DecodeInput *input, DecodeArea *area);

// Validity content: two Time values into two FILETIMEs.
bool DecodeValidity(DecodeInput *content, DecodeArea *area);

// Extensions: the content of [3] or [0] (SEQUENCE OF Extension) into the
// CERT_EXTENSIONS pair at the fixed cursor.
bool ASN1DecodeExtensions(DecodeInput *input, DecodeArea *area);

// revokedCertificates (the whole SEQUENCE OF) into the (cCRLEntry,
// rgCRLEntry) pair at the fixed cursor.
bool decodeCRLEntryList(DecodeInput *input, DecodeArea *area);

// One Attribute (element) into CRYPT_ATTRIBUTE.
bool DecodeCryptAttributes(DecodeInput *input, DecodeArea *area);

// One GeneralName into `entry`, a CERT_ALT_NAME_ENTRY already reserved
// elsewhere (null: only check and count). Only the extra cursor moves.
bool blb2GeneralName(DecodeInput *input, CERT_ALT_NAME_ENTRY *entry, DecodeArea *area);

// A DistributionPointName value into `name` (null: only count); only the
// fullName form is decoded. Only the extra cursor moves.
bool DecodeDPN(DecodeInput *input, CRL_DIST_POINT_NAME *name, DecodeArea *area);

namespace detail {

// True in the writing pass (the extra cursor has an address).
inline bool writing(const DecodeArea *area) { return area->pbExtra != nullptr; }

// Big-endian bytes, sign-extended from the first, low 32 bits kept. Zero
// bytes give 0.
inline DWORD bigEndianSigned(const BYTE *bytes, DWORD length) {
    if (length == 0) return 0;
    DWORD v = (bytes[0] & 0x80) ? 0xFFFFFFFFu : 0;
    for (DWORD i = 0; i < length; ++i) v = (v << 8) | bytes[i];
    return v;
}

// The cursor passes exactly n bytes, with no rounding to 8.
inline void advanceExact(BYTE *&pb, DWORD &cb, DWORD n) {
    if (pb == nullptr) {
        const uint64_t sum = uint64_t(cb) + n;
        cb = sum > 0xFFFFFFFFu ? 0xFFFFFFFFu : DWORD(sum);
        return;
    }
    pb = reinterpret_cast<BYTE *>(reinterpret_cast<uintptr_t>(pb) + n);
    cb -= n;
}

// The structure of an "at the extra cursor" decoder: `size` zeroed bytes at
// the extra cursor's position (which is the fixed one at top level), passed
// on both cursors. *at is null while measuring.
bool reserveAtExtra(DecodeArea *area, DWORD size, BYTE **at);

// A field inside a structure already reserved (and so already checked to
// lie in the area): stored only when the structure has an address.
template <typename T>
inline void setField(T *field, const T &value) {
    if (field) *field = value;
}

// Bytes copied to the extra cursor with a padded advance; *stored (may be
// null) receives their address, null while measuring or for no bytes.
bool copyToExtra(DecodeArea *area, const BYTE *bytes, DWORD length, BYTE **stored);
// The same with the bytes in reverse order (a little-endian integer blob).
bool copyReversedToExtra(DecodeArea *area, const BYTE *bytes, DWORD length, BYTE **stored);

// OBJECT IDENTIFIER content as dotted text at the extra cursor, padded
// advance; *text receives its address (null while measuring).
bool oidTextToExtra(DecodeArea *area, const DecodeInput *content, char **text);

// Big-endian 16-bit units (a BMPString), each widened to a 32-bit wchar_t,
// with a 32-bit zero behind, at the extra cursor. An odd last byte is
// dropped. *text receives the address (null while measuring); the cursor
// takes a padded advance when `padded`, else exactly the bytes written.
bool bmpTextToExtra(DecodeArea *area, const DecodeInput *content, bool padded, LPWSTR *text);

}  // namespace detail

}  // namespace halden::decode

#endif
