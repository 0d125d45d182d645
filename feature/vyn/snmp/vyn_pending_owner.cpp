// vynPendingConfOwnerTable: the owner of each feature's lock, which is taken while its
// configuration is changed. A row exists for each lock that is taken. Index: the feature's name and
// the scope: 1 for the physical scope, 2.4 and the VSAN's four octets for a logical one.
//
// Read-only. A read is one query. In a GETNEXT index, missing octets count as 0 and missing
// characters of a name as blanks.

#include "vyn_app_peer.h"
#include "vyn_index.h"
#include "vyn_service.h"
#include "vyn_values.h"

static constexpr char merge_process_shown[] = "VYN";

// The retained row: the last one read.
static vyn_resp_lock_state row_state;
static vyn_lock_info &row_lock = row_state.lock_info[0];

// --- Index ---

static constexpr char function[] = "get_vynPendingConfOwnerEntry_instance";

static bool decode_exact(vyn_oid_cursor index, vyn_lock_key *key)
{
    return vyn_take_key_name(&index, key->local_app.name, function) &&
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
              function, uint32_t{msg_type}, vyn_field(lock.app.name), lock.scope, lock.vsan);
    vyn_trace(VYN_TRACE_FLOW,
              " resp_p->resp_app_lock_state.lock_info[0].user_name = %s, "
              "resp_p->resp_app_lock_state.lock_info[0].ip_address = %x \n",
              vyn_field(lock.user_name), lock.ip_address);
}

// Finds the row, retains it and writes its index to name and length. Returns 0 if there is a row to
// serve, else -1 or the system error of the query.
static int header_vynPendingConfOwnerEntry(const struct variable *vp, oid *name, size_t *length,
                                           bool exact)
{
    vyn_trace_read(function, exact, *length, vp->namelen);
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
        vyn_query(MTS_OPC_VYN_SNMP_QUERY, msg_type, &request, &reply, function,
                  "%s : VYN failed to return response for Pending config owner query: %s \n",
                  "%s : VYN returned Null response for Pending config owner query \n");
    if (error != 0)
        return static_cast<int>(error);
    if (!reply.present())
        return VYN_SERVE_LAST_ROW;

    const auto state = reply.read(&vyn_snmp_resp::resp_app_lock_state);
    const vyn_lock_info &lock = state.lock_info[0];
    trace_reply(msg_type, lock);
    if (exact && lock.taken == 0) {
        vyn_trace(VYN_TRACE_FAILURE,
                  " %s : VYN returned response - lock is not taken for the app \n", function);
        return -1;
    }
    row_state = state;
    return vyn_commit_scoped_row(vp, lock.app.name, lock.scope, lock.vsan, name, length) ? 0 : -1;
}

// --- Values ---

// The merge process of the service holds locks under a name of its own.
static bool held_by_merge_process()
{
    const vyn_field user(row_lock.user_name);
    return user.length() == strlen(VYN_LOCK_MERGE_USER) &&
           memcmp(user.text, VYN_LOCK_MERGE_USER, user.length()) == 0;
}

static u_char *address_value(size_t *var_len)
{
    *var_len = vyn_addr_length(row_lock.addr_type, row_lock.addr);
    return reinterpret_cast<u_char *>(row_lock.addr);
}

// Returns a bit string: 0x80 the merge process, 0x40 a marked user, 0x30 another user.
static u_char *user_type_value(size_t *var_len)
{
    const u_char user_type = held_by_merge_process()                       ? 0x80
                             : row_lock.user_name[0] != VYN_LOCK_USER_MARK ? 0x30
                                                                           : 0x40;
    return vyn_octets_value(&user_type, sizeof(user_type), var_len);
}

static u_char *user_name_value(size_t *var_len)
{
    // Quirk: this changes the retained row, which then reads as a lock of the user "VYN".
    if (held_by_merge_process())
        memcpy(row_lock.user_name, merge_process_shown, sizeof(merge_process_shown));
    const size_t mark_length = row_lock.user_name[0] == VYN_LOCK_USER_MARK ? 1 : 0;
    *var_len = vyn_field(row_lock.user_name).length() - mark_length;
    return reinterpret_cast<u_char *>(row_lock.user_name) + mark_length;
}

u_char *get_vynPendingConfOwnerTable(struct variable *vp, oid *name, size_t *length, int exact,
                                     size_t *var_len, WriteMethod **)
{
    if (header_vynPendingConfOwnerEntry(vp, name, length, exact != 0) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNPENDINGCONFOWNERADDRTYPE: return vyn_integer_value(row_lock.addr_type, var_len);
    case VYNPENDINGCONFOWNERADDR: return address_value(var_len);
    case VYNPENDINGCONFOWNERUSERTYPE: return user_type_value(var_len);
    case VYNPENDINGCONFOWNERUSERNAME: return user_name_value(var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}
