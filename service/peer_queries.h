// The queries of peers: those of the whole fabric, those of a feature in a place, the members of a
// merge, and the static peers, which clients also change.
//
// A read is answered with exactly the row of its key, or for a getnext with the first one behind
// it; where there is none, with VYN_ERR_NO_MORE_ENTRIES. The functions that return texts give the
// keys of these queries for the log.
#pragma once

#include "queries.h"
#include "vyn_wire.h"

namespace vynd {

outcome read_peer(fabric &model, const query &asked);
outcome read_feature_peer(fabric &model, const query &asked);
outcome read_merge_member(fabric &model, const query &asked);
outcome read_static_peer(fabric &model, const query &asked);
outcome change_static_peer(fabric &model, const query &asked);

std::string peer_key(const vyn_snmp_req &record);
std::string feature_peer_key(const vyn_snmp_req &record);
std::string static_peer_key(const vyn_snmp_req &record);
std::string static_peer_change(const vyn_snmp_req &record);

} // namespace vynd
