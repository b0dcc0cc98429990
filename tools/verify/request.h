// The arguments of one call of the provider's export, and the platform
// objects behind them: every certificate given in one additional store, the
// CRLs in a CRL store, the stapled response as a property.
#ifndef HALDEN_TOOLS_VERIFY_REQUEST_H
#define HALDEN_TOOLS_VERIFY_REQUEST_H

#include <memory>
#include <vector>

#include <maren/maren.h>

#include "tools/common/holders.h"
#include "tools/verify/inputs.h"
#include "tools/verify/options.h"

namespace verify_tool {

class Request {
public:
    // Throws ToolError: usage for an object maren cannot decode, internal
    // for a platform call that fails.
    Request(const Inputs& inputs, const Options& options);
    // The parameters point into the object itself.
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    DWORD count() const { return static_cast<DWORD>(contexts_.size()); }
    PVOID* contexts() { return contexts_.data(); }
    DWORD flags() const { return flags_; }
    CERT_REVOCATION_PARA* para() { return &para_; }

    const CERT_CONTEXT* cert(DWORD index) const { return certs_[index].get(); }
    // Null unless the CRL information was asked for.
    const halden_tools::RevocationCrlInfo* crl_info() const { return crl_info_.get(); }
    const std::vector<BYTE>& stapled_response() const { return stapled_response_; }

private:
    halden_tools::Store additional_;
    halden_tools::Store crl_store_;
    std::vector<halden_tools::Cert> certs_;
    halden_tools::Cert issuer_;
    std::vector<PVOID> contexts_;
    HCERTSTORE stores_[1] = {nullptr};
    FILETIME time_{};
    std::unique_ptr<halden_tools::RevocationCrlInfo> crl_info_;
    std::vector<BYTE> stapled_response_;
    DWORD flags_ = 0;
    CERT_REVOCATION_PARA para_{};
};

}  // namespace verify_tool

#endif
