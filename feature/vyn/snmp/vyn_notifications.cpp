// Notifications: norvoVYNFeatureActionNotif when a feature action has ended, norvoVYNMergeFailNotif
// when a merge has failed, norvoVYNDiscoveryCompleteNotif when a discovery has ended.
//
// A handler returns the varbinds for an event of the service, and the agent sends them. A handler
// makes no request. The values stay in static storage until the next event of that kind. A field
// that the next event does not set keeps its value.

#include <cstdio>
#include <cstring>

#include "snmp_context.h"
#include "syserr.h"
#include "vyn_index.h"
#include "vyn_service.h"

// The notifications and their objects, relative to vynMIB.
static constexpr oid feature_action_notif[] = {0, 1};
static constexpr oid merge_fail_notif[] = {0, 2};
static constexpr oid discovery_complete_notif[] = {0, 3};
static constexpr oid notif_feature_name[] = {1, 2, 1, 0};
static constexpr oid notif_scope_type[] = {1, 2, 2, 0};
static constexpr oid notif_scope_value[] = {1, 2, 3, 0};
static constexpr oid notif_failure_reason[] = {1, 2, 4, 0};
static constexpr oid peers_discovery_status[] = {1, 3, 2, 0};
static constexpr oid peers_discovery_failure_reason[] = {1, 3, 3, 0};

// Returns the OID of an object or notification.
template <size_t N> static vyn_oid_builder vyn_mib_oid(const oid (&relative)[N])
{
    vyn_oid_builder absolute(vyn_mib_variables_oid, VYN_MIB_ROOT_LENGTH);
    for (oid value : relative)
        absolute.put(value);
    return absolute;
}

// The varbinds of a notification, in order.
class vyn_varbinds {
  public:
    void add_integer(const vyn_oid_builder &name, const uint32_t *value)
    {
        add(name, ASN_INTEGER, value, sizeof(*value));
    }
    void add_octets(const vyn_oid_builder &name, const void *value, size_t length)
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
            return; // without memory: keep the list so far
        last_ = next;
        if (head_ == nullptr)
            head_ = last_;
    }

    netsnmp_variable_list *head_ = nullptr;
    netsnmp_variable_list *last_ = nullptr;
};

// Starts a handler. Returns the payload of the event, or null. Sets the flag even if there will be
// no notification.
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

// The last merge failure.
static vyn_merge_fail_notif notif_val;
static uint32_t merge_scope_type;
static uint32_t discovery_status;
static char discovery_failure_text[256];

static void copy_merge_failure(const vyn_merge_fail_notif &event)
{
    // strncpy clears what follows the NUL of the name or text.
    strncpy(notif_val.feature_name, event.feature_name, sizeof(notif_val.feature_name));
    strncpy(notif_val.failure_text, event.failure_text, sizeof(notif_val.failure_text));
    notif_val.scope = event.scope;
    if (event.scope == VYN_SERVICE_LOGICAL) {
        merge_scope_type = VYN_SCOPE_LOGICAL;
        notif_val.vsan = event.vsan;
    } else if (event.scope == VYN_SERVICE_PHYSICAL) {
        merge_scope_type = VYN_SCOPE_PHYSICAL;
    } // Quirk: any other scope keeps the scope type of the last merge failure
}

static netsnmp_variable_list *merge_fail_varbinds(const void *payload, oid *notification_oid,
                                                  size_t *notification_oid_length)
{
    copy_merge_failure(read_event<vyn_merge_fail_notif>(payload, VYN_NOTIF_VAL));
    const size_t vsan_length = notif_val.scope == VYN_SERVICE_LOGICAL ? sizeof(notif_val.vsan) : 0;
    vyn_varbinds varbinds;
    varbinds.add_octets(vyn_mib_oid(notif_feature_name), notif_val.feature_name,
                        vyn_field(notif_val.feature_name).length());
    varbinds.add_integer(vyn_mib_oid(notif_scope_type), &merge_scope_type);
    varbinds.add_octets(vyn_mib_oid(notif_scope_value), &notif_val.vsan, vsan_length);
    varbinds.add_octets(vyn_mib_oid(notif_failure_reason), notif_val.failure_text,
                        vyn_field(notif_val.failure_text).length());
    vyn_mib_oid(merge_fail_notif).commit(notification_oid, notification_oid_length);
    vyn_trace(VYN_TRACE_FLOW, "About to generate VYN - norvoVYNMergeFailNotif notification\n");
    return varbinds.head();
}

static netsnmp_variable_list *discovery_varbinds(const void *payload, oid *notification_oid,
                                                 size_t *notification_oid_length)
{
    constexpr size_t max_reason = 254;
    memset(discovery_failure_text, 0, sizeof(discovery_failure_text));
    const auto event = read_event<vyn_resp_disc_status>(payload, VYN_NOTIF_VAL);
    // Quirk: the status overwrites byte 0 of feature_name, but the reason is not copied: bytes 4 to
    // 7 of the name are read instead.
    memcpy(&notif_val, &event.disc_status, sizeof(event.disc_status));
    const auto retained = read_event<vyn_resp_disc_status>(&notif_val, 0);

    discovery_status = retained.disc_status;
    if (retained.disc_status == VYN_DISC_FAILED)
        snprintf(discovery_failure_text, max_reason + 1, "%s",
                 syserr_format(retained.failure_reason));
    vyn_varbinds varbinds;
    varbinds.add_integer(vyn_mib_oid(peers_discovery_status), &discovery_status);
    varbinds.add_octets(vyn_mib_oid(peers_discovery_failure_reason), discovery_failure_text,
                        strlen(discovery_failure_text));
    vyn_mib_oid(discovery_complete_notif).commit(notification_oid, notification_oid_length);
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
        return merge_fail_varbinds(payload, notification_oid, notification_oid_length);
    case VYN_NOTIF_DISCOVERY_COMPLETE:
        return discovery_varbinds(payload, notification_oid, notification_oid_length);
    default:
        vyn_trace(VYN_TRACE_FAILURE, "%s : Invalid VYN notificationType",
                  "handle_VYNNotifications");
        return nullptr;
    }
}

// --- Feature actions ---

// The values of the last feature action.
static struct {
    uint32_t last_action;
    uint32_t scope_type;
    be32 scope_value;
    uint32_t result;
    uint32_t fifth; // never sent
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

// Returns the OID of the feature's instance in a column of vynFeatureOpTable.
static vyn_oid_builder feature_op_oid(oid column, const vyn_feature_action_notif &event)
{
    const oid relative[] = {1, 1, 1, 1, column};
    vyn_oid_builder instance = vyn_mib_oid(relative);
    instance.put_name(event.feature_name, vyn_field(event.feature_name).length());
    return instance;
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
    varbinds.add_integer(feature_op_oid(5, event), &feature_action.last_action);
    varbinds.add_integer(feature_op_oid(6, event), &feature_action.scope_type);
    varbinds.add_octets(feature_op_oid(7, event), &feature_action.scope_value, vsan_length);
    varbinds.add_integer(feature_op_oid(8, event), &feature_action.result);
    vyn_mib_oid(feature_action_notif).commit(notification_oid, notification_oid_length);
    vyn_trace(VYN_TRACE_FLOW, "About to generate VYN - norvoVYNFeatureActionNotif notification\n");
    return varbinds.head();
}
