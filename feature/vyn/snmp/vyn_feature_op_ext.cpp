// vynFeatureOpExtTable: the state of a feature's last operation in each of its scopes. Index: the
// feature's name, the scope, and the VSAN as a length-prefixed octet string: 1.0 for the physical
// scope, 2.4 and the VSAN's four octets for a logical one.
//
// The client library has the rows; a GET asks it once, a GETNEXT once for each scope or feature
// that it passes. A SET of the option stores it at once, in ACTION, in the scope of the row.
//
// Odd on purpose: where a walk goes on from a name that is no feature's, the registry's entries
// with their length in front are compared with the plain name. Any length is less than a lower-case
// letter, so from such a name the walk ends. It also ends where it would have to go on from a name
// of 81 or 82 characters, which is too long for a key: cut to 80 it might find the same feature for
// ever; and at any other name that is not all there.

#include <sys/time.h>

#include "vyn_feature_op.h"
#include "vyn_index.h"
#include "vyn_set.h"
#include "vyn_values.h"

// The option of set_vyn_cfg_option_to_module that the column writes.
static constexpr u32 show_cfg_option = 7;

// The row last read.
static vyn_feature_state row_state;

// Where a read begins: a feature, and the scope and VSAN wanted of it.
struct ext_key {
    vyn_feature_entry *feature;
    uint32_t scope; // vyn_scope_type
    uint32_t vsan;
};

static vyn_feature_state question(const ext_key &key)
{
    vyn_feature_state state{};
    state.scope = key.scope;
    state.vsan = key.vsan;
    return state;
}

// The first scope of a feature that a walk reaches: physical, if it has that.
static ext_key start_of(vyn_feature_entry *feature)
{
    const uint32_t scope = (feature->flags & VYN_FEATURE_PHYSICAL) != 0  ? VYN_SCOPE_PHYSICAL
                           : (feature->flags & VYN_FEATURE_LOGICAL) != 0 ? VYN_SCOPE_LOGICAL
                                                                         : VYN_SCOPE_NONE;
    return {feature, scope, 0};
}

// --- Index ---

// The name in front of every index: all of it, and nothing in it that ends a string.
static bool take_feature_name(vyn_oid_cursor &index, char (&name)[VYN_MAX_APP_NAME + 1])
{
    const size_t before = index.left();
    return index.take_strict_app_name(name) && strlen(name) == before - index.left() - 1;
}

// What follows the scope in a row's own index: the VSAN with its length for a logical scope; for
// the physical scope a 0, which may be missing.
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
// octets: then the VSAN that the octets give, filled up with zeros, still comes.
static uint32_t vsan_to_continue_after(vyn_oid_cursor &index)
{
    oid length = 0;
    index.take(&length);
    if (length != sizeof(be32))
        return length < sizeof(be32) ? 0 : UINT32_MAX;
    const bool is_partial = index.left() < sizeof(be32);
    uint32_t vsan = 0;
    bool is_past = false; // every VSAN that begins with the octets so far is less than the index
    for (size_t i = 0; i < sizeof(be32); i++) {
        oid octet = 0;
        index.take(&octet);
        is_past = is_past || octet > 255;
        vsan = vsan << 8 | (is_past ? 255 : static_cast<uint32_t>(octet));
    }
    return is_partial && !is_past && vsan > 0 ? vsan - 1 : vsan;
}

// A GET names a row: 0, with a null feature when there is none of that name; or -1.
static int decode_exact(vyn_oid_cursor index, ext_key *key)
{
    char name[VYN_MAX_APP_NAME + 1];
    oid scope;
    be32 vsan = 0;
    if (!take_feature_name(index, name) || name[0] == '\0' || !index.take(&scope) ||
        (scope != VYN_SCOPE_PHYSICAL && scope != VYN_SCOPE_LOGICAL) ||
        !take_exact_vsan(index, scope, &vsan))
        return -1;
    *key = {vyn_getFeatureEntry(name), static_cast<uint32_t>(scope), vsan};
    return 0;
}

// A GETNEXT names what the wanted row comes behind: nothing, or a name and what follows it.
static int decode_next(vyn_oid_cursor index, ext_key *key)
{
    char name[VYN_MAX_APP_NAME + 1] = "";
    oid scope = VYN_SCOPE_NONE;
    if (index.left() > 0 && !take_feature_name(index, name))
        return -1;
    index.take(&scope);

    vyn_feature_entry *feature = vyn_getFeatureEntry(name);
    if (feature == nullptr) {
        feature = vyn_next_feature(name); // no length in front: see the head of the file
        *key = feature != nullptr ? start_of(feature) : ext_key{};
    } else if (scope == VYN_SCOPE_LOGICAL) {
        *key = {feature, VYN_SCOPE_LOGICAL, vsan_to_continue_after(index)};
    } else if (scope != VYN_SCOPE_PHYSICAL) {
        *key = start_of(feature);
    } else if ((feature->flags & VYN_FEATURE_LOGICAL) != 0) {
        *key = {feature, VYN_SCOPE_LOGICAL, 0};
    } else {
        *key = feature->next != nullptr ? start_of(feature->next) : ext_key{};
    }
    return 0;
}

static int get_vynFeatureOpExtEntry_instance(const struct variable *vp, const oid *name,
                                             size_t length, bool exact, ext_key *key)
{
    const bool below = vyn_is_below(vp, name, length);
    const vyn_oid_cursor index(name, length, below ? vp->namelen : length);
    return exact ? decode_exact(index, key) : decode_next(index, key);
}

// --- Rows ---

// Goes on from the key until there is a row. 0, with the row in *state and its feature in the key;
// or -1.
static int find_next(ext_key *key, vyn_feature_state *state)
{
    for (;;) {
        *state = question(*key);
        const int result = get_vyn_entry_from_module(key->feature, state, VYN_STATE_NEXT);
        if (result <= 0)
            return result == 0 ? 0 : -1;
        if (key->scope != VYN_SCOPE_PHYSICAL) {
            if (key->feature->next == nullptr)
                return -1;
            *key = start_of(key->feature->next);
        } else {
            if ((key->feature->flags & VYN_FEATURE_LOGICAL) == 0)
                return -1;
            *key = {key->feature, VYN_SCOPE_LOGICAL, 0};
        }
    }
}

static bool commit_row(const struct variable *vp, const vyn_feature_entry &feature,
                       const vyn_feature_state &state, oid *name, size_t *length)
{
    vyn_oid_builder row(vp->name, vp->namelen);
    row.put_name(vyn_plain_name(feature), strnlen(vyn_plain_name(feature), VYN_MAX_FEATURE_NAME));
    if (state.scope == VYN_SCOPE_PHYSICAL) {
        row.put(VYN_SCOPE_PHYSICAL);
        row.put(0);
    } else {
        row.put(VYN_SCOPE_LOGICAL);
        row.put_vsan(state.vsan);
    }
    return row.commit(name, length);
}

// Finds the row and writes its index into name and length. 0, or -1 when there is none.
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
    vyn_feature_state state = question(key);
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

// The agent's uptime at the time of the last operation; 0 where the agent's function has a negative
// result, as it has for times before the agent's start.
static u_char *time_stamp(size_t *var_len)
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
        return vyn_failure_reason(row_state.result, row_state.error_code, max_reason, var_len);
    case VYNFEATUREOPEXTSHOWCFGOPTION:
        *write_method = set_vynFeatureOpExtShowCfgOption;
        return vyn_integer_value(row_state.show_cfg_option, var_len);
    case VYNFEATUREOPEXTTIMESTAMP: return time_stamp(var_len);
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

// The column that a SET names, for the functions that take a read's: the first 14 sub-identifiers.
static struct variable column_of(const oid *name, size_t length)
{
    constexpr size_t column_length = 14;
    struct variable column = {};
    column.namelen = column_length;
    memcpy(column.name, name, std::min(length, column_length) * sizeof(oid));
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
        const vyn_cfg_option option = {show_cfg_option, key.scope, key.vsan, value};
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
        if (int refusal =
                vyn_check_integer(show_cfg_option_checks, var_val, var_val_type, var_val_len))
            return refusal;
        return check_row_exists(name, length);
    case SNMP_MSG_INTERNAL_SET_ACTION:
        return store_option(static_cast<u32>(vyn_varbind_integer(var_val, var_val_len)), name,
                            length);
    default: return SNMP_ERR_NOERROR;
    }
}
