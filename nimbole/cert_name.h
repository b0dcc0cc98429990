// Distinguished names as the engine compares them: decoded leniently, with
// the PrintableString values of the common naming attributes normalised
// (outer white space dropped, inner runs collapsed, letters folded), and
// compared attribute by attribute in their encoded order.
#ifndef HALDEN_NIMBOLE_CERT_NAME_H
#define HALDEN_NIMBOLE_CERT_NAME_H

#include <cstdlib>
#include <memory>

#include <maren/maren.h>

namespace halden::nimbole {

struct MallocDelete {
    void operator()(void* p) const noexcept { std::free(p); }
};

// A parsed name in one malloc allocation.
using CertNamePtr = std::unique_ptr<CERT_NAME_INFO, MallocDelete>;

// The name decoded through the object decoder with X509_CERT_NAME_LENIENT
// and normalised; null for an empty blob or a name that doesn't decode.
CertNamePtr parse_CERT_NAME(const CRYPT_DATA_BLOB& encoded);

// Equal when both are present and have the same RDNs with the same
// attributes in the same order: OIDs by strcmp, values by length and bytes.
// The value types are not compared.
bool cmp_CERT_NAME_INFO(const CERT_NAME_INFO* a, const CERT_NAME_INFO* b);

// The in-place normalisation of one attribute value, exposed for the
// parser's tests: returns the new length.
DWORD normalize_name_value(BYTE* value, DWORD length);

}  // namespace halden::nimbole

#endif
