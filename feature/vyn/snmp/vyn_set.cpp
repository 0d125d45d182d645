// Shared by the write functions: the first checks of a SET, sending a change, reporting a refusal.

#include "vyn_set.h"

#include <cstdio>

#include "snmp_context.h"
#include "syserr.h"

void vyn_report_set_error(u32 code)
{
    constexpr int fixed_2nd = 1432; // fixed by the platform
    log_set_error(code, fixed_2nd);
}

int vyn_refuse(vyn_format<> message, int snmp_error)
{
    vyn_trace(VYN_TRACE_FAILURE, message);
    return snmp_error;
}

int vyn_send_change(vyn_opcode opcode, vyn_snmp_req *request, const char *function,
                    vyn_format<const char *, const char *> failed)
{
    const u32 error = vyn_call(opcode, VYN_MSG_SET, request, nullptr);
    if (error == 0)
        return SNMP_ERR_NOERROR;
    vyn_trace(VYN_TRACE_FAILURE, failed, function, syserr2str(error));
    vyn_report_set_error(error);
    return SNMP_ERR_GENERR;
}

// Lengths are in bytes. A stock agent passes a long.
static bool is_integer_length(size_t length, size_t min_length)
{
    return (length >= min_length && length <= sizeof(int32_t)) || length == sizeof(long);
}

int vyn_check_integer(const vyn_integer_checks &checks, const u_char *value, u_char type,
                      size_t length)
{
    if (type != checks.type)
        return vyn_refuse(checks.wrong_type, SNMP_ERR_WRONGTYPE);
    if (!is_integer_length(length, checks.min_length))
        return vyn_refuse(checks.wrong_length, SNMP_ERR_WRONGLENGTH);
    const long number = vyn_varbind_integer(value, length);
    if (number >= checks.min && number <= checks.max &&
        (number > 31 || (checks.excluded >> number & 1) == 0))
        return SNMP_ERR_NOERROR;
    if (*checks.wrong_value.text() != '\0')
        return vyn_refuse(checks.wrong_value, SNMP_ERR_WRONGVALUE);
    vyn_trace(VYN_TRACE_FAILURE, "%s : Wrong range : %d", checks.function,
              static_cast<int>(number));
    return SNMP_ERR_WRONGVALUE;
}

int vyn_write_storage_type(int action, u_char type, size_t length, const char *wrong_type,
                           const char *wrong_length)
{
    if (action != SNMP_MSG_INTERNAL_SET_RESERVE1)
        return SNMP_ERR_NOERROR;
    if (type != ASN_INTEGER) {
        fputs(wrong_type, stderr);
        return SNMP_ERR_WRONGTYPE;
    }
    if (!is_integer_length(length, 0)) {
        fputs(wrong_length, stderr);
        return SNMP_ERR_WRONGLENGTH;
    }
    return SNMP_ERR_NOERROR;
}

long vyn_varbind_integer(const u_char *value, size_t length)
{
    if (length == sizeof(long)) {
        long number;
        memcpy(&number, value, sizeof(number));
        return number;
    }
    int32_t number;
    memcpy(&number, value, sizeof(number));
    return number;
}
