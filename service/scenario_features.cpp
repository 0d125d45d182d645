// The table of a feature's fields, and those of the objects in it.
//
// A scenario groups the peers of a feature by their scopes, and puts the members of a merge into
// the merge. The fabric keeps both flat, in the order of their tables.
#include "scenario_features.h"

#include <algorithm>

#include "scenario_values.h"

namespace vynd {

namespace {

constexpr named_value action_end_names[] = {{"success", VYN_RESULT_SUCCESS},
                                            {"failed", VYN_RESULT_FAILED},
                                            {"partly", VYN_RESULT_FAILED_PARTLY}};

const fields<action_end> action_end_fields = {
    duration("after_ms", &action_end::after),
    one_of("result", &action_end::result, action_end_names),
    code("failure", &action_end::failure),
};

const fields<scope_state> state_fields = {
    named("action", &scope_state::action, action_names),
    named("result", &scope_state::result, result_names),
    unless_default(code("failure", &scope_state::failure)),
    unless_default(number("seconds", &scope_state::seconds)),
    unless_default(number("microseconds", &scope_state::microseconds)),
    unless_default(number("show_cfg_option", &scope_state::show_cfg_option)),
};

// A state, and whether its action is the last one of the feature.
struct state_row {
    scope where;
    scope_state state;
    bool last = false;
};

const fields<state_row> state_row_fields = {
    scope_keys(&state_row::where),
    inlined(&state_row::state, state_fields),
    unless_default(flag("last", &state_row::last)),
};

void add_state(const node &value, state_row row, feature &owner)
{
    if (!owner.states.emplace(row.where, row.state).second)
        value.refuse("another one has this scope");
    if (row.last && owner.last)
        value.at("last").refuse("another state is the last one");
    if (row.last)
        owner.last = row.where;
}

std::vector<state_row> states_of(const feature &owner)
{
    std::vector<state_row> rows;
    for (const auto &[where, state] : owner.states)
        rows.push_back({where, state, owner.last == where});
    return rows;
}

// The user of a lock, without the mark that the service puts before a name on the wire.
void read_holder(const node &value, lock &held)
{
    if (value.has("kind") && (value.has("user") || value.has("marked")))
        value.refuse("kind excludes user and marked");
    value.with("kind", [&](const node &member) {
        static constexpr named_value kinds[] = {{"merge", 0}};
        member.one_of(kinds);
        held.user = VYN_LOCK_MERGE_USER;
    });
    value.with("marked", [&](const node &member) {
        if (member.flag())
            held.user = VYN_LOCK_USER_MARK;
    });
    value.with("user", [&](const node &member) {
        held.user += member.byte_text(max_user - held.user.size());
    });
}

void write_holder(const lock &held, json &value)
{
    const bool marked = held.user.starts_with(VYN_LOCK_USER_MARK);
    if (held.user == VYN_LOCK_MERGE_USER)
        value["kind"] = "merge";
    else
        value["user"] = utf8_of(std::string_view(held.user).substr(marked ? 1 : 0));
    if (marked)
        value["marked"] = true;
}

using lock_row = std::pair<scope, lock>;

const fields<lock> lock_fields = {
    {{"user", "marked", "kind"}, read_holder, write_holder},
    unless_default(single("address", &lock::address, read_address, address_to_json)),
};

const fields<lock_row> lock_row_fields = {
    scope_keys(&lock_row::first),
    inlined(&lock_row::second, lock_fields),
};

struct peer_group {
    scope where;
    std::set<net_address> peers;
};

const fields<peer_group> peer_group_fields = {
    scope_keys(&peer_group::where),
    single("peers", &peer_group::peers, read_addresses, addresses_to_json),
};

void add_peers(const node &value, peer_group group, feature &owner)
{
    if (std::any_of(owner.peers.begin(), owner.peers.end(),
                    [&](const feature_peer &row) { return row.where == group.where; }))
        value.refuse("another one has this scope");
    for (const net_address &peer : group.peers)
        owner.peers.insert({group.where, peer});
}

std::vector<peer_group> peers_of(const feature &owner)
{
    std::vector<peer_group> groups;
    for (const auto &[where, peer] : owner.peers) {
        if (groups.empty() || groups.back().where != where)
            groups.push_back({where, {}});
        groups.back().peers.insert(peer);
    }
    return groups;
}

using member_row = std::pair<net_address, member_state>;

const fields<member_state> member_fields = {
    number("attr1", &member_state::attr1),
    number("attr2", &member_state::attr2),
};

const fields<member_row> member_row_fields = {
    address_keys(&member_row::first),
    inlined(&member_row::second, member_fields),
};

struct merge_row {
    scope where;
    merge_state merge;
    std::map<net_address, member_state> members;
};

const fields<merge_state> merge_fields = {
    named("status", &merge_state::status, merge_status_names),
    number("failure", &merge_state::failure, max_merge_failure),
};

const fields<merge_row> merge_row_fields = {
    scope_keys(&merge_row::where),
    inlined(&merge_row::merge, merge_fields),
    keyed_list("members", &merge_row::members, "address", member_row_fields),
};

void add_merge(const node &value, merge_row row, feature &owner)
{
    if (!owner.merges.emplace(row.where, row.merge).second)
        value.refuse("another one has this scope");
    for (const auto &[address, member] : row.members)
        owner.members.emplace(feature_peer{row.where, address}, member);
}

std::vector<merge_row> merges_of(const feature &owner)
{
    std::vector<merge_row> rows;
    auto member = owner.members.begin(); // sorted like the merges; each member belongs to one
    for (const auto &[where, merge] : owner.merges) {
        merge_row &row = rows.emplace_back(merge_row{where, merge, {}});
        for (; member != owner.members.end() && member->first.where == where; member++)
            row.members.emplace(member->first.peer, member->second);
    }
    return rows;
}

using assignment_row = std::pair<scope, uint32_t>;

const fields<assignment_row> assignment_row_fields = {
    scope_keys(&assignment_row::first),
    region_id("region", &assignment_row::second),
};

// `scopes` and the flags that are not scopes are one word in the registry.
void read_flags(const node &value, feature &entry)
{
    value.with("flags", [&](const node &flags) { entry.flags = flags.number(); });
    value.with("scopes", [&](const node &scopes) {
        scopes.each([&](const node &scope) { entry.flags |= scope.one_of(feature_scopes); });
    });
}

void write_flags(const feature &entry, json &value)
{
    json &scopes = value["scopes"] = json::array();
    uint32_t flags = entry.flags;
    for (const auto &[name, flag] : feature_scopes) {
        if ((entry.flags & flag) != 0)
            scopes.push_back(name);
        flags &= ~flag;
    }
    if (flags != 0)
        value["flags"] = flags;
}

// Refuses rows that a feature with a long name cannot have: their records hold shorter names.
field<feature> with_short_name(field<feature> rows)
{
    rows.read = [read = rows.read, key = rows.keys[0]](const node &value, feature &owner) {
        if (owner.name.size() > VYN_MAX_APP_NAME)
            value.with(key, [&](const node &array) {
                array.each([&](const node &row) {
                    row.refuse(std::string("a feature with ") + key + " has a name of at most " +
                               std::to_string(VYN_MAX_APP_NAME) + " characters");
                });
            });
        read(value, owner);
    };
    return rows;
}

const fields<feature> feature_fields = {
    byte_text("name", &feature::name, VYN_MAX_FEATURE_NAME), // the lists of rows need it
    {{"scopes", "flags"}, read_flags, write_flags},
    number("show_cfg_option", &feature::show_cfg_option),
    unless_default(number("entry_attr", &feature::entry_attr)),
    unless_default(number("action", &feature::action)),
    number("scope_type", &feature::scope_type),
    unless_default(number("scope_value", &feature::scope_value)),
    unless_default(number("flags2", &feature::flags2)),
    object("next_action", &feature::next_action, action_end_fields),
    list<feature>("states", state_row_fields, add_state, states_of),
    with_short_name(keyed_list("locks", &feature::locks, "scope", lock_row_fields)),
    with_short_name(list<feature>("peers", peer_group_fields, add_peers, peers_of)),
    with_short_name(list<feature>("merges", merge_row_fields, add_merge, merges_of)),
    with_short_name(keyed_list("regions", &feature::regions, "scope", assignment_row_fields)),
};

void expect_regions(const node &value, const std::map<uint32_t, scope> &regions)
{
    value.with("regions", [&](const node &array) {
        array.each([&](const node &row) {
            const uint32_t id = row.at("region").number();
            if (!regions.contains(id))
                row.refuse("no such region: " + std::to_string(id));
        });
    });
}

void add_feature(const node &value, feature row, fabric_state &state)
{
    if (row.name.empty())
        value.refuse("a feature needs a name");
    const auto position = first_from(state.features, row.name);
    if (position != state.features.end() && position->name == row.name)
        value.at("name").refuse("another feature has this name");
    expect_regions(value, state.regions);
    if (!row.last && !row.states.empty())
        row.last = row.states.begin()->first;
    state.features.insert(position, std::move(row));
}

} // namespace

field<fabric_state> features_field()
{
    return list<fabric_state>(
        "features", feature_fields, add_feature,
        [](const fabric_state &state) -> const auto & { return state.features; });
}

} // namespace vynd
