// Peers as records of the wire.
//
// Scopes count here as they do in the fabric, and every number of a key is taken as it stands: a
// scope or an address type that no row has still has its place in the order, so a getnext from it
// goes on behind that. The header of a reply means nothing to clients and is filled all the same,
// with "PEER", so that a client that shows it shows something recognisable.
#include "peer_queries.h"

#include "keys.h"
#include "replies.h"

namespace vynd {

namespace {

constexpr uint32_t peer_header = 0x50454552;

static_assert(sizeof(vyn_app_descriptor::name) == longest_record_name + 1 &&
              sizeof(vyn_app_peer::addr) == longest_address + 1 &&
              sizeof(vyn_static_peer::addr) == longest_address + 1);

vyn_app_peer record_of(std::string_view name, const feature_peer &row)
{
    vyn_app_peer record{};
    std::memcpy(record.local_app.name, name.data(), name.size());
    record.scope = row.where.scope;
    record.vsan = row.where.vsan;
    fill_address(row.peer, record.addr_type, record.addr);
    return record;
}

net_address address_in(const vyn_app_peer &key)
{
    return key_address(key.addr_type, key.addr);
}

outcome reply_with(const query &asked, const feature &owner, const feature_peer &row)
{
    return found(asked.record.query_type, vyn_resp_peer{peer_header, record_of(owner.name, row)});
}

outcome reply_with(const query &asked, const feature &owner,
                   const std::pair<const feature_peer, member_state> &row)
{
    const auto &[key, member] = row;
    return found(asked.record.query_type,
                 vyn_resp_merge_member{
                     peer_header, record_of(owner.name, key), member.attr1, member.attr2, {}});
}

// The row of a table whose parts the features hold.
template <typename Rows>
outcome read_row(const fabric &model, const query &asked, Rows feature::*rows)
{
    const vyn_app_peer &peer = asked.record.request.req_app_peer.peer;
    const std::string_view name = name_in(peer.local_app.name);
    if (name.size() > longest_record_name)
        return refused(VYN_ERR_BAD_REQUEST, "expected a name with an end");
    const feature_peer key{{peer.scope, peer.vsan}, address_in(peer)};
    const std::vector<feature> &features = model.state().features;
    const auto [owner, row] =
        asked.next() ? next_row(features, rows, name, key) : find_row(features, rows, name, key);
    return owner ? reply_with(asked, *owner, *row) : nothing(asked);
}

} // namespace

outcome read_peer(fabric &model, const query &asked)
{
    const vyn_app_peer &key = asked.record.request.req_phy_disc_peer.peer;
    if (key.local_app.name[0] != 0 || key.scope != 0 || key.vsan != 0)
        return refused(VYN_ERR_BAD_REQUEST, "expected an address alone");
    const std::set<net_address> &peers = model.state().peers;
    const net_address address = address_in(key);
    const auto row = asked.next() ? peers.upper_bound(address) : peers.find(address);
    if (row == peers.end())
        return nothing(asked);
    return found(asked.record.query_type, vyn_resp_peer{peer_header, record_of("", {{}, *row})});
}

outcome read_feature_peer(fabric &model, const query &asked)
{
    return read_row(model, asked, &feature::peers);
}

outcome read_merge_member(fabric &model, const query &asked)
{
    return read_row(model, asked, &feature::members);
}

outcome read_static_peer(fabric &model, const query &asked)
{
    const vyn_static_peer &key = asked.record.request.static_peer;
    if (key.op != 0)
        return refused(VYN_ERR_BAD_REQUEST, "a query changes nothing");
    const auto &peers = model.state().static_peers;
    const net_address address = key_address(key.addr_type, key.addr);
    const auto row = asked.next() ? peers.upper_bound(address) : peers.find(address);
    if (row == peers.end())
        return nothing(asked);
    vyn_resp_static_peer reply{};
    fill_address(row->first, reply.addr_type, reply.addr);
    reply.status = row->second;
    return found(asked.record.query_type, reply);
}

outcome change_static_peer(fabric &model, const query &asked)
{
    const vyn_static_peer &change = asked.record.request.static_peer;
    if (change.op > VYN_OP_REMOVE)
        return refused(VYN_ERR_BAD_REQUEST, "a change adds or removes");
    if (change.addr_type != VYN_ADDR_IPV4)
        return refused(VYN_ERR_PEER_NOT_IPV4, "not an IPv4 address");
    const net_address address = key_address(change.addr_type, change.addr);
    return change.op == VYN_OP_ADD
               ? changed(asked.record.query_type, model.add_static_peer(address), "it is there")
               : changed(asked.record.query_type, model.remove_static_peer(address),
                         "no such peer");
}

std::string peer_key(const vyn_snmp_req &record)
{
    return address_key_text(address_in(record.request.req_phy_disc_peer.peer));
}

std::string feature_peer_key(const vyn_snmp_req &record)
{
    const vyn_app_peer &key = record.request.req_app_peer.peer;
    return key_text(name_in(key.local_app.name), key.scope, key.vsan) + " " + peer_key(record);
}

std::string static_peer_key(const vyn_snmp_req &record)
{
    const vyn_static_peer &key = record.request.static_peer;
    return address_key_text(key_address(key.addr_type, key.addr));
}

std::string static_peer_change(const vyn_snmp_req &record)
{
    const vyn_static_peer &change = record.request.static_peer;
    return change_text(change.op) + " " +
           escaped(text_of(key_address(change.addr_type, change.addr)));
}

} // namespace vynd
