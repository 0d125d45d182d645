// The queries of locks: who holds the configuration of a feature in a scope.
#pragma once

#include "queries.h"
#include "vyn_wire.h"

namespace vynd {

// The lock of exactly that place; without one, a reply that says that nobody holds it.
outcome get_lock(fabric &model, const vyn_snmp_req &record, time_point now);

// The first lock behind the key.
outcome get_next_lock(fabric &model, const vyn_snmp_req &record, time_point now);

// What is asked, for the log: "ntp" scope 2 vsan 0, the scope as it is on the wire.
std::string describe_lock_key(const vyn_lock_key &key);

} // namespace vynd
