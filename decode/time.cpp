// UTCTime and GeneralizedTime text into FILETIME.
//
// Only the Z form occurs in certificates and CRLs, so the last character is
// never read and no other zone can be told. Digits are not checked: a field
// is ten times the first character plus the second, each less '0', and the
// platform's SystemTimeToFileTime judges the result.
#include <decode/fast_time.h>
#include <decode/primitives.h>

namespace halden::decode {

namespace {

int twoDigits(const BYTE *p) { return 10 * (int(p[0]) - '0') + (int(p[1]) - '0'); }

// Converts, with the FILETIME zeroed first, so that a refused date leaves a
// defined zero behind.
bool toFileTime(const SYSTEMTIME &st, FILETIME *out) {
    out->dwLowDateTime = 0;
    out->dwHighDateTime = 0;
    if (SystemTimeToFileTime(&st, out)) return true;
    out->dwLowDateTime = 0;
    out->dwHighDateTime = 0;
    return false;
}

}  // namespace

bool ASN1UTCTimeToFileTime(const DecodeInput *blob, FILETIME *out) {
    const DWORD length = blob->cbData;
    if (length != 11 && length != 13) return false;
    if (out == nullptr || blob->pbData == nullptr) return true;
    const BYTE *p = blob->pbData;
    // Well-formed times (nearly all) skip the platform call: every CRL
    // entry has one.
    if (detail::utc_time_fast(p, length, out)) return true;
    int year = twoDigits(p) + 1900;
    if (year < 1950) year += 100;
    SYSTEMTIME st{};
    st.wYear = WORD(year);
    st.wMonth = WORD(twoDigits(p + 2));
    st.wDay = WORD(twoDigits(p + 4));
    st.wHour = WORD(twoDigits(p + 6));
    st.wMinute = WORD(twoDigits(p + 8));
    st.wSecond = WORD(length == 13 ? twoDigits(p + 10) : 0);
    // An invalid UTCTime still succeeds, with a zero time: callers of this
    // form have always been given success here.
    toFileTime(st, out);
    return true;
}

bool ASN1GeneralizedTimeToFileTime(const DecodeInput *blob, FILETIME *out) {
    const DWORD length = blob->cbData;
    if (length != 13 && length != 15 && length != 17 && length != 18 && length != 19) return false;
    if (out == nullptr || blob->pbData == nullptr) return true;
    const BYTE *p = blob->pbData;
    if (detail::generalized_time_fast(p, length, out)) return true;
    SYSTEMTIME st{};
    st.wYear = WORD(100 * twoDigits(p) + twoDigits(p + 2));
    st.wMonth = WORD(twoDigits(p + 4));
    st.wDay = WORD(twoDigits(p + 6));
    st.wHour = WORD(twoDigits(p + 8));
    st.wMinute = WORD(twoDigits(p + 10));
    if (length >= 15) st.wSecond = WORD(twoDigits(p + 12));
    // A fraction of one to three digits stands behind the fourteenth
    // character, whatever that character is.
    int millis = 0;
    for (DWORD i = 15; i + 1 < length; ++i) millis = 10 * millis + (int(p[i]) - '0');
    if (length == 17) millis *= 100;
    if (length == 18) millis *= 10;
    st.wMilliseconds = WORD(millis);
    return toFileTime(st, out);
}

}  // namespace halden::decode
