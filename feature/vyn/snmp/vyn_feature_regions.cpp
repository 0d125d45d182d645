// vynFeatureRegionTable: the region that each feature is assigned to. Index: the feature's name and
// the scope: 1 for the physical scope, 2.4 and the VSAN's four octets for a logical one. Columns:
// the region's number, a fixed storage type and a fixed status. A read is one query.
//
// One SET of the status (createAndGo) and the region creates an assignment. RESERVE1 of the status
// adds a row to vyn_app_regions, RESERVE2 of the region sets its number, ACTION of the status sends
// it. The status must come first in the SET. A SET of the region alone changes an assignment;
// destroy removes it. Changes are not rolled back.

#include "vyn_index.h"
#include "vyn_row_cache.h"
#include "vyn_set.h"
#include "vyn_values.h"

// --- Index ---

static constexpr char parse_function[] = "get_vynFeatureRegionEntry_instance";

static bool decode_exact(vyn_oid_cursor index, vyn_feature_region_rec *record)
{
    vyn_oid_cursor scope = index;
    if (!vyn_take_key_name(&index, record->app_name, parse_function) || index.left() == 0)
        return false;
    // Quirk: a GET or SET reads the scope from the start of the name, so its request has no scope.
    scope.skip(1);
    scope.take_scope_into(record);
    return true;
}

static void decode_next(vyn_oid_cursor index, vyn_feature_region_rec *record)
{
    if (index.left() == 0)
        return;
    index.take_partial_app_name(record->app_name);
    index.take_scope_into(record);
}

// Decodes the record from an index. Returns 0, or -1 if an exact index is invalid.
static int get_vynFeatureRegionEntry_instance(vyn_oid_cursor index, bool exact,
                                              vyn_feature_region_rec *record)
{
    *record = {};
    if (exact && !decode_exact(index, record))
        return -1;
    if (!exact)
        decode_next(index, record);
    return 0;
}

// --- Reads ---

static vyn_snmp_req request_for(const vyn_feature_region_rec &record)
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_FEATURE_REGION);
    request.request.feature_region = record;
    return request;
}

// Queries an assignment. Returns 0 with the assignment in *found, else -1 or the system error.
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

// Finds the row and writes its index to name and length. Returns 0 if there is a row to serve, else
// -1 or the system error of the query.
static int header_vynFeatureRegionEntry(const struct variable *vp, oid *name, size_t *length,
                                        bool exact, vyn_resp_feature_region *found)
{
    trace_query();
    if (!exact && *length > vp->namelen)
        vyn_trace(VYN_TRACE_FAILURE, "appname_len:%d, remaining_len:%d",
                  static_cast<uint32_t>(name[vp->namelen]),
                  static_cast<uint32_t>(*length - vp->namelen - 1));
    vyn_feature_region_rec key;
    if (int error =
            get_vynFeatureRegionEntry_instance(vyn_index_of(vp, name, *length, exact), exact, &key))
        return error;
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

// The target of a SET: the decoded index and the feature's row under creation.
struct set_target {
    bool is_valid; // the index could be decoded
    vyn_feature_region_rec record;
    char key[sizeof(record.app_name) + 1]; // of the row
    vyn_feature_region_rec *cached_row;    // in vyn_app_regions, or null
};

static set_target find_target(const oid *name, size_t length)
{
    set_target target{};
    const vyn_oid_cursor index(name, length, VYN_INDEX_START);
    target.is_valid = get_vynFeatureRegionEntry_instance(index, true, &target.record) == 0;
    // Octets after the VSAN can overwrite the name to its last octet. The key must end in a NUL.
    memcpy(target.key, target.record.app_name, sizeof(target.record.app_name));
    if (target.is_valid)
        target.cached_row = vyn_find_row<vyn_feature_region_rec>(vyn_app_regions, target.key);
    return target;
}

static int refuse_index(const char *function)
{
    vyn_trace(VYN_TRACE_FAILURE, "%s : RESERVE1 instance parse fail \n", function);
    return SNMP_ERR_INCONSISTENTVALUE;
}

// Reports whether the service has the assignment.
static bool is_assigned(const vyn_feature_region_rec &key)
{
    vyn_resp_feature_region found;
    trace_query();
    return query_assignment(key, true, &found) == 0;
}

// Adds a row to the cache. create_mark is 0 if the SET of the region adds it. If the cache rejects
// the row, the next lookup fails.
static int add_cached_row(const set_target &target, uint32_t create_mark)
{
    vyn_feature_region_rec row = target.record;
    row.create_mark = create_mark;
    vyn_feature_region_rec *copy = vyn_copy_row(vyn_app_regions, row);
    if (copy == nullptr)
        return SNMP_ERR_GENERR;
    vyn_trace(VYN_TRACE_FLOW, "app_name: %s is added in to indxobj", vyn_field(row.app_name));
    vyn_add_row(vyn_app_regions, copy, target.key);
    return SNMP_ERR_NOERROR;
}

static int send_assignment(const vyn_feature_region_rec &record, const char *function)
{
    vyn_snmp_req request = request_for(record);
    if (int snmp_error = vyn_send_change(MTS_OPC_VYN_CONFIG_REQ, &request, function,
                                         "%s : vyn_req_resp Set failed:%s"))
        return snmp_error;
    vyn_trace(VYN_TRACE_FLOW, "%s : ACTION done", function);
    return SNMP_ERR_NOERROR;
}

// Removes the feature's row at the end of a SET and traces `done`.
static int drop_cached_row(const oid *name, size_t length, const char *function,
                           vyn_format<const char *> done)
{
    const set_target target = find_target(name, length);
    if (target.is_valid)
        vyn_drop_row(vyn_app_regions, target.key);
    vyn_trace(VYN_TRACE_FLOW, done, function);
    return SNMP_ERR_NOERROR;
}

// --- The status ---

static constexpr char status_function[] = "set_vynFeatureRegionStatus";

static constexpr vyn_integer_checks status_checks =
    vyn_row_status_checks("write to vyn_FeatureRegionStatus not ASN_INTEGER\n",
                          "write tovyn_FeatureRegionStatus: bad length\n",
                          "write to vynFeatureRegionStatus:wrong value\n");

static int reserve_status(const set_target &target, long status)
{
    const vyn_field app_name(target.record.app_name);
    if (!target.is_valid)
        return refuse_index(status_function);
    vyn_trace(VYN_TRACE_FLOW, "from get_vynFeatureRegionEntry_instance app_name: %s ", app_name);
    if (status == SNMP_ROW_CREATEANDGO && is_assigned(target.record)) {
        vyn_trace(VYN_TRACE_FAILURE,
                  "Feature region already presented in VYN for this application %s ", app_name);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    if (status == SNMP_ROW_CREATEANDGO && target.cached_row == nullptr)
        if (int snmp_error = add_cached_row(target, SNMP_ROW_CREATEANDGO))
            return snmp_error;
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE1 -- done", status_function);
    return SNMP_ERR_NOERROR;
}

static int check_status(const oid *name, size_t length, long status, u_char *stored_value)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying RESERVE2", status_function);
    vyn_mark_stored_value(stored_value);
    if (status == SNMP_ROW_CREATEANDGO) {
        const set_target target = find_target(name, length);
        if (target.cached_row == nullptr) {
            vyn_trace(VYN_TRACE_FAILURE,
                      "set_vynFeatureRegionStatus is depenedent on RegionId. Unable to find "
                      "indx_objfor %s application",
                      vyn_field(target.record.app_name));
            return SNMP_ERR_GENERR;
        }
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE2 -- done", status_function);
    return SNMP_ERR_NOERROR;
}

static int send_status(const oid *name, size_t length, long status)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying ACTION", status_function);
    set_target target = find_target(name, length);
    switch (status) {
    case SNMP_ROW_CREATEANDGO:
        if (target.cached_row == nullptr)
            return SNMP_ERR_GENERR;
        target.record = *target.cached_row;
        target.record.op = VYN_OP_ADD;
        return send_assignment(target.record, status_function);
    case SNMP_ROW_DESTROY:
        target.record.op = VYN_OP_REMOVE;
        return send_assignment(target.record, status_function);
    default: return SNMP_ERR_NOERROR;
    }
}

// Ends a SET of the status in COMMIT or UNDO and traces `done`.
// Quirk: keeps the feature's row and removes region 0 from vyn_regions instead. The row stays until
// a SET of the feature's region, or FREE of a SET of its status, removes it.
static int end_status(const oid *name, size_t length, vyn_format<const char *> done)
{
    const set_target target = find_target(name, length);
    const uint32_t region_id = target.record.region_id;
    if (target.is_valid)
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
        if (int snmp_error = vyn_check_integer(status_checks, var_val, var_val_type, var_val_len))
            return snmp_error;
        return reserve_status(find_target(name, name_len), status());
    case SNMP_MSG_INTERNAL_SET_RESERVE2:
        return check_status(name, name_len, status(), stored_value);
    case SNMP_MSG_INTERNAL_SET_ACTION: return send_status(name, name_len, status());
    case SNMP_MSG_INTERNAL_SET_COMMIT: return end_status(name, name_len, "%s : COMMIT -- done");
    case SNMP_MSG_INTERNAL_SET_FREE:
        return drop_cached_row(name, name_len, status_function, "%s : FREE -- done");
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

static int reserve_region(const set_target &target)
{
    if (!target.is_valid)
        return refuse_index(id_function);
    if (target.cached_row == nullptr)
        if (int snmp_error = add_cached_row(target, 0))
            return snmp_error;
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE1 -- done", id_function);
    return SNMP_ERR_NOERROR;
}

// Sets the number in the row. If the region's SET added the row, the assignment must exist.
static int check_region(const oid *name, size_t length, long region_id)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying RESERVE2", id_function);
    const set_target target = find_target(name, length);
    const vyn_field app_name(target.record.app_name);
    if (target.cached_row == nullptr) {
        vyn_trace(VYN_TRACE_FAILURE, "unable to find app_name: %s", app_name);
        return SNMP_ERR_GENERR;
    }
    target.cached_row->region_id = static_cast<uint32_t>(region_id);
    if (target.cached_row->create_mark == 0 && !is_assigned(target.record)) {
        vyn_trace(VYN_TRACE_FAILURE, "No feature region presented in VYN for this application %s ",
                  app_name);
        vyn_report_set_error(VYN_ERR_NO_FEATURE_REGION);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE2 -- done", id_function);
    return SNMP_ERR_NOERROR;
}

// Sends the row, unless the SET of the status added it and sends it.
static int send_region(const oid *name, size_t length)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying ACTION", id_function);
    const set_target target = find_target(name, length);
    if (target.cached_row == nullptr)
        return SNMP_ERR_GENERR;
    if (target.cached_row->create_mark != 0)
        return SNMP_ERR_NOERROR;
    return send_assignment(*target.cached_row, id_function);
}

int set_vynFeatureRegionId(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                           u_char *, oid *name, size_t name_len)
{
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int snmp_error = vyn_check_integer(region_checks, var_val, var_val_type, var_val_len))
            return snmp_error;
        return reserve_region(find_target(name, name_len));
    case SNMP_MSG_INTERNAL_SET_RESERVE2:
        return check_region(name, name_len, vyn_varbind_integer(var_val, var_val_len));
    case SNMP_MSG_INTERNAL_SET_ACTION: return send_region(name, name_len);
    case SNMP_MSG_INTERNAL_SET_COMMIT:
        return drop_cached_row(name, name_len, id_function, "%s : COMMIT -- done");
    case SNMP_MSG_INTERNAL_SET_FREE:
        return drop_cached_row(name, name_len, id_function, "%s : FREE -- done");
    case SNMP_MSG_INTERNAL_SET_UNDO:
        return drop_cached_row(name, name_len, id_function, "%s : UNDO -- done");
    default: return SNMP_ERR_NOERROR;
    }
}

int set_vynFeatureRegionStorage(int action, u_char *, u_char var_val_type, size_t var_val_len,
                                u_char *, oid *, size_t)
{
    return vyn_write_storage_type(action, var_val_type, var_val_len,
                                  "write to vyn_setFeatureRegionStorageASN_INTEGER\n",
                                  "write to vyn_setFeatureRegionStorage bad length\n");
}
