// Features in a scenario, and back.
//
// The marks that the service puts on a user's name are fields of their own here, so that nobody has
// to know how they look on the wire. Peers and merges are read in scenario_peers.cpp, regions in
// scenario_regions.cpp.
#include "scenario_features.h"

#include "scenario_peers.h"
#include "scenario_places.h"
#include "scenario_regions.h"

namespace vynd {

namespace {

// The fields of a feature that are plain numbers, and 0 where the scenario does not say.
constexpr struct {
    const char *key;
    uint32_t feature::*member;
} feature_numbers[] = {
    {"show_cfg_option", &feature::show_cfg_option},
    {"entry_attr", &feature::entry_attr},
    {"action", &feature::action},
    {"scope_type", &feature::scope_type},
    {"scope_value", &feature::scope_value},
    {"flags", &feature::flags},
    {"flags2", &feature::flags2},
};

constexpr struct {
    const char *key;
    uint32_t scope_state::*member;
} state_numbers[] = {
    {"seconds", &scope_state::seconds},
    {"microseconds", &scope_state::microseconds},
    {"show_cfg_option", &scope_state::show_cfg_option},
};

action_end read_action_end(const node &value)
{
    action_end end;
    value.expect_keys({"after_ms", "result", "failure"});
    value.with("after_ms", [&](const node &member) {
        end.after = std::chrono::milliseconds(member.number(max_wait_ms));
    });
    value.with("result", [&](const node &member) {
        static constexpr named_value ends[] = {
            {"success", result_success}, {"failed", result_failed}, {"partly", result_partly}};
        end.result = member.one_of(ends);
    });
    value.with("failure", [&](const node &member) { end.failure = member.number(); });
    return end;
}

json action_end_to_json(const action_end &end)
{
    return {{"after_ms", end.after.count()},
            {"result", named_text(result_names, end.result)},
            {"failure", code_to_json(end.failure)}};
}

void read_state(const node &value, feature &owner)
{
    scope_state state;
    value.expect_keys({"scope", "vsan", "action", "result", "failure", "seconds", "microseconds",
                       "show_cfg_option", "last"});
    const scope where = read_free_scope(value, owner.states);
    value.with("action",
               [&](const node &member) { state.action = member.named_number(action_names); });
    value.with("result",
               [&](const node &member) { state.result = member.named_number(result_names); });
    value.with("failure", [&](const node &member) { state.failure = member.number(); });
    for (const auto &[key, member] : state_numbers)
        value.with(key,
                   [&, member = member](const node &number) { state.*member = number.number(); });
    value.with("last", [&](const node &member) {
        if (member.flag() && owner.last)
            member.refuse("another state is the last one");
        if (member.flag())
            owner.last = where;
    });
    owner.states.emplace(where, state);
}

json states_to_json(const feature &owner)
{
    json result = json::array();
    for (const auto &[where, state] : owner.states) {
        json &entry = result.emplace_back(scope_to_json(where));
        entry["action"] = named_to_json(action_names, state.action);
        entry["result"] = named_to_json(result_names, state.result);
        if (state.failure != 0)
            entry["failure"] = code_to_json(state.failure);
        for (const auto &[key, member] : state_numbers)
            if (state.*member != scope_state().*member)
                entry[key] = state.*member;
        if (owner.last == where)
            entry["last"] = true;
    }
    return result;
}

void read_lock(const node &value, feature &owner)
{
    lock holder;
    value.expect_keys({"scope", "vsan", "user", "kind", "marked", "address"});
    const scope where = read_free_scope(value, owner.locks);
    if (value.has("kind") && (value.has("user") || value.has("marked")))
        value.refuse("a lock of a kind has no user");
    expect_short_name(value, owner, "locks");
    value.with("kind", [&](const node &member) {
        static constexpr named_value kinds[] = {{"merge", 0}};
        member.one_of(kinds);
        holder.user = merge_user;
    });
    value.with("marked", [&](const node &member) {
        if (member.flag())
            holder.user = user_mark;
    });
    value.with("user", [&](const node &member) {
        holder.user += member.byte_text(max_user - holder.user.size());
    });
    value.with("address", [&](const node &member) { holder.address = read_address(member); });
    owner.locks.emplace(where, std::move(holder));
}

json locks_to_json(const feature &owner)
{
    json result = json::array();
    for (const auto &[where, holder] : owner.locks) {
        json &entry = result.emplace_back(scope_to_json(where));
        const bool marked = holder.user.starts_with(user_mark);
        if (holder.user == merge_user)
            entry["kind"] = "merge";
        else
            entry["user"] = utf8_of(std::string_view(holder.user).substr(marked ? 1 : 0));
        if (marked)
            entry["marked"] = true;
        if (holder.address != net_address())
            entry["address"] = address_to_json(holder.address);
    }
    return result;
}

} // namespace

feature read_feature(const node &value, const std::map<uint32_t, scope> &regions,
                     std::set<std::string> &names)
{
    feature result;
    value.expect_keys({"name", "scopes", "show_cfg_option", "entry_attr", "action", "scope_type",
                       "scope_value", "flags", "flags2", "next_action", "states", "locks", "peers",
                       "merges", "regions"});
    for (const auto &[key, member] : feature_numbers)
        value.with(key,
                   [&, member = member](const node &number) { result.*member = number.number(); });
    value.with("scopes", [&](const node &scopes) {
        scopes.each([&](const node &scope) { result.flags |= scope.one_of(feature_scopes); });
    });
    value.with("name", [&](const node &name) {
        result.name = name.byte_text(max_feature_name);
        if (!names.insert(result.name).second)
            name.refuse("another feature has this name");
    });
    if (result.name.empty())
        value.refuse("a feature needs a name");
    value.with("next_action",
               [&](const node &member) { result.next_action = read_action_end(member); });
    value.with("states", [&](const node &states) {
        states.each([&](const node &state) { read_state(state, result); });
    });
    if (!result.last && !result.states.empty())
        result.last = result.states.begin()->first;
    value.with("locks", [&](const node &locks) {
        locks.each([&](const node &holder) { read_lock(holder, result); });
    });
    value.with("peers", [&](const node &peers) { read_feature_peers(peers, result); });
    value.with("merges", [&](const node &merges) { read_merges(merges, result); });
    value.with("regions", [&](const node &list) { read_feature_regions(list, regions, result); });
    return result;
}

json feature_to_json(const feature &entry)
{
    json scopes = json::array();
    uint32_t further_flags = entry.flags;
    for (const named_value &scope : feature_scopes) {
        if (entry.flags & scope.value)
            scopes.push_back(scope.name);
        further_flags &= ~scope.value;
    }
    json result = {{"name", utf8_of(entry.name)}, {"scopes", scopes}};
    for (const auto &[key, member] : feature_numbers)
        if (const uint32_t value = member == &feature::flags ? further_flags : entry.*member)
            result[key] = value;
    result["next_action"] = action_end_to_json(entry.next_action);
    result["states"] = states_to_json(entry);
    result["locks"] = locks_to_json(entry);
    result["peers"] = feature_peers_to_json(entry);
    result["merges"] = merges_to_json(entry);
    result["regions"] = feature_regions_to_json(entry);
    return result;
}

} // namespace vynd
