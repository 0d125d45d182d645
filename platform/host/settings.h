// The times that the environment sets, in milliseconds. Each is read when it is first needed.
#pragma once

#include <cstdint>

namespace vyn_host {

// Returns $VYN_TIMEOUT_MS: how long a request to the service may take.
int64_t timeout_ms();

// Returns how long a connection may be silent, when it should not be, until it is replaced. Each
// connection that is replaced leaves a stalled service something to do, so this is not sooner.
int64_t give_up_after_ms();

// Returns $VYN_BUDGET_MS: how long one SNMP request may wait for the service. Not below
// timeout_ms().
int64_t budget_ms();

} // namespace vyn_host
