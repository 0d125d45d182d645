// The queries of locks: who holds the configuration of a feature in a scope.
#pragma once

#include "queries.h"
#include "vyn_wire.h"

namespace vynd {

// The lock of exactly that place; without one, a reply that says that nobody holds it.
outcome get_lock(fabric &model, const query &asked);

// The first lock behind the key.
outcome get_next_lock(fabric &model, const query &asked);

// The key of these queries, for the log.
std::string lock_key(const vyn_snmp_req &record);

} // namespace vynd
