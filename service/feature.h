// A feature of the service: its entry in the registry, its state in each scope, the locks on its
// configuration, its peers, its merges and their members, and its regions.
//
// The rows are in the order of the OID index, physical first and then by VSAN, so that a map finds
// the next row after a key. Features are in registry order, which is also that of the index.
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

// The whole fabric, or one VSAN. As a key, type 0 is before every scope.
struct scope {
    uint32_t type = VYN_SCOPE_PHYSICAL;
    uint32_t vsan = 0; // 0 in physical scope

    auto operator<=>(const scope &) const = default;
};

// "physical" or "vsan 10".
std::string scope_text(const scope &where);

inline constexpr named_value action_names[] = {
    {"none", VYN_ACTION_NONE},     {"enable", VYN_ACTION_ENABLE}, {"disable", VYN_ACTION_DISABLE},
    {"commit", VYN_ACTION_COMMIT}, {"abort", VYN_ACTION_ABORT},   {"clear", VYN_ACTION_CLEAR}};

inline constexpr named_value result_names[] = {{"none", VYN_RESULT_NONE},
                                               {"success", VYN_RESULT_SUCCESS},
                                               {"failed", VYN_RESULT_FAILED},
                                               {"in-progress", VYN_RESULT_IN_PROGRESS},
                                               {"partly", VYN_RESULT_FAILED_PARTLY}};

// The last action in a scope and its result.
struct scope_state {
    uint32_t action = VYN_ACTION_NONE;
    uint32_t result = VYN_RESULT_NONE;
    uint32_t failure = 0; // a system error code
    uint32_t seconds = 0; // of the wall clock, when the action began or ended
    uint32_t microseconds = 0;
    uint32_t show_cfg_option = 1;
};

// The holder of the lock of a scope.
struct lock {
    std::string user; // at most max_user bytes, its mark included
    net_address address;

    bool operator==(const lock &) const = default;
};
inline constexpr size_t max_user = 127;

// A switch to which a feature is distributed in a scope.
struct feature_peer {
    scope where;
    net_address peer;

    auto operator<=>(const feature_peer &) const = default;
};

enum merge_status : uint32_t { merge_success = 1, merge_in_progress, merge_failed };
inline constexpr named_value merge_status_names[] = {
    {"success", merge_success}, {"in-progress", merge_in_progress}, {"failed", merge_failed}};

// The result of the last merge of a feature's configuration in a scope.
struct merge_state {
    uint32_t status = merge_success;
    uint32_t failure = 0; // the service's code, at most max_merge_failure; 0: none

    bool failed() const { return status == merge_failed || failure != 0; }
};
inline constexpr uint32_t max_merge_failure = 0xFFFF;

// The attributes of a switch that takes part in a merge.
struct member_state {
    uint8_t attr1 = 0;
    uint8_t attr2 = 0;
};

// The id of the region that a feature is assigned to in each scope.
using region_rows = std::map<scope, uint32_t>;

// Returns the assignment in that scope, with type 0 the first one; the end if there is none.
region_rows::const_iterator find_assignment(const region_rows &regions, const scope &where);

// How an action of a feature ends; `after` counts from its start.
struct action_end {
    std::chrono::milliseconds after{1000};
    uint32_t result = VYN_RESULT_SUCCESS;
    uint32_t failure = 0;
};

// The name is bytes, without length or NUL. With locks, peers, merges or regions it has at most
// VYN_MAX_APP_NAME characters.
struct feature {
    std::string name;
    uint32_t show_cfg_option = 1;
    uint32_t entry_attr = 0;
    uint32_t action = 0;
    uint32_t scope_type = VYN_SCOPE_PHYSICAL;
    uint32_t scope_value = 0;
    uint32_t flags = 0;
    uint32_t flags2 = 0;
    action_end next_action{};
    std::map<scope, scope_state> states{};
    std::optional<scope> last{}; // the scope of the last action; none without states
    std::map<scope, lock> locks{};
    std::set<feature_peer> peers{};
    std::map<scope, merge_state> merges{};
    std::map<feature_peer, member_state> members{}; // each belongs to a merge
    region_rows regions{};                          // to which it is assigned
};
inline constexpr named_value feature_scopes[] = {{"physical", VYN_FEATURE_PHYSICAL},
                                                 {"logical", VYN_FEATURE_LOGICAL}}; // in flags

// Returns the feature of that name, or null. `features` are in registry order.
const feature *find_feature(const std::vector<feature> &features, std::string_view name);
feature *find_feature(std::vector<feature> &features, std::string_view name);

// Returns the first feature with that name or a later one. Registry order is strcmp of the names,
// each with its length as the first byte.
std::vector<feature>::const_iterator first_from(const std::vector<feature> &features,
                                                std::string_view name);

// A row of a table whose rows the features hold, such as that of locks.
template <typename Rows> struct feature_row {
    const feature *owner = nullptr; // null: no row
    typename Rows::const_iterator row{};
};

template <typename Rows>
feature_row<Rows> find_row(const std::vector<feature> &features, Rows feature::*rows,
                           std::string_view name, const typename Rows::key_type &key)
{
    const feature *owner = find_feature(features, name);
    if (owner == nullptr || !(owner->*rows).contains(key))
        return {};
    return {owner, (owner->*rows).find(key)};
}

// Returns the first row after that key in the order of the OID index. An empty name is first.
template <typename Rows>
feature_row<Rows> next_row(const std::vector<feature> &features, Rows feature::*rows,
                           std::string_view name, const typename Rows::key_type &key)
{
    auto owner = first_from(features, name);
    if (owner != features.end() && owner->name == name) {
        const auto next = ((*owner).*rows).upper_bound(key);
        if (next != ((*owner).*rows).end())
            return {&*owner, next};
        owner++;
    }
    owner = std::find_if(owner, features.end(),
                         [&](const feature &entry) { return !(entry.*rows).empty(); });
    if (owner == features.end())
        return {};
    return {&*owner, ((*owner).*rows).begin()};
}

} // namespace vynd
