// The queries of distribution: whether it is enabled at all, and over which IP family and with
// which multicast address it runs.
//
// A read of a family is answered with that one, or for a getnext with the first one behind it. The
// functions that return texts give the keys of these queries for the log.
#pragma once

#include "queries.h"
#include "vyn_wire.h"

namespace vynd {

outcome get_distribution(fabric &model, const query &asked);
outcome set_distribution(fabric &model, const query &asked);

outcome read_ip_family(fabric &model, const query &asked);
outcome enable_ip_family(fabric &model, const query &asked);
outcome set_multicast(fabric &model, const query &asked);

std::string ip_family_key(const vyn_snmp_req &record);
std::string ip_family_switch(const vyn_snmp_req &record);
std::string multicast_change(const vyn_snmp_req &record);

} // namespace vynd
