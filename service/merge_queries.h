// The queries of merges: the result of the last merge of a feature's configuration in a scope, and
// the resolution of a failed merge.
//
// A getnext stays within a feature, and its order is not that of the OID index: see
// merge_queries.cpp. The client itself moves on to the next feature.
#pragma once

#include "query.h"
#include "vyn_wire.h"

namespace vynd {

// Replies with that row, or with the next row of the same feature. Without one the reply has no
// entry.
outcome read_merge(fabric &model, const query &received);

outcome resolve_merge(fabric &model, const query &received);

// Returns the key of these queries for the log.
std::string merge_key(const vyn_snmp_req &record);

} // namespace vynd
