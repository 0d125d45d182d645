// The fabric that the stand-in service serves: its state, and all that changes it.
//
// There are no sockets here and nothing waits: the caller passes the time, so a test can run an
// hour at once. Discoveries, actions and merges end in advance(), which the server calls before
// each request and at next_change(). The wall clock is only for the times that states show.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "events.h"
#include "state.h"

namespace vynd {

using time_point = std::chrono::steady_clock::time_point;

// How a merge will end; code 0 is success.
struct merge_failure {
    uint32_t code = 0;
    std::string text;
};
inline constexpr uint32_t default_merge_failure = 1; // the code of a text without one

// Returns the time since 1970.
using wall_clock = std::chrono::microseconds (*)();
std::chrono::microseconds system_wall_clock();

class fabric {
  public:
    explicit fabric(fabric_state state, wall_clock clock = system_wall_clock)
        : state_(std::move(state)), clock_(clock)
    {
    }

    const fabric_state &state() const { return state_; }

    // Replaces the state. A running discovery or action continues if the new state shows it. One
    // that only the new state shows never ends.
    void replace(fabric_state state);

    // The changes that requests make. All return 0 or the system error code of the refusal.
    uint32_t start_discovery(time_point now);
    uint32_t enable_distribution(bool enabled);

    // The family, and the type of the address, must be a key of ip_families.
    uint32_t enable_ip_family(uint32_t family, bool enabled);
    uint32_t set_multicast(const net_address &address);

    // Starts an action, from VYN_ACTION_ENABLE to VYN_ACTION_CLEAR, for a user. A commit or an
    // abort holds the lock of its scope while it runs, unless the lock is taken. A clear first ends
    // the action that runs in its scope as failed, and removes the lock of any holder.
    uint32_t start_action(std::string_view name, const scope &where, uint32_t action,
                          std::string_view user, time_point now);
    uint32_t store_entry(std::string_view name, uint32_t show_cfg_option, uint32_t scope_type,
                         uint32_t scope_value);
    uint32_t store_show_option(std::string_view name, const scope &where, uint32_t value);

    uint32_t add_static_peer(const net_address &peer);
    uint32_t remove_static_peer(const net_address &peer);
    uint32_t resolve_merge(std::string_view name, const scope &where);

    uint32_t add_region(uint32_t id, const scope &where);
    uint32_t remove_region(uint32_t id);

    // With scope type 0 these change and end the feature's first assignment. A feature without one
    // is assigned in physical scope.
    uint32_t assign_region(std::string_view name, const scope &where, uint32_t region);
    uint32_t unassign_region(std::string_view name, const scope &where);

    // Starts a merge of a feature's configuration. Until it ends it is in progress and holds the
    // lock of its scope, unless the lock is taken. Its members stay. Returns false if there is no
    // such feature.
    bool start_merge(std::string_view name, const scope &where, std::chrono::milliseconds duration,
                     const merge_failure &failure, time_point now);

    // Returns the time of the next change or event for advance(), if any.
    std::optional<time_point> next_change() const;

    // Ends all that is due, and returns the events, oldest first.
    std::vector<event> advance(time_point now);

  private:
    struct running_action {
        std::string feature;
        scope where;
        time_point ends;
        std::optional<lock> held; // the lock that it took
    };

    struct running_merge {
        std::string feature;
        scope where;
        merge_failure failure;
    };

    static constexpr time_point never = time_point::max();
    struct ends {
        time_point discovery, action, merge;
        time_point first() const { return std::min({discovery, action, merge}); }
    };

    ends next_ends() const;
    void end_discovery();
    void end_merge(const running_merge &merge);
    void end_action(feature &owner, scope where, uint32_t result, uint32_t failure);
    void stamp(scope_state &state) const;

    fabric_state state_;
    wall_clock clock_;
    std::optional<time_point> discovery_ends_;
    std::vector<running_action> running_;             // ordered by their ends
    std::multimap<time_point, running_merge> merges_; // by their ends
    std::vector<event> pending_;                      // for the next advance()
};

} // namespace vynd
