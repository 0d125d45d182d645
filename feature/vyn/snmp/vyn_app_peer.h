// Peers, for every table that has peers in its rows.
//
// The address part of an index is the address type, the number of octets, and the octets. A text
// has the address type 16. The key of a feature's peer is the feature's name, the scope, the VSAN
// as an octet string, and the address part. The VSAN of the physical scope is empty, a 0.
#pragma once

#include "vyn_index.h"
#include "vyn_service.h"

// Returns the number of octets of an address: 4, 16 or the length of a text.
size_t vyn_addr_length(uint32_t addr_type, const char (&addr)[256]);

// Takes the address part of an exact index into a zeroed key. Returns false if it is incomplete or
// has more than 255 octets. Further sub-identifiers are ignored.
bool vyn_take_address(vyn_oid_cursor *index, be32 *addr_type, char (&addr)[256]);

// Takes the address part at the start of an exact index. Traces an empty index at the given level,
// and refuses fewer than 6 sub-identifiers.
bool vyn_take_leading_address(vyn_oid_cursor index, be32 *addr_type, char (&addr)[256],
                              const char *function, vyn_trace_level no_index_level);

// Takes the address part of a GETNEXT index, as far as it goes. A complete address also clears the
// rest of `addr`.
void vyn_take_partial_address(vyn_oid_cursor *index, be32 *addr_type, char (&addr)[256]);

// Takes the key of a feature's peer from an exact index. Traces with the name of the function, and
// an empty index at the given level.
bool vyn_take_feature_peer(vyn_oid_cursor index, vyn_app_peer *peer, const char *function,
                           vyn_trace_level no_index_level);

// Puts the address part.
void vyn_put_address(vyn_oid_builder *index, uint32_t addr_type, const char (&addr)[256]);

// Puts the scope and VSAN of a peer. Returns false and puts nothing if it has neither scope.
bool vyn_put_peer_scope(vyn_oid_builder *index, const vyn_app_peer &peer);

// One table's query for peers: its type, the formats of its traces, and the function names in them.
struct vyn_peer_query {
    vyn_query_type type;
    const char *function;
    const char *sending_function; // in the trace of the request
    vyn_format<const char *, uint32_t, vyn_field, be32, be32> sending;
    vyn_format<be32, vyn_field> sending_address;
    vyn_format<const char *, uint32_t, vyn_field, be32, be32> received;
    vyn_format<be32, vyn_field> received_address;
    vyn_format<const char *, const char *> failed;
    vyn_format<const char *> null_reply;
};

// Sends a query for the peer in the request's key, or for the next peer, and traces it. The key may
// be any of the three vyn_peer_key members, which share their offset. Returns the result of
// vyn_call.
u32 vyn_query_peer(const vyn_peer_query &query, bool exact, vyn_snmp_req *request,
                   vyn_reply *reply);

// Traces the peer of a reply.
void vyn_trace_peer(const vyn_peer_query &query, bool exact, const vyn_app_peer &found);
