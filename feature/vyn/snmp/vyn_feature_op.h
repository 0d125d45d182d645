// What the two feature operation tables share: the values of the client library's state, and the
// failure text that both show.
#pragma once

#include "libvyn.h"
#include "vyn_mib.h"

// The questions of get_vyn_entry_from_module.
enum vyn_state_op : int {
    VYN_STATE_EXACT = 1,
    VYN_STATE_NEXT = 2,
};

// Actions and results that mean something here; the library has more.
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

// The value of a failure reason: the text of the error when the result is a failure, else empty.
u_char *vyn_failure_reason(be32 result, be32 error_code, size_t max_length, size_t *var_len);
