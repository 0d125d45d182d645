// Shared by the two feature operation tables: the operations of the client library, and the value
// of a failure reason.
#pragma once

#include "libvyn.h"
#include "vyn_mib.h"

// The operations of get_vyn_entry_from_module.
enum vyn_state_op : int {
    VYN_STATE_EXACT = 1,
    VYN_STATE_NEXT = 2,
};

// Returns the text of the error if the result is a failure, else an empty string.
u_char *vyn_failure_reason_value(be32 result, be32 error_code, size_t max_length, size_t *var_len);
