// What the tool reads in an OCSP response itself: whether a file is one,
// and the reason it gives for a revocation, which the provider's status
// carries only for revocations found in CRLs.
#ifndef HALDEN_TOOLS_VERIFY_OCSP_RESPONSE_H
#define HALDEN_TOOLS_VERIFY_OCSP_RESPONSE_H

#include <cstddef>
#include <optional>
#include <vector>

namespace verify_tool {

// Whether the bytes are exactly one DER OCSPResponse.
bool is_ocsp_response(const std::vector<unsigned char>& der);

// The CRL reason code of a revoked single response for the serial number
// (big-endian, as in the certificate), when the response names one.
std::optional<int> ocsp_revocation_reason(const unsigned char* der, size_t size,
                                          const std::vector<unsigned char>& serial);

}  // namespace verify_tool

#endif
