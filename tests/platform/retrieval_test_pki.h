/* Encodings the retrieval tests serve, made with OpenSSL in a unit of their
 * own (maren's structure-type constants clash with OpenSSL's type names). */
#ifndef MAREN_TESTS_PLATFORM_RETRIEVAL_TEST_PKI_H
#define MAREN_TESTS_PLATFORM_RETRIEVAL_TEST_PKI_H

#include <string>
#include <vector>

namespace retrieval_test {

using Bytes = std::vector<unsigned char>;

/* A degenerate signed-data PKCS#7 (a .p7c bundle) holding the objects. */
Bytes p7_bundle(const std::vector<Bytes> &certificates, const std::vector<Bytes> &crls);
/* One PEM block of `der` under `label` ("CERTIFICATE", "X509 CRL", ...). */
std::string pem(const Bytes &der, const std::string &label);

}  // namespace retrieval_test

#endif
