// The provider's trace handle, opened once per process under the module
// name "halden".
#ifndef HALDEN_PROVIDER_TRACE_CONTEXT_H
#define HALDEN_PROVIDER_TRACE_CONTEXT_H

#include <maren/host.h>

// Null until OnceDbTraceInit ran, and null for good when the module's
// tracing is off.
extern HOST_PRINT_HANDLE db_ctx;

// Opens db_ctx; meant to run once, under pthread_once.
void OnceDbTraceInit();

#endif
