/* The chain context handed to callers: one counted block that owns the
 * simple chain, its elements and a reference to each element's
 * certificate. */
#ifndef MAREN_PLATFORM_CHAIN_CHAIN_CONTEXT_H
#define MAREN_PLATFORM_CHAIN_CHAIN_CONTEXT_H

#include <vector>

#include <maren/chain.h>

#include "platform/chain/handles.h"

namespace maren::chain {

/* One element as the walk found it, end certificate first. */
struct ElementDraft {
    CertHandle cert;
    CERT_TRUST_STATUS status{};
};

/* A chain context of one simple chain over the elements, with the chain's
 * status; the caller frees it with CertFreeCertificateChain. Throws
 * std::bad_alloc. */
PCCERT_CHAIN_CONTEXT make_chain_context(std::vector<ElementDraft> elements, const CERT_TRUST_STATUS &status);

}  // namespace maren::chain

#endif
