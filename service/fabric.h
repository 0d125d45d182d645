// The fabric that the stand-in service serves: its state, and everything that changes it.
//
// There are no sockets here and nothing waits: whoever calls passes the time in, so a test plays
// an hour in no time. What changes by itself (a discovery or an action that ends) changes in
// advance(), which the server calls before each request and when next_change() has come; nothing
// else looks at the time. The wall clock is asked for the times that states show, and nothing is
// decided by it. The state is plain data with the shape of the scenario file, so that it can be
// written out, edited and read back as one.
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

// System error codes with which this service refuses, beside those that the module knows.
enum service_syserr : uint32_t {
    VYN_ERR_UNKNOWN_REQUEST = 0x40B30002,   // no such opcode or query type
    VYN_ERR_BAD_REQUEST = 0x40B30003,       // its operation, size or a value does not fit
    VYN_ERR_NO_SUCH_FEATURE = 0x40B30004,   // it names a feature that is not registered
    VYN_ERR_DISCOVERY_RUNNING = 0x40B30042, // one discovery at a time
    VYN_ERR_NO_SUCH_PEER = 0x40B30043,      // a static peer to remove is not there
    VYN_ERR_PEER_EXISTS = 0x40B30044,       // a static peer to add is there already
    VYN_ERR_NO_FAILED_MERGE = 0x40B30045,   // there is none to resolve in that place
    VYN_ERR_NO_SUCH_REGION = 0x40B30060,    // a region to remove or to assign to is not there
    VYN_ERR_REGION_EXISTS = 0x40B30062,     // a region to add is there already
    VYN_ERR_REGION_IN_USE = 0x40B30063,     // features are assigned to a region to remove
};

// Why a merge is going to fail.
struct merge_failure {
    uint32_t code = 0; // the service's; 0: it will not
    std::string text;
};
inline constexpr uint32_t usual_merge_failure = 1; // the code where nothing else is said

// The wall clock, since 1970.
using wall_clock = std::chrono::microseconds (*)();
std::chrono::microseconds system_wall_clock();

class fabric {
  public:
    explicit fabric(fabric_state state, wall_clock clock = system_wall_clock)
        : state_(std::move(state)), clock_(clock)
    {
    }

    const fabric_state &state() const { return state_; }

    // Changes the fabric from outside. A discovery or an action under way goes on, unless the new
    // state says that it does not run; one that is declared running here never ends by itself.
    void replace(fabric_state state);

    // What requests change. All return 0 or the system error code of the refusal.
    uint32_t start_discovery(time_point now);
    uint32_t enable_distribution(bool enabled);

    // The family is an address type that ip_families has; so is that of the address.
    uint32_t enable_ip_family(uint32_t family, bool enabled);
    uint32_t set_multicast(const net_address &address);

    // Starts an action, one of feature_action, for a user. A commit or an abort holds the lock of
    // its place while it runs, unless somebody holds it already. A clear first ends what runs
    // there as failed, and takes away the lock whoever holds it.
    uint32_t start_action(std::string_view name, const place &where, uint32_t action,
                          std::string_view user, time_point now);
    uint32_t store_entry(std::string_view name, uint32_t show_cfg_option, uint32_t scope_type,
                         uint32_t scope_value);
    uint32_t store_show_option(std::string_view name, const place &where, uint32_t value);

    uint32_t add_static_peer(const net_address &peer);
    uint32_t remove_static_peer(const net_address &peer);
    uint32_t resolve_merge(std::string_view name, const place &where);

    uint32_t add_region(uint32_t id, const place &where);
    uint32_t remove_region(uint32_t id);

    // At scope 0 these change and end the feature's first assignment; where it has none, it is
    // assigned in physical scope.
    uint32_t assign_region(std::string_view name, const place &where, uint32_t region);
    uint32_t unassign_region(std::string_view name, const place &where);

    // Starts a merge of a feature's configuration there: it is in progress and holds the lock of
    // its place, unless somebody holds it already, for as long as it takes. What is known of its
    // members stays. False when there is no such feature.
    bool start_merge(std::string_view name, const place &where, std::chrono::milliseconds takes,
                     const merge_failure &failure, time_point now);

    // When advance() will next have something to do, if ever.
    std::optional<time_point> next_change() const;

    // Lets everything happen whose time has come, and returns the events of it, oldest first.
    std::vector<event> advance(time_point now);

  private:
    struct running_action {
        std::string feature;
        place where;
        time_point ends;
        std::optional<lock> held; // as it was taken for this action
    };

    struct running_merge {
        std::string feature;
        place where;
        merge_failure failure;
    };

    // When what runs will end; never, where nothing does.
    static constexpr time_point never = time_point::max();
    struct ends {
        time_point discovery, action, merge;
        time_point first() const { return std::min({discovery, action, merge}); }
    };

    ends next_ends() const;
    void end_discovery();
    void end_merge(const running_merge &merge);
    void end_action(feature &owner, place where, uint32_t result, uint32_t failure);
    void stamp(scope_state &state) const;

    fabric_state state_;
    wall_clock clock_;
    std::optional<time_point> discovery_ends_;
    std::vector<running_action> running_;             // in the order of their ends
    std::multimap<time_point, running_merge> merges_; // by the time of their end
    std::vector<event> pending_;                      // for the next advance()
};

} // namespace vynd
