// One function for each query, and the table that finds it.
//
// What the client library asks has opcodes of its own and other records, and is answered in
// client_requests.cpp; the queries of locks are in lock_queries.cpp. The table here is the map of
// all that comes in the service's own record, one row for each query and operation.
#include "queries.h"

#include <algorithm>

#include "client_requests.h"
#include "lock_queries.h"
#include "replies.h"

namespace vynd {

namespace {

outcome start_discovery(fabric &model, const vyn_snmp_req &record, time_point now)
{
    return changed(record.query_type, model.start_discovery(now), "a discovery is running");
}

outcome get_discovery(fabric &model, const vyn_snmp_req &record, time_point)
{
    const discovery_state &state = model.state().discovery;
    return found(record.query_type, resp_phy_disc_status{state.status, {}, state.failure_reason});
}

outcome get_distribution(fabric &model, const vyn_snmp_req &record, time_point)
{
    const uint32_t disabled = model.state().distribution_enabled ? 0 : 1;
    return found(record.query_type, resp_dist_status{disabled});
}

outcome set_distribution(fabric &model, const vyn_snmp_req &record, time_point)
{
    const uint32_t disable = record.request.dist_disable;
    if (disable > 1)
        return refused(VYN_ERR_BAD_REQUEST, "distribution is 0 or 1");
    return changed(record.query_type, model.enable_distribution(disable == 0), "");
}

constexpr struct {
    uint32_t opcode;
    uint32_t query_type;
    uint32_t msg_type;
    outcome (*run)(fabric &, const vyn_snmp_req &, time_point);
} queries[] = {
    // clang-format off
    {MTS_OPC_VYN_SNMP_QUERY, VYN_SNMP_APP_LOCK_STATE,  VYN_MSG_GET,     get_lock},
    {MTS_OPC_VYN_SNMP_QUERY, VYN_SNMP_APP_LOCK_STATE,  VYN_MSG_GETNEXT, get_next_lock},
    {MTS_OPC_VYN_SNMP_QUERY, VYN_SNMP_START_DISCOVERY, VYN_MSG_SET,     start_discovery},
    {MTS_OPC_VYN_SNMP_QUERY, VYN_SNMP_GET_DISC_STATUS, VYN_MSG_GET,     get_discovery},
    {MTS_OPC_VYN_MGMT_REQ,   VYN_SNMP_GET_DIST_STATUS, VYN_MSG_GET,     get_distribution},
    {MTS_OPC_VYN_CONFIG_REQ, VYN_SNMP_SET_DIST,        VYN_MSG_SET,     set_distribution},
    // clang-format on
};

} // namespace

outcome answer(fabric &model, const request &asked, time_point now)
{
    if (is_client_request(asked.opcode))
        return answer_client(model, asked, now);

    const uint32_t query_type = first_word(asked.record);
    bool known = false;
    const auto query = std::find_if(std::begin(queries), std::end(queries), [&](const auto &row) {
        const bool same = row.opcode == asked.opcode && row.query_type == query_type;
        known = known || same;
        return same && row.msg_type == asked.msg_type;
    });
    if (!known)
        return refused(VYN_ERR_UNKNOWN_REQUEST, "unknown request");
    if (query == std::end(queries))
        return refused(VYN_ERR_BAD_REQUEST, "operation does not fit");

    vyn_snmp_req record;
    if (!take(asked.record, record))
        return refused(VYN_ERR_BAD_REQUEST, std::to_string(asked.record.size()) + " bytes");
    if (record.argument != 1)
        return refused(VYN_ERR_BAD_REQUEST, "first argument is not 1");
    return query->run(model, record, now);
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

    const uint32_t query_type = first_word(asked.record);
    const std::string text = head + " query " + std::to_string(query_type);
    vyn_snmp_req record;
    if (query_type == VYN_SNMP_APP_LOCK_STATE && take(asked.record, record))
        return text + " " + describe_lock_key(record.request.req_app_lock_state);
    return text;
}

} // namespace vynd
