// What the write functions share: the first checks of a SET, changes, and how refusals are
// reported.
#pragma once

#include "vyn_service.h"

// Reports the system error for which a SET is refused to the agent.
void vyn_report_set_error(u32 code);

// Traces the message of a refusal and returns its SNMP error.
int vyn_refuse(const char *message, int snmp_error);

// Sends a change without asking for a reply. On a failure, traces it with the name of the function,
// reports the error to the agent and returns SNMP_ERR_GENERR; else returns SNMP_ERR_NOERROR.
int vyn_send_change(vyn_opcode opcode, vyn_snmp_req *request, const char *function,
                    vyn_format<const char *, const char *> failed);

// The checks of an integer in RESERVE1 and their messages, in the order of the checks. The messages
// are literals with irregular spacing: operators grep for them.
struct vyn_integer_checks {
    u_char type;       // ASN_INTEGER or ASN_UNSIGNED
    size_t min_length; // in bytes; some columns accept a length of 0
    int32_t min, max;  // of the value
    const char *wrong_type;
    const char *wrong_length;
    const char *wrong_value = nullptr; // null: "%s : Wrong range : %d", with the value and
    const char *function = nullptr;    // the name of the write function
    uint32_t excluded = 0;             // bit n: value n is refused too
};

// Returns the checks of a row status: active, createAndGo and destroy are accepted.
consteval vyn_integer_checks vyn_row_status_checks(const char *wrong_type, const char *wrong_length,
                                                   const char *wrong_value)
{
    return {.type = ASN_INTEGER,
            .min_length = 0,
            .min = SNMP_ROW_ACTIVE,
            .max = SNMP_ROW_DESTROY,
            .wrong_type = wrong_type,
            .wrong_length = wrong_length,
            .wrong_value = wrong_value,
            .excluded = 1u << SNMP_ROW_NOTINSERVICE | 1u << SNMP_ROW_NOTREADY |
                        1u << SNMP_ROW_CREATEANDWAIT};
}

// Runs the checks. Traces and returns the SNMP error of the first that fails, else returns
// SNMP_ERR_NOERROR.
int vyn_check_integer(const vyn_integer_checks &checks, const u_char *value, u_char type,
                      size_t length);

// Serves a phase of a SET of a storage type, which is fixed: RESERVE1 checks the type and the
// length, and the value is ignored. Refusals are written to standard error instead of a trace.
int vyn_set_storage_type(int action, u_char type, size_t length, const char *wrong_type,
                         const char *wrong_length);

// RESERVE2 of a row status writes a 1 over the value that the agent has read. There is no such
// value for a row that does not exist yet.
inline void vyn_mark_stored_value(u_char *stored_value)
{
    if (stored_value != nullptr)
        *stored_value = 1;
}

// Returns the integer that a SET carries. A stock agent hands over a long of length sizeof(long),
// whatever was on the wire. With any other length the value is the 4 bytes at `value`, in host
// order; the agent's buffer always has them.
long vyn_set_integer(const u_char *value, size_t length);
