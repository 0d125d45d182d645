// The fabric's changes: requests that alter it, and what happens in it as time passes.
//
// How a discovery or an action ends is taken from the state when the end comes, not at the start,
// so that a test can still decide how the running one ends; only its time is settled at the start.
// An action runs for as long as its state says "in progress": running_ only knows when that ends.
// Refusals are values, not exceptions: they are answers of the service like any other.
#include "fabric.h"

#include <algorithm>
#include <utility>

namespace vynd {

namespace {

// Whether the feature is distributed there. Enabling and disabling do not ask.
bool supports(const feature &owner, const place &where, uint32_t action)
{
    const uint32_t flag = where.scope == VYN_SCOPE_PHYSICAL ? 0x2 : 0x4;
    return action < action_commit || (owner.flags & flag) != 0;
}

bool runs_at(const feature &owner, const place &where)
{
    const auto state = owner.states.find(where);
    return state != owner.states.end() && state->second.result == result_in_progress;
}

} // namespace

std::chrono::microseconds system_wall_clock()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::system_clock::now().time_since_epoch());
}

void fabric::replace(fabric_state state)
{
    state_ = std::move(state);
    if (state_.discovery.status != VYN_DISC_RUNNING)
        discovery_ends_.reset();
    std::erase_if(running_, [&](const running_action &running) {
        const feature *owner = find_feature(state_.features, running.feature);
        return !owner || !runs_at(*owner, running.where);
    });
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

uint32_t fabric::start_action(std::string_view name, const place &where, uint32_t action,
                              std::string_view user, time_point now)
{
    feature *owner = find_feature(state_.features, name);
    if (!owner)
        return VYN_ERR_NO_SUCH_FEATURE;
    if (!supports(*owner, where, action))
        return VYN_ERR_ACTION_UNSUPPORTED;
    if (action == action_clear) {
        if (runs_at(*owner, where))
            end_action(*owner, where, result_failed, 0);
        owner->locks.erase(where);
    }
    if (runs_at(*owner, where))
        return VYN_ERR_ACTION_IN_PROGRESS;

    running_action running{owner->name, where, now + owner->next_action.after, {}};
    const bool locks = action == action_commit || action == action_abort;
    const lock mine{std::string(user.substr(0, longest_user)), "127.0.0.1"};
    if (locks && owner->name.size() <= longest_locked_name &&
        owner->locks.emplace(where, mine).second)
        running.held = mine;
    scope_state &state = owner->states[where];
    state.action = action;
    state.result = result_in_progress;
    state.failure = 0;
    stamp(state);
    owner->last = where;
    const auto later = [](time_point ends, const running_action &other) {
        return ends < other.ends;
    };
    running_.insert(std::upper_bound(running_.begin(), running_.end(), running.ends, later),
                    std::move(running));
    return 0;
}

uint32_t fabric::store_entry(std::string_view name, uint32_t show_cfg_option, uint32_t scope_type,
                             uint32_t scope_value)
{
    feature *owner = find_feature(state_.features, name);
    if (!owner)
        return VYN_ERR_NO_SUCH_FEATURE;
    owner->show_cfg_option = show_cfg_option;
    owner->scope_type = scope_type;
    owner->scope_value = scope_value;
    return 0;
}

uint32_t fabric::store_show_option(std::string_view name, const place &where, uint32_t value)
{
    feature *owner = find_feature(state_.features, name);
    if (!owner)
        return VYN_ERR_NO_SUCH_FEATURE;
    const auto state = owner->states.find(where);
    if (state == owner->states.end())
        return VYN_ERR_NO_MORE_ENTRIES;
    state->second.show_cfg_option = value;
    return 0;
}

void fabric::stamp(scope_state &state) const
{
    const auto count = static_cast<uint64_t>(clock_().count());
    state.seconds = static_cast<uint32_t>(count / 1'000'000);
    state.microseconds = static_cast<uint32_t>(count % 1'000'000);
}

void fabric::end_discovery()
{
    discovery_ends_.reset();
    discovery_state &discovery = state_.discovery;
    discovery.status = discovery.next.status;
    discovery.failure_reason = discovery.next.failure_reason;
    pending_.push_back(discovery_event(discovery.status, discovery.failure_reason));
}

void fabric::end_action(feature &owner, place where, uint32_t result, uint32_t failure)
{
    const auto running = std::find_if(running_.begin(), running_.end(), [&](const auto &entry) {
        return entry.where == where && entry.feature == owner.name;
    });
    if (running != running_.end()) {
        // The operator may have given the lock to somebody else in the meantime.
        const auto now_held = owner.locks.find(where);
        if (now_held != owner.locks.end() && now_held->second == running->held)
            owner.locks.erase(now_held);
        running_.erase(running);
    }
    scope_state &state = owner.states[where];
    state.result = result;
    state.failure = failure;
    stamp(state);
    pending_.push_back(action_event(owner.name, state.action, where.scope, where.vsan, result));
}

std::optional<time_point> fabric::next_change() const
{
    if (!pending_.empty())
        return time_point::min();
    if (!running_.empty() && (!discovery_ends_ || running_.front().ends < *discovery_ends_))
        return running_.front().ends;
    return discovery_ends_;
}

std::vector<event> fabric::advance(time_point now)
{
    for (;;) {
        const bool discovery = discovery_ends_ && *discovery_ends_ <= now;
        const bool action = !running_.empty() && running_.front().ends <= now;
        if (action && (!discovery || running_.front().ends < *discovery_ends_)) {
            // There is one of that name: replace() drops the actions of features that go.
            feature &owner = *find_feature(state_.features, running_.front().feature);
            end_action(owner, running_.front().where, owner.next_action.result,
                       owner.next_action.failure);
        } else if (discovery) {
            end_discovery();
        } else {
            return std::exchange(pending_, {});
        }
    }
}

} // namespace vynd
