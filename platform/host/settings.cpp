#include "settings.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

namespace vyn_host {

static int64_t milliseconds_from(const char *variable, long usual)
{
    constexpr long max = 60'000;
    const char *given = getenv(variable);
    if (given == nullptr)
        return usual;
    char *end = nullptr;
    errno = 0;
    const long value = strtol(given, &end, 10);
    if (end != given && *end == '\0' && errno == 0 && value >= 1 && value <= max)
        return value;
    snmp_log(LOG_WARNING, "vyn: %s is not a number from 1 to %ld; using %ld\n", variable, max,
             usual);
    return usual;
}

int64_t timeout_ms()
{
    static const int64_t timeout = milliseconds_from("VYN_TIMEOUT_MS", 1000);
    return timeout;
}

int64_t budget_ms()
{
    static const int64_t budget = std::max(milliseconds_from("VYN_BUDGET_MS", 2000), timeout_ms());
    return budget;
}

int64_t give_up_after_ms()
{
    return 3 * timeout_ms();
}

} // namespace vyn_host
