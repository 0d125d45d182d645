// vynPendingConfOwnerTable: who holds a feature's lock while its configuration is being changed.
// Rows exist where a lock is taken. Index: the feature's name and the scope: 1 for the physical
// scope, 2.4 and the VSAN's four octets for a logical one. Read-only; a read is one query.
//
// Odd on purpose: the index of a physical lock ends with the scope, and a GET that goes on with the
// zero of an empty VSAN is no row. The service's scopes are the other way around than the index's.
// The merge process of the service holds locks under a name of its own; reading its user name
// writes the name that managers see over the retained one, and what is read from the retained row
// after that sees it. After a null reply the row before it is served again, under the OID that was
// asked for.

#include "vyn_app_peer.h"
#include "vyn_index.h"
#include "vyn_service.h"
#include "vyn_values.h"

static constexpr char merge_process[] = "$VYN$Merge";
static constexpr char merge_process_shown[] = "VYN";
static constexpr char mark = '\xF9'; // in front of a marked user's name, and no part of it

// The row last read.
static vyn_resp_lock_state row_state;
static vyn_lock_info &row_lock = row_state.lock_info[0];

// --- Index ---

static const char own_name[] = "get_vynPendingConfOwnerEntry_instance";

static bool decode_exact(vyn_oid_cursor index, vyn_lock_key *key)
{
    return vyn_take_key_name(&index, key->local_app.name, own_name) &&
           index.take_service_scope(&key->scope, &key->min_vsan);
}

static void decode_next(vyn_oid_cursor index, vyn_lock_key *key)
{
    oid scope = 0, vsan_length;
    if (index.left() == 0)
        return;
    index.take_partial_app_name(key->local_app.name);
    index.take(&scope);
    key->scope = vyn_service_scope_of(scope);
    if (index.take(&vsan_length))
        index.take_into(key, offsetof(vyn_lock_key, min_vsan), index.left());
}

// --- Query ---

static void trace_request(vyn_msg_type msg_type, const vyn_lock_key &key)
{
    vyn_trace(VYN_TRACE_FLOW,
              " %s : Sending cmi_req_resp for MTS_OPC_VYN_SNMP_QUERY :msg_type = %d"
              "request.req_app_lock_state.local_app.name = %s, "
              "request.req_app_lock_state.scope = %d,request.req_app_lock_state.min_vsan = %x",
              "header_vynPendingConfOwnerEntry", uint32_t{msg_type}, vyn_field(key.local_app.name),
              key.scope, key.min_vsan);
}

static void trace_reply(vyn_msg_type msg_type, const vyn_lock_info &lock)
{
    vyn_trace(VYN_TRACE_FLOW,
              " %s : Reply for cmi_req_resp MTS_OPC_VYN_SNMP_QUERY  from vyn:msg_type = %d "
              "resp_p->resp_app_lock_state.lock_info[0].app.name = %s,  "
              "resp_p->resp_app_lock_state.scope = %d, "
              "resp_p->resp_app_lock_state.lock_info[0].vsan = %x \n",
              own_name, uint32_t{msg_type}, vyn_field(lock.app.name), lock.scope, lock.vsan);
    vyn_trace(VYN_TRACE_FLOW,
              " resp_p->resp_app_lock_state.lock_info[0].user_name = %s, "
              "resp_p->resp_app_lock_state.lock_info[0].ip_address = %x \n",
              vyn_field(lock.user_name), lock.ip_address);
}

// Finds the row, keeps it and writes its index into name and length. 0 when there is a row to
// serve; otherwise -1 or the system error of the query.
static int get_vynPendingConfOwnerEntry_instance(const struct variable *vp, oid *name,
                                                 size_t *length, bool exact)
{
    vyn_trace_read(own_name, exact, *length, vp->namelen);
    vyn_snmp_req request = vyn_request(VYN_SNMP_APP_LOCK_STATE);
    vyn_lock_key key{};
    const vyn_oid_cursor index = vyn_index_of(vp, name, *length, exact);
    if (!exact)
        decode_next(index, &key);
    else if (!decode_exact(index, &key))
        return -1;
    request.request.req_app_lock_state = key;

    const vyn_msg_type msg_type = vyn_read_msg_type(exact);
    trace_request(msg_type, key);
    vyn_reply reply;
    const u32 error =
        vyn_query(MTS_OPC_VYN_SNMP_QUERY, msg_type, &request, &reply, own_name,
                  "%s : VYN failed to return response for Pending config owner query: %s \n",
                  "%s : VYN returned Null response for Pending config owner query \n");
    if (error != 0)
        return static_cast<int>(error);
    if (!reply.present())
        return 0;

    const auto state = reply.read(&vyn_snmp_resp::resp_app_lock_state);
    const vyn_lock_info &lock = state.lock_info[0];
    trace_reply(msg_type, lock);
    if (exact && lock.taken == 0) {
        vyn_trace(VYN_TRACE_FAILURE,
                  " %s : VYN returned response - lock is not taken for the app \n", own_name);
        return -1;
    }
    row_state = state;
    return vyn_commit_scoped_row(vp, lock.app.name, lock.scope, lock.vsan, name, length) ? 0 : -1;
}

// --- Values ---

static bool held_by_merge_process()
{
    const vyn_field user(row_lock.user_name);
    return user.length() == strlen(merge_process) &&
           memcmp(user.text, merge_process, user.length()) == 0;
}

static u_char *address_value(size_t *var_len)
{
    *var_len = vyn_addr_length(row_lock.addr_type, row_lock.addr);
    return reinterpret_cast<u_char *>(row_lock.addr);
}

static u_char *user_type_value(size_t *var_len)
{
    const u_char kind = held_by_merge_process()         ? 0x80
                        : row_lock.user_name[0] != mark ? 0x30
                                                        : 0x40;
    return vyn_octets_value(&kind, sizeof(kind), var_len);
}

static u_char *user_name_value(size_t *var_len)
{
    if (held_by_merge_process())
        memcpy(row_lock.user_name, merge_process_shown, sizeof(merge_process_shown));
    const size_t skipped = row_lock.user_name[0] == mark ? 1 : 0;
    *var_len = vyn_field(row_lock.user_name).length() - skipped;
    return reinterpret_cast<u_char *>(row_lock.user_name) + skipped;
}

u_char *get_vynPendingConfOwnerTable(struct variable *vp, oid *name, size_t *length, int exact,
                                     size_t *var_len, WriteMethod **)
{
    if (get_vynPendingConfOwnerEntry_instance(vp, name, length, exact != 0) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNPENDINGCONFOWNERADDRTYPE: return vyn_integer_value(row_lock.addr_type, var_len);
    case VYNPENDINGCONFOWNERADDR: return address_value(var_len);
    case VYNPENDINGCONFOWNERUSERTYPE: return user_type_value(var_len);
    case VYNPENDINGCONFOWNERUSERNAME: return user_name_value(var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}
