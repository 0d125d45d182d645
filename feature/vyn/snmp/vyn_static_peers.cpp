// vynStatPeersTable: the peers that managers have added by address. Index: the peer's address.
// Columns: a status that the service defines, a fixed storage type and a fixed row status.
//
// A read is one query. In a GETNEXT index, missing octets count as 0. A SET of the row status adds
// the peer (createAndGo) or removes it (destroy); active changes nothing. All three require NPV
// mode and an IPv4 address. Changes are sent in ACTION and are not rolled back. The phases share no
// data.

#include <fcntl.h>
#include <unistd.h>

#include "vyn_app_peer.h"
#include "vyn_index.h"
#include "vyn_set.h"
#include "vyn_values.h"

// The retained row: the last one read.
static vyn_resp_static_peer row_static_peer;

// --- Reads ---

// Decodes the key from an index. Returns 0, or -1 if an exact index is invalid. The lengths of the
// column's OID and of the requested OID are only traced.
static int get_vynStatPeersEntry_instance(vyn_oid_cursor index, size_t column_length, size_t length,
                                          bool exact, vyn_static_peer *key)
{
    static constexpr char function[] = "get_vynStatPeersEntry_instance";
    *key = {};
    vyn_trace_read(function, exact, length, column_length);
    if (!exact) {
        vyn_take_partial_address(&index, &key->addr_type, key->addr);
        return 0;
    }
    return vyn_take_leading_address(index, &key->addr_type, key->addr, function, VYN_TRACE_FAILURE)
               ? 0
               : -1;
}

static vyn_snmp_req request_for(const vyn_static_peer &peer)
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_STATIC_PEER);
    request.request.static_peer = peer;
    return request;
}

// Finds the row, retains it and writes its index to name and length. Returns 0 if there is a row to
// serve, else -1 or the system error of the query.
static int header_vynStatPeersEntry(const struct variable *vp, oid *name, size_t *length,
                                    bool exact)
{
    static constexpr char function[] = "header_vynStatPeersEntry";
    vyn_static_peer key;
    if (int error = get_vynStatPeersEntry_instance(vyn_index_of(vp, name, *length, exact),
                                                   vp->namelen, *length, exact, &key))
        return error;

    vyn_snmp_req request = request_for(key);
    // Quirk: the text says msg_type, but the number is the query type.
    vyn_trace(VYN_TRACE_FLOW,
              " %s : Sending cmi_req_respfor MTS_OPC_VYN_CONFIG_REQ : msg_type = %d ", function,
              request.query_type);
    vyn_trace(VYN_TRACE_FLOW, "request.static_peer.addr_type = %d, request.static_peer.addr = %s ",
              key.addr_type, vyn_field(key.addr));
    vyn_reply reply;
    if (u32 error = vyn_query(MTS_OPC_VYN_CONFIG_REQ, vyn_read_msg_type(exact), &request, &reply,
                              function, "%s : VYN failed to return response for Peers query: %s \n",
                              "%s : VYN returned Null response for Static Peers query \n"))
        return static_cast<int>(error);
    if (!reply.present())
        return VYN_SERVE_LAST_ROW;
    row_static_peer = reply.read(&vyn_snmp_resp::resp_static_peer);
    vyn_trace(VYN_TRACE_FLOW,
              "resp_p->resp_static_peer.addr_type = %d, resp_p->resp_static_peer.addr = %s ",
              row_static_peer.addr_type, vyn_field(row_static_peer.addr));
    vyn_oid_builder row_oid(vp->name, vp->namelen);
    vyn_put_address(&row_oid, row_static_peer.addr_type, row_static_peer.addr);
    return row_oid.commit(name, length) ? 0 : -1;
}

u_char *get_vynStatPeersTable(struct variable *vp, oid *name, size_t *length, int exact,
                              size_t *var_len, WriteMethod **write_method)
{
    set_vynWriteMethod(vp->magic, write_method);
    if (header_vynStatPeersEntry(vp, name, length, exact != 0) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNSTATPEERSTATUS: return vyn_integer_value(row_static_peer.status, var_len);
    case VYNSTATPEERADDRSTORAGETYPE: return vyn_integer_value(ST_NONVOLATILE, var_len);
    case VYNSTATPEERADDRROWSTATUS: return vyn_integer_value(SNMP_ROW_ACTIVE, var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}

// --- Writes ---

static constexpr char row_status_function[] = "set_vynStatPeerAddrRowStatus";

static constexpr vyn_integer_checks row_status_checks =
    vyn_row_status_checks("write to set_vynStatPeerAddrRowStatus not ASN_INTEGER\n",
                          "write toset_vynStatPeerAddrRowStatus: bad length\n",
                          "write to vynStatPeerAddrRowStatus:wrong value\n");

// Decodes the peer that the OID of a SET names. Returns 0, or -1 if the index is invalid.
static int parse_peer(const oid *name, size_t length, vyn_static_peer *peer)
{
    return get_vynStatPeersEntry_instance({name, length, VYN_INDEX_START}, VYN_INDEX_START, length,
                                          true, peer);
}

static int check_index(const oid *name, size_t length)
{
    vyn_static_peer peer;
    if (parse_peer(name, length, &peer) != 0) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : RESERVE1 instance parse fail \n", row_status_function);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE1 -- done", row_status_function);
    return SNMP_ERR_NOERROR;
}

// Reports whether a file that marks NPV mode can be opened. O_NONBLOCK: any user can create a FIFO
// in /tmp, and opening it would block the agent.
static bool in_npv_mode()
{
    constexpr int platform_flags = 128;
    constexpr int open_flags = O_RDONLY | platform_flags | O_NONBLOCK | O_CLOEXEC;
    for (const char *path : {"/tmp/fc_nport_mux", "/mnt/pss/fc_nport_mux"})
        if (const int fd = open(path, open_flags); fd >= 0) {
            close(fd);
            return true;
        }
    return false;
}

// Checks NPV mode and the address type. Returns an SNMP error.
static int check_change(const oid *name, size_t length)
{
    vyn_static_peer peer;
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying RESERVE2", row_status_function);
    if (!in_npv_mode()) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : Operation failed: NPV mode is not enabled\n",
                  row_status_function);
        vyn_report_set_error(VYN_ERR_NPV_DISABLED);
        return SNMP_ERR_GENERR;
    }
    if (parse_peer(name, length, &peer) != 0) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : RESERVE2 instance parse fail \n", row_status_function);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    if (name[VYN_INDEX_START] != VYN_ADDR_IPV4) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : Address type is not IPV4\n", row_status_function);
        vyn_report_set_error(VYN_ERR_PEER_NOT_IPV4);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE2 -- done", row_status_function);
    return SNMP_ERR_NOERROR;
}

static int send_peer(const oid *name, size_t length, long row_status)
{
    vyn_static_peer peer;
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying ACTION", row_status_function);
    parse_peer(name, length, &peer);
    switch (row_status) {
    case SNMP_ROW_CREATEANDGO: peer.op = VYN_OP_ADD; break;
    case SNMP_ROW_DESTROY: peer.op = VYN_OP_REMOVE; break;
    default: return SNMP_ERR_NOERROR;
    }
    vyn_snmp_req request = request_for(peer);
    if (int snmp_error = vyn_send_change(MTS_OPC_VYN_CONFIG_REQ, &request, row_status_function,
                                         "%s : vyn_req_resp Set failed:%s"))
        return snmp_error;
    vyn_trace(VYN_TRACE_FLOW, "%s : ACTION done", row_status_function);
    return SNMP_ERR_NOERROR;
}

int set_vynStatPeerAddrRowStatus(int action, u_char *var_val, u_char var_val_type,
                                 size_t var_val_len, u_char *, oid *name, size_t name_len)
{
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int snmp_error =
                vyn_check_integer(row_status_checks, var_val, var_val_type, var_val_len))
            return snmp_error;
        return check_index(name, name_len);
    case SNMP_MSG_INTERNAL_SET_RESERVE2: return check_change(name, name_len);
    case SNMP_MSG_INTERNAL_SET_ACTION:
        return send_peer(name, name_len, vyn_varbind_integer(var_val, var_val_len));
    default: return SNMP_ERR_NOERROR;
    }
}

int set_vynStatPeerAddrStorageType(int action, u_char *, u_char var_val_type, size_t var_val_len,
                                   u_char *, oid *, size_t)
{
    return vyn_write_storage_type(action, var_val_type, var_val_len,
                                  "write to set_vynStatPeerAddrStorageTypeASN_INTEGER\n",
                                  "write to set_vynStatPeerAddrStorageType bad length\n");
}
