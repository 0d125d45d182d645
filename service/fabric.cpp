// The fabric's changes: requests that alter it, and what happens in it as time passes.
//
// A discovery's end is taken from the state when it comes, not when it starts, so that a test can
// still decide how the running one ends; only its time is settled at the start.
// Refusals are values, not exceptions: they are answers of the service like any other.
#include "fabric.h"

#include <algorithm>
#include <cstring>

#include "vyn_wire.h"

namespace vynd {

namespace {

constexpr uint32_t notification_discovery_complete = 27;

struct discovery_complete {
    be32 type;
    resp_phy_disc_status status;
};
static_assert(sizeof(discovery_complete) == 12);

} // namespace

std::optional<uint8_t> parse_disc_status(std::string_view text)
{
    auto status = value_of(disc_status_names, text);
    if (!status)
        status = parse_number(text, UINT8_MAX);
    return status;
}

std::string disc_status_text(uint8_t status)
{
    const char *name = name_of(disc_status_names, status);
    return name ? name : std::to_string(status);
}

bool registry_order(const feature &a, const feature &b)
{
    // std::string compares its characters as unsigned, as strcmp does.
    return a.name.size() != b.name.size() ? a.name.size() < b.name.size() : a.name < b.name;
}

event discovery_event(uint8_t status, uint32_t failure_reason)
{
    const discovery_complete record{notification_discovery_complete, {status, {}, failure_reason}};
    event result{MTS_OPC_VYN_NOTIFICATION, bytes(sizeof record),
                 "discovery " + disc_status_text(status) + " reason " + code_text(failure_reason)};
    std::memcpy(result.payload.data(), &record, sizeof record);
    return result;
}

void fabric::replace(fabric_state state)
{
    state_ = std::move(state);
    if (state_.discovery.status != VYN_DISC_RUNNING)
        discovery_ends_.reset();
}

uint32_t fabric::start_discovery(time_point now)
{
    if (state_.discovery.status == VYN_DISC_RUNNING)
        return VYN_ERR_DISCOVERY_RUNNING;
    state_.discovery.status = VYN_DISC_RUNNING;
    state_.discovery.failure_reason = 0;
    discovery_ends_ = now + state_.discovery.next.after;
    return 0;
}

uint32_t fabric::enable_distribution(bool enabled)
{
    state_.distribution_enabled = enabled;
    return 0;
}

std::vector<event> fabric::advance(time_point now)
{
    std::vector<event> events;
    if (discovery_ends_ && *discovery_ends_ <= now) {
        discovery_ends_.reset();
        discovery_state &discovery = state_.discovery;
        discovery.status = discovery.next.status;
        discovery.failure_reason = discovery.next.failure_reason;
        events.push_back(discovery_event(discovery.status, discovery.failure_reason));
    }
    return events;
}

} // namespace vynd
