// Peers: the address and the key of a peer in an index, and the query that three tables share.
//
// Octets are the low 8 bits of sub-identifiers. An exact index must be complete. A GETNEXT index
// may end anywhere, and keys are zero where nothing is decoded into them.

#include "vyn_app_peer.h"

#include <cstring>

size_t vyn_addr_length(uint32_t addr_type, const char (&addr)[256])
{
    switch (addr_type) {
    case VYN_ADDR_IPV4: return 4;
    case VYN_ADDR_IPV6: return 16;
    default: return vyn_field(addr).length();
    }
}

bool vyn_take_address(vyn_oid_cursor *index, be32 *addr_type, char (&addr)[256])
{
    oid type, count;
    if (!index->take(&type) || !index->take(&count) || count >= sizeof(addr) ||
        count > index->left())
        return false;
    *addr_type = static_cast<uint32_t>(type);
    index->take_octets(reinterpret_cast<uint8_t *>(addr), count);
    return true;
}

bool vyn_take_leading_address(vyn_oid_cursor index, be32 *addr_type, char (&addr)[256],
                              const char *function, vyn_trace_level no_index_level)
{
    constexpr size_t min_length = 6; // of an IPv4 address part
    // Quirk: also refuses texts of fewer than 4 characters, so only a walk finds them.
    return vyn_has_index(index, function, no_index_level) && index.left() >= min_length &&
           vyn_take_address(&index, addr_type, addr);
}

void vyn_take_partial_address(vyn_oid_cursor *index, be32 *addr_type, char (&addr)[256])
{
    oid type;
    if (!index->take(&type))
        return;
    *addr_type = static_cast<uint32_t>(type);
    const size_t count = index->take_octet_count();
    if (count == 0)
        return;
    if (index->take_octets(reinterpret_cast<uint8_t *>(addr), count) == count)
        memset(addr + count, 0, sizeof(addr) - count);
}

bool vyn_take_feature_peer(vyn_oid_cursor index, vyn_app_peer *peer, const char *function,
                           vyn_trace_level no_index_level)
{
    oid scope, vsan_length;
    if (!vyn_take_key_name(&index, peer->local_app.name, function, no_index_level) ||
        !index.take(&scope) || !index.take(&vsan_length) ||
        (scope != VYN_SCOPE_PHYSICAL && scope != VYN_SCOPE_LOGICAL))
        return false;
    peer->scope = static_cast<uint32_t>(scope);
    if (scope == VYN_SCOPE_LOGICAL) {
        uint8_t vsan[sizeof(peer->vsan)];
        if (vsan_length == 0 ||
            vyn_oid_cursor(index).take_octets(vsan, sizeof(vsan)) < sizeof(vsan))
            return false;
        memcpy(&peer->vsan, vsan, sizeof(vsan));
        // Quirk: reads four octets, but skips as many sub-identifiers as the length states.
        if (!index.skip(vsan_length))
            return false;
    }
    return vyn_take_address(&index, &peer->addr_type, peer->addr);
}

void vyn_put_address(vyn_oid_builder *index, uint32_t addr_type, const char (&addr)[256])
{
    const bool text = addr_type != VYN_ADDR_IPV4 && addr_type != VYN_ADDR_IPV6;
    index->put(text ? uint32_t{VYN_ADDR_TEXT} : addr_type);
    index->put_name(addr, vyn_addr_length(addr_type, addr));
}

bool vyn_put_peer_scope(vyn_oid_builder *index, const vyn_app_peer &peer)
{
    switch (peer.scope) {
    case VYN_SCOPE_PHYSICAL:
        index->put(VYN_SCOPE_PHYSICAL);
        index->put(0);
        return true;
    case VYN_SCOPE_LOGICAL:
        index->put(VYN_SCOPE_LOGICAL);
        index->put_vsan(peer.vsan);
        return true;
    default: return false;
    }
}

u32 vyn_query_peer(const vyn_peer_query &query, bool exact, vyn_snmp_req *request, vyn_reply *reply)
{
    const vyn_app_peer &key = request->request.req_app_peer.peer;
    const vyn_msg_type msg_type = vyn_read_msg_type(exact);
    vyn_trace(VYN_TRACE_FLOW, query.sending, query.sending_function, uint32_t{msg_type},
              vyn_field(key.local_app.name), key.scope, key.vsan);
    vyn_trace(VYN_TRACE_FLOW, query.sending_address, key.addr_type, vyn_field(key.addr));
    return vyn_query(MTS_OPC_VYN_SNMP_QUERY, msg_type, request, reply, query.function, query.failed,
                     query.null_reply);
}

void vyn_trace_peer(const vyn_peer_query &query, bool exact, const vyn_app_peer &found)
{
    const vyn_msg_type msg_type = vyn_read_msg_type(exact);
    vyn_trace(VYN_TRACE_FLOW, query.received, query.function, uint32_t{msg_type},
              vyn_field(found.local_app.name), found.scope, found.vsan);
    vyn_trace(VYN_TRACE_FLOW, query.received_address, found.addr_type, vyn_field(found.addr));
}
