// The CRLs gathered for one certificate: base CRLs in a set by entry
// identity, delta CRLs filed by their own authority key identifier and
// issuing distribution point, newest first. Filing only adds.
#ifndef HALDEN_NIMBOLE_CRL_SETS_H
#define HALDEN_NIMBOLE_CRL_SETS_H

#include <map>
#include <set>
#include <vector>

#include <maren/maren.h>

#include "nimbole/cache_entries.h"
#include "nimbole/crl_item.h"

namespace halden::nimbole {

using crl_set = std::set<CRLEntry>;
using delta_set = std::set<CRLEntry, ThisUpdateDescendingOrder>;
// aki_key_id, then idp_raw, both of the delta itself. The keys are a coarse
// filing: a delta is paired with a base only after a closer comparison.
using delta_map = std::map<std::vector<BYTE>, std::map<std::vector<BYTE>, delta_set>>;

// A CRL with the delta CRL indicator goes to `deltas`, any other to `crls`.
void file_crl(const CRLEntry& crl, crl_set& crls, delta_map& deltas);

}  // namespace halden::nimbole

#endif
