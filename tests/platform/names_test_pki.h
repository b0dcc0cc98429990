/* Distinguished names and certificates for the name tests, made with
 * OpenSSL at test time. A name is written as attributes in encoded order,
 * each with the string type it is encoded as; an attribute can join the
 * RDN before it. Only names_test_pki.cpp sees OpenSSL, whose names clash
 * with the platform's. */
#ifndef MAREN_TESTS_PLATFORM_NAMES_TEST_PKI_H
#define MAREN_TESTS_PLATFORM_NAMES_TEST_PKI_H

#include <string>
#include <vector>

namespace names_test {

using Bytes = std::vector<unsigned char>;

enum class Encoded { Utf8, Printable, Bmp, Ia5 };

struct Attribute {
    std::string type;   // a short name OpenSSL knows ("CN") or a dotted OID
    std::string value;  // UTF-8
    Encoded as = Encoded::Utf8;
    bool joins_previous = false;  // a further value of the RDN before
};
using Name = std::vector<Attribute>;

Bytes name_der(const Name &name);

struct CertSpec {
    Name subject;
    Name issuer;
    /* Alternative names in OpenSSL's configuration form, e.g.
     * "email:a@example.org,DNS:host.example.org"; empty for none. */
    std::string subject_alt;
    std::string issuer_alt;
    /* A directory name appended to the subject's alternative names. */
    Name subject_alt_directory;
    int valid_from_days = -1;
    int valid_to_days = 30;
};

/* A self-signed-shaped certificate (the subject's own key signs it). */
Bytes certificate(const CertSpec &plan);

}  // namespace names_test

#endif
