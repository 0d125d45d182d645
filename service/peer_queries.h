// The queries of peers: of the whole fabric, of a feature in a scope, the members of a merge, and
// the static peers, which clients also change.
//
// A get reads the row of its key, a getnext the first row after it. Without one the status is
// VYN_ERR_NO_MORE_ENTRIES. The functions that return strings give the keys of these queries for
// the log.
#pragma once

#include "query.h"
#include "vyn_wire.h"

namespace vynd {

outcome read_peer(fabric &model, const query &received);
outcome read_feature_peer(fabric &model, const query &received);
outcome read_merge_member(fabric &model, const query &received);
outcome read_static_peer(fabric &model, const query &received);
outcome change_static_peer(fabric &model, const query &received);

std::string peer_key(const vyn_snmp_req &record);
std::string feature_peer_key(const vyn_snmp_req &record);
std::string static_peer_key(const vyn_snmp_req &record);
std::string static_peer_change(const vyn_snmp_req &record);

} // namespace vynd
