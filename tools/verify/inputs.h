// The files named on the command line, read and sorted before the platform
// or the provider is touched, so that a bad file is a usage error first.
#ifndef HALDEN_TOOLS_VERIFY_INPUTS_H
#define HALDEN_TOOLS_VERIFY_INPUTS_H

#include <optional>
#include <string>
#include <vector>

#include <maren/types.h>

#include "tools/common/input_files.h"
#include "tools/verify/options.h"

namespace verify_tool {

// One certificate or CRL with the file it came from, for messages.
struct FileObject {
    std::string path;
    halden_tools::EncodedObject object;
};

struct Inputs {
    std::vector<FileObject> certs;  // the CERT arguments, in order
    std::optional<FileObject> issuer;
    std::vector<FileObject> store_objects;
    std::vector<FileObject> crls;
    std::vector<BYTE> ocsp_response;  // empty when none is stapled
};

// Throws halden_tools::InputError for a file that cannot be read or parsed,
// or that holds the wrong kind of object for its option.
Inputs read_inputs(const Options& options);

}  // namespace verify_tool

#endif
