// Events of the service as notifications: norvoVYNFeatureActionNotif when a feature action has
// ended, norvoVYNMergeFailNotif when a merge has failed, norvoVYNDiscoveryCompleteNotif when a
// discovery has ended.
//
// The handlers ask the service nothing and send nothing: they return the variables, and the agent
// sends them. The values lie in storage that keeps what the last event of its kind left there.
//
// Odd on purpose: that storage is shared and never reset, so two stale values can be seen. A merge
// failure of an unknown scope repeats the scope type of the one before it. The reason of a failed
// discovery is not the event's own: it is read from the copy that merge failures share, where bytes
// 4 to 7 of the last one's feature name lie.

#include <cstdio>
#include <cstring>

#include "snmp_context.h"
#include "syserr.h"
#include "vyn_index.h"
#include "vyn_service.h"

// Notifications and their own objects, below vynMIB.
static constexpr oid feature_action_notif[] = {0, 1};
static constexpr oid merge_fail_notif[] = {0, 2};
static constexpr oid discovery_complete_notif[] = {0, 3};
static constexpr oid notif_feature_name[] = {1, 2, 1, 0};
static constexpr oid notif_scope_type[] = {1, 2, 2, 0};
static constexpr oid notif_scope_value[] = {1, 2, 3, 0};
static constexpr oid notif_failure_reason[] = {1, 2, 4, 0};
static constexpr oid peers_discovery_status[] = {1, 3, 2, 0};
static constexpr oid peers_discovery_failure_reason[] = {1, 3, 3, 0};

// The OID of an object or notification of the module.
template <size_t N> static vyn_oid_builder below_vyn_mib(const oid (&name)[N])
{
    vyn_oid_builder result(vyn_mib_variables_oid, VYN_MIB_ROOT_LENGTH);
    for (oid value : name)
        result.put(value);
    return result;
}

// The variables of a notification, in order.
class vyn_varbinds {
  public:
    void integer(const vyn_oid_builder &name, const uint32_t *value)
    {
        add(name, ASN_INTEGER, value, sizeof(*value));
    }
    void octets(const vyn_oid_builder &name, const void *value, size_t length)
    {
        add(name, ASN_OCTET_STR, value, length);
    }
    netsnmp_variable_list *head() const { return head_; }

  private:
    void add(const vyn_oid_builder &name, u_char type, const void *value, size_t length)
    {
        oid copy[MAX_OID_LEN];
        size_t copy_length = 0;
        name.commit(copy, &copy_length);
        auto *next = build_varbind(last_, value, type, length, copy, copy_length);
        if (next == nullptr)
            return; // without memory; what there is stays one list
        last_ = next;
        if (head_ == nullptr)
            head_ = last_;
    }

    netsnmp_variable_list *head_ = nullptr;
    netsnmp_variable_list *last_ = nullptr;
};

// How every handler begins. The flag is set whether or not a notification comes of the event. The
// payload, or null.
static const void *begin_event(const char *function, mts_msg *message, int *flag)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying", function);
    *flag = 1;
    return message != nullptr ? mts_payload_get(message) : nullptr;
}

template <typename Record> static Record read_event(const void *payload, size_t offset)
{
    static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
    Record record;
    memcpy(&record, static_cast<const uint8_t *>(payload) + offset, sizeof(record));
    return record;
}

// --- Merge failures and discoveries ---

// The last event's own record. The discovery's lies over the merge failure's: its status on the
// first byte of the name, its reason on bytes 4 to 7.
static vyn_merge_fail_notif notif_val;
static uint32_t merge_scope_type;
static uint32_t discovery_status;
static char discovery_failure_text[256];

static void copy_merge_failure(const vyn_merge_fail_notif &event)
{
    // A name or text is followed by zero bytes, whatever the event has behind its NUL.
    strncpy(notif_val.feature_name, event.feature_name, sizeof(notif_val.feature_name));
    strncpy(notif_val.failure_text, event.failure_text, sizeof(notif_val.failure_text));
    notif_val.scope = event.scope;
    if (event.scope == VYN_SERVICE_LOGICAL) {
        merge_scope_type = VYN_SCOPE_LOGICAL;
        notif_val.vsan = event.vsan;
    } else if (event.scope == VYN_SERVICE_PHYSICAL) {
        merge_scope_type = VYN_SCOPE_PHYSICAL;
    }
}

static netsnmp_variable_list *merge_failed(const void *payload, oid *notification_oid,
                                           size_t *notification_oid_length)
{
    copy_merge_failure(read_event<vyn_merge_fail_notif>(payload, VYN_NOTIF_VAL));
    const size_t vsan_length = notif_val.scope == VYN_SERVICE_LOGICAL ? sizeof(notif_val.vsan) : 0;
    vyn_varbinds varbinds;
    varbinds.octets(below_vyn_mib(notif_feature_name), notif_val.feature_name,
                    vyn_field(notif_val.feature_name).length());
    varbinds.integer(below_vyn_mib(notif_scope_type), &merge_scope_type);
    varbinds.octets(below_vyn_mib(notif_scope_value), &notif_val.vsan, vsan_length);
    varbinds.octets(below_vyn_mib(notif_failure_reason), notif_val.failure_text,
                    vyn_field(notif_val.failure_text).length());
    below_vyn_mib(merge_fail_notif).commit(notification_oid, notification_oid_length);
    vyn_trace(VYN_TRACE_FLOW, "About to generate VYN - norvoVYNMergeFailNotif notification\n");
    return varbinds.head();
}

static netsnmp_variable_list *discovery_ended(const void *payload, oid *notification_oid,
                                              size_t *notification_oid_length)
{
    constexpr size_t max_reason = 254;
    memset(discovery_failure_text, 0, sizeof(discovery_failure_text));
    const auto event = read_event<vyn_resp_disc_status>(payload, VYN_NOTIF_VAL);
    memcpy(&notif_val, &event.disc_status, sizeof(event.disc_status));
    const auto retained = read_event<vyn_resp_disc_status>(&notif_val, 0);

    discovery_status = retained.disc_status;
    if (retained.disc_status == VYN_DISC_FAILED)
        snprintf(discovery_failure_text, max_reason + 1, "%s",
                 syserr_format(retained.failure_reason));
    vyn_varbinds varbinds;
    varbinds.integer(below_vyn_mib(peers_discovery_status), &discovery_status);
    varbinds.octets(below_vyn_mib(peers_discovery_failure_reason), discovery_failure_text,
                    strlen(discovery_failure_text));
    below_vyn_mib(discovery_complete_notif).commit(notification_oid, notification_oid_length);
    vyn_trace(VYN_TRACE_FLOW,
              "notif_val.resp_phy_disc_status.disc_status = %d  "
              "notif_val.resp_phy_disc_status.failure_reason = %d \n",
              retained.disc_status, retained.failure_reason);
    vyn_trace(VYN_TRACE_FLOW, "About to generate VYN -norvoVYNDiscoveryCompleteNotif\n");
    return varbinds.head();
}

netsnmp_variable_list *handle_VYNNotifications(mts_msg *message, oid *notification_oid,
                                               size_t *notification_oid_length, int *flag)
{
    const void *payload = begin_event("handle_VYNNotifications", message, flag);
    if (payload == nullptr)
        return nullptr;
    switch (read_event<be32>(payload, 0)) {
    case VYN_NOTIF_MERGE_FAIL:
        return merge_failed(payload, notification_oid, notification_oid_length);
    case VYN_NOTIF_DISCOVERY_COMPLETE:
        return discovery_ended(payload, notification_oid, notification_oid_length);
    default:
        vyn_trace(VYN_TRACE_FAILURE, "%s : Invalid VYN notificationType",
                  "handle_VYNNotifications");
        return nullptr;
    }
}

// --- Feature actions ---

// The five values of the last feature action.
static struct {
    uint32_t last_action;
    uint32_t scope_type;
    be32 scope_value;
    uint32_t result;
    uint32_t fifth; // kept, never sent
} feature_action;

static void copy_feature_action(const vyn_feature_action_notif &event)
{
    feature_action.last_action = event.last_action;
    feature_action.scope_type = event.scope_type == 0 ? VYN_SCOPE_PHYSICAL : event.scope_type;
    if (event.scope_type == VYN_SCOPE_LOGICAL)
        feature_action.scope_value = event.scope_value;
    feature_action.result = event.result;
    feature_action.fifth = event.fifth;
}

// The feature's row of the operation table, in one of the columns 5 to 8.
static vyn_oid_builder feature_op_row(oid column, const vyn_feature_action_notif &event)
{
    const oid entry[] = {1, 1, 1, 1, column};
    vyn_oid_builder row = below_vyn_mib(entry);
    row.put_name(event.feature_name, vyn_field(event.feature_name).length());
    return row;
}

netsnmp_variable_list *handle_VYNFeatureActionNotif(mts_msg *message, oid *notification_oid,
                                                    size_t *notification_oid_length, int *flag)
{
    const void *payload = begin_event("handle_VYNFeatureActionNotif", message, flag);
    if (payload == nullptr)
        return nullptr;
    const auto event = read_event<vyn_feature_action_notif>(payload, 0);
    copy_feature_action(event);
    const size_t vsan_length =
        feature_action.scope_type == VYN_SCOPE_LOGICAL ? sizeof(feature_action.scope_value) : 0;
    vyn_varbinds varbinds;
    varbinds.integer(feature_op_row(5, event), &feature_action.last_action);
    varbinds.integer(feature_op_row(6, event), &feature_action.scope_type);
    varbinds.octets(feature_op_row(7, event), &feature_action.scope_value, vsan_length);
    varbinds.integer(feature_op_row(8, event), &feature_action.result);
    below_vyn_mib(feature_action_notif).commit(notification_oid, notification_oid_length);
    vyn_trace(VYN_TRACE_FLOW, "About to generate VYN - norvoVYNFeatureActionNotif notification\n");
    return varbinds.head();
}
