#include "outage.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "socket.h"

namespace vyn_host {

// Initialized before, and never destroyed before, the objects that report to it.
constinit service_outage the_outage;

void service_outage::report_failure(channel failed, const char *reason)
{
    if (!any_failing())
        snmp_log(LOG_WARNING, "vyn: service at %s not available: %s\n", vynd::socket_path(),
                 reason);
    failing(failed) = true;
}

void service_outage::report_request_failure(const char *reason, bool no_service)
{
    no_service_ = no_service;
    report_failure(channel::requests, reason);
}

void service_outage::report_working(channel working)
{
    if (!is_failing(working))
        return;
    failing(working) = false;
    if (!any_failing())
        snmp_log(LOG_WARNING, "vyn: service at %s available again\n", vynd::socket_path());
}

void service_outage::report_events_settled()
{
    report_working(channel::events);
    if (no_service_)
        report_working(channel::requests);
    if (events_settled_)
        note_service_returned();
    events_settled_ = true;
}

void service_outage::report_requests_greeted(pid_t service)
{
    note_service_returned();
    if (greeting_handler_ != nullptr)
        greeting_handler_(service);
}

} // namespace vyn_host
