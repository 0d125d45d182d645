// The queries of regions and of the assignments of features to them, which clients also change.
//
// A get reads the row of its key, a getnext the next row in the order of the OID index. A region's
// number is unique in the fabric; its key often lacks the scope or has a wrong one: see
// region_queries.cpp. The functions that return strings give the keys of these queries for the log.
#pragma once

#include "query.h"
#include "vyn_wire.h"

namespace vynd {

// A get finds the region by its number, in any scope.
outcome read_region(fabric &model, const query &received);
outcome change_region(fabric &model, const query &received);

// Without a scope, a get reads the feature's first assignment and a getnext starts before it.
outcome read_assignment(fabric &model, const query &received);
outcome change_assignment(fabric &model, const query &received);

std::string region_key(const vyn_snmp_req &record);
std::string region_change(const vyn_snmp_req &record);
std::string assignment_key(const vyn_snmp_req &record);
std::string assignment_change(const vyn_snmp_req &record);

} // namespace vynd
