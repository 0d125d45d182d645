// vynFeatureRegionTable: the region that each feature is assigned to. Index: the feature's name and
// the scope: 1 for the physical scope, 2.4 and the VSAN's four octets for a logical one. A row is
// the number of the region, a fixed storage type and a fixed status; a read is one query.
//
// An assignment is made by one SET of the status, createAndGo, and of the region, in this order:
// the two writes meet in a row of vyn_app_regions, which the first makes, the second fills and
// completes and the first sends, in ACTION. The region alone changes an assignment, destroy removes
// it. Nothing is undone.
//
// Odd on purpose: a GET or SET reads the scope where the name begins, so it asks for the feature in
// no scope; only walks have one. The status write leaves its row in vyn_app_regions when the SET
// has succeeded or is undone, and takes one of the number 0 out of vyn_regions instead. The region
// write takes the row out; one that a createAndGo without a region has left stays until the
// feature's region is written, or a SET of its status is freed.

#include "vyn_index.h"
#include "vyn_row_cache.h"
#include "vyn_set.h"
#include "vyn_values.h"

// --- Index ---

static constexpr char parse_name[] = "get_vynFeatureRegionEntry_instance";

static bool decode_exact(vyn_oid_cursor index, vyn_feature_region_rec *row)
{
    vyn_oid_cursor scope = index;
    if (!vyn_take_key_name(&index, row->app_name, parse_name) || index.left() == 0)
        return false;
    scope.skip(1);
    scope.take_scope_into(row);
    return true;
}

static void decode_next(vyn_oid_cursor index, vyn_feature_region_rec *row)
{
    if (index.left() == 0)
        return;
    index.take_partial_app_name(row->app_name);
    index.take_scope_into(row);
}

// Fills the record from an index: 0, or -1 when an exact one is none.
static int get_vynFeatureRegionEntry_instance(vyn_oid_cursor index, bool exact,
                                              vyn_feature_region_rec *row)
{
    *row = {};
    if (exact && !decode_exact(index, row))
        return -1;
    if (!exact)
        decode_next(index, row);
    return 0;
}

// --- Reads ---

static vyn_snmp_req request_for(const vyn_feature_region_rec &row)
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_FEATURE_REGION);
    request.request.feature_region = row;
    return request;
}

// 0, with the assignment found in *found; otherwise -1 or the system error of the query.
static int query_assignment(const vyn_feature_region_rec &key, bool exact,
                            vyn_resp_feature_region *found)
{
    vyn_snmp_req request = request_for(key);
    vyn_reply reply;
    if (u32 error = vyn_query_region(&request, exact, &reply, "header_vynFeatureRegionEntry"))
        return static_cast<int>(error);
    *found = reply.read(&vyn_snmp_resp::resp_feature_region);
    return reply.present() ? 0 : -1;
}

static void trace_query()
{
    vyn_trace(VYN_TRACE_FAILURE, "At get_vynFeatureRegionEntry_ins..\n");
}

// Finds the row and writes its index into name and length. 0 when there is one; otherwise -1 or the
// system error of the query.
static int header_vynFeatureRegionEntry(const struct variable *vp, oid *name, size_t *length,
                                        bool exact, vyn_resp_feature_region *found)
{
    trace_query();
    if (!exact && *length > vp->namelen)
        vyn_trace(VYN_TRACE_FAILURE, "appname_len:%d, remaining_len:%d",
                  static_cast<uint32_t>(name[vp->namelen]),
                  static_cast<uint32_t>(*length - vp->namelen - 1));
    vyn_feature_region_rec key;
    if (int none =
            get_vynFeatureRegionEntry_instance(vyn_index_of(vp, name, *length, exact), exact, &key))
        return none;
    if (int error = query_assignment(key, exact, found))
        return error;
    return vyn_commit_scoped_row(vp, found->app_name, found->scope, found->vsan, name, length) ? 0
                                                                                               : -1;
}

u_char *get_vynFeatureRegionTable(struct variable *vp, oid *name, size_t *length, int exact,
                                  size_t *var_len, WriteMethod **write_method)
{
    vyn_resp_feature_region found;
    set_vynWriteMethod(vp->magic, write_method);
    if (header_vynFeatureRegionEntry(vp, name, length, exact != 0, &found) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNFEATUREREGIONID: return vyn_integer_value(found.region_id, var_len);
    case VYNFEATUREREGIONSTORAGE: return vyn_integer_value(ST_NONVOLATILE, var_len);
    case VYNFEATUREREGIONSTATUS: return vyn_integer_value(SNMP_ROW_ACTIVE, var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}

// --- Writes ---

// What a phase of a SET finds: the index, decoded, and the row that waits, if any.
struct assignment {
    bool parsed;
    vyn_feature_region_rec row;
    vyn_feature_region_rec *waiting; // in vyn_app_regions
};

static assignment find_assignment(const oid *name, size_t length)
{
    assignment found{};
    const vyn_oid_cursor index(name, length, VYN_INDEX_START);
    found.parsed = get_vynFeatureRegionEntry_instance(index, true, &found.row) == 0;
    // Octets that run on from the VSAN may have filled the name; here it is a key, and ends.
    found.row.app_name[sizeof(found.row.app_name) - 1] = '\0';
    if (found.parsed)
        found.waiting = vyn_find_row<vyn_feature_region_rec>(vyn_app_regions, found.row.app_name);
    return found;
}

static int refuse_index(const char *function)
{
    vyn_trace(VYN_TRACE_FAILURE, "%s : RESERVE1 instance parse fail \n", function);
    return SNMP_ERR_INCONSISTENTVALUE;
}

// Whether the service has the assignment already.
static bool is_assigned(const vyn_feature_region_rec &row)
{
    vyn_resp_feature_region found;
    trace_query();
    return query_assignment(row, true, &found) == 0;
}

// Lets a row wait, with a mark that says which write has made it. Whether the cache has taken it
// shows when it is looked for.
static int add_waiting_row(vyn_feature_region_rec row, uint32_t create_mark)
{
    row.create_mark = create_mark;
    vyn_feature_region_rec *copy = vyn_copy_row(vyn_app_regions, row);
    if (copy == nullptr)
        return SNMP_ERR_GENERR;
    vyn_trace(VYN_TRACE_FLOW, "app_name: %s is added in to indxobj", vyn_field(row.app_name));
    vyn_add_row(vyn_app_regions, copy, row.app_name);
    return SNMP_ERR_NOERROR;
}

static int send_assignment(const vyn_feature_region_rec &row, const char *function)
{
    vyn_snmp_req request = request_for(row);
    if (int failure = vyn_send_change(MTS_OPC_VYN_CONFIG_REQ, &request, function,
                                      "%s : vyn_req_resp Set failed:%s"))
        return failure;
    vyn_trace(VYN_TRACE_FLOW, "%s : ACTION done", function);
    return SNMP_ERR_NOERROR;
}

// A SET has ended, one way or another: takes the feature's row out.
static int drop_waiting_row(const oid *name, size_t length, const char *function,
                            vyn_format<const char *> done)
{
    const assignment entry = find_assignment(name, length);
    if (entry.parsed)
        vyn_drop_row(vyn_app_regions, entry.row.app_name);
    vyn_trace(VYN_TRACE_FLOW, done, function);
    return SNMP_ERR_NOERROR;
}

// --- The status ---

static constexpr char status_function[] = "set_vynFeatureRegionStatus";

static constexpr vyn_integer_checks status_checks =
    vyn_row_status_checks("write to vyn_FeatureRegionStatus not ASN_INTEGER\n",
                          "write tovyn_FeatureRegionStatus: bad length\n",
                          "write to vynFeatureRegionStatus:wrong value\n");

static int reserve_status(const assignment &entry, long status)
{
    const vyn_field app_name(entry.row.app_name);
    if (!entry.parsed)
        return refuse_index(status_function);
    vyn_trace(VYN_TRACE_FLOW, "from get_vynFeatureRegionEntry_instance app_name: %s ", app_name);
    if (status == SNMP_ROW_CREATEANDGO && is_assigned(entry.row)) {
        vyn_trace(VYN_TRACE_FAILURE,
                  "Feature region already presented in VYN for this application %s ", app_name);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    if (status == SNMP_ROW_CREATEANDGO && entry.waiting == nullptr)
        if (int failure = add_waiting_row(entry.row, SNMP_ROW_CREATEANDGO))
            return failure;
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE1 -- done", status_function);
    return SNMP_ERR_NOERROR;
}

static int check_status(const oid *name, size_t length, long status, u_char *stored_value)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying RESERVE2", status_function);
    vyn_mark_stored_value(stored_value);
    if (status == SNMP_ROW_CREATEANDGO) {
        const assignment entry = find_assignment(name, length);
        if (entry.waiting == nullptr) {
            vyn_trace(VYN_TRACE_FAILURE,
                      "set_vynFeatureRegionStatus is depenedent on RegionId. Unable to find "
                      "indx_objfor %s application",
                      vyn_field(entry.row.app_name));
            return SNMP_ERR_GENERR;
        }
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE2 -- done", status_function);
    return SNMP_ERR_NOERROR;
}

static int send_status(const oid *name, size_t length, long status)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying ACTION", status_function);
    assignment entry = find_assignment(name, length);
    switch (status) {
    case SNMP_ROW_CREATEANDGO:
        if (entry.waiting == nullptr)
            return SNMP_ERR_GENERR;
        entry.row = *entry.waiting;
        entry.row.op = VYN_OP_ADD;
        return send_assignment(entry.row, status_function);
    case SNMP_ROW_DESTROY:
        entry.row.op = VYN_OP_REMOVE;
        return send_assignment(entry.row, status_function);
    default: return SNMP_ERR_NOERROR;
    }
}

// The end of a SET that has come to ACTION. The feature's row stays where it is; what is taken out
// is a region's row of the number 0, which is what the index gives.
static int end_status(const oid *name, size_t length, vyn_format<const char *> done)
{
    const assignment entry = find_assignment(name, length);
    const uint32_t region_id = entry.row.region_id;
    if (entry.parsed)
        vyn_drop_row(vyn_regions, &region_id);
    vyn_trace(VYN_TRACE_FLOW, done, status_function);
    return SNMP_ERR_NOERROR;
}

int set_vynFeatureRegionStatus(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                               u_char *stored_value, oid *name, size_t name_len)
{
    const auto status = [&] { return vyn_varbind_integer(var_val, var_val_len); };
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int refusal = vyn_check_integer(status_checks, var_val, var_val_type, var_val_len))
            return refusal;
        return reserve_status(find_assignment(name, name_len), status());
    case SNMP_MSG_INTERNAL_SET_RESERVE2:
        return check_status(name, name_len, status(), stored_value);
    case SNMP_MSG_INTERNAL_SET_ACTION: return send_status(name, name_len, status());
    case SNMP_MSG_INTERNAL_SET_COMMIT: return end_status(name, name_len, "%s : COMMIT -- done");
    case SNMP_MSG_INTERNAL_SET_FREE:
        return drop_waiting_row(name, name_len, status_function, "%s : FREE -- done");
    case SNMP_MSG_INTERNAL_SET_UNDO: return end_status(name, name_len, "%s : UNDO -- done");
    default: return SNMP_ERR_NOERROR;
    }
}

// --- The region ---

static constexpr char id_function[] = "set_vynFeatureRegionId";

static constexpr vyn_integer_checks region_checks = {
    .type = ASN_UNSIGNED,
    .min_length = 0,
    .min = 1,
    .max = 255,
    .wrong_type = "write to vyn_FeatureRegionId not ASN_UNSIGNED\n",
    .wrong_length = "write tovyn_FeatureRegionId: bad length\n",
    .wrong_value = "write to vynFeatureRegionId:wrong value\n",
};

static int reserve_region(const assignment &entry)
{
    if (!entry.parsed)
        return refuse_index(id_function);
    if (entry.waiting == nullptr)
        if (int failure = add_waiting_row(entry.row, 0))
            return failure;
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE1 -- done", id_function);
    return SNMP_ERR_NOERROR;
}

// Completes the row. One that this write has made is of an assignment that has to exist.
static int check_region(const oid *name, size_t length, long region_id)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying RESERVE2", id_function);
    const assignment entry = find_assignment(name, length);
    const vyn_field app_name(entry.row.app_name);
    if (entry.waiting == nullptr) {
        vyn_trace(VYN_TRACE_FAILURE, "unable to find app_name: %s", app_name);
        return SNMP_ERR_GENERR;
    }
    entry.waiting->region_id = static_cast<uint32_t>(region_id);
    if (entry.waiting->create_mark == 0 && !is_assigned(entry.row)) {
        vyn_trace(VYN_TRACE_FAILURE, "No feature region presented in VYN for this application %s ",
                  app_name);
        vyn_report_set_error(VYN_ERR_NO_FEATURE_REGION);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE2 -- done", id_function);
    return SNMP_ERR_NOERROR;
}

// A row that the status write has made is the status write's to send.
static int send_region(const oid *name, size_t length)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying ACTION", id_function);
    const assignment entry = find_assignment(name, length);
    if (entry.waiting == nullptr)
        return SNMP_ERR_GENERR;
    if (entry.waiting->create_mark != 0)
        return SNMP_ERR_NOERROR;
    return send_assignment(*entry.waiting, id_function);
}

int set_vynFeatureRegionId(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                           u_char *, oid *name, size_t name_len)
{
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int refusal = vyn_check_integer(region_checks, var_val, var_val_type, var_val_len))
            return refusal;
        return reserve_region(find_assignment(name, name_len));
    case SNMP_MSG_INTERNAL_SET_RESERVE2:
        return check_region(name, name_len, vyn_varbind_integer(var_val, var_val_len));
    case SNMP_MSG_INTERNAL_SET_ACTION: return send_region(name, name_len);
    case SNMP_MSG_INTERNAL_SET_COMMIT:
        return drop_waiting_row(name, name_len, id_function, "%s : COMMIT -- done");
    case SNMP_MSG_INTERNAL_SET_FREE:
        return drop_waiting_row(name, name_len, id_function, "%s : FREE -- done");
    case SNMP_MSG_INTERNAL_SET_UNDO:
        return drop_waiting_row(name, name_len, id_function, "%s : UNDO -- done");
    default: return SNMP_ERR_NOERROR;
    }
}

int set_vynFeatureRegionStorage(int action, u_char *, u_char var_val_type, size_t var_val_len,
                                u_char *, oid *, size_t)
{
    return vyn_set_storage_type(action, var_val_type, var_val_len,
                                "write to vyn_setFeatureRegionStorageASN_INTEGER\n",
                                "write to vyn_setFeatureRegionStorage bad length\n");
}
