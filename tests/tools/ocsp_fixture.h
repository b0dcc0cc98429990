// OCSP for the tool tests, made with OpenSSL: signed responses to staple,
// and the files `openssl ocsp` needs to run as a responder.
#ifndef HALDEN_TESTS_TOOLS_OCSP_FIXTURE_H
#define HALDEN_TESTS_TOOLS_OCSP_FIXTURE_H

#include <string>

#include "tests/platform/test_pki.h"

namespace ocsp_fixture {

enum class Status { good, revoked };

// A response about leaf signed by its issuing CA, produced now, valid for a
// day; a revoked one has the CRL reason code `reason`.
test_pki::Bytes response(const test_pki::Identity& ca, const test_pki::Bytes& ca_cert,
                         const test_pki::Bytes& leaf_cert, Status status, int reason = 1);

// The identity's private key as PEM.
std::string key_pem(const test_pki::Identity& identity);

// One line of an `openssl ca` index about the certificate: valid, or
// revoked for key compromise.
std::string index_line(const test_pki::Bytes& cert, Status status);

}  // namespace ocsp_fixture

#endif
