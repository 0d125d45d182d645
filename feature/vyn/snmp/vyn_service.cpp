// The transport call, the history record of a trace, and the first checks of a SET: what every read
// and write function goes through.
//
// Odd on purpose: cmi_req_resp takes two constants, 126 and 4, and log_set_error a third, 1432,
// whose meaning is the platform's; they are passed as they are by every caller.

#include "vyn_service.h"

#include <cstdio>
#include <iterator>

#include "snmp_context.h"
#include "syserr.h"

// Writes as much of a text behind `at` as there is room for, and returns its end.
static char *put(char *at, const char *end, const char *text, size_t length)
{
    length = std::min(length, static_cast<size_t>(end - at));
    memcpy(at, text, length);
    return at + length;
}

// As %u, or as %x for a base of 16. Not std::to_chars, whose tables a library would export.
template <uint32_t base> static char *put_number(char *at, const char *end, uint32_t number)
{
    char digits[16];
    char *first = std::end(digits);
    do
        *--first = "0123456789abcdef"[number % base];
    while ((number /= base) != 0);
    return put(at, end, first, static_cast<size_t>(std::end(digits) - first));
}

static char *put_signed(char *at, const char *end, uint32_t number)
{
    if (number <= INT32_MAX)
        return put_number<10>(at, end, number);
    return put_number<10>(put(at, end, "-", 1), end, 0 - number);
}

// What printf would write, for the conversions that vyn_format admits. The history is usually on,
// so this runs several times in each read, of which printf would be the greatest part.
void vyn_trace_history(vyn_trace_level level, const char *format,
                       const vyn_trace_argument *arguments)
{
    struct {
        uint32_t level;
        char text[512];
    } record;
    record.level = level;
    char *at = record.text;
    const char *const end = std::end(record.text) - 1;
    for (;;) {
        const char *const mark = strchrnul(format, '%');
        at = put(at, end, format, static_cast<size_t>(mark - format));
        if (*mark == '\0')
            break;
        format = mark + 2;
        if (mark[1] == '%') {
            at = put(at, end, mark, 1);
            continue;
        }
        if (mark[1] == 's') {
            const size_t most = std::min(arguments->width, static_cast<size_t>(end - at));
            at = put(at, end, arguments->text, strnlen(arguments->text, most));
        } else {
            at = mark[1] == 'x' ? put_number<16>(at, end, arguments->number)
                                : put_signed(at, end, arguments->number);
        }
        arguments++;
    }
    *at++ = '\0';
    const size_t length = sizeof(record.level) + static_cast<size_t>(at - record.text);
    sdwrap_hist_event(VYN_HISTORY_TYPE, static_cast<u32>(length), &record);
}

u32 vyn_call(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply)
{
    constexpr u32 fixed_8th = 126, fixed_10th = 4;
    if (reply != nullptr)
        reply->release();
    u32 length = sizeof(*request);
    const u32 error = cmi_req_resp(
        opcode, msg_type, request, reply != nullptr ? &reply->block_ : nullptr, &length,
        get_snmp_username(0), get_snmp_sessionid(0), fixed_8th, mts_response_q, fixed_10th);
    if (reply != nullptr)
        reply->length_ = length;
    if (reply != nullptr && error != 0)
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

u32 vyn_query_region(vyn_snmp_req *request, bool exact, vyn_reply *reply, const char *function)
{
    const u32 error = vyn_call(MTS_OPC_VYN_MGMT_REQ, vyn_read_type(exact), request, reply);
    if (error != 0)
        vyn_trace(VYN_TRACE_FAILURE, "%s : vyn_mgmt_req_resp Get failed : %s", function,
                  syserr2str(error));
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

// The agent hands over a long where the wire had up to 4 bytes. `shortest`: in bytes.
static bool is_integer_length(size_t length, size_t shortest)
{
    return (length >= shortest && length <= sizeof(int32_t)) || length == sizeof(long);
}

int vyn_check_integer(const vyn_integer_checks &checks, const u_char *value, u_char type,
                      size_t length)
{
    if (type != checks.type)
        return vyn_refuse(checks.wrong_type, SNMP_ERR_WRONGTYPE);
    if (!is_integer_length(length, checks.shortest))
        return vyn_refuse(checks.wrong_length, SNMP_ERR_WRONGLENGTH);
    const long number = vyn_set_integer(value, length);
    if (number >= checks.lowest && number <= checks.highest &&
        (number > 31 || (checks.excluded >> number & 1) == 0))
        return SNMP_ERR_NOERROR;
    if (checks.wrong_value != nullptr)
        return vyn_refuse(checks.wrong_value, SNMP_ERR_WRONGVALUE);
    vyn_trace(VYN_TRACE_FAILURE, "%s : Wrong range : %d", checks.function,
              static_cast<int>(number));
    return SNMP_ERR_WRONGVALUE;
}

int vyn_set_storage_type(int action, u_char type, size_t length, const char *wrong_type,
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
