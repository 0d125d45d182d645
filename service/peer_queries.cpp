// Peers as records of the wire.
//
// Scopes have the numbers of the fabric. A scope or an address type that no row has still has a
// position in the order, and a getnext continues after it. Clients ignore the header of a reply; it
// is "PEER", so that a client that shows it shows something recognisable.
#include "peer_queries.h"

#include "keys.h"
#include "replies.h"

namespace vynd {

namespace {

constexpr uint32_t peer_header = 0x50454552;

static_assert(sizeof(vyn_app_peer::addr) == max_address + 1 &&
              sizeof(vyn_static_peer::addr) == max_address + 1);

vyn_app_peer record_of(std::string_view name, const feature_peer &row)
{
    vyn_app_peer record{};
    std::memcpy(record.local_app.name, name.data(), name.size());
    record.scope = row.where.type;
    record.vsan = row.where.vsan;
    fill_address(row.peer, record.addr_type, record.addr);
    return record;
}

net_address address_in(const vyn_app_peer &key)
{
    return key_address(key.addr_type, key.addr);
}

outcome reply_with(const query &received, const feature &owner, const feature_peer &row)
{
    return read_reply(received, vyn_resp_peer{peer_header, record_of(owner.name, row)});
}

outcome reply_with(const query &received, const feature &owner,
                   const std::pair<const feature_peer, member_state> &row)
{
    const auto &[key, member] = row;
    return read_reply(received,
                      vyn_resp_merge_member{
                          peer_header, record_of(owner.name, key), member.attr1, member.attr2, {}});
}

// `rows`: a table whose rows the features hold.
template <typename Rows>
outcome read_row(const fabric &model, const query &received, Rows feature::*rows)
{
    const vyn_app_peer &peer = received.record.request.req_app_peer.peer;
    const std::string_view name = name_in(peer.local_app.name);
    if (name.size() > VYN_MAX_APP_NAME)
        return refused(VYN_ERR_BAD_REQUEST, "name is not NUL-terminated");
    const feature_peer key{{peer.scope, peer.vsan}, address_in(peer)};
    const std::vector<feature> &features = model.state().features;
    const auto [owner, row] =
        received.next() ? next_row(features, rows, name, key) : find_row(features, rows, name, key);
    return owner != nullptr ? reply_with(received, *owner, *row) : no_row(received);
}

} // namespace

outcome read_peer(fabric &model, const query &received)
{
    const vyn_app_peer &key = received.record.request.req_phy_disc_peer.peer;
    if (key.local_app.name[0] != 0 || key.scope != 0 || key.vsan != 0)
        return refused(VYN_ERR_BAD_REQUEST, "expected only an address");
    const std::set<net_address> &peers = model.state().peers;
    const net_address address = address_in(key);
    const auto row = received.next() ? peers.upper_bound(address) : peers.find(address);
    if (row == peers.end())
        return no_row(received);
    return read_reply(received, vyn_resp_peer{peer_header, record_of("", {{}, *row})});
}

outcome read_feature_peer(fabric &model, const query &received)
{
    return read_row(model, received, &feature::peers);
}

outcome read_merge_member(fabric &model, const query &received)
{
    return read_row(model, received, &feature::members);
}

outcome read_static_peer(fabric &model, const query &received)
{
    const vyn_static_peer &key = received.record.request.static_peer;
    if (key.op != 0)
        return refused(VYN_ERR_BAD_REQUEST, "a read with an operation");
    const auto &peers = model.state().static_peers;
    const net_address address = key_address(key.addr_type, key.addr);
    const auto row = received.next() ? peers.upper_bound(address) : peers.find(address);
    if (row == peers.end())
        return no_row(received);
    vyn_resp_static_peer reply{};
    fill_address(row->first, reply.addr_type, reply.addr);
    reply.status = row->second.status;
    return read_reply(received, reply);
}

outcome change_static_peer(fabric &model, const query &received)
{
    const vyn_static_peer &change = received.record.request.static_peer;
    if (change.op > VYN_OP_REMOVE)
        return refused(VYN_ERR_BAD_REQUEST, "unknown operation");
    if (change.addr_type != VYN_ADDR_IPV4)
        return refused(VYN_ERR_PEER_NOT_IPV4, "not an IPv4 address");
    const net_address address = key_address(change.addr_type, change.addr);
    return change.op == VYN_OP_ADD
               ? change_reply(received, model.add_static_peer(address), "already exists")
               : change_reply(received, model.remove_static_peer(address), "no such peer");
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
