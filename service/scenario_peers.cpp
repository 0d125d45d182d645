// Peers and merges in a scenario, and back.
//
// Here the peers of a feature are grouped by their places and the members of a merge are in it,
// while the fabric keeps both in one flat order, which is that of its tables.
#include "scenario_peers.h"

#include "scenario_places.h"

namespace vynd {

namespace {

// What `insert` of a set or a map has made of an address.
template <typename Inserted> void expect_new(const node &value, const Inserted &inserted)
{
    if (!inserted.second)
        value.refuse("another one has this address");
}

constexpr struct {
    const char *key;
    uint8_t member_state::*member;
} member_numbers[] = {{"attr1", &member_state::attr1}, {"attr2", &member_state::attr2}};

void read_member(const node &value, const scope &where, feature &owner)
{
    member_state state;
    value.expect_keys({"address", "type", "attr1", "attr2"});
    const net_address address = read_member_address(value);
    for (const auto &[key, member] : member_numbers)
        value.with(key, [&, member = member](const node &number) {
            state.*member = static_cast<uint8_t>(number.number(UINT8_MAX));
        });
    expect_new(value, owner.members.emplace(feature_peer{where, address}, state));
}

void read_merge_of(const node &value, feature &owner)
{
    merge_state merge;
    value.expect_keys({"scope", "vsan", "status", "failure", "members"});
    const scope where = read_free_scope(value, owner.merges);
    expect_short_name(value, owner, "merges");
    value.with("status",
               [&](const node &member) { merge.status = member.named_number(merge_status_names); });
    value.with("failure",
               [&](const node &member) { merge.failure = member.number(max_merge_failure); });
    value.with("members", [&](const node &members) {
        members.each([&](const node &member) { read_member(member, where, owner); });
    });
    owner.merges.emplace(where, merge);
}

} // namespace

std::set<net_address> read_peers(const node &list)
{
    std::set<net_address> peers;
    list.each([&](const node &value) { expect_new(value, peers.insert(read_address(value))); });
    return peers;
}

json peers_to_json(const std::set<net_address> &peers)
{
    json result = json::array();
    for (const net_address &peer : peers)
        result.push_back(address_to_json(peer));
    return result;
}

std::map<net_address, uint32_t> read_static_peers(const node &list)
{
    std::map<net_address, uint32_t> peers;
    list.each([&](const node &value) {
        uint32_t status = static_peer_added;
        value.expect_keys({"address", "type", "status"});
        value.with("status", [&](const node &member) { status = member.number(); });
        expect_new(value, peers.emplace(read_member_address(value), status));
    });
    return peers;
}

json static_peers_to_json(const std::map<net_address, uint32_t> &peers)
{
    json result = json::array();
    for (const auto &[peer, status] : peers)
        result.emplace_back(object_with(peer))["status"] = status;
    return result;
}

void read_feature_peers(const node &list, feature &owner)
{
    std::set<scope> groups;
    list.each([&](const node &value) {
        value.expect_keys({"scope", "vsan", "peers"});
        const scope where = read_free_scope(value, groups);
        expect_short_name(value, owner, "peers");
        groups.insert(where);
        value.with("peers", [&](const node &peers) {
            for (const net_address &peer : read_peers(peers))
                owner.peers.insert({where, peer});
        });
    });
}

json feature_peers_to_json(const feature &owner)
{
    json result = json::array();
    std::optional<scope> last;
    for (const auto &[where, peer] : owner.peers) {
        if (last != where)
            result.push_back(scope_to_json(where));
        last = where;
        result.back()["peers"].push_back(address_to_json(peer));
    }
    return result;
}

void read_merges(const node &list, feature &owner)
{
    list.each([&](const node &value) { read_merge_of(value, owner); });
}

json merges_to_json(const feature &owner)
{
    json result = json::array();
    auto member = owner.members.begin(); // in the order of the merges, of which each is
    for (const auto &[where, merge] : owner.merges) {
        json &entry = result.emplace_back(scope_to_json(where));
        entry["status"] = named_to_json(merge_status_names, merge.status);
        entry["failure"] = merge.failure;
        json &members = entry["members"] = json::array();
        for (; member != owner.members.end() && member->first.where == where; ++member) {
            json &row = members.emplace_back(object_with(member->first.peer));
            for (const auto &[key, number] : member_numbers)
                row[key] = member->second.*number;
        }
    }
    return result;
}

} // namespace vynd
