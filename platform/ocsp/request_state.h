// What a CRequest holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/chain/handles.h"
#include "platform/ocsp/cert_id.h"

namespace Tarsis::PKI::OCSP::detail {

// put_Flags bits.
enum : unsigned {
    kFlagNoCache = 0x1,
    kFlagAnswerEverySingleRequest = 0x2,
};

struct RequestState {
    bool use_nonce = false;
    bool disable_produced_at_check = false;
    unsigned flags = 0;
    // FILETIME ticks; cached answers fetched before it are not taken.
    std::optional<std::uint64_t> cache_resync;
    std::vector<CertIdState> ids;
    // The issuer of the first single request: the response is checked
    // against it before it may enter the cache.
    maren::chain::CertHandle issuer;
    // From the first certificate's authority information access.
    std::wstring url;
    // The nonce extension's value (extnValue) of the last request sent.
    Bytes nonce;
};

}  // namespace Tarsis::PKI::OCSP::detail
