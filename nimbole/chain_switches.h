// Process-wide settings of the path engine, each read once, at its first
// use, under its own once-control, and never again: a changed value needs a
// restart. A value that is missing or can't be read means off.
#ifndef HALDEN_NIMBOLE_CHAIN_SWITCHES_H
#define HALDEN_NIMBOLE_CHAIN_SWITCHES_H

#include <maren/maren.h>

namespace halden::nimbole {

// \config\Parameters\LegacyRevokedCertHandling: every certificate of a Root
// or trusted store is trusted, not only a self-issued one; and a revocation
// found in an early CRL pass doesn't end the search.
bool IsLegacyRevokedCertHandling();

// \config\Parameters\ForceMicrosoftCRLMatching: CRLs must be signed by the
// key of the certificate's issuer unless they say otherwise.
bool IsMSMatchingEnforced();

// \config\Nimbole\legacy_user_chain_engine: a target's trust is asked of a
// "Root" store opened for each verification instead of the process's one.
bool IsLegacyUserChainEngine();

// The current user's "Root" and "CA" stores, read-only and resynchronised
// automatically, opened once and kept open for the life of the process.
// Null, with the last error 1114, when they can't be had.
HCERTSTORE GetUserRootStore();
HCERTSTORE GetUserCAStore();

}  // namespace halden::nimbole

#endif
