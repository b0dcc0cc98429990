// Certificates and CRLs read from files: DER, PEM with any number of
// blocks, and PKCS#7 bundles in DER or PEM.
#ifndef HALDEN_TOOLS_COMMON_INPUT_FILES_H
#define HALDEN_TOOLS_COMMON_INPUT_FILES_H

#include <stdexcept>
#include <string>
#include <vector>

#include <maren/types.h>

namespace halden_tools {

enum class ObjectKind { certificate, crl };

struct EncodedObject {
    ObjectKind kind;
    std::vector<BYTE> der;
};

// A file that cannot be read or parsed: a mistake on the command line, which
// each tool reports as such. The message begins with the path.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The whole file. Throws InputError when it cannot be read.
std::vector<BYTE> read_bytes(const std::string& path);

// Every certificate and CRL in the file, in file order. Throws InputError
// when the file cannot be read, cannot be parsed, or holds neither.
std::vector<EncodedObject> read_objects(const std::string& path);

}  // namespace halden_tools

#endif
