// The queries of locks: who holds the configuration of a feature in a scope.
#pragma once

#include "query.h"
#include "vyn_wire.h"

namespace vynd {

// Replies with the lock of that scope, or with one that is not taken.
outcome get_lock(fabric &model, const query &received);

// Replies with the first lock after the key.
outcome get_next_lock(fabric &model, const query &received);

// Returns the key of these queries for the log.
std::string lock_key(const vyn_snmp_req &record);

} // namespace vynd
