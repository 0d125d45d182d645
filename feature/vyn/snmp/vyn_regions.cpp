// vynRegionTable: the regions of the fabric, as rows that a SET creates and destroys. Index: 1 and
// the region's number in the physical scope; 2.4, the VSAN's four octets and one more
// sub-identifier for a logical one. Both columns read as constants; a read is one query.
//
// A SET of createAndGo, or of active, adds the region, and one of destroy deletes it: sent in
// ACTION and not undone. A region to be added waits in vyn_regions from RESERVE1 until the SET has
// ended, one row for each number; after every SET the cache is empty.
//
// Odd on purpose: the number is read from the index's last sub-identifier and the scope from its
// second, which in the module's own index of a physical region is the number; so it is told to the
// service as it is read. The index of a logical region does not carry the number, and walks get no
// further than to the first one.

#include "vyn_index.h"
#include "vyn_row_cache.h"
#include "vyn_service.h"
#include "vyn_values.h"

// --- Reads ---

// Fills the record from an index: 0, or -1 when an exact one is too short.
static int get_vynRegionEntry_instance(vyn_oid_cursor index, bool exact, vyn_region_rec *region)
{
    constexpr size_t shortest = 2;
    *region = {};
    if (exact && (!vyn_has_index(index, "get_vynRegionEntry_instance", VYN_TRACE_FAILURE) ||
                  index.left() < shortest))
        return -1;
    oid region_id = 0;
    index.last(&region_id);
    region->region_id = static_cast<uint32_t>(region_id);
    index.skip(1);
    index.take_scope_into(region);
    return 0;
}

static vyn_snmp_req request_for(const vyn_region_rec &region)
{
    vyn_snmp_req request{};
    request.query_type = VYN_SNMP_REGION;
    request.argument = 1;
    request.request.region = region;
    return request;
}

static bool commit_row(const struct variable *vp, const vyn_region_rec &region, oid *name,
                       size_t *length)
{
    vyn_oid_builder row(vp->name, vp->namelen);
    row.put_service_scope(region.scope, region.vsan);
    if (region.scope == VYN_SERVICE_PHYSICAL)
        row.put(region.region_id);
    else
        row.put_as_in(name, *length);
    return row.commit(name, length);
}

// Finds the row and writes its index into name and length. 0 when there is one; otherwise -1 or the
// system error of the query.
static int header_vynRegionEntry(const struct variable *vp, oid *name, size_t *length, bool exact)
{
    vyn_trace(VYN_TRACE_FAILURE, "At get_vynRegionEntry_ins..\n");
    vyn_region_rec key;
    if (int none = get_vynRegionEntry_instance(vyn_index_of(vp, name, *length, exact), exact, &key))
        return none;
    vyn_snmp_req request = request_for(key);
    vyn_reply reply;
    if (u32 error = vyn_query_region(&request, exact, &reply, "header_vynRegionEntry"))
        return static_cast<int>(error);
    return reply.present() && commit_row(vp, reply.read<vyn_region_rec>(0), name, length) ? 0 : -1;
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

static constexpr char status_name[] = "set_vynRegionStatus";

static constexpr vyn_integer_checks status_checks = vyn_row_status_checks(
    "write to vyn_RegionStatus not ASN_INTEGER\n", "write tovyn_RegionStatus: bad length\n",
    "write to vynRegionStatus:wrong value\n");

// RESERVE1, when the value may be written: the row begins to wait, unless one does already.
static int reserve_row(bool parsed, const vyn_region_rec &region, long status)
{
    const uint32_t key = region.region_id;
    if (!parsed) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : RESERVE1 instance parse fail \n", status_name);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    if (status != SNMP_ROW_DESTROY && vyn_find_row<vyn_region_rec>(vyn_regions, &key) == nullptr) {
        vyn_region_rec *row = vyn_copy_row(vyn_regions, region);
        if (row == nullptr || !vyn_keep_row(vyn_regions, row, &key))
            return SNMP_ERR_GENERR;
    }
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE1 -- done", status_name);
    return SNMP_ERR_NOERROR;
}

static int check_row(const vyn_region_rec &region, long status, u_char *stat)
{
    const uint32_t key = region.region_id;
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying RESERVE2", status_name);
    vyn_mark_stored_value(stat);
    if (status != SNMP_ROW_DESTROY && vyn_find_row<vyn_region_rec>(vyn_regions, &key) == nullptr)
        return SNMP_ERR_GENERR;
    vyn_trace(VYN_TRACE_FLOW, "%s : RESERVE2 -- done", status_name);
    return SNMP_ERR_NOERROR;
}

static int send_row(vyn_region_rec region, long status)
{
    const uint32_t key = region.region_id;
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying ACTION", status_name);
    if (status == SNMP_ROW_DESTROY) {
        region.op = VYN_OP_REMOVE;
    } else {
        const vyn_region_rec *row = vyn_find_row<vyn_region_rec>(vyn_regions, &key);
        if (row == nullptr)
            return SNMP_ERR_GENERR;
        region = *row; // its op is to add
    }
    vyn_snmp_req request = request_for(region);
    if (int failure = vyn_send_change(MTS_OPC_VYN_CONFIG_REQ, &request, status_name,
                                      "%s : vyn_req_resp Set failed:%s"))
        return failure;
    vyn_trace(VYN_TRACE_FLOW, "%s : ACTION done", status_name);
    return SNMP_ERR_NOERROR;
}

// The SET has ended, one way or another. `done`: the trace of that.
static int drop_row(bool parsed, const vyn_region_rec &region, vyn_format<const char *> done)
{
    const uint32_t key = region.region_id;
    if (parsed)
        vyn_drop_row(vyn_regions, &key);
    vyn_trace(VYN_TRACE_FLOW, done, status_name);
    return SNMP_ERR_NOERROR;
}

int set_vynRegionStatus(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                        u_char *stat, oid *name, size_t name_len)
{
    if (action == SNMP_MSG_INTERNAL_SET_RESERVE1)
        if (int refusal = vyn_check_integer(status_checks, var_val, var_val_type, var_val_len))
            return refusal;
    vyn_region_rec region;
    const bool parsed =
        get_vynRegionEntry_instance({name, name_len, VYN_TABLE_INDEX}, true, &region) == 0;
    const auto status = [&] { return vyn_set_integer(var_val, var_val_len); };
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1: return reserve_row(parsed, region, status());
    case SNMP_MSG_INTERNAL_SET_RESERVE2: return check_row(region, status(), stat);
    case SNMP_MSG_INTERNAL_SET_ACTION: return send_row(region, status());
    case SNMP_MSG_INTERNAL_SET_COMMIT: return drop_row(parsed, region, "%s : COMMIT -- done");
    case SNMP_MSG_INTERNAL_SET_FREE: return drop_row(parsed, region, "%s : FREE -- done");
    case SNMP_MSG_INTERNAL_SET_UNDO: return drop_row(parsed, region, "%s : UNDO -- done");
    default: return SNMP_ERR_NOERROR;
    }
}

int set_vynRegionStorage(int action, u_char *, u_char var_val_type, size_t var_val_len, u_char *,
                         oid *, size_t)
{
    return vyn_set_storage_type(action, var_val_type, var_val_len,
                                "write to vyn_setRegionStorageASN_INTEGER\n",
                                "write to vyn_setRegionStorage bad length\n");
}
