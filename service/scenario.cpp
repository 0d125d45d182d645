// JSON to fabric and back. Each part of the document has one function that reads it and one that
// writes it, side by side; those of features, peers and regions have files of their own.
//
// A missing field keeps the default that the fabric's own types give it; only what identifies
// something in a list has none.
#include "scenario.h"

#include <fstream>
#include <set>

#include "document.h"
#include "scenario_features.h"
#include "scenario_peers.h"
#include "scenario_regions.h"

namespace vynd {

namespace {

discovery_end read_discovery_end(const node &value)
{
    discovery_end end;
    value.expect_keys({"after_ms", "status", "failure_reason"});
    value.with("after_ms", [&](const node &member) {
        end.after = std::chrono::milliseconds(member.number(max_wait_ms));
    });
    value.with("status", [&](const node &member) {
        static constexpr named_value ends[] = {{"completed", 3}, {"failed", 4}};
        end.status = static_cast<uint8_t>(member.one_of(ends));
    });
    value.with("failure_reason", [&](const node &member) { end.failure_reason = member.number(); });
    return end;
}

discovery_state read_discovery(const node &value)
{
    discovery_state state;
    value.expect_keys({"status", "failure_reason", "next"});
    value.with("status", [&](const node &member) {
        state.status = static_cast<uint8_t>(member.named_number(disc_status_names, UINT8_MAX));
    });
    value.with("failure_reason",
               [&](const node &member) { state.failure_reason = member.number(); });
    value.with("next", [&](const node &member) { state.next = read_discovery_end(member); });
    return state;
}

json discovery_to_json(const discovery_state &state)
{
    return {{"status", named_to_json(disc_status_names, state.status)},
            {"failure_reason", code_to_json(state.failure_reason)},
            {"next",
             {{"after_ms", state.next.after.count()},
              {"status", named_text(disc_status_names, state.next.status)},
              {"failure_reason", code_to_json(state.next.failure_reason)}}}};
}

void read_ip_family(const node &value, uint32_t type, ip_distribution &family)
{
    value.expect_keys({"enabled", "address"});
    value.with("enabled", [&](const node &member) { family.enabled = member.flag(); });
    value.with("address", [&](const node &member) {
        family.multicast = address_of(member.byte_text(max_address));
        if (family.multicast.type != type || !is_multicast(family.multicast))
            member.refuse("expected a multicast address of this family");
    });
}

void read_distribution(const node &value, fabric_state &state)
{
    value.expect_keys({"enabled", "ipv4", "ipv6"});
    value.with("enabled", [&](const node &member) { state.distribution_enabled = member.flag(); });
    uint32_t enabled = 0;
    for (const auto &[name, type] : ip_family_names) {
        ip_distribution &family = state.ip_families.at(type);
        value.with(name,
                   [&, type = type](const node &member) { read_ip_family(member, type, family); });
        enabled += family.enabled;
    }
    if (enabled > 1)
        value.refuse("distribution runs over one IP family at a time");
}

json distribution_to_json(const fabric_state &state)
{
    json result = {{"enabled", state.distribution_enabled}};
    for (const auto &[name, type] : ip_family_names) {
        const ip_distribution &family = state.ip_families.at(type);
        result[name] = {{"enabled", family.enabled}, {"address", text_of(family.multicast)}};
    }
    return result;
}

} // namespace

fabric_state state_from_json(const json &document)
{
    const node root(document, "");
    fabric_state state;
    root.expect_keys({"discovery", "distribution", "peers", "static_peers", "regions", "features"});
    root.with("discovery", [&](const node &value) { state.discovery = read_discovery(value); });
    root.with("distribution", [&](const node &value) { read_distribution(value, state); });
    root.with("peers", [&](const node &value) { state.peers = read_peers(value); });
    root.with("static_peers",
              [&](const node &value) { state.static_peers = read_static_peers(value); });
    root.with("regions", [&](const node &value) { state.regions = read_regions(value); });
    root.with("features", [&](const node &value) {
        std::set<std::string> names;
        value.each([&](const node &entry) {
            state.features.push_back(read_feature(entry, state.regions, names));
        });
    });
    sort_features(state.features);
    return state;
}

json state_to_json(const fabric_state &state)
{
    json features = json::array();
    for (const feature &entry : state.features)
        features.push_back(feature_to_json(entry));
    return {{"discovery", discovery_to_json(state.discovery)},
            {"distribution", distribution_to_json(state)},
            {"peers", peers_to_json(state.peers)},
            {"static_peers", static_peers_to_json(state.static_peers)},
            {"regions", regions_to_json(state.regions)},
            {"features", features}};
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
