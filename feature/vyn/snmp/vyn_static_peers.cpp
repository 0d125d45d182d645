// vynStatPeersTable: peers given by their address instead of being discovered. Index: the address.
// A row is the status of the peer, which is the service's to explain, a fixed storage type and a
// fixed row status; a read is one query.
//
// A SET of the row status adds the peer (createAndGo) or removes it (destroy), sent in ACTION and
// not undone; active changes nothing. Every one of them needs NPV mode, whose mark is that one of
// two files is there, and an IPv4 address. Nothing is kept between the phases.
//
// Odd on purpose: a GET of a textual address under 4 characters is refused, though a walk returns
// it. After a null reply the row before it is served again, under the OID that was asked for.

#include <fcntl.h>
#include <unistd.h>

#include "vyn_app_peer.h"
#include "vyn_index.h"
#include "vyn_set.h"
#include "vyn_values.h"

// The row last read.
static vyn_resp_static_peer row_static_peer;

// --- Reads ---

// Fills the key from an OID, whose index begins behind a column's of `base` sub-identifiers: 0, or
// -1 when an exact one is none.
static int get_vynStatPeersEntry_instance(vyn_oid_cursor index, size_t base, size_t length,
                                          bool exact, vyn_static_peer *key)
{
    static constexpr char own_name[] = "get_vynStatPeersEntry_instance";
    *key = {};
    vyn_trace_read(own_name, exact, length, base);
    if (!exact) {
        vyn_take_partial_address(&index, &key->addr_type, key->addr);
        return 0;
    }
    return vyn_take_leading_address(index, &key->addr_type, key->addr, own_name, VYN_TRACE_FAILURE)
               ? 0
               : -1;
}

static vyn_snmp_req request_for(const vyn_static_peer &peer)
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_STATIC_PEER);
    request.request.static_peer = peer;
    return request;
}

// Finds the row, keeps it and writes its index into name and length. 0 when there is a row to
// serve; otherwise -1 or the system error of the query.
static int header_vynStatPeersEntry(const struct variable *vp, oid *name, size_t *length,
                                    bool exact)
{
    static constexpr char own_name[] = "header_vynStatPeersEntry";
    vyn_static_peer key;
    if (int none = get_vynStatPeersEntry_instance(vyn_index_of(vp, name, *length, exact),
                                                  vp->namelen, *length, exact, &key))
        return none;

    vyn_snmp_req request = request_for(key);
    // The text says msg_type, and what it shows is the type of the query.
    vyn_trace(VYN_TRACE_FLOW,
              " %s : Sending cmi_req_respfor MTS_OPC_VYN_CONFIG_REQ : msg_type = %d ", own_name,
              request.query_type);
    vyn_trace(VYN_TRACE_FLOW, "request.static_peer.addr_type = %d, request.static_peer.addr = %s ",
              key.addr_type, vyn_field(key.addr));
    vyn_reply reply;
    if (u32 error = vyn_query(MTS_OPC_VYN_CONFIG_REQ, vyn_read_msg_type(exact), &request, &reply,
                              own_name, "%s : VYN failed to return response for Peers query: %s \n",
                              "%s : VYN returned Null response for Static Peers query \n"))
        return static_cast<int>(error);
    if (!reply.present())
        return 0;
    row_static_peer = reply.read(&vyn_snmp_resp::resp_static_peer);
    vyn_trace(VYN_TRACE_FLOW,
              "resp_p->resp_static_peer.addr_type = %d, resp_p->resp_static_peer.addr = %s ",
              row_static_peer.addr_type, vyn_field(row_static_peer.addr));
    vyn_oid_builder row(vp->name, vp->namelen);
    vyn_put_address(&row, row_static_peer.addr_type, row_static_peer.addr);
    return row.commit(name, length) ? 0 : -1;
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

static constexpr char row_status_name[] = "set_vynStatPeerAddrRowStatus";

static constexpr vyn_integer_checks row_status_checks =
    vyn_row_status_checks("write to set_vynStatPeerAddrRowStatus not ASN_INTEGER\n",
                          "write toset_vynStatPeerAddrRowStatus: bad length\n",
                          "write to vynStatPeerAddrRowStatus:wrong value\n");

// The peer that a SET's OID names.
static int parse_peer(const oid *name, size_t length, vyn_static_peer *peer)
{
    return get_vynStatPeersEntry_instance({name, length, VYN_INDEX_START}, VYN_INDEX_START, length,
                                          true, peer);
}

static int check_index(const oid *name, size_t length)
{
    vyn_static_peer peer;
    if (parse_peer(name, length, &peer) != 0) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : RESERVE1 instance parse fail \n", row_status_name);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE1 -- done", row_status_name);
    return SNMP_ERR_NOERROR;
}

// Reports whether a file that marks NPV mode can be opened. Everyone may make files in /tmp, and
// without O_NONBLOCK opening a FIFO there would wait for a writer and hold up the agent.
static bool in_npv_mode()
{
    constexpr int platform_flags = 128;
    constexpr int open_flags = O_RDONLY | platform_flags | O_NONBLOCK | O_CLOEXEC;
    for (const char *mark : {"/tmp/fc_nport_mux", "/mnt/pss/fc_nport_mux"})
        if (const int file = open(mark, open_flags); file >= 0) {
            close(file);
            return true;
        }
    return false;
}

// Whether a change of this peer is possible at all.
static int check_change(const oid *name, size_t length)
{
    vyn_static_peer peer;
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying RESERVE2", row_status_name);
    if (!in_npv_mode()) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : Operation failed: NPV mode is not enabled\n",
                  row_status_name);
        vyn_report_set_error(VYN_ERR_NPV_DISABLED);
        return SNMP_ERR_GENERR;
    }
    if (parse_peer(name, length, &peer) != 0) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : RESERVE2 instance parse fail \n", row_status_name);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    if (name[VYN_INDEX_START] != VYN_ADDR_IPV4) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : Address type is not IPV4\n", row_status_name);
        vyn_report_set_error(VYN_ERR_PEER_NOT_IPV4);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE2 -- done", row_status_name);
    return SNMP_ERR_NOERROR;
}

static int send_change(const oid *name, size_t length, long row_status)
{
    vyn_static_peer peer;
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying ACTION", row_status_name);
    parse_peer(name, length, &peer);
    switch (row_status) {
    case SNMP_ROW_CREATEANDGO: peer.op = VYN_OP_ADD; break;
    case SNMP_ROW_DESTROY: peer.op = VYN_OP_REMOVE; break;
    default: return SNMP_ERR_NOERROR;
    }
    vyn_snmp_req request = request_for(peer);
    if (int failure = vyn_send_change(MTS_OPC_VYN_CONFIG_REQ, &request, row_status_name,
                                      "%s : vyn_req_resp Set failed:%s"))
        return failure;
    vyn_trace(VYN_TRACE_FLOW, "%s : ACTION done", row_status_name);
    return SNMP_ERR_NOERROR;
}

int set_vynStatPeerAddrRowStatus(int action, u_char *var_val, u_char var_val_type,
                                 size_t var_val_len, u_char *, oid *name, size_t name_len)
{
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int refusal = vyn_check_integer(row_status_checks, var_val, var_val_type, var_val_len))
            return refusal;
        return check_index(name, name_len);
    case SNMP_MSG_INTERNAL_SET_RESERVE2: return check_change(name, name_len);
    case SNMP_MSG_INTERNAL_SET_ACTION:
        return send_change(name, name_len, vyn_varbind_integer(var_val, var_val_len));
    default: return SNMP_ERR_NOERROR;
    }
}

int set_vynStatPeerAddrStorageType(int action, u_char *, u_char var_val_type, size_t var_val_len,
                                   u_char *, oid *, size_t)
{
    return vyn_set_storage_type(action, var_val_type, var_val_len,
                                "write to set_vynStatPeerAddrStorageTypeASN_INTEGER\n",
                                "write to set_vynStatPeerAddrStorageType bad length\n");
}
