#include "provider/cert_store.h"

namespace ATL2 {
namespace {

void close_cell(HCERTSTORE* cell, bool check) {
    if (*cell != nullptr) {
        CertCloseStore(*cell, check ? CERT_CLOSE_STORE_CHECK_FLAG : 0);
    }
    delete cell;
}

template <typename Deleter>
std::shared_ptr<HCERTSTORE> make_cell(HCERTSTORE handle, Deleter deleter) {
    HCERTSTORE* cell = nullptr;
    try {
        cell = new HCERTSTORE(handle);
    } catch (...) {
        if (handle != nullptr) {
            CertCloseStore(handle, deleter.check ? CERT_CLOSE_STORE_CHECK_FLAG : 0);
        }
        throw;
    }
    // On a failed allocation of its control block, shared_ptr runs the
    // deleter on the cell before it throws.
    return std::shared_ptr<HCERTSTORE>(cell, deleter);
}

}  // namespace

void CCertStoreDeleter::operator()(HCERTSTORE* cell) const {
    if (cell != nullptr) {
        close_cell(cell, check);
    }
}

void CCertStoreNonCheckingDeleter::operator()(HCERTSTORE* cell) const {
    if (cell != nullptr) {
        close_cell(cell, check);
    }
}

CCertStore::CCertStore() : cell_(make_cell(nullptr, CCertStoreDeleter{})) {}

CCertStore::CCertStore(HCERTSTORE handle, CCertStoreDeleter deleter) : cell_(make_cell(handle, deleter)) {}

CCertStore::CCertStore(HCERTSTORE handle, CCertStoreNonCheckingDeleter deleter) : cell_(make_cell(handle, deleter)) {}

}  // namespace ATL2
