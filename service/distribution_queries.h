// The queries of distribution: whether it is enabled, its IP families and their multicast
// addresses.
//
// A get reads the row of its key, a getnext the next row. The functions that return strings give
// the keys of these queries for the log.
#pragma once

#include "query.h"
#include "vyn_wire.h"

namespace vynd {

outcome get_distribution(fabric &model, const query &received);
outcome set_distribution(fabric &model, const query &received);

outcome read_ip_family(fabric &model, const query &received);
outcome enable_ip_family(fabric &model, const query &received);
outcome set_multicast(fabric &model, const query &received);

std::string ip_family_key(const vyn_snmp_req &record);
std::string ip_family_switch(const vyn_snmp_req &record);
std::string multicast_change(const vyn_snmp_req &record);

} // namespace vynd
