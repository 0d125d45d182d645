// The outage of the service, to which both connections report.
//
// An outage begins with the first failure of either connection and ends when neither is failing.
// Its begin and its end are one line each in the log, however many requests fail between them.
#pragma once

#include <cstdint>

#include <sys/types.h>

namespace vyn_host {

// The connections of the agent to the service.
enum class channel { requests, events };

class service_outage {
  public:
    // Notes a failure of a channel and its reason, which is logged if an outage begins.
    void report_failure(channel failed, const char *reason);

    // The same for a request. no_service: no connection could be made, so nothing was sent.
    void report_request_failure(const char *reason, bool no_service);

    // Notes that a channel works. Ends the outage if the other one has not failed.
    void report_working(channel working);

    // Notes that a request was answered, on a connection that may yet end at once.
    void report_answer() { no_service_ = false; }

    // Forgets the failure of a channel that is no longer used. Logs nothing.
    void clear_failure(channel unused) { failing(unused) = false; }

    bool is_failing(channel which) const { return failing_[static_cast<int>(which)]; }

    // Notes that the connection for events has stayed open since a service greeted it. That service
    // would greet a request connection too, so requests that only found no service work again. A
    // request that was sent and failed is another matter: one must succeed.
    void report_events_settled();

    // Notes that this process has greeted the connection for requests, and tells the handler. If
    // the handler's own connection leads to another process, it must be replaced.
    void report_requests_greeted(pid_t service);
    using greeting_handler = void (*)(pid_t service);
    void set_greeting_handler(greeting_handler handler) { greeting_handler_ = handler; }

    // Counts the times that a service has come or come back. What was read from it under another
    // count is stale.
    uint32_t generation() const { return generation_; }

  private:
    bool &failing(channel which) { return failing_[static_cast<int>(which)]; }
    bool any_failing() const { return failing_[0] || failing_[1]; }
    void note_service_returned() { generation_++; }

    bool failing_[2] = {};        // by channel
    bool no_service_ = false;     // the last request found no service
    bool events_settled_ = false; // at least once
    uint32_t generation_ = 0;
    greeting_handler greeting_handler_ = nullptr;
};
extern service_outage the_outage;

} // namespace vyn_host
