/* The search for the issuer of one certificate among the stores of a
 * chain request. */
#ifndef MAREN_PLATFORM_CHAIN_ISSUER_SEARCH_H
#define MAREN_PLATFORM_CHAIN_ISSUER_SEARCH_H

#include <vector>

#include <maren/context.h>

#include "platform/chain/chain_engine.h"
#include "platform/chain/handles.h"

namespace maren::chain {

enum class IssuerMatch { none, key, name };

struct IssuerChoice {
    /* Null when no usable candidate was found. */
    CertHandle cert;
    /* How the candidate was found: by authority key identifier or by name. */
    IssuerMatch match = IssuerMatch::none;
    bool signature_valid = false;
    /* Candidates existed but all of them are already on the path. */
    bool only_cycles = false;
};

/* Candidates are found by the authority key identifier when the subject has
 * one, by name when that finds none. A certificate already on the path is
 * never chosen, so the walk cannot loop. Among the rest, a candidate whose
 * key verifies the subject's signature wins, and a time-valid one among
 * those; the first perfect candidate ends the search. */
IssuerChoice find_issuer(const SearchStores &stores, const CERT_CONTEXT *subject,
                         const std::vector<CertHandle> &path, const FILETIME &time);

}  // namespace maren::chain

#endif
