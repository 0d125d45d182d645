// The queries of merges: how the last merge of a feature's configuration in a scope has gone, and
// the resolution of one that has failed.
//
// The merges of a feature have an order of their own for a getnext, which is not that of the OID
// index; see merge_queries.cpp. From feature to feature the client finds its way itself.
#pragma once

#include "queries.h"
#include "vyn_wire.h"

namespace vynd {

// Exactly that row, or the next one of the same feature; a reply without an entry where there is
// none.
outcome read_merge(fabric &model, const query &asked);

outcome resolve_merge(fabric &model, const query &asked);

// The key of these queries, for the log.
std::string merge_key(const vyn_snmp_req &record);

} // namespace vynd
