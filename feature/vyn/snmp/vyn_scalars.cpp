// The four scalars: vynStartPeersDiscovery, vynPeersDiscoveryStatus, vynPeersDiscoveryFailureReason
// and vynDistEnable. Index: the instance 0.
//
// A read is one query; vynStartPeersDiscovery needs none and always reads false. A SET of
// vynStartPeersDiscovery to true checks in RESERVE1 that no discovery runs, and starts one in
// ACTION. A SET of vynDistEnable is sent in ACTION.

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/util_funcs/header_generic.h>

#include "syserr.h"
#include "vyn_index.h"
#include "vyn_set.h"
#include "vyn_values.h"

// The values of a TruthValue.
enum : uint32_t {
    VYN_TRUE = 1,
    VYN_FALSE = 2,
};

// The result of the last reply.
static vyn_resp_disc_status discovery_result;

// Queries the result of the last discovery. Returns 0 or a system error.
static u32 get_vyn_discovery_result()
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_GET_DISC_STATUS);
    vyn_reply reply;
    const u32 error =
        vyn_query(MTS_OPC_VYN_SNMP_QUERY, VYN_MSG_GET, &request, &reply, "get_vyn_discovery_result",
                  "%s : VYN failed to return response for Peers  Discovery status query: %s \n",
                  "%s : VYN returned Null response for Peers Discovery status query \n");
    // Quirk: after a null reply the last result is served again.
    if (reply.present())
        discovery_result = reply.read(&vyn_snmp_resp::resp_phy_disc_status);
    return error;
}

// Queries whether distribution is enabled. Returns 0 or a system error. Leaves *enabled unchanged
// if the reply lacks the status, whose zeros would read as enabled.
static u32 get_vyn_distribution_status(uint32_t *enabled)
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_GET_DIST_STATUS);
    vyn_reply reply;
    const u32 error = vyn_query(
        MTS_OPC_VYN_MGMT_REQ, VYN_MSG_GET, &request, &reply, "get_vyn_distribution_status",
        "%s : VYN failed to return response for VYN distribution status query: %s \n",
        "%s : VYN returned Null response for VYN distribution status query \n");
    if (reply.has_all_of(&vyn_snmp_resp::resp_dist_status)) {
        const auto status = reply.read(&vyn_snmp_resp::resp_dist_status);
        *enabled = status.disabled == 0 ? VYN_TRUE : VYN_FALSE;
    }
    return error;
}

static u_char *read_discovery_status(size_t *var_len)
{
    if (get_vyn_discovery_result() != 0)
        return nullptr;
    return vyn_integer_value(discovery_result.disc_status, var_len);
}

static u_char *read_discovery_failure(size_t *var_len)
{
    if (get_vyn_discovery_result() != 0)
        return nullptr;
    if (discovery_result.disc_status != VYN_DISC_FAILED)
        return vyn_text_value("", VYN_MAX_TEXT, var_len);
    return vyn_text_value(syserr_format(discovery_result.failure_reason), VYN_MAX_TEXT, var_len);
}

static u_char *read_distribution(size_t *var_len)
{
    uint32_t enabled = 0;
    if (get_vyn_distribution_status(&enabled) != 0 || enabled == 0)
        return nullptr;
    return vyn_integer_value(enabled, var_len);
}

static u_char *read_scalar(uint8_t column, size_t *var_len, WriteMethod **write_method)
{
    switch (column) {
    case VYNSTARTPEERSDISCOVERY:
        *write_method = set_vynStartPeersDiscovery;
        return vyn_integer_value(VYN_FALSE, var_len);
    case VYNPEERSDISCOVERYSTATUS: return read_discovery_status(var_len);
    case VYNPEERSDISCOVERYFAILUREREASON: return read_discovery_failure(var_len);
    case VYNDISTENABLE: *write_method = set_vynDistCtrl; return read_distribution(var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}

u_char *get_vyn_mib(struct variable *vp, oid *name, size_t *length, int exact, size_t *var_len,
                    WriteMethod **write_method)
{
    // header_generic overwrites an OID, but a read without a value must not change the agent's.
    oid found[MAX_OID_LEN];
    size_t found_length = *length;
    memcpy(found, name, found_length * sizeof(oid));
    if (header_generic(vp, found, &found_length, exact, var_len, write_method) == MATCH_FAILED)
        return nullptr;
    u_char *value = read_scalar(vp->magic, var_len, write_method);
    if (value != nullptr)
        vyn_oid_builder(found, found_length).commit(name, length);
    return value;
}

// --- Writes ---

static constexpr vyn_integer_checks discovery_checks = {
    .type = ASN_INTEGER,
    .min_length = 1,
    .min = VYN_TRUE,
    .max = VYN_FALSE,
    .wrong_type = "write to vynStartPeersDiscoverynot ASN_INTEGER\n",
    .wrong_length = "write to vynStartPeersDiscovery:bad length\n",
    .wrong_value = "write to vynStartPeersDiscovery:wrong value\n",
};

static constexpr vyn_integer_checks distribution_checks = {
    .type = ASN_INTEGER,
    .min_length = 1,
    .min = VYN_TRUE,
    .max = VYN_FALSE,
    .wrong_type = "write to set_vynDistCtrlnot ASN_INTEGER\n",
    .wrong_length = "write to set_vynDistCtrl:bad length\n",
    .wrong_value = "write to set_vynDistCtrl:wrong value\n",
};

static int check_no_discovery_runs()
{
    if (u32 error = get_vyn_discovery_result()) {
        vyn_report_set_error(error);
        return SNMP_ERR_GENERR;
    }
    if (discovery_result.disc_status == VYN_DISC_RUNNING) {
        vyn_trace(VYN_TRACE_FAILURE, "write to vynStartPeersDiscovery: An instance of discovery "
                                     "already running\n");
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    return SNMP_ERR_NOERROR;
}

// Sends a change.
// Quirk: the SET succeeds even if this fails; the error is only reported to the agent.
static void send_and_log_error(vyn_opcode opcode, vyn_snmp_req *request)
{
    vyn_reply reply;
    if (u32 error = vyn_call(opcode, VYN_MSG_SET, request, &reply))
        vyn_report_set_error(error);
}

static void start_discovery()
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_START_DISCOVERY);
    send_and_log_error(MTS_OPC_VYN_SNMP_QUERY, &request);
}

static void set_distribution(long enabled)
{
    if (enabled != VYN_TRUE && enabled != VYN_FALSE)
        return;
    vyn_snmp_req request = vyn_request(VYN_SNMP_SET_DIST);
    request.request.dist_disable = enabled == VYN_FALSE ? 1 : 0;
    send_and_log_error(MTS_OPC_VYN_CONFIG_REQ, &request);
}

int set_vynStartPeersDiscovery(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                               u_char *, oid *, size_t)
{
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int snmp_error =
                vyn_check_integer(discovery_checks, var_val, var_val_type, var_val_len))
            return snmp_error;
        if (vyn_varbind_integer(var_val, var_val_len) == VYN_TRUE)
            return check_no_discovery_runs();
        return SNMP_ERR_NOERROR;
    case SNMP_MSG_INTERNAL_SET_ACTION:
        if (vyn_varbind_integer(var_val, var_val_len) == VYN_TRUE)
            start_discovery();
        return SNMP_ERR_NOERROR;
    default: return SNMP_ERR_NOERROR;
    }
}

int set_vynDistCtrl(int action, u_char *var_val, u_char var_val_type, size_t var_val_len, u_char *,
                    oid *, size_t)
{
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        return vyn_check_integer(distribution_checks, var_val, var_val_type, var_val_len);
    case SNMP_MSG_INTERNAL_SET_ACTION:
        set_distribution(vyn_varbind_integer(var_val, var_val_len));
        return SNMP_ERR_NOERROR;
    default: return SNMP_ERR_NOERROR;
    }
}
