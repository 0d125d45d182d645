// The changes that requests make, and those that come with time.
//
// The result of a discovery or an action is read from the state at its end, its duration at its
// start. So a test can still choose the result of a running one. An action runs while its state is
// "in progress": running_ only knows when it ends.
#include "fabric.h"

#include <algorithm>
#include <utility>

#include "keys.h"

namespace vynd {

namespace {

// A feature can be enabled and disabled in any scope, other actions need its distribution there.
bool supports(const feature &owner, const scope &where, uint32_t action)
{
    const uint32_t flag =
        where.type == VYN_SCOPE_PHYSICAL ? VYN_FEATURE_PHYSICAL : VYN_FEATURE_LOGICAL;
    return action < VYN_ACTION_COMMIT || (owner.flags & flag) != 0;
}

bool runs_in(const feature &owner, const scope &where)
{
    const auto state = owner.states.find(where);
    return state != owner.states.end() && state->second.result == VYN_RESULT_IN_PROGRESS;
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
        return owner == nullptr || !runs_in(*owner, running.where);
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

uint32_t fabric::enable_ip_family(uint32_t family, bool enabled)
{
    const auto &families = state_.ip_families;
    if (enabled && std::any_of(families.begin(), families.end(), [&](const auto &entry) {
            return entry.first != family && entry.second.enabled;
        }))
        return VYN_ERR_BOTH_IP_FAMILIES;
    state_.ip_families.at(family).enabled = enabled;
    return 0;
}

uint32_t fabric::set_multicast(const net_address &address)
{
    state_.ip_families.at(address.type).multicast = address;
    return 0;
}

uint32_t fabric::start_action(std::string_view name, const scope &where, uint32_t action,
                              std::string_view user, time_point now)
{
    feature *owner = find_feature(state_.features, name);
    if (owner == nullptr)
        return VYN_ERR_NO_SUCH_FEATURE;
    if (!supports(*owner, where, action))
        return VYN_ERR_ACTION_UNSUPPORTED;
    if (action == VYN_ACTION_CLEAR) {
        if (runs_in(*owner, where))
            end_action(*owner, where, VYN_RESULT_FAILED, 0);
        owner->locks.erase(where);
    }
    if (runs_in(*owner, where))
        return VYN_ERR_ACTION_IN_PROGRESS;

    running_action running{owner->name, where, now + owner->next_action.after, {}};
    const bool needs_lock = action == VYN_ACTION_COMMIT || action == VYN_ACTION_ABORT;
    const lock taken{std::string(user.substr(0, max_user)), address_of("127.0.0.1")};
    if (needs_lock && owner->name.size() <= VYN_MAX_APP_NAME &&
        owner->locks.emplace(where, taken).second)
        running.held = taken;
    scope_state &state = owner->states[where];
    state.action = action;
    state.result = VYN_RESULT_IN_PROGRESS;
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
    if (owner == nullptr)
        return VYN_ERR_NO_SUCH_FEATURE;
    owner->show_cfg_option = show_cfg_option;
    owner->scope_type = scope_type;
    owner->scope_value = scope_value;
    return 0;
}

uint32_t fabric::store_show_option(std::string_view name, const scope &where, uint32_t value)
{
    feature *owner = find_feature(state_.features, name);
    if (owner == nullptr)
        return VYN_ERR_NO_SUCH_FEATURE;
    const auto state = owner->states.find(where);
    if (state == owner->states.end())
        return VYN_ERR_NO_MORE_ENTRIES;
    state->second.show_cfg_option = value;
    return 0;
}

uint32_t fabric::add_static_peer(const net_address &peer)
{
    if (!state_.static_peers.try_emplace(peer).second)
        return VYN_ERR_PEER_EXISTS;
    return 0;
}

uint32_t fabric::remove_static_peer(const net_address &peer)
{
    if (state_.static_peers.erase(peer) == 0)
        return VYN_ERR_NO_SUCH_PEER;
    return 0;
}

uint32_t fabric::resolve_merge(std::string_view name, const scope &where)
{
    feature *owner = find_feature(state_.features, name);
    if (owner == nullptr)
        return VYN_ERR_NO_SUCH_FEATURE;
    const auto merge = owner->merges.find(where);
    if (merge == owner->merges.end() || !merge->second.failed())
        return VYN_ERR_NO_FAILED_MERGE;
    merge->second = {merge_success, 0};
    return 0;
}

uint32_t fabric::add_region(uint32_t id, const scope &where)
{
    if (!state_.regions.emplace(id, where).second)
        return VYN_ERR_REGION_EXISTS;
    return 0;
}

uint32_t fabric::remove_region(uint32_t id)
{
    const auto found = state_.regions.find(id);
    if (found == state_.regions.end())
        return VYN_ERR_NO_SUCH_REGION;
    for (const feature &owner : state_.features)
        for (const auto &[where, region] : owner.regions)
            if (region == id)
                return VYN_ERR_REGION_IN_USE;
    state_.regions.erase(found);
    return 0;
}

uint32_t fabric::assign_region(std::string_view name, const scope &where, uint32_t region)
{
    feature *owner = find_feature(state_.features, name);
    if (owner == nullptr)
        return VYN_ERR_NO_SUCH_FEATURE;
    if (!state_.regions.contains(region))
        return VYN_ERR_NO_SUCH_REGION;
    const scope first = owner->regions.empty() ? scope{} : owner->regions.begin()->first;
    owner->regions[where.type == 0 ? first : where] = region;
    return 0;
}

uint32_t fabric::unassign_region(std::string_view name, const scope &where)
{
    feature *owner = find_feature(state_.features, name);
    if (owner == nullptr)
        return VYN_ERR_NO_FEATURE_REGION;
    const auto assigned = find_assignment(owner->regions, where);
    if (assigned == owner->regions.end())
        return VYN_ERR_NO_FEATURE_REGION;
    owner->regions.erase(assigned);
    return 0;
}

bool fabric::start_merge(std::string_view name, const scope &where,
                         std::chrono::milliseconds duration, const merge_failure &failure,
                         time_point now)
{
    feature *owner = find_feature(state_.features, name);
    if (owner == nullptr)
        return false;
    if (owner->name.size() <= VYN_MAX_APP_NAME) {
        owner->locks.emplace(where, lock{VYN_LOCK_MERGE_USER, address_of("127.0.0.1")});
        owner->merges[where] = {merge_in_progress, 0};
    }
    merges_.emplace(now + duration, running_merge{owner->name, where, failure});
    return true;
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

void fabric::end_action(feature &owner, scope where, uint32_t result, uint32_t failure)
{
    const auto running = std::find_if(running_.begin(), running_.end(), [&](const auto &entry) {
        return entry.where == where && entry.feature == owner.name;
    });
    if (running != running_.end()) {
        // An edit may have given the lock to another user meanwhile.
        const auto held = owner.locks.find(where);
        if (held != owner.locks.end() && held->second == running->held)
            owner.locks.erase(held);
        running_.erase(running);
    }
    scope_state &state = owner.states[where];
    state.result = result;
    state.failure = failure;
    stamp(state);
    pending_.push_back(action_event(owner.name, state.action, where.type, where.vsan, result));
}

// A feature or row removed meanwhile is not recreated; the failure event is posted anyway.
void fabric::end_merge(const running_merge &merge)
{
    const bool failed = merge.failure.code != 0;
    if (feature *owner = find_feature(state_.features, merge.feature); owner != nullptr) {
        const auto held = owner->locks.find(merge.where);
        if (held != owner->locks.end() && held->second.user == VYN_LOCK_MERGE_USER)
            owner->locks.erase(held);
        const auto row = owner->merges.find(merge.where);
        if (row != owner->merges.end())
            row->second = {failed ? merge_failed : merge_success, merge.failure.code};
    }
    if (failed)
        pending_.push_back(merge_failure_event(merge.feature, service_scope_type(merge.where),
                                               merge.where.vsan, merge.failure.text));
}

fabric::ends fabric::next_ends() const
{
    return {discovery_ends_.value_or(never), running_.empty() ? never : running_.front().ends,
            merges_.empty() ? never : merges_.begin()->first};
}

std::optional<time_point> fabric::next_change() const
{
    if (!pending_.empty())
        return time_point::min();
    const time_point next = next_ends().first();
    return next == never ? std::nullopt : std::optional(next);
}

std::vector<event> fabric::advance(time_point now)
{
    for (;;) {
        const ends next = next_ends();
        if (next.first() > now)
            return std::exchange(pending_, {});
        if (next.first() == next.discovery) {
            end_discovery();
        } else if (next.first() == next.action) {
            // The feature exists: replace() drops the actions of removed features.
            feature &owner = *find_feature(state_.features, running_.front().feature);
            end_action(owner, running_.front().where, owner.next_action.result,
                       owner.next_action.failure);
        } else {
            end_merge(merges_.extract(merges_.begin()).mapped());
        }
    }
}

} // namespace vynd
