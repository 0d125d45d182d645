// What several pieces of the host platform use.
//
// Each piece keeps its state in one object. The agent loads this library with the module and
// unloads it at each SIGHUP, so destructors take back what the agent was given: a callback, a
// descriptor, an alarm, a signal handler. All calls come on the agent's thread.
#pragma once

#include <cstdint>

#define VYN_EXPORT __attribute__((visibility("default")))

struct netsnmp_agent_session_s;

namespace vyn_host {

// System errors of the transport. The service may still carry out a request that was sent.
enum transport_error : uint32_t {
    VYN_ERR_NO_CONNECTION = 0x41030001,   // not sent: there is no service, or it has just gone
    VYN_ERR_TIMED_OUT = 0x41030002,       // no answer in time, or not sent after that
    VYN_ERR_BAD_REPLY = 0x41030003,       // sent, but the reply is too large or not usable
    VYN_ERR_BAD_CALL = 0x41030004,        // not sent: the request does not fit into a frame
    VYN_ERR_CONNECTION_LOST = 0x41030005, // sent
    VYN_ERR_BUDGET_USED_UP = 0x41030006,  // not sent: the SNMP request has waited long enough
    VYN_ERR_CUT_SHORT = 0x41030007,       // sent, but the SNMP request has waited long enough
};

struct syserr_entry {
    uint32_t code;
    const char *name;
    const char *text;
};

// Returns the entry of a code. That of an unknown code is valid until the next call.
const syserr_entry *syserr_find(uint32_t code);

// Calls cmi_req_resp in the name of the SNMP request that is being served.
uint32_t ask_service(uint32_t opcode, uint32_t msg_type, void *request, void **response_out,
                     uint32_t *length_inout);

// Reports whether the last request was answered with a payload.
bool last_reply_had_payload();

// Notes who has sent the request that is served now, until forget_identity().
void note_identity(const netsnmp_agent_session_s *session);
void forget_identity();

// Counts the SNMP requests that have reached the module. What a caller got under one count, it does
// not hold under another.
uint32_t requests_begun();

} // namespace vyn_host
