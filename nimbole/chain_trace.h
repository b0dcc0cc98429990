// The switch of the engine's narrative on the standard streams: on when the
// environment variable TS_PRINT_CHAIN_DETAIL exists at load, whatever its
// value. Every narrative statement tests it first, so that with the switch
// off no text is built.
#ifndef HALDEN_NIMBOLE_CHAIN_TRACE_H
#define HALDEN_NIMBOLE_CHAIN_TRACE_H

namespace halden::nimbole {

// Set by a static initialiser and not read from the environment again.
extern bool TS_PRINT_CHAIN_DETAIL;

}  // namespace halden::nimbole

#endif
