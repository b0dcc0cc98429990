// The URLs a certificate or CRL names for fetching: those of a distribution
// point's full name, and the caIssuers locations of an authority
// information access extension. Each string holds the converted URL with
// its terminating NUL counted in its size, as the conversion reports it;
// hand it to the platform, the cache and traces, and compare it, only
// through c_str().
#ifndef HALDEN_NIMBOLE_URL_NAMES_H
#define HALDEN_NIMBOLE_URL_NAMES_H

#include <string>
#include <vector>

#include <maren/maren.h>

namespace halden::nimbole {

// The URL entries of a full name, in order; other kinds of entry and other
// kinds of name give nothing. An entry that doesn't convert is left out.
std::vector<std::string> dpName_as_strvec(const CRL_DIST_POINT_NAME* name);

// The caIssuers URLs, in order. OCSP locations, other access methods and
// entries that aren't URLs are skipped; null gives none.
std::vector<std::string> parse_AIA(const CERT_AUTHORITY_INFO_ACCESS* aia);

}  // namespace halden::nimbole

#endif
