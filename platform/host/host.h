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

struct netsnmp_agent_session_s;

namespace vyn_host {

// System errors of the transport itself. The service's own are 0x40B3....
enum transport_error : uint32_t {
    VYN_ERR_NO_CONNECTION = 0x41030001, // no service, or it has gone before the request was sent
    VYN_ERR_TIMED_OUT = 0x41030002,     // no answer in time; the request may yet be carried out
    VYN_ERR_BAD_REPLY = 0x41030003,     // larger than a frame may be, or of no use
    VYN_ERR_BAD_CALL = 0x41030004,      // the caller's request does not fit into a frame
    VYN_ERR_CONNECTION_LOST =
        0x41030005,                      // after the request was sent; it may have been carried out
    VYN_ERR_BUDGET_USED_UP = 0x41030006, // not sent: the SNMP request has waited long enough
    VYN_ERR_CUT_SHORT = 0x41030007, // sent, and the budget ended the wait; may yet be carried out
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

// $VYN_BUDGET_MS, but never less than the time that one request may take.
int64_t budget_ms();

// What one SNMP request may wait for the service in all. Only the waiting counts, not the time of
// the module or of the agent: many quick replies are no reason to refuse. Outside of begin() and
// end() nothing is limited.
class waiting_budget {
  public:
    // The owner is an SNMP request, by requests_begun(), whose budget lasts through the phases of a
    // SET; or 0, which gets a new budget each time.
    void begin(uint32_t owner)
    {
        if (owner == 0 || owner != owner_)
            left_ = budget_ms();
        owner_ = owner;
        limited_ = true;
        unanswered_ = false;
    }

    // Returns whether a request since begin() got no answer because the budget was used up. A
    // change that was sent does not count: it may have been carried out.
    bool end()
    {
        limited_ = false;
        return unanswered_;
    }

    int64_t left() const { return limited_ ? left_ : INT64_MAX / 2; } // in milliseconds
    void charge(int64_t waited) { left_ -= waited; }
    void refuse(); // a request got no answer because the budget is used up

  private:
    uint32_t owner_ = 0;
    bool limited_ = false;
    bool unanswered_ = false;
    int64_t left_ = 0;
};
extern waiting_budget the_budget;

// Counts the times that a service has come (back): what was read from it under another count is
// stale.
uint32_t service_generation();
void service_has_returned();

// The connection for requests has been greeted by this process: the one for events is made anew
// unless the same process has greeted it too. One that works is kept, since events may wait in it.
void renew_events(pid_t service);

// Whether the last request has found no service at all.
bool requests_found_nobody();

// Whether the last request was answered with a payload.
bool last_reply_had_payload();

// Notes who has sent a request, until forget_identity() is called after it has been served.
void note_identity(const netsnmp_agent_session_s *session);
void forget_identity();

// Counts the requests of managers that have reached the module. What has been handed out under one
// count is not held by its callers under another.
uint32_t requests_begun();

} // namespace vyn_host
