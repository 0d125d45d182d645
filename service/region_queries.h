// The queries of regions and of the assignments of features to them, which clients also change.
//
// A read is answered with the row of its key, or for a getnext with the first one behind it. What a
// client asks for a single row does not always say where that is, because its index has the scope
// in an odd place; so neither does the answer depend on it more than it must. The functions that
// return texts give the keys of these queries for the log.
#pragma once

#include "queries.h"
#include "vyn_wire.h"

namespace vynd {

// By its id alone, wherever the region is.
outcome read_region(fabric &model, const query &asked);
outcome change_region(fabric &model, const query &asked);

// Without a scope: that of the feature's first assignment; for a getnext, before all of them.
outcome read_assignment(fabric &model, const query &asked);
outcome change_assignment(fabric &model, const query &asked);

std::string region_key(const vyn_snmp_req &record);
std::string region_change(const vyn_snmp_req &record);
std::string assignment_key(const vyn_snmp_req &record);
std::string assignment_change(const vyn_snmp_req &record);

} // namespace vynd
