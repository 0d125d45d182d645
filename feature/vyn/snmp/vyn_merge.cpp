// vynMergeTable: what became of the last merge of each feature's configuration. Index: the
// feature's name and the scope: 1 for the physical scope, 2.4 and the VSAN's four octets for a
// logical one.
//
// A GET is one query. A GETNEXT is one for each feature, or scope of a feature, that it has to ask
// before there is a row: a feature's physical row, then its logical ones, then the feature behind
// it in the registry. A SET of 2 to the resolve action resolves a failed merge; it is sent in
// ACTION and not undone.
//
// Odd on purpose: the index of a physical row ends with the scope, and a GET that goes on with the
// zero of an empty VSAN is no row. A walk keeps the VSAN when it moves on to the next feature, so
// logical rows of that feature up to it are passed over. The service's scopes are the other way
// around than the index's. After a null reply the row before it is served again, under the OID that
// was asked for.

#include "libvyn.h"
#include "syserr.h"
#include "vyn_index.h"
#include "vyn_set.h"
#include "vyn_values.h"

// The row last read.
static vyn_resp_merge row_merge;

// Values of the resolve action.
enum merge_resolve_action {
    resolve_none = 1,
    resolve_failure,
};

static constexpr char parse_name[] = "get_vynMergeEntry_instance";
static constexpr char walk_name[] = "header_vynMergeEntry";
static constexpr char write_name[] = "set_vynMergeFailResolvAction";

// --- Index ---

// A name as the registry has it, its length in front.
struct registry_key {
    registry_key(const char *name, size_t length)
    {
        text[0] = static_cast<char>(length);
        strcpy(text + 1, name);
    }

    char text[1 + VYN_MAX_APP_NAME + 1];
};

// Whether the registry's scan, which walks go by, comes to a feature of that name.
static bool is_in_scan(const registry_key &key)
{
    vyn_scanFeatureInit();
    while (const vyn_feature_entry *entry = vyn_scanFeatureNext())
        if (strcmp(reinterpret_cast<const char *>(entry->name), key.text) == 0)
            return true;
    return false;
}

static bool decode_exact(vyn_oid_cursor index, vyn_merge_key *key)
{
    char name[VYN_MAX_APP_NAME + 1];
    const size_t whole = index.left();
    if (!vyn_take_key_name(&index, name, parse_name, VYN_TRACE_FLOW, VYN_TRACE_FLOW))
        return false;
    vyn_trace(VYN_TRACE_FAILURE, "Trying to extract name\n");
    if (!is_in_scan({name, whole - index.left() - 1})) {
        vyn_trace(VYN_TRACE_FAILURE, "Could not get name\n");
        return false;
    }
    strcpy(key->app_name, name);
    if (index.left() == 0) {
        vyn_trace(VYN_TRACE_FAILURE, "Len problem\n");
        return false;
    }
    return index.take_service_scope(&key->scope, &key->vsan);
}

static void decode_next(vyn_oid_cursor index, vyn_merge_key *key)
{
    if (index.left() == 0)
        return;
    index.take_partial_app_name(key->app_name);
    index.take_scope_into(key);
}

// Fills the key from an index: 0, or -1 when an exact one is none.
static int get_vynMergeEntry_instance(vyn_oid_cursor index, bool exact, vyn_merge_key *key)
{
    *key = {};
    if (exact)
        return decode_exact(index, key) ? 0 : -1;
    decode_next(index, key);
    return 0;
}

// --- Rows ---

// What is asked of the service next. `behind_scope` holds while that is the feature of the
// manager's index, and the index has a scope.
struct merge_step {
    vyn_merge_key key;
    bool behind_scope;
};

// Moves on to the feature behind. False at the end, and then nothing has changed. A name that does
// not come behind, because the registry has its length wrong, is the end as well.
static bool vyn_merge_next_feature(merge_step *step)
{
    char(&name)[VYN_MAX_APP_NAME + 1] = step->key.app_name;
    const registry_key key(name, strlen(name));
    const vyn_feature_entry *feature = vyn_next_feature(key.text, sizeof(name) - 1);
    if (feature == nullptr)
        return false;
    const char *next = vyn_plain_name(*feature);
    if (strcmp(registry_key(next, strlen(next)).text, key.text) <= 0)
        return false;
    memset(name, 0, sizeof(name));
    strcpy(name, next);
    step->key.scope = VYN_SERVICE_LOGICAL;
    step->behind_scope = false;
    return true;
}

static merge_step first_step(const vyn_merge_key &key)
{
    merge_step step = {key, key.scope != VYN_SERVICE_NO_SCOPE};
    if (!step.behind_scope)
        step.key.scope = VYN_SERVICE_LOGICAL;
    if (vyn_getFeatureEntry(key.app_name) == nullptr)
        vyn_merge_next_feature(&step);
    return step;
}

// Moves on behind the scope that had no row. False at the end.
static bool next_step(merge_step *step)
{
    vyn_trace(VYN_TRACE_FAILURE, "%s : %s : Num resp = 0 for GETNEXT,Got physical scope resp \n",
              walk_name, vyn_field(step->key.app_name));
    if (step->key.scope != VYN_SERVICE_PHYSICAL)
        return vyn_merge_next_feature(step);
    step->key.scope = VYN_SERVICE_LOGICAL;
    return true;
}

static u32 send_query(vyn_merge_key key, bool exact, vyn_reply *reply)
{
    vyn_snmp_req request = vyn_request(VYN_SNMP_MERGE_ENTRY);
    key.query_mark = VYN_MERGE_QUERY_MARK;
    request.request.req_merge = key;
    const u32 error = vyn_call(MTS_OPC_VYN_MERGE_QUERY, vyn_read_msg_type(exact), &request, reply);
    if (error != 0 && exact)
        vyn_trace(VYN_TRACE_FAILURE, "Return value for MTS_OPC_VYN_MERGE_QUERY GET is %d \n",
                  error);
    else if (error != 0 && error != VYN_ERR_NO_MORE_ENTRIES)
        vyn_trace(VYN_TRACE_FAILURE, "Return value for MTS_OPC_VYN_MERGE_QUERY GETNEXT is %d \n",
                  error);
    else if (!reply->present())
        vyn_trace(VYN_TRACE_FAILURE, "Null payload\n");
    return error;
}

// Finds the row, keeps it and writes its index into name and length. False when there is none to
// serve.
static bool find_row(const struct variable *vp, oid *name, size_t *length, bool exact)
{
    vyn_trace(VYN_TRACE_FAILURE, "At get_vynMergeEntry_ins..\n");
    merge_step step{};
    if (get_vynMergeEntry_instance(vyn_index_of(vp, name, *length, exact), exact, &step.key) != 0)
        return false;
    if (!exact)
        step = first_step(step.key);
    if (step.key.app_name[0] == '\0')
        return false;

    for (;;) {
        vyn_reply reply;
        const u32 error = send_query(step.key, exact, &reply);
        if (error != 0 && (exact || error != VYN_ERR_NO_MORE_ENTRIES))
            return false;
        if (error == 0 && !reply.present())
            return true;
        const auto merge = reply.read(&vyn_snmp_resp::resp_merge);
        if (!exact && step.behind_scope && step.key.scope == VYN_SERVICE_LOGICAL &&
            merge.scope == VYN_SERVICE_PHYSICAL) {
            vyn_trace(VYN_TRACE_FAILURE,
                      "%s : %s : For Logical scope request,Got physical scope resp\n", walk_name,
                      vyn_field(step.key.app_name));
            if (!vyn_merge_next_feature(&step))
                return false;
        } else if (merge.entries != 0) {
            row_merge = merge;
            return vyn_commit_scoped_row(vp, merge.app_name, merge.scope, merge.vsan, name, length);
        } else if (exact) {
            vyn_trace(VYN_TRACE_FAILURE, "Num resp is 0\n");
            return false;
        } else if (!next_step(&step)) {
            return false;
        }
    }
}

// --- Values ---

// The text as printf would give it without arguments, unless it has conversions that need some:
// those have no meaning here, and such a text comes out as it stands.
static u_char *formatted_value(const char *text, size_t *var_len)
{
    char formatted[VYN_MAX_TEXT];
    size_t length = 0;
    for (const char *from = text; *from != '\0'; from++) {
        if (*from == '%' && *++from != '%')
            return vyn_text_value(text, VYN_MAX_TEXT, var_len);
        if (length < sizeof(formatted))
            formatted[length++] = *from;
    }
    return vyn_octets_value(formatted, length, var_len);
}

static u_char *failure_reason_value(size_t *var_len)
{
    if (row_merge.failed == 0)
        return vyn_text_value("", 0, var_len);
    const auto &octets = row_merge.failure_code;
    const uint32_t code = uint32_t{octets[0]} << 8 | octets[1];
    vyn_trace(VYN_TRACE_FLOW, "%s : app %d status = %d \n", "get_vynMergeTable", code,
              row_merge.failed);
    return formatted_value(syserr2str(vyn_mr_status2syserr(code, row_merge.failed)), var_len);
}

u_char *get_vynMergeTable(struct variable *vp, oid *name, size_t *length, int exact,
                          size_t *var_len, WriteMethod **write_method)
{
    if (!find_row(vp, name, length, exact != 0))
        return nullptr;
    switch (vp->magic) {
    case VYNMERGESTATUS: return vyn_integer_value(row_merge.status, var_len);
    case VYNMERGEFAILREASON: return failure_reason_value(var_len);
    case VYNMERGEFAILRESOLVACTION:
        *write_method = set_vynMergeFailResolvAction;
        return vyn_integer_value(resolve_none, var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}

// --- The write ---

static constexpr vyn_integer_checks resolve_checks = {
    .type = ASN_INTEGER,
    .min_length = 1,
    .min = resolve_none,
    .max = resolve_failure,
    .wrong_type = "write to vynMergeFailResolvActionnot ASN_INTEGER\n",
    .wrong_length = "write to vynMergeFailResolvAction bad length\n",
    .wrong_value = "write to vynMergeFailResolvAction:wrong value\n",
};

// Whether the SET's OID names a row.
static int check_row(vyn_oid_cursor index, vyn_merge_key *key)
{
    if (get_vynMergeEntry_instance(index, true, key) != 0) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : Parsing merge instance failed \n", write_name);
        return SNMP_ERR_GENERR;
    }
    if (key->app_name[0] == '\0') { // which no index of a row has
        vyn_trace(VYN_TRACE_FAILURE, "%s : Application name is null\n", write_name);
        return SNMP_ERR_GENERR;
    }
    return SNMP_ERR_NOERROR;
}

int set_vynMergeFailResolvAction(int action, u_char *var_val, u_char var_val_type,
                                 size_t var_val_len, u_char *, oid *name, size_t name_len)
{
    const vyn_oid_cursor index(name, name_len, VYN_INDEX_START);
    vyn_snmp_req request = vyn_request(VYN_SNMP_MERGE_FAIL_RESOLVE);
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        return vyn_check_integer(resolve_checks, var_val, var_val_type, var_val_len);
    case SNMP_MSG_INTERNAL_SET_RESERVE2: return check_row(index, &request.request.req_merge);
    case SNMP_MSG_INTERNAL_SET_ACTION:
        if (vyn_varbind_integer(var_val, var_val_len) != resolve_failure)
            return SNMP_ERR_NOERROR;
        get_vynMergeEntry_instance(index, true, &request.request.req_merge);
        return vyn_send_change(MTS_OPC_VYN_MERGE_QUERY, &request, write_name,
                               "%s : Operation Failed: %s");
    default: return SNMP_ERR_NOERROR;
    }
}
