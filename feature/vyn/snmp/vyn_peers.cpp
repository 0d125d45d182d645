// vynPeersTable: the switches that a discovery has found. Index: the peer's address.
// vynFeaturePeersTable: the peers that distribute each feature. Index: the feature's name, the
// scope, the VSAN as an octet string (a 0 for the physical scope), and the peer's address.
//
// Each table has one column, the address, which is read-only. A read is one query, for the named
// row or for the next one. In a GETNEXT index, missing octets count as 0 and missing characters of
// a name as blanks.

#include "vyn_app_peer.h"
#include "vyn_values.h"

// The retained rows: the last ones read.
static vyn_resp_peer row_peer, row_feature_peer;

static u_char *address_value(vyn_app_peer &peer, size_t *var_len)
{
    *var_len = vyn_addr_length(peer.addr_type, peer.addr);
    return reinterpret_cast<u_char *>(peer.addr);
}

// --- The peers of the fabric ---

static constexpr vyn_peer_query peers_query = {
    .type = VYN_SNMP_PHY_DISC_PEER,
    .function = "get_vynPeersEntry_instance",
    .sending_function = "header_vynPeersEntry",
    .sending = " %s : Sending cmi_req_respfor MTS_OPC_VYN_SNMP_QUERY : msg_type = %d "
               "request.req_phy_disc_peer.local_app.name = %s, "
               "request.req_phy_disc_peer.scope = %d,request.req_phy_disc_peer.vsan = %x, ",
    .sending_address = "request.req_phy_disc_peer.addr_type = %d, "
                       "request.req_phy_disc_peer.addr = %s ",
    .received = " %s : Reply for cmi_req_resp MTS_OPC_VYN_SNMP_QUERYfrom vyn: msg_type = %d "
                "resp_p->resp_phy_disc_peer.local_app.name = %s, "
                "resp_p->resp_phy_disc_peer.scope = %d,resp_p->resp_phy_disc_peer.vsan = %x \n",
    .received_address = "resp_p->resp_phy_disc_peer.addr_type = %d, "
                        "resp_p->resp_phy_disc_peer.addr = %s ",
    .failed = "%s : VYN failed to return response for Peers query: %s \n",
    .null_reply = "%s : VYN returned Null response for Peers query \n",
};

// Decodes the key from an index. Returns 0, or -1 if an exact index is invalid.
static int get_vynPeersEntry_instance(vyn_oid_cursor index, bool exact, vyn_app_peer *key)
{
    if (exact)
        return vyn_take_leading_address(index, &key->addr_type, key->addr, peers_query.function,
                                        VYN_TRACE_FLOW)
                   ? 0
                   : -1;
    vyn_take_partial_address(&index, &key->addr_type, key->addr);
    return 0;
}

// Finds the row, retains it and writes its index to name and length. Returns 0 if there is a row to
// serve, else -1 or the system error of the query.
static int header_vynPeersEntry(const struct variable *vp, oid *name, size_t *length, bool exact)
{
    vyn_trace_read(peers_query.function, exact, *length, vp->namelen);
    vyn_snmp_req request = vyn_request(peers_query.type);
    const vyn_oid_cursor index = vyn_index_of(vp, name, *length, exact);
    if (int error =
            get_vynPeersEntry_instance(index, exact, &request.request.req_phy_disc_peer.peer))
        return error;

    vyn_reply reply;
    if (u32 error = vyn_query_peer(peers_query, exact, &request, &reply))
        return static_cast<int>(error);
    if (!reply.present())
        return VYN_SERVE_LAST_ROW;
    reply.read_into(&row_peer, &vyn_snmp_resp::resp_phy_disc_peer);
    vyn_trace_peer(peers_query, exact, row_peer.peer);
    vyn_oid_builder row_oid(vp->name, vp->namelen);
    vyn_put_address(&row_oid, row_peer.peer.addr_type, row_peer.peer.addr);
    return row_oid.commit(name, length) ? 0 : -1;
}

u_char *get_vynPeersTable(struct variable *vp, oid *name, size_t *length, int exact,
                          size_t *var_len, WriteMethod **)
{
    if (header_vynPeersEntry(vp, name, length, exact != 0) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNPEERSADDR: return address_value(row_peer.peer, var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}

// --- The peers of each feature ---

static constexpr vyn_peer_query feature_peers_query = {
    .type = VYN_SNMP_APP_PEER,
    .function = "get_vynFeaturePeersEntry_instance",
    .sending_function = "get_vynFeaturePeersEntry_instance",
    .sending = " %s : Sending cmi_req_resp for  MTS_OPC_VYN_SNMP_QUERY : msg_type = %d "
               "request.req_app_peer.local_app.name = %s, request.req_app_peer.scope = %d,"
               "request.req_app_peer.vsan = %x, ",
    .sending_address = "request.req_app_peer.addr_type = %d, request.req_app_peer.addr = %s ",
    .received = " %s : Reply for cmi_req_resp MTS_OPC_VYN_SNMP_QUERYfrom vyn: msg_type = %d "
                "resp_p->resp_app_peer.local_app.name = %s, resp_p->resp_app_peer.scope = %d,"
                "resp_p->resp_app_peer.vsan = %x \n",
    .received_address = "resp_p->resp_app_peer.addr_type = %d, resp_p->resp_app_peer.addr = %s ",
    .failed = "%s : VYN failed to return response for Peers Feature query: %s \n",
    .null_reply = "%s : VYN returned Null response for Peers Feature query \n",
};

static void decode_next(vyn_oid_cursor index, vyn_app_peer *key)
{
    oid scope;
    index.take_partial_app_name(key->local_app.name);
    if (index.take(&scope))
        key->scope = static_cast<uint32_t>(scope);
    index.take_into(key, offsetof(vyn_app_peer, vsan), index.take_octet_count());
    vyn_take_partial_address(&index, &key->addr_type, key->addr);
}

// Decodes the key from an index. Returns 0, or -1 if an exact index is invalid.
static int get_vynFeaturePeersEntry_instance(vyn_oid_cursor index, bool exact, vyn_app_peer *key)
{
    if (exact)
        return vyn_take_feature_peer(index, key, feature_peers_query.function, VYN_TRACE_FLOW) ? 0
                                                                                               : -1;
    decode_next(index, key);
    return 0;
}

// Finds the row, retains it and writes its index to name and length. Returns 0 if there is a row to
// serve, else -1 or the system error of the query.
static int header_vynFeaturePeersEntry(const struct variable *vp, oid *name, size_t *length,
                                       bool exact)
{
    vyn_trace_read(feature_peers_query.function, exact, *length, vp->namelen);
    vyn_snmp_req request = vyn_request(feature_peers_query.type);
    const vyn_oid_cursor index = vyn_index_of(vp, name, *length, exact);
    if (int error =
            get_vynFeaturePeersEntry_instance(index, exact, &request.request.req_app_peer.peer))
        return error;

    vyn_reply reply;
    if (u32 error = vyn_query_peer(feature_peers_query, exact, &request, &reply))
        return static_cast<int>(error);
    if (!reply.present())
        return VYN_SERVE_LAST_ROW;
    reply.read_into(&row_feature_peer, &vyn_snmp_resp::resp_app_peer);
    const vyn_app_peer &peer = row_feature_peer.peer;
    vyn_trace_peer(feature_peers_query, exact, peer);
    vyn_oid_builder row_oid(vp->name, vp->namelen);
    row_oid.put_name(peer.local_app.name, vyn_field(peer.local_app.name).length());
    if (!vyn_put_peer_scope(&row_oid, peer)) {
        row_oid.put(peer.scope);
        row_oid.put(0);
    }
    vyn_put_address(&row_oid, peer.addr_type, peer.addr);
    return row_oid.commit(name, length) ? 0 : -1;
}

u_char *get_vynFeaturePeersTable(struct variable *vp, oid *name, size_t *length, int exact,
                                 size_t *var_len, WriteMethod **)
{
    if (header_vynFeaturePeersEntry(vp, name, length, exact != 0) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNFEATUREPEERSADDR: return address_value(row_feature_peer.peer, var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}
