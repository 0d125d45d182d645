// vynFeatureOpExtTable: the state of a feature's last operation in each of its scopes. Index: the
// feature's name, the scope, and the VSAN as an octet string. The physical scope is 1.0, a logical
// one is 2.4 and the VSAN's four octets.
//
// The client library has the rows. A GET calls it once, a GETNEXT once for each scope or feature
// that it passes. A SET of the option is stored in ACTION, in the scope of the row.

#include <sys/time.h>

#include "vyn_feature_op.h"
#include "vyn_index.h"
#include "vyn_set.h"
#include "vyn_values.h"

// The retained row: the last one read.
static vyn_feature_state row_state;

// The feature, scope and VSAN of a call of the client library.
struct ext_key {
    vyn_feature_entry *feature;
    uint32_t scope; // vyn_scope_type
    uint32_t vsan;
};

// Returns a state record whose scope and VSAN are those of the key.
static vyn_feature_state state_key(const ext_key &key)
{
    vyn_feature_state state{};
    state.scope = key.scope;
    state.vsan = key.vsan;
    return state;
}

// Returns the key of the feature's first scope in a walk: the physical one, if it has that.
static ext_key first_key(vyn_feature_entry *feature)
{
    const uint32_t scope = (feature->flags & VYN_FEATURE_PHYSICAL) != 0  ? VYN_SCOPE_PHYSICAL
                           : (feature->flags & VYN_FEATURE_LOGICAL) != 0 ? VYN_SCOPE_LOGICAL
                                                                         : VYN_SCOPE_NONE;
    return {feature, scope, 0};
}

// --- Index ---

// Takes what follows the scope in an exact index. Physical: a 0 or nothing. Logical: the VSAN as an
// octet string.
static bool take_exact_vsan(vyn_oid_cursor &index, oid scope, be32 *vsan)
{
    oid length = 0;
    char octets[sizeof(*vsan) + 1];
    index.take(&length);
    if (scope == VYN_SCOPE_PHYSICAL)
        return length == 0 && index.left() == 0;
    if (length != sizeof(*vsan) || index.left() != length ||
        !index.take_string(octets, sizeof(*vsan)))
        return false;
    memcpy(vsan, octets, sizeof(*vsan));
    return true;
}

// Returns the VSAN to continue after. The index may end anywhere, even inside the VSAN's four
// octets. Missing octets count as zero, and the walk still visits the VSAN that they complete.
static uint32_t vsan_to_continue_after(vyn_oid_cursor &index)
{
    oid length = 0;
    index.take(&length);
    if (length != sizeof(be32))
        return length < sizeof(be32) ? 0 : UINT32_MAX;
    const bool is_partial = index.left() < sizeof(be32);
    uint32_t vsan = 0;
    // An octet was over 255, so the index sorts after all VSANs with the octets before it.
    bool is_past = false;
    for (size_t i = 0; i < sizeof(be32); i++) {
        oid octet = 0;
        index.take(&octet);
        is_past = is_past || octet > 255;
        vsan = vsan << 8 | (is_past ? 255 : static_cast<uint32_t>(octet));
    }
    return is_partial && !is_past && vsan > 0 ? vsan - 1 : vsan;
}

// Decodes a GET index. Returns 0, with a null feature if none has that name, or -1.
static int decode_exact(vyn_oid_cursor index, ext_key *key)
{
    char name[VYN_MAX_APP_NAME + 1];
    oid scope;
    be32 vsan = 0;
    if (!index.take_strict_app_name(name) || name[0] == '\0' || !index.take(&scope) ||
        (scope != VYN_SCOPE_PHYSICAL && scope != VYN_SCOPE_LOGICAL) ||
        !take_exact_vsan(index, scope, &vsan))
        return -1;
    *key = {vyn_getFeatureEntry(name), static_cast<uint32_t>(scope), vsan};
    return 0;
}

// Decodes a GETNEXT index: empty, or a complete name and any part of a scope. Returns 0, with a
// null feature at the end, or -1 for any other index.
static int decode_next(vyn_oid_cursor index, ext_key *key)
{
    char name[VYN_MAX_APP_NAME + 1] = "";
    oid scope = VYN_SCOPE_NONE;
    // Quirk: a walk ends after a name of 81 or 82 characters: cut to 80, it could find the same
    // feature again.
    if (index.left() > 0 && !index.take_strict_app_name(name))
        return -1;
    index.take(&scope);

    vyn_feature_entry *feature = vyn_getFeatureEntry(name);
    if (feature == nullptr) {
        // Quirk: unlike names in the registry, this key has no length byte (at most 82), so a walk
        // ends after an unknown name that starts with a lower-case letter.
        feature = vyn_next_feature(name);
        *key = feature != nullptr ? first_key(feature) : ext_key{};
    } else if (scope == VYN_SCOPE_LOGICAL) {
        *key = {feature, VYN_SCOPE_LOGICAL, vsan_to_continue_after(index)};
    } else if (scope != VYN_SCOPE_PHYSICAL) {
        *key = first_key(feature);
    } else if ((feature->flags & VYN_FEATURE_LOGICAL) != 0) {
        *key = {feature, VYN_SCOPE_LOGICAL, 0};
    } else {
        *key = feature->next != nullptr ? first_key(feature->next) : ext_key{};
    }
    return 0;
}

// Decodes an index. Returns 0, with a null feature if there is none, or -1.
static int get_vynFeatureOpExtEntry_instance(const struct variable *vp, const oid *name,
                                             size_t length, bool exact, ext_key *key)
{
    const bool below = vyn_is_below(vp, name, length);
    const vyn_oid_cursor index(name, length, below ? vp->namelen : length);
    return exact ? decode_exact(index, key) : decode_next(index, key);
}

// --- Rows ---

// Advances the key until there is a row. Returns 0 with the row in *state and its feature in the
// key, or -1 at the end.
static int find_next(ext_key *key, vyn_feature_state *state)
{
    for (;;) {
        *state = state_key(*key);
        const int result = get_vyn_entry_from_module(key->feature, state, VYN_STATE_NEXT);
        if (result <= 0)
            return result == 0 ? 0 : -1;
        if (key->scope != VYN_SCOPE_PHYSICAL) {
            if (key->feature->next == nullptr)
                return -1;
            *key = first_key(key->feature->next);
        } else {
            if ((key->feature->flags & VYN_FEATURE_LOGICAL) == 0)
                return -1; // Quirk: the walk ends, even if another feature follows
            *key = {key->feature, VYN_SCOPE_LOGICAL, 0};
        }
    }
}

static bool commit_row(const struct variable *vp, const vyn_feature_entry &feature,
                       const vyn_feature_state &state, oid *name, size_t *length)
{
    vyn_oid_builder row_oid(vp->name, vp->namelen);
    row_oid.put_name(vyn_plain_name(feature),
                     strnlen(vyn_plain_name(feature), VYN_MAX_FEATURE_NAME));
    if (state.scope == VYN_SCOPE_PHYSICAL) {
        row_oid.put(VYN_SCOPE_PHYSICAL);
        row_oid.put(0);
    } else {
        row_oid.put(VYN_SCOPE_LOGICAL);
        row_oid.put_vsan(state.vsan);
    }
    return row_oid.commit(name, length);
}

// Finds the row, retains it and writes its index to name and length. Returns 0, or -1 if there is
// none.
static int header_vynFeatureOpExtEntry(const struct variable *vp, oid *name, size_t *length,
                                       bool exact)
{
    constexpr const char *function = "header_vynFeatureOpExtEntry";
    ext_key key{};
    const int result = get_vynFeatureOpExtEntry_instance(vp, name, *length, exact, &key);
    if (result != 0) {
        vyn_trace(VYN_TRACE_FAILURE, " %s : ret_code = %d \n", function, result);
        return -1;
    }
    if (key.feature == nullptr) {
        vyn_trace(VYN_TRACE_FAILURE, " %s : fp is NULL...\n", function);
        return -1;
    }
    vyn_feature_state state = state_key(key);
    const int failed = exact ? get_vyn_entry_from_module(key.feature, &state, VYN_STATE_EXACT)
                             : find_next(&key, &state);
    if (failed != 0 || !commit_row(vp, *key.feature, state, name, length))
        return -1;
    if (state.scope == VYN_SCOPE_PHYSICAL)
        state.show_cfg_option = key.feature->show_cfg_option;
    row_state = state;
    return 0;
}

// --- Values ---

// Returns the agent's uptime at the last operation, or 0 if that was before the agent's start.
static u_char *time_stamp_value(size_t *var_len)
{
    timeval when = {};
    when.tv_sec = row_state.seconds;
    when.tv_usec = row_state.microseconds;
    const auto uptime = static_cast<long>(netsnmp_timeval_uptime(&when));
    return vyn_integer_value(uptime < 0 ? 0 : static_cast<uint32_t>(uptime), var_len);
}

u_char *get_vynFeatureOpExtTable(struct variable *vp, oid *name, size_t *length, int exact,
                                 size_t *var_len, WriteMethod **write_method)
{
    constexpr size_t max_reason = 254;
    if (header_vynFeatureOpExtEntry(vp, name, length, exact != 0) != 0)
        return nullptr;
    switch (vp->magic) {
    case VYNFEATUREOPEXTSTATUS: return vyn_integer_value(row_state.last_action, var_len);
    case VYNFEATUREOPEXTRESULT: return vyn_integer_value(row_state.result, var_len);
    case VYNFEATUREOPEXTFAILUREREASON:
        return vyn_failure_reason_value(row_state.result, row_state.error_code, max_reason,
                                        var_len);
    case VYNFEATUREOPEXTSHOWCFGOPTION:
        *write_method = set_vynFeatureOpExtShowCfgOption;
        return vyn_integer_value(row_state.show_cfg_option, var_len);
    case VYNFEATUREOPEXTTIMESTAMP: return time_stamp_value(var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}

// --- Write ---

static constexpr vyn_integer_checks show_cfg_option_checks = {
    .type = ASN_INTEGER,
    .min_length = 0,
    .min = 1,
    .max = 2,
    .wrong_type = "write to vynFeatureOpExtShowCfgOption not ASN_INTEGER\n",
    .wrong_length = "write to vynFeatureOpExtShowCfgOption: bad length\n",
    .function = "set_vynFeatureOpExtShowCfgOption",
};

// Returns the column of a SET's OID, which the functions of a read take.
static struct variable column_of(const oid *name, size_t length)
{
    struct variable column = {};
    column.namelen = VYN_INDEX_START;
    memcpy(column.name, name, std::min(length, VYN_INDEX_START) * sizeof(oid));
    return column;
}

static int check_row_exists(const oid *name, size_t length)
{
    const struct variable column = column_of(name, length);
    oid found[MAX_OID_LEN];
    size_t found_length = length;
    memcpy(found, name, length * sizeof(oid));
    return header_vynFeatureOpExtEntry(&column, found, &found_length, true) == 0
               ? SNMP_ERR_NOERROR
               : SNMP_NOSUCHINSTANCE;
}

static int store_option(u32 value, const oid *name, size_t length)
{
    const struct variable column = column_of(name, length);
    ext_key key{};
    if (get_vynFeatureOpExtEntry_instance(&column, name, length, true, &key) != 0 ||
        key.feature == nullptr)
        return SNMP_NOSUCHINSTANCE;
    int failed;
    if (key.scope == VYN_SCOPE_LOGICAL) {
        const vyn_cfg_option option = {VYN_OPTION_SHOW_CFG, key.scope, key.vsan, value};
        failed = set_vyn_cfg_option_to_module(key.feature, &option);
    } else {
        key.feature->show_cfg_option = value;
        failed = pss_update_vyn_feature_entry_rt(key.feature, 1);
    }
    return failed ? SNMP_ERR_GENERR : SNMP_ERR_NOERROR;
}

int set_vynFeatureOpExtShowCfgOption(int action, u_char *var_val, u_char var_val_type,
                                     size_t var_val_len, u_char *, oid *name, size_t length)
{
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int snmp_error =
                vyn_check_integer(show_cfg_option_checks, var_val, var_val_type, var_val_len))
            return snmp_error;
        return check_row_exists(name, length);
    case SNMP_MSG_INTERNAL_SET_ACTION:
        return store_option(static_cast<u32>(vyn_varbind_integer(var_val, var_val_len)), name,
                            length);
    default: return SNMP_ERR_NOERROR;
    }
}
