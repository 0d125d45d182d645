// The socket protocol of vynd: AF_UNIX, SOCK_SEQPACKET, one frame in each packet.
//
// A frame is a header and a payload, which ends with the packet. The service greets a connection
// before anything else: a client that gets no greeting knows that the service is stopped. The
// first frame from the client decides what the connection is for:
//
//   request    -> reply      a request record of the VYN service, and who sends it; the replies
//   come
//                            in the order of the requests and have their sequence numbers
//   subscribe  -> event...   an opcode; the service sends a frame for each of its events
//   command    -> answer     text for the operator of the stand-in (vynctl), not part of VYN
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "be32.h"
#include "vyn_wire.h"

namespace vynd {

inline constexpr char default_socket[] = "/run/vynd/vynd.sock";
inline constexpr uint32_t protocol_version = 1;
inline constexpr size_t largest_frame = 64 * 1024; // in bytes, the header included

enum class frame_kind : uint32_t {
    greeting = 1, // status: protocol_version
    request,      // opcode, msg_type, session, user; payload: the request record
    reply,        // sequence of the request, status: 0 or a system error; payload: the reply
    subscribe,    // opcode
    event,        // opcode; payload: the event
    command,      // payload: words separated by blanks
    answer,       // status: 0, or 1 for a command that failed; payload: text
};

// The requests of the client library, besides the queries of the MIB. The opcodes of the VYN
// service itself are below 10,000. The operation (msg_type) matters only where it is named here.
enum client_opcode : uint32_t {
    opcode_registry = 100001, // payload: be32 index of the first feature; see registry_entry
    opcode_state,             // state_request, get or getnext; the reply is the 44-byte record
    opcode_run_action,        // registry_entry: runs its action in its scope
    opcode_store_entry,       // registry_entry: its options and scope become persistent
    opcode_store_option,      // option_request
};

struct frame_header {
    be32 kind;
    be32 sequence;
    be32 opcode;
    be32 msg_type;
    be32 session;
    be32 status;
    uint8_t user[256]; // NUL-terminated; longer names are cut
};
static_assert(sizeof(frame_header) == 280 && offsetof(frame_header, user) == 24);
static_assert(std::is_trivially_copyable_v<frame_header>);

// Returns a header of that kind, zero otherwise.
inline frame_header header_of(frame_kind kind)
{
    frame_header header{};
    header.kind = static_cast<uint32_t>(kind);
    return header;
}

// The name of a feature: a length byte, the characters, NUL.
using name_field = uint8_t[VYN_MAX_FEATURE_NAME + 2];

// The reply to opcode_registry: as many of these as fit, in strcmp order of their names. An empty
// reply is the end.
struct registry_entry {
    name_field name;
    be32 show_cfg_option;
    be32 entry_attr;
    be32 action;
    be32 scope_type;
    be32 scope_value;
    be32 flags; // vyn_feature_flags
    be32 flags2;
};
static_assert(sizeof(registry_entry) == 112 && offsetof(registry_entry, show_cfg_option) == 84);
static_assert(std::is_trivially_copyable_v<registry_entry>);

// Asks for the state of a feature; scope and VSAN of the record are the key. get: the row of that
// scope; with scope 0 that of the feature's last action. getnext: with scope 1 the physical row,
// with scope 2 the row of the next VSAN after the key's, with scope 0 none.
// VYN_ERR_NO_MORE_ENTRIES: there is no such row.
struct state_request {
    name_field name;
    vyn_feature_state record;
};
static_assert(sizeof(state_request) == 128 && std::is_trivially_copyable_v<state_request>);

struct option_request {
    name_field name;
    be32 option; // VYN_OPTION_SHOW_CFG
    be32 scope;
    be32 vsan;
    be32 value;
};
static_assert(sizeof(option_request) == 100 && std::is_trivially_copyable_v<option_request>);

} // namespace vynd
