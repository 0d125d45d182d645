// vynMergeMembersTable: the switches that take part in each merge, with two attributes that the
// service defines. Index: the feature's name, the scope, the VSAN as an octet string (a 0 for the
// physical scope), and the member's address. Read-only.
//
// A read is one query. The service orders the rows. In a GETNEXT index, missing characters of a
// name count as blanks.

#include "vyn_app_peer.h"
#include "vyn_values.h"

// The retained row: the last one read.
static vyn_resp_merge_member row_member;

static constexpr vyn_peer_query members_query = {
    .type = VYN_SNMP_MERGE_MEMBER,
    .function = "get_vynMergeMembersEntry_instance",
    .sending_function = "header_vynMergeMembersEntry",
    .sending = " %s : Sending cmi_req_resp for MTS_OPC_VYN_SNMP_QUERY : msg_type = %d "
               "request.req_merge_member.local_app.name = %s, "
               "request.req_merge_member.scope = %d,request.req_merge_member.vsan = %x, ",
    .sending_address = "request.req_merge_member.addr_type = %d, "
                       "request.req_merge_member.addr = %s ",
    .received = " %s : Reply for cmi_req_resp MTS_OPC_VYN_SNMP_QUERY from vyn: msg_type = %d "
                "resp_p->resp_merge_member.member.local_app.name = %s, "
                "resp_p->resp_merge_member.member.scope = %d,"
                "resp_p->resp_merge_member.member.vsan = %x \n",
    .received_address = "resp_p->resp_merge_member.member.addr_type = %d, "
                        "resp_p->resp_merge_member.member.addr = %s ",
    .failed = "%s : VYN failed to return response for Merge Member query: %s \n",
    .null_reply = "%s : VYN returned Null response for Merge Member query \n",
};

// Takes a count and its octets into the key, from a byte offset. Octets beyond the field at the
// offset overwrite the next fields.
static void take_padded(vyn_oid_cursor *index, vyn_app_peer *key, size_t offset)
{
    uint8_t octets[VYN_MAX_OCTETS];
    const size_t count = index->take_octet_count();
    // Quirk: missing octets count as 0xFF, so a walk skips the rows that start with the given ones.
    memset(octets, 0xFF, count);
    index->take_octets(octets, count);
    memcpy(reinterpret_cast<uint8_t *>(key) + offset, octets, count);
}
static_assert(offsetof(vyn_app_peer, addr) + VYN_MAX_OCTETS <= sizeof(vyn_app_peer));

static void decode_next(vyn_oid_cursor index, vyn_app_peer *key)
{
    oid value;
    if (oid length; !vyn_oid_cursor(index).take(&length) || length == 0)
        return;
    index.take_partial_app_name(key->local_app.name);
    if (index.take(&value))
        key->scope = static_cast<uint32_t>(value);
    take_padded(&index, key, offsetof(vyn_app_peer, vsan));
    if (index.take(&value))
        key->addr_type = static_cast<uint32_t>(value);
    take_padded(&index, key, offsetof(vyn_app_peer, addr));
}

static bool commit_row(const struct variable *vp, const vyn_app_peer &member, oid *name,
                       size_t *length)
{
    vyn_oid_builder row_oid(vp->name, vp->namelen);
    row_oid.put_name(member.local_app.name, vyn_field(member.local_app.name).length());
    if (!vyn_put_peer_scope(&row_oid, member)) {
        // Quirk: without a scope, both sub-identifiers are those of the requested OID, or 0.
        row_oid.put_from(name, *length);
        row_oid.put_from(name, *length);
    }
    vyn_put_address(&row_oid, member.addr_type, member.addr);
    return row_oid.commit(name, length);
}

// Finds the row, retains it and writes its index to name and length. Returns 0 if there is a row to
// serve, else -1 or the system error of the query.
static int header_vynMergeMembersEntry(const struct variable *vp, oid *name, size_t *length,
                                       bool exact)
{
    vyn_trace_read(members_query.function, exact, *length, vp->namelen);
    vyn_snmp_req request = vyn_request(members_query.type);
    vyn_app_peer &key = request.request.req_merge_member.peer;
    const vyn_oid_cursor index = vyn_index_of(vp, name, *length, exact);
    if (!exact)
        decode_next(index, &key);
    else if (!vyn_take_feature_peer(index, &key, members_query.function, VYN_TRACE_FAILURE))
        return -1;

    vyn_reply reply;
    if (u32 error = vyn_query_peer(members_query, exact, &request, &reply))
        return static_cast<int>(error);
    if (!reply.present())
        return VYN_SERVE_LAST_ROW;
    reply.read_into(&row_member, &vyn_snmp_resp::resp_merge_member);
    vyn_trace_peer(members_query, exact, row_member.member);
    return commit_row(vp, row_member.member, name, length) ? 0 : -1;
}

u_char *get_vynMergeMembersTable(struct variable *vp, oid *name, size_t *length, int exact,
                                 size_t *var_len, WriteMethod **)
{
    if (header_vynMergeMembersEntry(vp, name, length, exact != 0) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNMERGEMEMBERATTR1: return vyn_integer_value(row_member.attr1, var_len);
    case VYNMERGEMEMBERATTR2: return vyn_integer_value(row_member.attr2, var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}
