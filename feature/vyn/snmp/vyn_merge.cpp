// vynMergeTable: the result of the last merge of each feature's configuration. Index: the feature's
// name and the scope: 1 for the physical scope, 2.4 and the VSAN's four octets for a logical one.
//
// A GET is one query. A GETNEXT is one query for each feature or scope that it passes until it
// finds a row. A walk visits the physical row of a feature, then its logical rows, then the next
// feature of the registry. In a GETNEXT index, missing octets count as 0 and missing characters of
// a name as blanks.
//
// A SET of the resolve action to 2 resolves a failed merge. It is sent in ACTION and is not rolled
// back.

#include "libvyn.h"
#include "syserr.h"
#include "vyn_index.h"
#include "vyn_set.h"
#include "vyn_values.h"

// The retained row: the last one read.
static vyn_resp_merge row_merge;

// Values of the resolve action.
enum merge_resolve_action {
    resolve_none = 1,
    resolve_failure,
};

static constexpr char parse_function[] = "get_vynMergeEntry_instance";
static constexpr char walk_function[] = "header_vynMergeEntry";
static constexpr char write_function[] = "set_vynMergeFailResolvAction";

// --- Index ---

// A name in the form of the registry: a length byte and the characters.
struct registry_key {
    registry_key(const char *name, size_t length)
    {
        text[0] = static_cast<char>(length);
        strcpy(text + 1, name);
    }

    char text[1 + VYN_MAX_APP_NAME + 1];
};

// Reports whether the registry's scan, which walks use, finds the name.
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
    const size_t index_length = index.left();
    if (!vyn_take_key_name(&index, name, parse_function, VYN_TRACE_FLOW, VYN_TRACE_FLOW))
        return false;
    vyn_trace(VYN_TRACE_FAILURE, "Trying to extract name\n");
    if (!is_in_scan({name, index_length - index.left() - 1})) {
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

// Decodes the key from an index. Returns 0, or -1 if an exact index is invalid.
static int get_vynMergeEntry_instance(vyn_oid_cursor index, bool exact, vyn_merge_key *key)
{
    *key = {};
    if (exact)
        return decode_exact(index, key) ? 0 : -1;
    decode_next(index, key);
    return 0;
}

// --- Rows ---

// The position of a walk that searches for the next row.
struct merge_walk {
    vyn_merge_key key; // of the next query
    // Set if the requested index has a scope; cleared when the walk leaves the index's feature.
    bool scope_from_index;
};

// Moves to the next feature. Returns false at the end and leaves the walk unchanged.
static bool vyn_merge_next_feature(merge_walk *walk)
{
    char(&name)[VYN_MAX_APP_NAME + 1] = walk->key.app_name;
    const registry_key key(name, strlen(name));
    const vyn_feature_entry *feature = vyn_next_feature(key.text, sizeof(name) - 1);
    if (feature == nullptr)
        return false;
    // A wrong length byte in the registry must not move the walk back.
    const char *next = vyn_plain_name(*feature);
    if (strcmp(registry_key(next, strlen(next)).text, key.text) <= 0)
        return false;
    memset(name, 0, sizeof(name));
    strcpy(name, next);
    // Quirk: the VSAN is kept, so the walk skips the next feature's rows up to that VSAN.
    walk->key.scope = VYN_SERVICE_LOGICAL;
    walk->scope_from_index = false;
    return true;
}

static merge_walk start_walk(const vyn_merge_key &key)
{
    merge_walk walk = {key, key.scope != VYN_SERVICE_NO_SCOPE};
    if (!walk.scope_from_index)
        walk.key.scope = VYN_SERVICE_LOGICAL;
    if (vyn_getFeatureEntry(key.app_name) == nullptr)
        vyn_merge_next_feature(&walk);
    return walk;
}

// Moves to the logical scopes after the physical one, else to the next feature. Returns false at
// the end.
static bool go_to_next_scope(merge_walk *walk)
{
    vyn_trace(VYN_TRACE_FAILURE, "%s : %s : Num resp = 0 for GETNEXT,Got physical scope resp \n",
              walk_function, vyn_field(walk->key.app_name));
    if (walk->key.scope != VYN_SERVICE_PHYSICAL)
        return vyn_merge_next_feature(walk);
    walk->key.scope = VYN_SERVICE_LOGICAL;
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

// Finds the row, retains it and writes its index to name and length. Returns 0 if there is a row to
// serve, else -1.
static int header_vynMergeEntry(const struct variable *vp, oid *name, size_t *length, bool exact)
{
    vyn_trace(VYN_TRACE_FAILURE, "At get_vynMergeEntry_ins..\n");
    merge_walk walk{};
    if (get_vynMergeEntry_instance(vyn_index_of(vp, name, *length, exact), exact, &walk.key) != 0)
        return -1;
    if (!exact)
        walk = start_walk(walk.key);
    if (walk.key.app_name[0] == '\0')
        return -1;

    for (;;) {
        vyn_reply reply;
        const u32 error = send_query(walk.key, exact, &reply);
        if (error != 0 && (exact || error != VYN_ERR_NO_MORE_ENTRIES))
            return -1;
        if (error == 0 && !reply.present())
            return VYN_SERVE_LAST_ROW;
        const auto merge = reply.read(&vyn_snmp_resp::resp_merge);
        // After the last logical row, the service returns the physical row again.
        if (!exact && walk.scope_from_index && walk.key.scope == VYN_SERVICE_LOGICAL &&
            merge.scope == VYN_SERVICE_PHYSICAL) {
            vyn_trace(VYN_TRACE_FAILURE,
                      "%s : %s : For Logical scope request,Got physical scope resp\n",
                      walk_function, vyn_field(walk.key.app_name));
            if (!vyn_merge_next_feature(&walk))
                return -1;
        } else if (merge.entries != 0) {
            row_merge = merge;
            return vyn_commit_scoped_row(vp, merge.app_name, merge.scope, merge.vsan, name, length)
                       ? 0
                       : -1;
        } else if (exact) {
            vyn_trace(VYN_TRACE_FAILURE, "Num resp is 0\n");
            return -1;
        } else if (!go_to_next_scope(&walk)) {
            return -1;
        }
    }
}

// --- Values ---

// Returns the text as printf would format it without arguments: %% becomes %. A text with any other
// conversion is returned unchanged.
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
    if (header_vynMergeEntry(vp, name, length, exact != 0) != 0)
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

// Checks that the OID of a SET has a valid index. Returns an SNMP error.
static int check_index(vyn_oid_cursor index, vyn_merge_key *key)
{
    if (get_vynMergeEntry_instance(index, true, key) != 0) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : Parsing merge instance failed \n", write_function);
        return SNMP_ERR_GENERR;
    }
    if (key->app_name[0] == '\0') { // unreachable: the decoder refuses an empty name
        vyn_trace(VYN_TRACE_FAILURE, "%s : Application name is null\n", write_function);
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
    case SNMP_MSG_INTERNAL_SET_RESERVE2: return check_index(index, &request.request.req_merge);
    case SNMP_MSG_INTERNAL_SET_ACTION:
        if (vyn_varbind_integer(var_val, var_val_len) != resolve_failure)
            return SNMP_ERR_NOERROR;
        get_vynMergeEntry_instance(index, true, &request.request.req_merge);
        return vyn_send_change(MTS_OPC_VYN_MERGE_QUERY, &request, write_function,
                               "%s : Operation Failed: %s");
    default: return SNMP_ERR_NOERROR;
    }
}
