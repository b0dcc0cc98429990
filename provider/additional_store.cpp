#include "provider/additional_store.h"

#include <new>

#include <maren/errors.h>

#include "base/last_error.h"

HRESULT BuildAdditionalStore(ATL2::CCertStore& store, CERT_REVOCATION_PARA* para) {
    store = ATL2::CCertStore();
    HCERTSTORE collection = CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr);
    if (collection == nullptr) {
        // A failure without a last error is passed over: the call goes on
        // with an empty store object, and adding to it fails below.
        const HRESULT code = hresult_from_last_error(S_OK);
        if (code != S_OK) {
            return code;
        }
    } else {
        store = ATL2::CCertStore(collection, ATL2::CCertStoreDeleter{});
    }

    // cCertStore and rgCertStore stand in the head of the structure, which
    // every caller fills, so cbSize is not consulted.
    if (para == nullptr || para->cCertStore == 0) {
        return S_OK;
    }
    if (para->rgCertStore == nullptr) {
        return E_INVALIDARG;
    }
    for (DWORD i = 0; i < para->cCertStore; ++i) {
        HCERTSTORE duplicate = CertDuplicateStore(para->rgCertStore[i]);
        if (duplicate == nullptr) {
            return hresult_from_last_error(E_FAIL);
        }
        ATL2::CCertStore sibling(duplicate, ATL2::CCertStoreNonCheckingDeleter{});
        if (store.get() == nullptr) {
            return E_FAIL;
        }
        if (!CertAddStoreToCollection(store.get(), sibling.get(), 0, 0)) {
            return hresult_from_last_error(E_FAIL);
        }
        try {
            store.children().push_back(sibling);
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        } catch (...) {
            return E_FAIL;
        }
    }
    return S_OK;
}
