// One function for each query, and the table that finds it.
//
// What the client library asks has opcodes of its own and other records, and is answered in
// client_requests.cpp; all queries but those of the discovery have files of their own. The table
// here is the map of all that comes in the service's own record, one row for each query and
// operation.
#include "queries.h"

#include <algorithm>

#include "client_requests.h"
#include "distribution_queries.h"
#include "lock_queries.h"
#include "merge_queries.h"
#include "peer_queries.h"
#include "region_queries.h"
#include "replies.h"

namespace vynd {

namespace {

outcome start_discovery(fabric &model, const query &asked)
{
    return changed(asked.record.query_type, model.start_discovery(asked.now),
                   "a discovery is running");
}

outcome get_discovery(fabric &model, const query &asked)
{
    const discovery_state &state = model.state().discovery;
    return found(asked.record.query_type,
                 vyn_resp_disc_status{state.status, {}, state.failure_reason});
}

constexpr struct query_row {
    uint32_t opcode;
    uint32_t query_type;
    uint32_t msg_type;
    outcome (*run)(fabric &, const query &);
    std::string (*key)(const vyn_snmp_req &) = nullptr; // for the log; null: it has none
} queries[] = {
    // clang-format off
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_APP_LOCK_STATE,     VYN_MSG_GET,     get_lock,           lock_key},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_APP_LOCK_STATE,     VYN_MSG_GETNEXT, get_next_lock,      lock_key},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_START_DISCOVERY,    VYN_MSG_SET,     start_discovery},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_GET_DISC_STATUS,    VYN_MSG_GET,     get_discovery},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_PHY_DISC_PEER,      VYN_MSG_GET,     read_peer,          peer_key},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_PHY_DISC_PEER,      VYN_MSG_GETNEXT, read_peer,          peer_key},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_APP_PEER,           VYN_MSG_GET,     read_feature_peer,  feature_peer_key},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_APP_PEER,           VYN_MSG_GETNEXT, read_feature_peer,  feature_peer_key},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_MERGE_MEMBER,       VYN_MSG_GET,     read_merge_member,  feature_peer_key},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_MERGE_MEMBER,       VYN_MSG_GETNEXT, read_merge_member,  feature_peer_key},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_DIST_CTRL_ENTRY,    VYN_MSG_GET,     read_ip_family,     ip_family_key},
    {MTS_OPC_VYN_SNMP_QUERY,  VYN_SNMP_DIST_CTRL_ENTRY,    VYN_MSG_GETNEXT, read_ip_family,     ip_family_key},
    {MTS_OPC_VYN_MERGE_QUERY, VYN_SNMP_MERGE_ENTRY,        VYN_MSG_GET,     read_merge,         merge_key},
    {MTS_OPC_VYN_MERGE_QUERY, VYN_SNMP_MERGE_ENTRY,        VYN_MSG_GETNEXT, read_merge,         merge_key},
    {MTS_OPC_VYN_MERGE_QUERY, VYN_SNMP_MERGE_FAIL_RESOLVE, VYN_MSG_SET,     resolve_merge,      merge_key},
    {MTS_OPC_VYN_MGMT_REQ,    VYN_SNMP_GET_DIST_STATUS,    VYN_MSG_GET,     get_distribution},
    {MTS_OPC_VYN_MGMT_REQ,    VYN_SNMP_IP_DIST_ENABLE,     VYN_MSG_SET,     enable_ip_family,   ip_family_switch},
    {MTS_OPC_VYN_MGMT_REQ,    VYN_SNMP_DIST_CTRL_ADDR,     VYN_MSG_SET,     set_multicast,      multicast_change},
    {MTS_OPC_VYN_MGMT_REQ,    VYN_SNMP_REGION,             VYN_MSG_GET,     read_region,        region_key},
    {MTS_OPC_VYN_MGMT_REQ,    VYN_SNMP_REGION,             VYN_MSG_GETNEXT, read_region,        region_key},
    {MTS_OPC_VYN_MGMT_REQ,    VYN_SNMP_FEATURE_REGION,     VYN_MSG_GET,     read_assignment,    assignment_key},
    {MTS_OPC_VYN_MGMT_REQ,    VYN_SNMP_FEATURE_REGION,     VYN_MSG_GETNEXT, read_assignment,    assignment_key},
    {MTS_OPC_VYN_CONFIG_REQ,  VYN_SNMP_SET_DIST,           VYN_MSG_SET,     set_distribution},
    {MTS_OPC_VYN_CONFIG_REQ,  VYN_SNMP_STATIC_PEER,        VYN_MSG_GET,     read_static_peer,   static_peer_key},
    {MTS_OPC_VYN_CONFIG_REQ,  VYN_SNMP_STATIC_PEER,        VYN_MSG_GETNEXT, read_static_peer,   static_peer_key},
    {MTS_OPC_VYN_CONFIG_REQ,  VYN_SNMP_STATIC_PEER,        VYN_MSG_SET,     change_static_peer, static_peer_change},
    {MTS_OPC_VYN_CONFIG_REQ,  VYN_SNMP_REGION,             VYN_MSG_SET,     change_region,      region_change},
    {MTS_OPC_VYN_CONFIG_REQ,  VYN_SNMP_FEATURE_REGION,     VYN_MSG_SET,     change_assignment,  assignment_change},
    // clang-format on
};

// The row of a request, or null; `known` is whether there is one for another operation at least.
const query_row *row_of(const request &asked, bool &known)
{
    const uint32_t query_type = first_word(asked.record);
    known = false;
    const auto row = std::find_if(std::begin(queries), std::end(queries), [&](const auto &entry) {
        const bool same = entry.opcode == asked.opcode && entry.query_type == query_type;
        known = known || same;
        return same && entry.msg_type == asked.msg_type;
    });
    return row == std::end(queries) ? nullptr : row;
}

} // namespace

outcome answer(fabric &model, const request &asked, time_point now)
{
    if (is_client_request(asked.opcode))
        return answer_client(model, asked, now);

    bool known;
    const query_row *row = row_of(asked, known);
    if (!known)
        return refused(VYN_ERR_UNKNOWN_REQUEST, "unknown request");
    if (!row)
        return refused(VYN_ERR_BAD_REQUEST, "operation does not fit");

    vyn_snmp_req record;
    if (!take(asked.record, record))
        return refused(VYN_ERR_BAD_REQUEST, std::to_string(asked.record.size()) + " bytes");
    if (record.argument != 1)
        return refused(VYN_ERR_BAD_REQUEST, "first argument is not 1");
    return row->run(model, {record, asked.msg_type, now});
}

std::string describe(const request &asked)
{
    static constexpr named_value operations[] = {
        {"get", VYN_MSG_GET}, {"getnext", VYN_MSG_GETNEXT}, {"set", VYN_MSG_SET}};
    const char *operation = name_of(operations, asked.msg_type);
    const std::string head =
        std::to_string(asked.opcode) + " " +
        (operation ? operation : "operation-" + std::to_string(asked.msg_type));
    if (is_client_request(asked.opcode))
        return head + " " + describe_client(asked);

    const std::string text = head + " query " + std::to_string(first_word(asked.record));
    bool known;
    const query_row *row = row_of(asked, known);
    vyn_snmp_req record;
    if (row && row->key && take(asked.record, record))
        return text + " " + row->key(record);
    return text;
}

} // namespace vynd
