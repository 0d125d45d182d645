// The queries of regions and of the assignments of features to them, which clients also change.
//
// A read is answered with the row of its key, or for a getnext with the next one in the order of
// the OID index. A region's number is unique in the fabric, and its key often lacks the scope or
// has a wrong one: see region_queries.cpp. The functions that return texts give the keys of these
// queries for the log.
#pragma once

#include "queries.h"
#include "vyn_wire.h"

namespace vynd {

// get: finds the region by its number, in whatever scope it is.
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
