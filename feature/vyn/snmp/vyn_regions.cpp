// vynRegionTable: the regions of the fabric. Index of a physical region: 1 and its number. Index of
// a logical region: 2.4, the VSAN's four octets and one more sub-identifier. Both columns have
// constant values. A read is one query.
//
// A SET of createAndGo or active adds the region, destroy removes it. Changes are sent in ACTION
// and are not rolled back. From RESERVE1 to the end of the SET, the region to add is a row of
// vyn_regions, one for each number. After every SET the cache is empty.

#include "vyn_index.h"
#include "vyn_row_cache.h"
#include "vyn_set.h"
#include "vyn_values.h"

// --- Reads ---

// Decodes the record from an index. Returns 0, or -1 if an exact index is too short.
static int get_vynRegionEntry_instance(vyn_oid_cursor index, bool exact, vyn_region_rec *region)
{
    constexpr size_t min_length = 2;
    *region = {};
    if (exact && (!vyn_has_index(index, "get_vynRegionEntry_instance", VYN_TRACE_FAILURE) ||
                  index.left() < min_length))
        return -1;
    oid region_id = 0;
    index.peek_last(&region_id);
    region->region_id = static_cast<uint32_t>(region_id);
    // Quirk: the scope is the second sub-identifier. In 1.REGION that is the number: 1 is sent as
    // physical, 2 as logical, any other as no scope.
    index.skip(1);
    index.take_scope_into(region);
    return 0;
}

static vyn_snmp_req request_for(const vyn_region_rec &region)
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_REGION);
    request.request.region = region;
    return request;
}

// Writes the index of a row to name and length. The index of a logical region ends with a
// sub-identifier that the reply does not set. In a GET it is the last one of the requested OID: the
// agent runs a SET on the OID that its read returns, and the SET takes the number from there.
static bool commit_row(const struct variable *vp, const vyn_resp_region &region, bool exact,
                       oid *name, size_t *length)
{
    vyn_oid_builder row_oid(vp->name, vp->namelen);
    row_oid.put_service_scope(region.scope, region.vsan);
    if (region.scope == VYN_SERVICE_PHYSICAL)
        row_oid.put(region.region_id);
    else if (exact)
        row_oid.put(name[*length - 1]);
    else
        row_oid.put_from(name, *length); // Quirk: without the number, a walk ends at this row
    return row_oid.commit(name, length);
}

// Finds the row and writes its index to name and length. Returns 0 if there is a row to serve, else
// -1 or the system error of the query.
static int header_vynRegionEntry(const struct variable *vp, oid *name, size_t *length, bool exact)
{
    vyn_trace(VYN_TRACE_FAILURE, "At get_vynRegionEntry_ins..\n");
    vyn_region_rec key;
    if (int error =
            get_vynRegionEntry_instance(vyn_index_of(vp, name, *length, exact), exact, &key))
        return error;
    vyn_snmp_req request = request_for(key);
    vyn_reply reply;
    if (u32 error = vyn_query_region(&request, exact, &reply, "header_vynRegionEntry"))
        return static_cast<int>(error);
    if (!reply.present())
        return -1;
    return commit_row(vp, reply.read(&vyn_snmp_resp::resp_region), exact, name, length) ? 0 : -1;
}

u_char *get_vynRegionTable(struct variable *vp, oid *name, size_t *length, int exact,
                           size_t *var_len, WriteMethod **write_method)
{
    set_vynWriteMethod(vp->magic, write_method);
    if (header_vynRegionEntry(vp, name, length, exact != 0) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNREGIONSTORAGE: return vyn_integer_value(ST_NONVOLATILE, var_len);
    case VYNREGIONSTATUS: return vyn_integer_value(SNMP_ROW_ACTIVE, var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}

// --- Writes ---

static constexpr char status_function[] = "set_vynRegionStatus";

static constexpr vyn_integer_checks status_checks = vyn_row_status_checks(
    "write to vyn_RegionStatus not ASN_INTEGER\n", "write tovyn_RegionStatus: bad length\n",
    "write to vynRegionStatus:wrong value\n");

// Decodes the region that the OID of a SET names. Returns 0, or -1 if the index is too short.
static int parse_region(const oid *name, size_t length, vyn_region_rec *region)
{
    return get_vynRegionEntry_instance({name, length, VYN_INDEX_START}, true, region);
}

// Returns the region's row under creation, or null.
static vyn_region_rec *find_row(const vyn_region_rec &region)
{
    const uint32_t key = region.region_id;
    return vyn_find_row<vyn_region_rec>(vyn_regions, &key);
}

static bool creates(long status)
{
    return status == SNMP_ROW_ACTIVE || status == SNMP_ROW_CREATEANDGO;
}

// Adds the row, unless an earlier varbind of the SET has added it.
static int reserve_row(const oid *name, size_t length, long status)
{
    vyn_region_rec region;
    if (parse_region(name, length, &region) != 0) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : RESERVE1 instance parse fail \n", status_function);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    if (creates(status) && find_row(region) == nullptr) {
        const uint32_t key = region.region_id;
        vyn_region_rec *row = vyn_copy_row(vyn_regions, region);
        if (row == nullptr || !vyn_add_row(vyn_regions, row, &key))
            return SNMP_ERR_GENERR;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE1 -- done", status_function);
    return SNMP_ERR_NOERROR;
}

static int check_row(const oid *name, size_t length, long status, u_char *stored_value)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying RESERVE2", status_function);
    vyn_mark_stored_value(stored_value);
    if (creates(status)) {
        vyn_region_rec region;
        parse_region(name, length, &region);
        if (find_row(region) == nullptr)
            return SNMP_ERR_GENERR;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE2 -- done", status_function);
    return SNMP_ERR_NOERROR;
}

static int send_row(const oid *name, size_t length, long status)
{
    vyn_region_rec region;
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying ACTION", status_function);
    parse_region(name, length, &region);
    if (creates(status)) {
        const vyn_region_rec *row = find_row(region);
        if (row == nullptr)
            return SNMP_ERR_GENERR;
        region = *row;
        if (status == SNMP_ROW_CREATEANDGO)
            region.op = VYN_OP_ADD;
    } else if (status == SNMP_ROW_DESTROY) {
        region.op = VYN_OP_REMOVE;
    } else {
        return SNMP_ERR_NOERROR;
    }
    vyn_snmp_req request = request_for(region);
    if (int snmp_error = vyn_send_change(MTS_OPC_VYN_CONFIG_REQ, &request, status_function,
                                         "%s : vyn_req_resp Set failed:%s"))
        return snmp_error;
    vyn_trace(VYN_TRACE_FLOW, "%s : ACTION done", status_function);
    return SNMP_ERR_NOERROR;
}

// Removes the row at the end of a SET and traces `done`.
static int drop_row(const oid *name, size_t length, vyn_format<const char *> done)
{
    vyn_region_rec region;
    if (parse_region(name, length, &region) == 0) {
        const uint32_t key = region.region_id;
        vyn_drop_row(vyn_regions, &key);
    }
    vyn_trace(VYN_TRACE_FLOW, done, status_function);
    return SNMP_ERR_NOERROR;
}

int set_vynRegionStatus(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                        u_char *stored_value, oid *name, size_t name_len)
{
    const auto status = [&] { return vyn_varbind_integer(var_val, var_val_len); };
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int snmp_error = vyn_check_integer(status_checks, var_val, var_val_type, var_val_len))
            return snmp_error;
        return reserve_row(name, name_len, status());
    case SNMP_MSG_INTERNAL_SET_RESERVE2: return check_row(name, name_len, status(), stored_value);
    case SNMP_MSG_INTERNAL_SET_ACTION: return send_row(name, name_len, status());
    case SNMP_MSG_INTERNAL_SET_COMMIT: return drop_row(name, name_len, "%s : COMMIT -- done");
    case SNMP_MSG_INTERNAL_SET_FREE: return drop_row(name, name_len, "%s : FREE -- done");
    case SNMP_MSG_INTERNAL_SET_UNDO: return drop_row(name, name_len, "%s : UNDO -- done");
    default: return SNMP_ERR_NOERROR;
    }
}

int set_vynRegionStorage(int action, u_char *, u_char var_val_type, size_t var_val_len, u_char *,
                         oid *, size_t)
{
    return vyn_write_storage_type(action, var_val_type, var_val_len,
                                  "write to vyn_setRegionStorageASN_INTEGER\n",
                                  "write to vyn_setRegionStorage bad length\n");
}
