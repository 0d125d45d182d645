// The transport call, the history record of a trace, and the first checks of a SET: what every read
// and write function goes through.
//
// Odd on purpose: cmi_req_resp takes two constants, 126 and 4, and log_set_error a third, 1432,
// whose meaning is the platform's; they are passed as they are by every caller.

#include "vyn_service.h"

#include <cstdarg>
#include <cstdio>

#include "snmp_context.h"
#include "syserr.h"

void vyn_trace_history(vyn_trace_level level, const char *format, ...)
{
    struct {
        uint32_t level;
        char text[512];
    } record;
    record.level = level;
    va_list args;
    va_start(args, format);
    vsnprintf(record.text, sizeof(record.text), format, args);
    va_end(args);
    const size_t length = sizeof(record.level) + strlen(record.text) + 1;
    sdwrap_hist_event(VYN_HISTORY_TYPE, static_cast<u32>(length), &record);
}

u32 vyn_call(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply)
{
    constexpr u32 fixed_8th = 126, fixed_10th = 4;
    reply->release();
    u32 length = sizeof(*request);
    const u32 error =
        cmi_req_resp(opcode, msg_type, request, &reply->block_, &length, get_snmp_username(0),
                     get_snmp_sessionid(0), fixed_8th, mts_response_q, fixed_10th);
    reply->length_ = length;
    if (error != 0)
        reply->release();
    return error;
}

u32 vyn_query(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply,
              const char *function, vyn_format<const char *, const char *> failed,
              vyn_format<const char *> null_reply)
{
    const u32 error = vyn_call(opcode, msg_type, request, reply);
    if (error != 0)
        vyn_trace(VYN_TRACE_FAILURE, failed, function, syserr2str(error));
    else if (!reply->present())
        vyn_trace(VYN_TRACE_FAILURE, null_reply, function);
    return error;
}

void vyn_report_set_error(u32 code)
{
    constexpr int fixed_2nd = 1432;
    log_set_error(code, fixed_2nd);
}

int vyn_refuse(const char *message, int snmp_error)
{
    vyn_trace(VYN_TRACE_FAILURE, "%s", message);
    return snmp_error;
}

int vyn_check_integer(const vyn_integer_checks &checks, const u_char *value, u_char type,
                      size_t length)
{
    if (type != checks.type)
        return vyn_refuse(checks.wrong_type, SNMP_ERR_WRONGTYPE);
    const bool short_enough = length >= checks.shortest && length <= sizeof(int32_t);
    if (!short_enough && length != sizeof(long))
        return vyn_refuse(checks.wrong_length, SNMP_ERR_WRONGLENGTH);
    const long number = vyn_set_integer(value, length);
    if (number >= checks.lowest && number <= checks.highest)
        return SNMP_ERR_NOERROR;
    if (checks.wrong_value != nullptr)
        return vyn_refuse(checks.wrong_value, SNMP_ERR_WRONGVALUE);
    vyn_trace(VYN_TRACE_FAILURE, "%s : Wrong range : %d", checks.function,
              static_cast<int>(number));
    return SNMP_ERR_WRONGVALUE;
}

long vyn_set_integer(const u_char *value, size_t length)
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
