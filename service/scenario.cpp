// The table of the scenario's fields, and those of discovery and distribution.
#include "scenario.h"

#include <algorithm>
#include <fstream>

#include "fields.h"
#include "scenario_features.h"
#include "scenario_values.h"

namespace vynd {

namespace {

constexpr named_value discovery_end_names[] = {{"completed", 3}, {"failed", 4}};

const fields<discovery_end> discovery_end_fields = {
    duration("after_ms", &discovery_end::after),
    one_of("status", &discovery_end::status, discovery_end_names),
    code("failure_reason", &discovery_end::failure_reason),
};

const fields<discovery_state> discovery_fields = {
    named("status", &discovery_state::status, disc_status_names),
    code("failure_reason", &discovery_state::failure_reason),
    object("next", &discovery_state::next, discovery_end_fields),
};

const fields<ip_distribution> ip_family_fields = {
    flag("enabled", &ip_distribution::enabled),
    single(
        "address", &ip_distribution::multicast,
        [](const node &given) { return address_of(given.byte_text(max_address)); }, text_of),
};

field<fabric_state> ip_family(const char *key, uint32_t type)
{
    return {{key},
            [=](const node &value, fabric_state &state) {
                value.with(key, [&](const node &given) {
                    ip_distribution &family = state.ip_families.at(type);
                    read_fields(given, ip_family_fields, family);
                    if (family.multicast.type != type || !is_multicast(family.multicast))
                        given.at("address").refuse("expected a multicast address of this family");
                });
            },
            [=](const fabric_state &state, json &value) {
                value[key] = write_fields(state.ip_families.at(type), ip_family_fields);
            }};
}

const fields<fabric_state> distribution_fields = {
    flag("enabled", &fabric_state::distribution_enabled),
    ip_family("ipv4", VYN_ADDR_IPV4),
    ip_family("ipv6", VYN_ADDR_IPV6),
};

void read_distribution(const node &value, fabric_state &state)
{
    value.with("distribution", [&](const node &given) {
        read_fields(given, distribution_fields, state);
        const auto is_enabled = [](const auto &family) { return family.second.enabled; };
        if (std::count_if(state.ip_families.begin(), state.ip_families.end(), is_enabled) > 1)
            given.refuse("distribution runs over one IP family at a time");
    });
}

void write_distribution(const fabric_state &state, json &value)
{
    value["distribution"] = write_fields(state, distribution_fields);
}

using static_peer_row = std::pair<net_address, static_peer>;

const fields<static_peer> static_peer_fields = {number("status", &static_peer::status)};

const fields<static_peer_row> static_peer_row_fields = {
    address_keys(&static_peer_row::first),
    inlined(&static_peer_row::second, static_peer_fields),
};

using region_row = std::pair<uint32_t, scope>;

const fields<region_row> region_row_fields = {
    region_id("id", &region_row::first),
    scope_keys(&region_row::second),
};

const fields<fabric_state> &scenario_fields()
{
    static const fields<fabric_state> table = {
        object("discovery", &fabric_state::discovery, discovery_fields),
        {{"distribution"}, read_distribution, write_distribution},
        single("peers", &fabric_state::peers, read_addresses, addresses_to_json),
        keyed_list("static_peers", &fabric_state::static_peers, "address", static_peer_row_fields),
        keyed_list("regions", &fabric_state::regions, "id", region_row_fields),
        features_field(),
    };
    return table;
}

} // namespace

fabric_state state_from_json(const json &document)
{
    fabric_state state;
    read_fields(node(document, ""), scenario_fields(), state);
    return state;
}

json state_to_json(const fabric_state &state)
{
    return write_fields(state, scenario_fields());
}

std::string json_reason(const std::exception &error)
{
    const std::string text = error.what();
    const size_t end = text.starts_with("[json.") ? text.find("] ") : std::string::npos;
    return end == std::string::npos ? text : text.substr(end + 2);
}

fabric_state read_scenario(const std::string &file)
{
    std::ifstream input(file);
    if (!input)
        throw scenario_error(file + ": cannot be read");
    try {
        return state_from_json(json::parse(input));
    } catch (const std::exception &error) {
        throw scenario_error(file + ": " + json_reason(error));
    }
}

} // namespace vynd
