// Properties of certificate and CRL contexts as the published functions
// see them: the values set on the context, and the values maren works out
// from the object on first request (hashes, key identifier), which are then
// kept with the context like set ones but never written to disk.
#ifndef MAREN_PLATFORM_STORE_CONTEXT_PROPERTIES_H
#define MAREN_PLATFORM_STORE_CONTEXT_PROPERTIES_H

#include <vector>

#include "platform/store/context_internal.h"

namespace maren::store {

// The published Get/Set protocols, last error included.
BOOL get_context_property(ContextCore *context, DWORD id, void *pv, DWORD *pcb);
BOOL set_context_property(ContextCore *context, DWORD id, DWORD flags, const void *pv);

// The value of a property for a find; false when it is absent.
bool property_value(ContextCore &context, DWORD id, std::vector<BYTE> *value);

}  // namespace maren::store

#endif
