// Peers as the service names them and as indexes do, for every table that has peers in its rows.
//
// The address part of an index is the type of the address, the number of its octets, and the octets
// themselves. A text leads with 16, whatever type its record says. The key of a feature's peer is
// the feature's name, the scope (1, or 2 for a VSAN), the VSAN as an octet string, empty in the
// physical scope, and the address part.
#pragma once

#include "vyn_index.h"
#include "vyn_service.h"

// Octets of an address: 4 or 16, or the length of a text.
size_t vyn_addr_length(uint32_t addr_type, const char (&addr)[256]);

// Takes the address part of an exact index into a key that is zero: false when it is not all there
// or has more than 255 octets. What follows it is left.
bool vyn_take_address(vyn_oid_cursor *index, be32 *addr_type, char (&addr)[256]);

// The same for an index that begins with the address, with the trace of vyn_has_index. One that is
// shorter than an IPv4 address's is refused, be it a short text's.
bool vyn_take_leading_address(vyn_oid_cursor index, be32 *addr_type, char (&addr)[256],
                              const char *function, vyn_trace_level no_index);

// Takes as much of an address part as there is, for a key to go on from.
void vyn_take_partial_address(vyn_oid_cursor *index, be32 *addr_type, char (&addr)[256]);

// Takes the key of a feature's peer, of an exact index; the traces carry the name of the function,
// and that of no index at all has a level of the table's. The octets of the VSAN are always four,
// but the length in front of them says where the address begins.
bool vyn_take_feature_peer(vyn_oid_cursor index, vyn_app_peer *peer, const char *function,
                           vyn_trace_level no_index);

void vyn_put_address(vyn_oid_builder *index, uint32_t addr_type, const char (&addr)[256]);

// Puts the scope of a peer and its VSAN. False, and nothing is put, when it has neither scope.
bool vyn_put_peer_scope(vyn_oid_builder *index, const vyn_app_peer &peer);

// What tells the queries of peers apart: the type, the traces, and the names of functions that
// these carry.
struct vyn_peer_query {
    vyn_query_type type;
    const char *function;
    const char *sender; // in the trace of the request
    vyn_format<const char *, uint32_t, vyn_field, be32, be32> sending;
    vyn_format<be32, vyn_field> sending_address;
    vyn_format<const char *, uint32_t, vyn_field, be32, be32> received;
    vyn_format<be32, vyn_field> received_address;
    vyn_format<const char *, const char *> failed;
    vyn_format<const char *> null_reply;
};

// Sends a query for the peer of the request's key, or for the next one, with its traces. The key is
// the request's req_app_peer, or either of the other two peers that a request can have: all three
// lie in one place. Returns what the call returned.
u32 vyn_query_peer(const vyn_peer_query &query, bool exact, vyn_snmp_req *request,
                   vyn_reply *reply);

// The traces of the peer that a reply has brought.
void vyn_trace_peer(const vyn_peer_query &query, bool exact, const vyn_app_peer &found);
