// A feature as the service knows it: its entry in the registry, its state in each scope, the locks
// on its configuration, its peers, its merges and their members, and its regions.
//
// All of them are kept in the order of the OID index, physical first and then by VSAN, so that the
// next one behind a key is found without a search through all of them. Features are kept in
// registry order, which is that of the index as well.
#pragma once

#include <algorithm>
#include <chrono>
#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "address.h"
#include "text.h"
#include "vyn_wire.h"

namespace vynd {

// Where something happens: in the whole fabric, or in one VSAN. As a key, scope 0 comes before
// every place.
struct place {
    uint32_t scope = VYN_SCOPE_PHYSICAL;
    uint32_t vsan = 0; // 0 in physical scope

    auto operator<=>(const place &) const = default;
};
inline constexpr uint32_t highest_vsan = 4093;

// "physical" or "vsan 10".
std::string place_text(const place &where);

enum feature_action : uint32_t {
    action_enable = 2,
    action_disable,
    action_commit,
    action_abort,
    action_clear,
};
inline constexpr named_value action_names[] = {{"none", 1},   {"enable", 2}, {"disable", 3},
                                               {"commit", 4}, {"abort", 5},  {"clear", 6}};

enum action_result : uint32_t {
    result_none = 1,
    result_success,
    result_failed,
    result_in_progress,
    result_partly,
};
inline constexpr named_value result_names[] = {
    {"none", 1}, {"success", 2}, {"failed", 3}, {"in-progress", 4}, {"partly", 5}};

// What the last action in a scope was and what has become of it.
struct scope_state {
    uint32_t action = 1;
    uint32_t result = result_none;
    uint32_t failure = 0; // a system error code
    uint32_t seconds = 0; // of the wall clock, when the action began or, later, ended
    uint32_t microseconds = 0;
    uint32_t show_cfg_option = 1;
};

// Who holds the lock of a scope.
struct lock {
    std::string user; // bytes, at most longest_user of them; with its mark, if it has one
    net_address address;

    bool operator==(const lock &) const = default;
};
inline constexpr size_t longest_user = 127;
inline constexpr char merge_user[] = "$VYN$Merge"; // the service itself, while it merges
inline constexpr char user_mark = '\xF9';

// A switch with which a feature is distributed in a place.
struct feature_peer {
    place where;
    net_address peer;

    auto operator<=>(const feature_peer &) const = default;
};

enum merge_status : uint32_t { merge_success = 1, merge_in_progress, merge_failed };
inline constexpr named_value merge_status_names[] = {
    {"success", merge_success}, {"in-progress", merge_in_progress}, {"failed", merge_failed}};

// What has become of the last merge of a feature's configuration in a place.
struct merge_state {
    uint32_t status = merge_success;
    uint32_t failure = 0; // the service's code, at most highest_merge_failure; 0: it has not failed

    bool failed() const { return status == merge_failed || failure != 0; }
};
inline constexpr uint32_t highest_merge_failure = 0xFFFF;

// What the service tells of a switch that takes part in a merge.
struct member_state {
    uint8_t attr1 = 0;
    uint8_t attr2 = 0;
};

// The region, by its id, that a feature is assigned to in each place.
using region_rows = std::map<place, uint32_t>;

// The assignment there, or at scope 0 the first one of all; the end where there is none.
region_rows::const_iterator find_assignment(const region_rows &regions, const place &where);

// How actions of a feature end; `after` counts from their start.
struct action_end {
    std::chrono::milliseconds after{1000};
    uint32_t result = result_success;
    uint32_t failure = 0;
};

// The name is bytes, without length or NUL.
struct feature {
    std::string name;
    uint32_t show_cfg_option = 1;
    uint32_t entry_attr = 0;
    uint32_t action = 0;
    uint32_t scope_type = 1;
    uint32_t scope_value = 0;
    uint32_t flags = 0;
    uint32_t flags2 = 0;
    action_end next_action{};
    std::map<place, scope_state> states{};
    std::optional<place> last{}; // the state of the last action of all; none without states
    std::map<place, lock> locks{};
    std::set<feature_peer> peers{};
    std::map<place, merge_state> merges{};
    std::map<feature_peer, member_state> members{}; // each of a merge
    region_rows regions{};                          // that it is assigned to
};
inline constexpr size_t longest_feature_name = 82;
inline constexpr size_t longest_record_name = 80; // of one with locks, peers, merges or regions
inline constexpr named_value feature_scopes[] = {{"physical", 0x2}, {"logical", 0x4}}; // in flags

// The order of the registry: strcmp of the names with their length in front.
bool registry_order(std::string_view a, std::string_view b);

void sort_features(std::vector<feature> &features);

// The feature of that name, or null. They are in registry order.
const feature *find_feature(const std::vector<feature> &features, std::string_view name);
feature *find_feature(std::vector<feature> &features, std::string_view name);

// The first feature whose name is that one or comes behind it.
std::vector<feature>::const_iterator first_from(const std::vector<feature> &features,
                                                std::string_view name);

// A row of one of the tables whose parts the features hold, such as that of locks.
template <typename Rows> struct feature_row {
    const feature *owner = nullptr; // null: there is no such row
    typename Rows::const_iterator row{};
};

template <typename Rows>
feature_row<Rows> find_row(const std::vector<feature> &features, Rows feature::*rows,
                           std::string_view name, const typename Rows::key_type &key)
{
    const feature *owner = find_feature(features, name);
    if (!owner || !(owner->*rows).contains(key))
        return {};
    return {owner, (owner->*rows).find(key)};
}

// The first row behind that key in the order of the OID index. An empty name comes before all.
template <typename Rows>
feature_row<Rows> next_row(const std::vector<feature> &features, Rows feature::*rows,
                           std::string_view name, const typename Rows::key_type &key)
{
    auto owner = first_from(features, name);
    if (owner != features.end() && owner->name == name) {
        const auto next = ((*owner).*rows).upper_bound(key);
        if (next != ((*owner).*rows).end())
            return {&*owner, next};
        ++owner;
    }
    owner = std::find_if(owner, features.end(),
                         [&](const feature &entry) { return !(entry.*rows).empty(); });
    if (owner == features.end())
        return {};
    return {&*owner, ((*owner).*rows).begin()};
}

} // namespace vynd
