// One function for each query, and the table that finds it.
//
// A reply to a query is the service's full record, whatever part of it the query fills: clients
// take what they need from its front. A change is answered with the head of a record alone. The
// registry has an opcode of its own and a record of one word, so it is answered outside the table;
// its operation means nothing and is not looked at.
#include "queries.h"

#include <algorithm>
#include <cstring>

#include "vyn_wire.h"
#include "vynd_protocol.h"

namespace vynd {

namespace {

constexpr size_t reply_size = 360;
constexpr size_t change_reply_size = 8;

outcome refused(uint32_t code, std::string note)
{
    return {code, {}, std::move(note)};
}

template <typename Member> outcome found(uint32_t query_type, const Member &member)
{
    static_assert(VYN_SNMP_RESP_MEMBER + sizeof member <= reply_size);
    const be32 head = query_type;
    outcome result{0, bytes(reply_size), {}};
    std::memcpy(result.reply.data(), &head, sizeof head);
    std::memcpy(result.reply.data() + VYN_SNMP_RESP_MEMBER, &member, sizeof member);
    return result;
}

outcome changed(uint32_t query_type, uint32_t status, const char *note)
{
    if (status != 0)
        return refused(status, note);
    const be32 head = query_type;
    outcome result{0, bytes(change_reply_size), {}};
    std::memcpy(result.reply.data(), &head, sizeof head);
    return result;
}

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
    {MTS_OPC_VYN_SNMP_QUERY, VYN_SNMP_START_DISCOVERY, VYN_MSG_SET, start_discovery},
    {MTS_OPC_VYN_SNMP_QUERY, VYN_SNMP_GET_DISC_STATUS, VYN_MSG_GET, get_discovery},
    {MTS_OPC_VYN_MGMT_REQ,   VYN_SNMP_GET_DIST_STATUS, VYN_MSG_GET, get_distribution},
    {MTS_OPC_VYN_CONFIG_REQ, VYN_SNMP_SET_DIST,        VYN_MSG_SET, set_distribution},
    // clang-format on
};

// The first word of a record, and 0 for one too short to have it.
uint32_t first_word(std::span<const uint8_t> record)
{
    be32 word = 0;
    if (record.size() >= sizeof word)
        std::memcpy(&word, record.data(), sizeof word);
    return word;
}

outcome read_registry(const fabric &model, const request &asked)
{
    constexpr size_t most = (largest_frame - sizeof(frame_header)) / sizeof(registry_entry);
    if (asked.record.size() != sizeof(be32))
        return refused(VYN_ERR_BAD_REQUEST, "expected the index of a feature");
    const std::vector<feature> &features = model.state().features;
    const size_t first = std::min<size_t>(first_word(asked.record), features.size());
    const size_t count = std::min(most, features.size() - first);

    outcome result{0, bytes(count * sizeof(registry_entry)), {}};
    for (size_t index = 0; index < count; ++index) {
        const feature &from = features[first + index];
        registry_entry entry{{},          from.show_cfg_option, from.entry_attr,
                             from.action, from.scope_type,      from.scope_value,
                             from.flags,  from.flags2};
        entry.name[0] = static_cast<uint8_t>(from.name.size());
        std::memcpy(entry.name + 1, from.name.data(), from.name.size());
        std::memcpy(result.reply.data() + index * sizeof entry, &entry, sizeof entry);
    }
    return result;
}

} // namespace

outcome answer(fabric &model, const request &asked, time_point now)
{
    if (asked.opcode == opcode_registry)
        return read_registry(model, asked);

    const uint32_t query_type = first_word(asked.record);
    const auto query = std::find_if(std::begin(queries), std::end(queries), [&](const auto &row) {
        return row.opcode == asked.opcode && row.query_type == query_type;
    });
    if (query == std::end(queries))
        return refused(VYN_ERR_UNKNOWN_REQUEST, "unknown request");
    if (query->msg_type != asked.msg_type)
        return refused(VYN_ERR_BAD_REQUEST, "operation does not fit");

    vyn_snmp_req record;
    if (asked.record.size() != sizeof record)
        return refused(VYN_ERR_BAD_REQUEST, std::to_string(asked.record.size()) + " bytes");
    std::memcpy(&record, asked.record.data(), sizeof record);
    if (record.argument != 1)
        return refused(VYN_ERR_BAD_REQUEST, "first argument is not 1");
    return query->run(model, record, now);
}

std::string describe(const request &asked)
{
    static constexpr named_value operations[] = {
        {"get", VYN_MSG_GET}, {"getnext", VYN_MSG_GETNEXT}, {"set", VYN_MSG_SET}};
    const char *operation = name_of(operations, asked.msg_type);
    return std::to_string(asked.opcode) + " " +
           (operation ? operation : "operation-" + std::to_string(asked.msg_type)) +
           (asked.opcode == opcode_registry ? " registry from " : " query ") +
           std::to_string(first_word(asked.record));
}

} // namespace vynd
