// The caller's extra certificate stores, folded into one collection that
// every later step of a call searches.
#ifndef HALDEN_PROVIDER_ADDITIONAL_STORE_H
#define HALDEN_PROVIDER_ADDITIONAL_STORE_H

#include <maren/revocation.h>

#include "provider/cert_store.h"

// Replaces `store` by a new collection holding a duplicate of each store in
// para->rgCertStore. Returns 0 or a negative code; on a failure the stores
// added so far stay in the collection, which the caller destroys.
HRESULT BuildAdditionalStore(ATL2::CCertStore& store, CERT_REVOCATION_PARA* para);

#endif
