// The one transport call to the service, and the queries of reads.

#include "vyn_service.h"

#include "snmp_context.h"
#include "syserr.h"

u32 vyn_call(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply)
{
    constexpr u32 fixed_8th = 126, fixed_10th = 4; // fixed by the platform
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
    const u32 error = vyn_call(MTS_OPC_VYN_MGMT_REQ, vyn_read_msg_type(exact), request, reply);
    if (error != 0)
        vyn_trace(VYN_TRACE_FAILURE, "%s : vyn_mgmt_req_resp Get failed : %s", function,
                  syserr2str(error));
    return error;
}
