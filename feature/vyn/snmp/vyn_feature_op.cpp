// vynFeatureOpTable: one row for each registered feature. Index: the feature's name, as its length
// and its characters.
//
// The client library holds the features. A read costs one call of that library, for the state of
// the feature's last action. A SET of the scope or of the display option is stored in ACTION. A SET
// of the action changes the entry in ACTION. COMMIT runs the action if the feature's state allows
// it.

#include "vyn_feature_op.h"
#include "snmp_context.h"
#include "syserr.h"
#include "vyn_index.h"
#include "vyn_set.h"
#include "vyn_values.h"

// --- Rows ---

// Returns the feature that a read finds, or null. Writes the index of its row to name and length.
static vyn_feature_entry *find_feature(const struct variable *vp, oid *name, size_t *length,
                                       bool exact)
{
    if (*length < vp->namelen || snmp_oid_compare(name, vp->namelen, vp->name, vp->namelen) != 0) {
        // Quirk: the column's OID replaces a requested OID outside it, even if there is no row.
        memcpy(name, vp->name, vp->namelen * sizeof(oid));
        *length = vp->namelen;
    }
    if (exact && *length <= vp->namelen)
        return nullptr;
    // The key of a GETNEXT starts with the length of the name, like names in the registry.
    // Quirk: a GET skips the length without the check that a SET makes.
    const size_t start = exact ? vp->namelen + 1 : vp->namelen;
    char key[VYN_MAX_FEATURE_NAME + 1];
    if (!vyn_oid_cursor(name, *length, start).take_string(key, VYN_MAX_FEATURE_NAME))
        return nullptr;
    vyn_feature_entry *entry = exact ? vyn_getFeatureEntry(key) : vyn_next_feature(key);
    if (entry == nullptr)
        return nullptr;
    vyn_oid_builder row_oid(vp->name, vp->namelen);
    row_oid.put_octets(entry->name,
                       strnlen(reinterpret_cast<const char *>(entry->name), sizeof(entry->name)));
    return row_oid.commit(name, length) ? entry : nullptr;
}

// --- Values ---

// Returns a VSAN as four octets, most significant first.
static u_char *vsan_value(be32 vsan, size_t *var_len)
{
    return vyn_octets_value(&vsan, sizeof(vsan), var_len);
}

static u_char *empty_value(size_t *var_len)
{
    return vyn_octets_value("", 0, var_len);
}

u_char *vyn_failure_reason_value(be32 result, be32 error_code, size_t max_length, size_t *var_len)
{
    if (result != VYN_RESULT_FAILED && result != VYN_RESULT_FAILED_PARTLY)
        return empty_value(var_len);
    return vyn_text_value(syserr_format(error_code), max_length, var_len);
}

// Returns a bit string. Bit 0 is the most significant. Bit 2 alone means that the feature is
// distributed in logical scopes; bits 0 and 1 describe the physical scope.
static u_char *flags_value(const vyn_feature_entry &entry, size_t *var_len)
{
    u_char bits = 0;
    if ((entry.flags & VYN_FEATURE_LOGICAL) != 0)
        bits = 0x20;
    else if ((entry.flags & VYN_FEATURE_PHYSICAL) != 0)
        bits = static_cast<u_char>(((entry.flags2 & 1) != 0 ? 0x80 : 0) |
                                   ((entry.flags2 & 2) != 0 ? 0x40 : 0));
    return vyn_octets_value(&bits, sizeof(bits), var_len);
}

u_char *get_vynFeatureOpTable(struct variable *vp, oid *name, size_t *length, int exact,
                              size_t *var_len, WriteMethod **write_method)
{
    vyn_feature_entry *entry = find_feature(vp, name, length, exact != 0);
    if (entry == nullptr)
        return nullptr;
    vyn_feature_state state{};
    const int failed = get_vyn_entry_from_module(entry, &state, VYN_STATE_EXACT);
    vyn_trace(VYN_TRACE_FAILURE, "ret code from get_vyn_entry: %d\n", failed);
    constexpr uint32_t value_without_state = 1;

    switch (vp->magic) {
    case VYNFEATUREOPACTION:
        *write_method = set_vynFeatureOpAction;
        return vyn_integer_value(1, var_len);
    case VYNFEATUREOPSCOPETYPE:
        *write_method = set_vynFeatureOpScopeType;
        return vyn_integer_value(entry->scope_type, var_len);
    case VYNFEATUREOPSCOPEVAL:
        *write_method = set_vynFeatureOpScopeVal;
        return entry->scope_type == VYN_SCOPE_LOGICAL && entry->scope_value != 0
                   ? vsan_value(entry->scope_value, var_len)
                   : empty_value(var_len);
    case VYNFEATUREOPLASTACTION:
        return vyn_integer_value(failed ? value_without_state : uint32_t{state.last_action},
                                 var_len);
    case VYNFEATUREOPLASTSCOPETYPE:
        return vyn_integer_value(failed ? value_without_state : uint32_t{state.scope}, var_len);
    case VYNFEATUREOPLASTSCOPEVAL:
        return state.scope == VYN_SCOPE_LOGICAL ? vsan_value(state.vsan, var_len)
                                                : empty_value(var_len);
    case VYNFEATUREOPLASTACTIONRESULT:
        return vyn_integer_value(failed ? value_without_state : uint32_t{state.result}, var_len);
    case VYNFEATUREOPLASTFAILUREREASON:
        return failed ? empty_value(var_len)
                      : vyn_failure_reason_value(state.result, state.error_code, VYN_MAX_TEXT,
                                                 var_len);
    case VYNFEATUREOPSHOWCFGOPTION:
        *write_method = set_vynFeatureOpShowCfgOption;
        return vyn_integer_value(entry->show_cfg_option, var_len);
    case VYNFEATUREOPENTRYATTR: return vyn_integer_value(entry->entry_attr, var_len);
    case VYNFEATUREOPFLAGS: return flags_value(*entry, var_len);
    default: snmp_set_detail(""); return nullptr;
    }
}

// --- Writes ---

static constexpr vyn_integer_checks action_checks = {
    .type = ASN_INTEGER,
    .min_length = 0,
    .min = 2,
    .max = 6,
    .wrong_type = "write to vynFeatureOpAction not ASN_INTEGER\n",
    .wrong_length = "write to vynFeatureOpAction: bad length\n",
    .function = "set_vynFeatureOpAction",
};

static constexpr vyn_integer_checks scope_type_checks = {
    .type = ASN_INTEGER,
    .min_length = 0,
    .min = 1,
    .max = 2,
    .wrong_type = "write to vynFeatureOpScopeType not ASN_INTEGER\n",
    .wrong_length = "write to vynFeatureOpScopeType: bad length\n",
    .function = "set_vynFeatureOpScopeType",
};

static constexpr vyn_integer_checks show_cfg_option_checks = {
    .type = ASN_INTEGER,
    .min_length = 0,
    .min = 1,
    .max = 2,
    .wrong_type = "write to vynFeatureOpShowCfgOption not ASN_INTEGER\n",
    .wrong_length = "wwrite to vynFeatureOpShowCfgOption: bad length\n",
    .function = "set_vynFeatureOpShowCfgOption",
};

static int check_feature_exists(const oid *name, size_t length)
{
    return vyn_parse_FeatureEntry(name, length) != nullptr ? SNMP_ERR_NOERROR : SNMP_NOSUCHINSTANCE;
}

static int store_entry(vyn_feature_entry *entry)
{
    return pss_update_vyn_feature_entry_rt(entry, 1) == 0 ? SNMP_ERR_NOERROR : SNMP_ERR_GENERR;
}

// Checks that the feature exists and that the user may run actions on it. Only network
// administrators may run actions on the feature "role".
static int check_action_is_allowed(const oid *name, size_t length)
{
    const vyn_feature_entry *entry = vyn_parse_FeatureEntry(name, length);
    if (entry == nullptr)
        return SNMP_NOSUCHINSTANCE;
    if (strcmp(vyn_plain_name(*entry), "role") == 0 && !vacm_is_user_network_admin()) {
        vyn_trace(VYN_TRACE_FAILURE, "%s : syserr_snmp_err_not_sufficient_access_right\n",
                  "set_vynFeatureOpAction");
        return SNMP_ERR_GENERR;
    }
    return SNMP_ERR_NOERROR;
}

// Reports whether the last action is still in progress. Checks the entry's scope if
// it is logical and the feature's last action is not an enable or disable.
static bool action_in_progress(vyn_feature_entry *entry)
{
    vyn_feature_state state{};
    get_vyn_entry_from_module(entry, &state, VYN_STATE_EXACT);
    if (state.last_action != VYN_ACTION_ENABLE && state.last_action != VYN_ACTION_DISABLE &&
        entry->scope_type == VYN_SCOPE_LOGICAL) {
        state = {};
        state.scope = entry->scope_type;
        state.vsan = entry->scope_value;
        get_vyn_entry_from_module(entry, &state, VYN_STATE_EXACT);
    }
    return state.result == VYN_RESULT_IN_PROGRESS;
}

static bool scope_supports_action(const vyn_feature_entry &entry)
{
    if (entry.action == VYN_ACTION_ENABLE || entry.action == VYN_ACTION_DISABLE)
        return true;
    if (entry.scope_type == VYN_SCOPE_PHYSICAL)
        return (entry.flags & VYN_FEATURE_PHYSICAL) != 0;
    if (entry.scope_type == VYN_SCOPE_LOGICAL)
        return (entry.flags & VYN_FEATURE_LOGICAL) != 0;
    return true;
}

static int run_action(vyn_feature_entry *entry)
{
    if (entry->scope_type == VYN_SCOPE_LOGICAL && entry->scope_value == 0)
        return SNMP_ERR_INCONSISTENTVALUE;
    if (!scope_supports_action(*entry)) {
        vyn_report_set_error(VYN_ERR_ACTION_UNSUPPORTED);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    if (entry->action != VYN_ACTION_CLEAR && action_in_progress(entry)) {
        vyn_trace(VYN_TRACE_FAILURE,
                  "%s : Set operation failed as the feature's current VYNFEATUREOPLASTACTIONRESULT "
                  "is IN_PROGRESS  ",
                  "set_vynFeatureOpAction");
        vyn_report_set_error(VYN_ERR_ACTION_IN_PROGRESS);
        return SNMP_ERR_INCONSISTENTVALUE;
    }
    if (set_vyn_entry_to_module(entry) == 0)
        return SNMP_ERR_NOERROR;
    return vyn_refuse("-- Returning Generr -- ", SNMP_ERR_GENERR);
}

int set_vynFeatureOpAction(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                           u_char *, oid *name, size_t length)
{
    vyn_feature_entry *entry;
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int snmp_error = vyn_check_integer(action_checks, var_val, var_val_type, var_val_len))
            return snmp_error;
        return check_action_is_allowed(name, length);
    case SNMP_MSG_INTERNAL_SET_RESERVE2: return check_feature_exists(name, length);
    case SNMP_MSG_INTERNAL_SET_ACTION:
        entry = vyn_parse_FeatureEntry(name, length);
        if (entry == nullptr)
            return SNMP_NOSUCHINSTANCE;
        entry->action = static_cast<u32>(vyn_varbind_integer(var_val, var_val_len));
        return SNMP_ERR_NOERROR;
    case SNMP_MSG_INTERNAL_SET_COMMIT:
        entry = vyn_parse_FeatureEntry(name, length);
        return entry != nullptr ? run_action(entry) : SNMP_ERR_NOERROR;
    default: return SNMP_ERR_NOERROR;
    }
}

// Runs one phase of a SET of a column that is one field of the entry.
static int write_field(const vyn_integer_checks &checks, u32 vyn_feature_entry::*field, int action,
                       const u_char *var_val, u_char var_val_type, size_t var_val_len,
                       const oid *name, size_t length)
{
    vyn_feature_entry *entry;
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (int snmp_error = vyn_check_integer(checks, var_val, var_val_type, var_val_len))
            return snmp_error;
        return check_feature_exists(name, length);
    case SNMP_MSG_INTERNAL_SET_ACTION:
        entry = vyn_parse_FeatureEntry(name, length);
        if (entry == nullptr)
            return SNMP_NOSUCHINSTANCE;
        entry->*field = static_cast<u32>(vyn_varbind_integer(var_val, var_val_len));
        return store_entry(entry);
    default: return SNMP_ERR_NOERROR;
    }
}

int set_vynFeatureOpScopeType(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                              u_char *, oid *name, size_t length)
{
    return write_field(scope_type_checks, &vyn_feature_entry::scope_type, action, var_val,
                       var_val_type, var_val_len, name, length);
}

int set_vynFeatureOpShowCfgOption(int action, u_char *var_val, u_char var_val_type,
                                  size_t var_val_len, u_char *, oid *name, size_t length)
{
    return write_field(show_cfg_option_checks, &vyn_feature_entry::show_cfg_option, action, var_val,
                       var_val_type, var_val_len, name, length);
}

static int store_scope_value(const u_char *var_val, size_t var_val_len, const oid *name,
                             size_t length)
{
    vyn_feature_entry *entry = vyn_parse_FeatureEntry(name, length);
    if (entry == nullptr)
        return SNMP_NOSUCHINSTANCE;
    be32 value = 0; // pads fewer than four octets with zeros
    if (var_val_len > 0)
        memcpy(&value, var_val, std::min(var_val_len, sizeof(value)));
    // Quirk: the entry keeps the value even if it is refused or not stored, as in write_field.
    entry->scope_value = value;
    if (entry->scope_type == VYN_SCOPE_LOGICAL &&
        (entry->scope_value < VYN_MIN_VSAN || entry->scope_value > VYN_MAX_VSAN))
        return SNMP_ERR_WRONGVALUE;
    return store_entry(entry);
}

int set_vynFeatureOpScopeVal(int action, u_char *var_val, u_char var_val_type, size_t var_val_len,
                             u_char *, oid *name, size_t length)
{
    switch (action) {
    case SNMP_MSG_INTERNAL_SET_RESERVE1:
        if (var_val_type != ASN_OCTET_STR)
            return vyn_refuse("write to vynFeatureOpScopeVal not ASN_OCTET_STR\n",
                              SNMP_ERR_WRONGTYPE);
        if (var_val_len > 255)
            return vyn_refuse("write to vynFeatureOpScopeVal: bad length\n", SNMP_ERR_WRONGLENGTH);
        return check_feature_exists(name, length);
    case SNMP_MSG_INTERNAL_SET_RESERVE2: return check_feature_exists(name, length);
    case SNMP_MSG_INTERNAL_SET_ACTION: return store_scope_value(var_val, var_val_len, name, length);
    default: return SNMP_ERR_NOERROR;
    }
}
