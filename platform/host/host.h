// What the pieces of the host platform know of each other.
//
// Every piece keeps its state in one object of its own with a constructor and a destructor: the
// agent loads this library with the module and unloads it at each SIGHUP, and what a piece has
// given to the agent (a callback, a descriptor, an alarm, a signal handler) goes with that object.
// All calls come on the agent's thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/types.h>

#define VYN_EXPORT __attribute__((visibility("default")))

namespace vyn_host {

// System errors of the transport itself. The service's own are 0x40B3....
enum transport_error : uint32_t {
    ERR_NO_CONNECTION = 0x41030001,   // no service, or it has gone before the request was sent
    ERR_TIMED_OUT = 0x41030002,       // no answer in time; the request may yet be carried out
    ERR_BAD_REPLY = 0x41030003,       // larger than a frame may be, or of no use
    ERR_BAD_CALL = 0x41030004,        // the caller's request does not fit into a frame
    ERR_CONNECTION_LOST = 0x41030005, // after the request was sent; it may have been carried out
};

struct syserr_entry {
    uint32_t code;
    const char *name;
    const char *text;
};

// Never null: codes that are not known have an entry that is made up for the call.
const syserr_entry *syserr_find(uint32_t code);

// A request of the client library on behalf of the SNMP request that is being served; as
// cmi_req_resp, which it is.
uint32_t ask_service(uint32_t opcode, uint32_t msg_type, void *request, void **response_out,
                     uint32_t *length_inout);

// Counts the times that a service has come (back): what was read from it under another count is
// stale.
uint32_t service_generation();
void service_has_returned();

// The connection for requests has been greeted by this process: the one for events is made anew
// unless the same process has greeted it too. One that works is kept, since events may wait in it.
void renew_events(pid_t service);

// Whether the last request has found no service at all.
bool requests_found_nobody();

// Counts the requests of managers that have reached the module. What has been handed out under one
// count is not held by its callers under another.
uint32_t requests_begun();

// Copies text with everything escaped that could break or forge a line of a log; cut to fit.
void copy_printable(char *out, size_t size, const char *text, size_t length);

} // namespace vyn_host
