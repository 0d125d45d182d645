// The table of queries: one row for each query and operation in the service's own record.
//
// Requests of the client library have other opcodes and records: client_requests.cpp handles them.
#include "dispatcher.h"

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

outcome start_discovery(fabric &model, const query &received)
{
    return change_reply(received, model.start_discovery(received.now), "a discovery is running");
}

outcome get_discovery(fabric &model, const query &received)
{
    const discovery_state &state = model.state().discovery;
    return read_reply(received, vyn_resp_disc_status{state.status, {}, state.failure_reason});
}

constexpr struct query_row {
    uint32_t opcode;
    uint32_t query_type;
    uint32_t msg_type;
    outcome (*run)(fabric &, const query &);
    std::string (*key)(const vyn_snmp_req &) = nullptr; // for the log; null: no key
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

bool has_query_type(const query_row &row, const request &received)
{
    return row.opcode == received.opcode && row.query_type == first_word(received.record);
}

// Returns null if no row has this query and operation.
const query_row *find_row(const request &received)
{
    const auto matches = [&](const query_row &row) {
        return has_query_type(row, received) && row.msg_type == received.msg_type;
    };
    const auto row = std::find_if(std::begin(queries), std::end(queries), matches);
    return row == std::end(queries) ? nullptr : row;
}

// Reports whether some operation of this query has a row.
bool is_known(const request &received)
{
    return std::any_of(std::begin(queries), std::end(queries),
                       [&](const query_row &row) { return has_query_type(row, received); });
}

} // namespace

outcome answer(fabric &model, const request &received, time_point now)
{
    if (is_client_request(received.opcode))
        return answer_client(model, received, now);

    const query_row *row = find_row(received);
    if (row == nullptr)
        return is_known(received) ? refused(VYN_ERR_BAD_REQUEST, "wrong operation")
                                  : refused(VYN_ERR_UNKNOWN_REQUEST, "unknown request");

    vyn_snmp_req record;
    if (!take(received.record, record))
        return refused(VYN_ERR_BAD_REQUEST, std::to_string(received.record.size()) + " bytes");
    if (record.argument != 1)
        return refused(VYN_ERR_BAD_REQUEST, "first argument is not 1");
    return row->run(model, {record, received.msg_type, now});
}

std::string describe(const request &received)
{
    static constexpr named_value operations[] = {
        {"get", VYN_MSG_GET}, {"getnext", VYN_MSG_GETNEXT}, {"set", VYN_MSG_SET}};
    const char *operation = name_of(operations, received.msg_type);
    const std::string head =
        std::to_string(received.opcode) + " " +
        (operation != nullptr ? operation : "operation-" + std::to_string(received.msg_type));
    if (is_client_request(received.opcode))
        return head + " " + describe_client(received);

    const std::string text = head + " query " + std::to_string(first_word(received.record));
    const query_row *row = find_row(received);
    vyn_snmp_req record;
    if (row != nullptr && row->key != nullptr && take(received.record, record))
        return text + " " + row->key(record);
    return text;
}

} // namespace vynd
