#include "tools/verify/inputs.h"

#include "tools/verify/ocsp_response.h"

namespace verify_tool {
namespace {

using halden_tools::EncodedObject;
using halden_tools::InputError;
using halden_tools::ObjectKind;

std::vector<FileObject> read_only(const std::string& path, ObjectKind wanted, const char* wrong_kind_hint) {
    std::vector<FileObject> out;
    for (EncodedObject& object : halden_tools::read_objects(path)) {
        if (object.kind != wanted) throw InputError(path + ": " + wrong_kind_hint);
        out.push_back({path, std::move(object)});
    }
    return out;
}

}  // namespace

Inputs read_inputs(const Options& options) {
    Inputs inputs;
    for (const std::string& path : options.certs) {
        std::vector<FileObject> certs =
            read_only(path, ObjectKind::certificate, "holds a CRL; CRLs are given with --crl or --store");
        inputs.certs.insert(inputs.certs.end(), certs.begin(), certs.end());
    }
    if (!options.issuer.empty()) {
        std::vector<FileObject> issuer =
            read_only(options.issuer, ObjectKind::certificate, "holds a CRL, not the issuer's certificate");
        if (issuer.size() != 1) throw InputError(options.issuer + ": holds more than one certificate");
        inputs.issuer = issuer.front();
    }
    for (const std::string& path : options.stores)
        for (EncodedObject& object : halden_tools::read_objects(path)) inputs.store_objects.push_back({path, object});
    for (const std::string& path : options.crls) {
        std::vector<FileObject> crls =
            read_only(path, ObjectKind::crl, "holds a certificate; --crl takes CRLs, --store both");
        inputs.crls.insert(inputs.crls.end(), crls.begin(), crls.end());
    }
    if (!options.ocsp_response.empty()) {
        inputs.ocsp_response = halden_tools::read_bytes(options.ocsp_response);
        if (!is_ocsp_response(inputs.ocsp_response))
            throw InputError(options.ocsp_response + ": not a DER OCSP response");
    }
    return inputs;
}

}  // namespace verify_tool
