// Builds the payloads of events from the records of the wire.
//
// The event of a notification is its type and the record of that type, without padding. The event
// of an action is only its record.
#include "events.h"

#include <algorithm>
#include <cstring>

#include "state.h"
#include "vyn_wire.h"

namespace vynd {

namespace {

template <typename Record> struct notification {
    be32 type;
    Record record;
};
static_assert(sizeof(notification<vyn_resp_disc_status>) == 12);
static_assert(sizeof(notification<vyn_merge_fail_notif>) == 352);

template <typename Payload> bytes bytes_of(const Payload &payload)
{
    bytes result(sizeof(payload));
    std::memcpy(result.data(), &payload, sizeof(payload));
    return result;
}

template <size_t Size> void fill(char (&field)[Size], std::string_view text)
{
    std::memcpy(field, text.data(), std::min(Size, text.size()));
}

} // namespace

event discovery_event(uint8_t status, uint32_t failure_reason)
{
    const notification<vyn_resp_disc_status> payload{VYN_NOTIF_DISCOVERY_COMPLETE,
                                                     {status, {}, failure_reason}};
    return {MTS_OPC_VYN_NOTIFICATION, bytes_of(payload),
            "discovery " + named_text(disc_status_names, status) + " reason " +
                code_text(failure_reason)};
}

event action_event(std::string_view feature, uint32_t action, uint32_t scope_type,
                   uint32_t scope_value, uint32_t result)
{
    vyn_feature_action_notif payload{{}, action, scope_type, scope_value, result, 0};
    fill(payload.feature_name, feature);
    return {MTS_OPC_VYN_FEATURE_ACTION, bytes_of(payload),
            "action " + named_text(action_names, action) + " of \"" + escaped(feature) +
                "\" scope " + std::to_string(scope_type) + " value " + std::to_string(scope_value) +
                " result " + named_text(result_names, result)};
}

event merge_failure_event(std::string_view feature, uint32_t scope_type, uint32_t vsan,
                          std::string_view reason)
{
    notification<vyn_merge_fail_notif> payload{VYN_NOTIF_MERGE_FAIL,
                                               {{}, {}, scope_type, vsan, {}}};
    fill(payload.record.feature_name, feature);
    fill(payload.record.failure_text, reason);
    return {MTS_OPC_VYN_NOTIFICATION, bytes_of(payload),
            "merge failure of \"" + escaped(feature) + "\" scope " + std::to_string(scope_type) +
                " vsan " + std::to_string(vsan) + " \"" + escaped(reason) + "\""};
}

} // namespace vynd
