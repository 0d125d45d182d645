// Distribution as records of the wire.
//
// In the status of distribution as a whole 1 is disabled, in that of a family 1 is enabled. The
// record that sets a multicast address has an enable word too; the service ignores it.
#include "distribution_queries.h"

#include "replies.h"

namespace vynd {

namespace {

net_address address_in(const vyn_dist_ctrl_entry &entry)
{
    return key_address(entry.addr_type, reinterpret_cast<const address_field &>(entry.addr));
}

} // namespace

outcome get_distribution(fabric &model, const query &received)
{
    const uint32_t disabled = model.state().distribution_enabled ? 0 : 1;
    return read_reply(received, vyn_resp_dist_status{disabled});
}

outcome set_distribution(fabric &model, const query &received)
{
    const uint32_t disable = received.record.request.dist_disable;
    if (disable > 1)
        return refused(VYN_ERR_BAD_REQUEST, "expected 0 or 1");
    return change_reply(received, model.enable_distribution(disable == 0), "");
}

outcome read_ip_family(fabric &model, const query &received)
{
    const uint32_t key = received.record.request.dist_ctrl_key;
    const auto &families = model.state().ip_families;
    const auto row = received.next() ? families.upper_bound(key) : families.find(key);
    if (row == families.end())
        return no_row(received);
    vyn_dist_ctrl_entry reply{};
    fill_address(row->second.multicast, reply.addr_type,
                 reinterpret_cast<address_field &>(reply.addr));
    reply.enabled = row->second.enabled ? 1 : 0;
    return read_reply(received, reply);
}

outcome enable_ip_family(fabric &model, const query &received)
{
    const vyn_ip_dist_enable &change = received.record.request.ip_dist_enable;
    if (change.enable > 1 || !model.state().ip_families.contains(change.addr_type))
        return refused(VYN_ERR_BAD_REQUEST, "expected a family, and 0 or 1");
    return change_reply(received, model.enable_ip_family(change.addr_type, change.enable == 1),
                        "the other family is enabled");
}

outcome set_multicast(fabric &model, const query &received)
{
    const net_address address = address_in(received.record.request.dist_ctrl);
    if (!is_multicast(address))
        return refused(VYN_ERR_BAD_REQUEST, "not a multicast address");
    return change_reply(received, model.set_multicast(address), "");
}

std::string ip_family_key(const vyn_snmp_req &record)
{
    return "family " + std::to_string(record.request.dist_ctrl_key);
}

std::string ip_family_switch(const vyn_snmp_req &record)
{
    static constexpr named_value changes[] = {{"disable", 0}, {"enable", 1}};
    const vyn_ip_dist_enable &change = record.request.ip_dist_enable;
    return named_text(changes, change.enable) + " family " + std::to_string(change.addr_type);
}

std::string multicast_change(const vyn_snmp_req &record)
{
    const vyn_dist_ctrl_entry &entry = record.request.dist_ctrl;
    return "family " + std::to_string(entry.addr_type) + " " + escaped(text_of(address_in(entry)));
}

} // namespace vynd
