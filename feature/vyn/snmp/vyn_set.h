// Shared by the write functions: the first checks of a SET, sending a change, reporting a refusal.
#pragma once

#include "vyn_service.h"

// Reports a system error of a SET to the agent.
void vyn_report_set_error(u32 code);

// Traces the message of a refusal and returns its SNMP error.
int vyn_refuse(vyn_format<> message, int snmp_error);

// Sends a change without requesting a reply. Returns SNMP_ERR_NOERROR, or SNMP_ERR_GENERR after a
// failure, which it traces with the name of the function and reports to the agent.
int vyn_send_change(vyn_opcode opcode, vyn_snmp_req *request, const char *function,
                    vyn_format<const char *, const char *> failed);

// The checks of an integer in RESERVE1, in their order, and the messages of refusals. The spacing
// of the messages is irregular and must stay: operators search for them.
struct vyn_integer_checks {
    u_char type;       // ASN_INTEGER or ASN_UNSIGNED
    size_t min_length; // in bytes; some columns accept a length of 0
    int32_t min, max;  // of the value
    vyn_format<> wrong_type;
    vyn_format<> wrong_length;
    vyn_format<> wrong_value = "";  // empty: "%s : Wrong range : %d" with `function`
    const char *function = nullptr; // the name of the write function
    uint32_t excluded = 0;          // bit n: value n is refused too
};

// Returns the checks of a row status: active, createAndGo and destroy are accepted.
consteval vyn_integer_checks
vyn_row_status_checks(vyn_format<> wrong_type, vyn_format<> wrong_length, vyn_format<> wrong_value)
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

// Runs the checks. Returns SNMP_ERR_NOERROR, or traces the first check that fails and returns its
// SNMP error.
int vyn_check_integer(const vyn_integer_checks &checks, const u_char *value, u_char type,
                      size_t length);

// Runs one phase of a SET of a storage type, which is fixed. RESERVE1 checks the type and length.
// The value is ignored.
// Quirk: writes messages of refusals to standard error instead of tracing them.
int vyn_write_storage_type(int action, u_char type, size_t length, const char *wrong_type,
                           const char *wrong_length);

// Writes 1 to the value that the agent has read. The pointer is null if the row does not exist yet.
// Quirk: RESERVE2 of a row status calls this.
inline void vyn_mark_stored_value(u_char *stored_value)
{
    if (stored_value != nullptr)
        *stored_value = 1;
}

// Returns the integer of a SET's varbind. A stock agent always passes a long and its size. For any
// other length, reads 4 bytes in host order, which the agent's buffer always has.
long vyn_varbind_integer(const u_char *value, size_t length);
