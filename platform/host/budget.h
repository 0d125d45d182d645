// How long one SNMP request may wait for the service.
#pragma once

#include <cstdint>

#include "settings.h"

namespace vyn_host {

// Only waiting counts, not the time of the module or of the agent: many quick replies are no reason
// to refuse. Nothing is limited outside of begin() and end().
class waiting_budget {
  public:
    // Starts to count for an SNMP request: a value of requests_begun(), whose budget lasts through
    // the phases of a SET. 0 gets a new budget each time.
    void begin(uint32_t owner)
    {
        if (owner == 0 || owner != owner_)
            left_ = budget_ms();
        owner_ = owner;
        limited_ = true;
        unanswered_ = false;
    }

    // Reports whether a request since begin() got no answer because the budget was used up. A
    // change that was sent does not count: the service may have made it.
    bool end()
    {
        limited_ = false;
        return unanswered_;
    }

    int64_t left() const { return limited_ ? left_ : INT64_MAX / 2; } // in milliseconds
    void charge(int64_t waited) { left_ -= waited; }

    // Notes that a request gets no answer because the budget is used up.
    void refuse();

  private:
    void report_slow_service();

    uint32_t owner_ = 0;
    bool limited_ = false;
    bool unanswered_ = false;
    int64_t left_ = 0;
    int64_t silent_until_ = INT64_MIN; // a minute after the last refusal
};
extern waiting_budget the_budget;

} // namespace vyn_host
