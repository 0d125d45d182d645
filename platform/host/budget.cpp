// The log has one line for a slow service, until no budget has been used up for a minute.

#include "budget.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "socket.h"

namespace vyn_host {

constinit waiting_budget the_budget;

void waiting_budget::refuse()
{
    unanswered_ = true;
    report_slow_service();
}

void waiting_budget::report_slow_service()
{
    constexpr int64_t minute = 60'000;
    const int64_t now = vynd::now_ms();
    if (now >= silent_until_)
        snmp_log(LOG_WARNING,
                 "vyn: service at %s is slow: SNMP requests that wait longer than %d ms for it get "
                 "genErr\n",
                 vynd::socket_path(), static_cast<int>(budget_ms()));
    silent_until_ = now + minute;
}

} // namespace vyn_host
