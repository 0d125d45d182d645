// Shared by the two feature operation tables: the operations, actions and results of the client
// library, and the value of a failure reason.
#pragma once

#include "libvyn.h"
#include "vyn_mib.h"

// The operations of get_vyn_entry_from_module.
enum vyn_state_op : int {
    VYN_STATE_EXACT = 1,
    VYN_STATE_NEXT = 2,
};

// The actions and results that the module interprets; the library has more.
enum vyn_feature_action : u32 {
    VYN_ACTION_ENABLE = 2,
    VYN_ACTION_DISABLE = 3,
    VYN_ACTION_CLEAR = 6,
};

enum vyn_feature_result : u32 {
    VYN_RESULT_FAILED = 3,
    VYN_RESULT_IN_PROGRESS = 4,
    VYN_RESULT_FAILED_PARTLY = 5,
};

// Returns the text of the error if the result is a failure, else an empty string.
u_char *vyn_failure_reason_value(be32 result, be32 error_code, size_t max_length, size_t *var_len);
