// maren's way into the private state of the public OCSP classes.
#pragma once

#include <memory>

#include <maren/ocsp.h>

#include "platform/ocsp/cert_id.h"

namespace Tarsis::PKI::OCSP::detail {

struct ParsedResponse;

// What a CResponse holds: a parsed response, shared and never changed, so
// that copies and cache hits cost no parsing. Null when nothing was imported.
struct ResponseState {
    std::shared_ptr<const ParsedResponse> parsed;
};

struct RequestState;

struct Access {
    static const CertIdState& state(const CCertID& id) { return *id.state_; }
    static CCertID make_cert_id(const CertIdState& state) {
        CCertID id;
        *id.state_ = state;
        return id;
    }

    static const RequestState& state(const Client::CRequest& request) { return *request.state_; }

    static const ResponseState& state(const Client::CResponse& response) { return *response.state_; }
    static Client::CResponse make_response(std::shared_ptr<const ParsedResponse> parsed) {
        Client::CResponse response;
        response.state_->parsed = std::move(parsed);
        return response;
    }
};

}  // namespace Tarsis::PKI::OCSP::detail
