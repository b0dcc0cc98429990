#include "platform/chain/chain_context.h"

#include <atomic>
#include <cstdint>
#include <memory>

#include <maren/errors.h>
#include <maren/host.h>

namespace maren::chain {
namespace {

/* Tells a chain context made here from a stray pointer. */
constexpr uint32_t kChainMagic = 0x43484E31;  // "CHN1"

/* The published structure comes first, so the caller's pointer is the
 * block's. */
struct ChainBlock final : CERT_CHAIN_CONTEXT {
    std::atomic<uint32_t> references{1};
    uint32_t magic = kChainMagic;
    CERT_SIMPLE_CHAIN simple{};
    PCERT_SIMPLE_CHAIN chains[1]{};
    std::vector<CERT_CHAIN_ELEMENT> elements;
    std::vector<PCERT_CHAIN_ELEMENT> element_pointers;
    std::vector<CertHandle> certs;
};

ChainBlock *block_of(PCCERT_CHAIN_CONTEXT context) {
    auto *block = static_cast<ChainBlock *>(const_cast<CERT_CHAIN_CONTEXT *>(context));
    return block->magic == kChainMagic ? block : nullptr;
}

}  // namespace

PCCERT_CHAIN_CONTEXT make_chain_context(std::vector<ElementDraft> drafts, const CERT_TRUST_STATUS &status) {
    auto block = std::make_unique<ChainBlock>();
    /* Sized once: the pointers below point into these vectors. */
    block->elements.resize(drafts.size());
    block->element_pointers.resize(drafts.size());
    block->certs.reserve(drafts.size());
    for (size_t i = 0; i < drafts.size(); ++i) {
        CERT_CHAIN_ELEMENT &element = block->elements[i];
        element.cbSize = sizeof(CERT_CHAIN_ELEMENT);
        element.pCertContext = drafts[i].cert.get();
        element.TrustStatus = drafts[i].status;
        block->element_pointers[i] = &element;
        block->certs.push_back(std::move(drafts[i].cert));
    }

    CERT_SIMPLE_CHAIN &simple = block->simple;
    simple.cbSize = sizeof(CERT_SIMPLE_CHAIN);
    simple.TrustStatus = status;
    simple.cElement = static_cast<DWORD>(block->elements.size());
    simple.rgpElement = block->element_pointers.data();
    block->chains[0] = &simple;

    CERT_CHAIN_CONTEXT &context = *block;
    context.cbSize = sizeof(CERT_CHAIN_CONTEXT);
    context.TrustStatus = status;
    context.cChain = 1;
    context.rgpChain = block->chains;
    return block.release();
}

}  // namespace maren::chain

extern "C" {

void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT pChainContext) {
    if (pChainContext == nullptr) return;
    maren::chain::ChainBlock *block = maren::chain::block_of(pChainContext);
    if (block == nullptr) return;
    if (block->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    block->magic = 0;
    delete block;
}

PCCERT_CHAIN_CONTEXT CertDuplicateCertificateChain(PCCERT_CHAIN_CONTEXT pChainContext) {
    if (pChainContext == nullptr) return nullptr;
    maren::chain::ChainBlock *block = maren::chain::block_of(pChainContext);
    if (block == nullptr) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return nullptr;
    }
    block->references.fetch_add(1, std::memory_order_relaxed);
    return pChainContext;
}

}  // extern "C"
