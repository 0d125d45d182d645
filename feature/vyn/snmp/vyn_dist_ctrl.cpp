// vynDistCtrlTable: distribution over IPv4 and over IPv6, and the multicast address of each. Index:
// the address type, 1 or 2, which is the IP family. A read is one query.
//
// A SET of the action enables or disables one family. One SET may disable one family and enable the
// other. set_state records what the whole SET requests, so that the disable is sent before the
// enable in any varbind order. A SET of the address changes the multicast address. Changes are sent
// in ACTION and are not rolled back.

#include <arpa/inet.h>
#include <netinet/in.h>

#include "syserr.h"
#include "vyn_index.h"
#include "vyn_set.h"
#include "vyn_values.h"

// --- Reads ---

// The retained row: the last one read.
static vyn_dist_ctrl_entry row_dist_ctrl;

// Returns the last sub-identifier of an OID, which is the IP family. It keeps its full width here:
// 4294967297 is not 1.
static oid family_from_oid(const oid *name, size_t length)
{
    return length > 0 ? name[length - 1] : 0;
}

// Decodes the key of a query, an address type, from an OID. Returns 0, or -1 or SNMP_NOSUCHINSTANCE
// if an exact index is invalid. The key of a GETNEXT may be 0, which precedes both types.
static int get_vynDistCtrlEntry_instance(const struct variable *vp, const oid *name, size_t length,
                                         bool exact, be32 *key)
{
    if (exact && length > vp->namelen + 1u)
        return -1;
    oid family = 0;
    if (exact)
        family = family_from_oid(name, length); // Quirk: the column's number if there is no index
    else
        vyn_index_of(vp, name, length, false).take(&family);
    *key = static_cast<uint32_t>(family);
    return exact && family == 0 ? SNMP_NOSUCHINSTANCE : 0;
}

// Finds the row, retains it and writes its index to name and length. Returns 0 if there is a row to
// serve, else -1, SNMP_NOSUCHINSTANCE or the system error of the query.
static int header_vynDistCtrlEntry(const struct variable *vp, oid *name, size_t *length, bool exact)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying", "get_vynDistCtrlEntry_instance");
    row_dist_ctrl = {};
    vyn_snmp_req request = vyn_request(VYN_SNMP_DIST_CTRL_ENTRY);
    if (int error =
            get_vynDistCtrlEntry_instance(vp, name, *length, exact, &request.request.dist_ctrl_key))
        return error;

    vyn_reply reply;
    if (u32 error = vyn_call(MTS_OPC_VYN_SNMP_QUERY, vyn_read_msg_type(exact), &request, &reply)) {
        vyn_trace(VYN_TRACE_FAILURE,
                  "%s :cmi_get_vynDistCtrlEntry call :cmi Get call to the module failed with "
                  "reasoncode : %s",
                  "header_vynDistCtrlEntry", syserr2str(error));
        return static_cast<int>(error);
    }
    // Quirk: a null reply is a row with address type 0.
    row_dist_ctrl = reply.read(&vyn_snmp_resp::resp_dist_ctrl);
    vyn_oid_builder row_oid(vp->name, vp->namelen);
    row_oid.put(row_dist_ctrl.addr_type);
    return row_oid.commit(name, length) ? 0 : -1;
}

static u_char *address_value(size_t *var_len)
{
    switch (row_dist_ctrl.addr_type) {
    case VYN_ADDR_IPV4: return vyn_octets_value(row_dist_ctrl.addr, 4, var_len);
    case VYN_ADDR_IPV6: return vyn_octets_value(row_dist_ctrl.addr, 16, var_len);
    default: return nullptr;
    }
}

// Values of the action.
enum dist_ctrl_action {
    dist_enable = 1,
    dist_disable,
};

u_char *get_vynDistCtrlTable(struct variable *vp, oid *name, size_t *length, int exact,
                             size_t *var_len, WriteMethod **write_method)
{
    if (header_vynDistCtrlEntry(vp, name, length, exact != 0) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNDISTCTRLADDR: *write_method = set_vynDistCtrlAddr; return address_value(var_len);
    case VYNDISTCTRLACTION:
        *write_method = set_vynDistCtrlAction;
        return vyn_integer_value(row_dist_ctrl.enabled != 0 ? dist_enable : dist_disable, var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}

// --- Changes ---

// Sends a change and reports a failure to the agent. Returns an SNMP error.
static int cmi_set_vynDistCtrlEntry(vyn_snmp_req *request)
{
    vyn_reply reply; // received, but not read
    const u32 error = vyn_call(MTS_OPC_VYN_MGMT_REQ, VYN_MSG_SET, request, &reply);
    if (error == 0)
        return SNMP_ERR_NOERROR;
    vyn_trace(VYN_TRACE_FAILURE, "cmi_set_vynDistCtrlEntry SET failed : %s", syserr_format(error));
    vyn_report_set_error(error);
    return SNMP_ERR_GENERR;
}

// --- The action ---

static constexpr char action_function[] = "set_vynDistCtrlAction";

static constexpr vyn_integer_checks action_checks = {
    .type = ASN_INTEGER,
    .min_length = 1,
    .min = dist_enable,
    .max = dist_disable,
    .wrong_type = "write to vynDistCtrlActionnot ASN_INTEGER\n",
    .wrong_length = "write tovynDistCtrlAction:bad length\n",
    .wrong_value = "write to vynDistCtrlAction:wrong value\n",
};

// The request of a SET for one family.
enum dist_ctrl_request : uint8_t {
    VYN_SNMP_NO_REQUEST = 0,
    VYN_SNMP_IPV4_ENABLE,
    VYN_SNMP_IPV4_DISABLE,
    VYN_SNMP_IPV6_ENABLE,
    VYN_SNMP_IPV6_DISABLE,
};

// The SET in progress; zero if there is none.
static struct {
    dist_ctrl_request ipv4, ipv6;
    uint8_t is_ip_disable_sent;
} set_state;

static constexpr struct {
    uint32_t family;
    dist_ctrl_action action;
    dist_ctrl_request request;
    vyn_format<const char *> trace;
} action_requests[] = {
    {VYN_ADDR_IPV4, dist_enable, VYN_SNMP_IPV4_ENABLE, "%s : VYN_SNMP_IPV4_ENABLE\n"},
    {VYN_ADDR_IPV4, dist_disable, VYN_SNMP_IPV4_DISABLE, "%s : VYN_SNMP_IPV4_DISABLE\n"},
    {VYN_ADDR_IPV6, dist_enable, VYN_SNMP_IPV6_ENABLE, "%s : VYN_SNMP_IPV6_ENABLE\n"},
    {VYN_ADDR_IPV6, dist_disable, VYN_SNMP_IPV6_DISABLE, "%s : VYN_SNMP_IPV6_DISABLE\n"},
};

static int reserve_action(oid family, long value)
{
    for (const auto &known : action_requests) {
        if (known.family != family || known.action != value)
            continue;
        (family == VYN_ADDR_IPV4 ? set_state.ipv4 : set_state.ipv6) = known.request;
        vyn_trace(VYN_TRACE_FLOW, known.trace, action_function);
        vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE1 done\n", action_function);
        return SNMP_ERR_NOERROR;
    }
    return SNMP_NOSUCHINSTANCE;
}

static int check_action()
{
    vyn_trace(VYN_TRACE_FLOW, "%s : Entering RESERVE2 \n", action_function);
    if (set_state.ipv4 == VYN_SNMP_IPV4_ENABLE && set_state.ipv6 == VYN_SNMP_IPV6_ENABLE) {
        vyn_trace(VYN_TRACE_FAILURE,
                  "%s : Both ipv4 & ipv6 enable set -- this is not valid:syserr =  %s\n",
                  action_function, syserr2str(VYN_ERR_BOTH_IP_FAMILIES));
        vyn_report_set_error(VYN_ERR_BOTH_IP_FAMILIES);
        return SNMP_ERR_GENERR;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE2 done\n", action_function);
    return SNMP_ERR_NOERROR;
}

static int send_ip_dist_enable(bool enable, oid family)
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_IP_DIST_ENABLE);
    request.request.ip_dist_enable = {enable ? 1u : 0u, static_cast<uint32_t>(family)};
    const int snmp_error = cmi_set_vynDistCtrlEntry(&request);
    if (snmp_error != 0)
        set_state.is_ip_disable_sent = 0;
    return snmp_error;
}

// Returns the other family if this SET disables it and the disable has not been sent, else 0.
static uint32_t family_to_disable_first(oid family)
{
    if (set_state.is_ip_disable_sent == 1)
        return 0;
    if (family == VYN_ADDR_IPV4 && set_state.ipv6 == VYN_SNMP_IPV6_DISABLE)
        return VYN_ADDR_IPV6;
    if (family == VYN_ADDR_IPV6 && set_state.ipv4 == VYN_SNMP_IPV4_DISABLE)
        return VYN_ADDR_IPV4;
    return 0;
}

static int run_enable(oid family)
{
    vyn_trace(VYN_TRACE_FLOW,
              "%s : addr_type %d, ipv4 %d ipv6                             %d is_ip_disable %d\n",
              action_function, static_cast<uint32_t>(family), int{set_state.ipv4},
              int{set_state.ipv6}, int{set_state.is_ip_disable_sent});
    if (uint32_t other_family = family_to_disable_first(family)) {
        vyn_trace(VYN_TRACE_FLOW, "%s: setting temp_addr_type %d", action_function, other_family);
        if (int snmp_error = send_ip_dist_enable(false, other_family))
            return snmp_error;
        set_state.is_ip_disable_sent = 1;
    }
    return send_ip_dist_enable(true, family);
}

static int run_disable(oid family)
{
    set_state.is_ip_disable_sent = 1;
    vyn_trace(VYN_TRACE_FLOW, "%s: is_ip_disable_sent is TRUE", action_function);
    return send_ip_dist_enable(false, family);
}

static int run_action(oid family, long value)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : ACTION \n", action_function);
    const bool both_disabled =
        set_state.ipv4 == VYN_SNMP_IPV4_DISABLE && set_state.ipv6 == VYN_SNMP_IPV6_DISABLE;
    if (value != dist_enable && value != dist_disable)
        return SNMP_ERR_NOERROR;
    if (value == dist_disable && set_state.is_ip_disable_sent == 1 && !both_disabled)
        return SNMP_ERR_NOERROR; // already sent, before the enable
    if (int snmp_error = value == dist_enable ? run_enable(family) : run_disable(family))
        return snmp_error;
    vyn_trace(VYN_TRACE_FLOW, "%s : ACTION done\n", action_function);
    return SNMP_ERR_NOERROR;
}

static int end_action(vyn_format<const char *> begins, vyn_format<const char *> done)
{
    vyn_trace(VYN_TRACE_FLOW, begins, action_function);
    set_state = {};
    vyn_trace(VYN_TRACE_FLOW, done, action_function);
    return SNMP_ERR_NOERROR;
}

int set_vynDistCtrlAction(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                          u_char *, oid *name, size_t name_len)
{
    const oid family = family_from_oid(name, name_len);
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        vyn_trace(VYN_TRACE_FLOW, "%s : Entering RESERVE1 \n", action_function);
        if (int snmp_error = vyn_check_integer(action_checks, var_val, var_val_type, var_val_len))
            return snmp_error;
        return reserve_action(family, vyn_varbind_integer(var_val, var_val_len));
    case SNMP_MSG_INTERNAL_SET_RESERVE2: return check_action();
    case SNMP_MSG_INTERNAL_SET_ACTION:
        return run_action(family, vyn_varbind_integer(var_val, var_val_len));
    case SNMP_MSG_INTERNAL_SET_COMMIT: return end_action("%s : COMMIT \n", "%s : COMMIT done\n");
    case SNMP_MSG_INTERNAL_SET_FREE: return end_action("%s : FREE \n", "%s : FREE done\n");
    case SNMP_MSG_INTERNAL_SET_UNDO: return end_action("%s : UNDO \n", "%s : UNDO done\n");
    default: return SNMP_ERR_NOERROR;
    }
}

// --- The address ---

static constexpr char address_function[] = "set_vynDistCtrlAddr";

static int refuse_address(vyn_format<const char *> message, int snmp_error)
{
    vyn_trace(VYN_TRACE_FAILURE, message, address_function);
    return snmp_error;
}

// Checks the four octets of an IPv4 multicast address.
static int check_ipv4(const u_char *octets)
{
    in_addr address;
    memcpy(&address, octets, sizeof(address));
    const char *text = inet_ntoa(address);
    if (text == nullptr)
        return refuse_address("%s : Converting Addr to regular IPv4 address failed",
                              SNMP_ERR_WRONGVALUE);
    vyn_trace(VYN_TRACE_FLOW, "%s : Dot notation address  : %s", address_function, text);
    // Quirk: the second octet must be 192 to 251 or 255, for every first octet.
    const bool class_d = octets[0] >= 224 && octets[0] <= 239;
    if (!class_d || octets[1] < 192 || (octets[1] > 251 && octets[1] != 255))
        return refuse_address("%s : write to vynDistCtrlAddr fail: Not a valid IPv4 multicast Addr",
                              SNMP_ERR_WRONGVALUE);
    return SNMP_ERR_NOERROR;
}

// Checks the sixteen octets of an IPv6 multicast address.
static int check_ipv6(const u_char *octets)
{
    constexpr u_char site_local = 5, organisation_local = 8;
    char text[255];
    if (inet_ntop(AF_INET6, octets, text, sizeof(text)) == nullptr)
        return refuse_address("%s : Converting Addr to regular IPv6 address failed",
                              SNMP_ERR_WRONGVALUE);
    vyn_trace(VYN_TRACE_FLOW, "%s : The IPv6 Address : %s", address_function,
              static_cast<const char *>(text));
    const u_char scope = octets[1] & 0x0F; // Quirk: the flags beside the scope are not checked
    if (octets[0] != 0xFF || (scope != site_local && scope != organisation_local))
        return refuse_address("%s : write to vynDistCtrlAddr fail: Not a valid IPv6 multicast Addr",
                              SNMP_ERR_WRONGVALUE);
    return SNMP_ERR_NOERROR;
}

static int check_address(const u_char *value, u_char type, size_t length, oid family,
                         size_t name_len)
{
    if (type != ASN_OCTET_STR)
        return refuse_address("%s : write to vynDistCtrlAddr not ASN_OCTET_STR",
                              SNMP_ERR_WRONGTYPE);
    if (length < 1 || length > 255)
        return refuse_address("%s : write to vynDistCtrlAddr: bad length", SNMP_ERR_WRONGLENGTH);
    if (name_len > VYN_INDEX_START + 1)
        return refuse_address("%s : write to vynDistCtrlAddr : operation failed : invaild no of "
                              "indices passed.",
                              SNMP_ERR_INCONSISTENTVALUE);
    if (family != VYN_ADDR_IPV4 && family != VYN_ADDR_IPV6)
        return SNMP_NOSUCHINSTANCE;
    if (length != (family == VYN_ADDR_IPV4 ? 4 : 16))
        return SNMP_ERR_WRONGVALUE;
    return family == VYN_ADDR_IPV4 ? check_ipv4(value) : check_ipv6(value);
}

static int send_address(const u_char *octets, size_t length, oid family)
{
    const size_t max_length = family == VYN_ADDR_IPV4 ? 4 : 16;
    vyn_snmp_req request = vyn_request(VYN_SNMP_DIST_CTRL_ADDR);
    vyn_dist_ctrl_entry entry{};
    entry.addr_type = static_cast<uint32_t>(family);
    memcpy(entry.addr, octets, std::min(length, max_length));
    request.request.dist_ctrl = entry;
    return cmi_set_vynDistCtrlEntry(&request);
}

int set_vynDistCtrlAddr(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                        u_char *, oid *name, size_t name_len)
{
    const oid family = family_from_oid(name, name_len);
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        return check_address(var_val, var_val_type, var_val_len, family, name_len);
    case SNMP_MSG_INTERNAL_SET_ACTION: return send_address(var_val, var_val_len, family);
    default: return SNMP_ERR_NOERROR;
    }
}
