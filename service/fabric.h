// The fabric that the stand-in service serves: its state, and everything that changes it.
//
// There are no sockets here and no clock: whoever calls passes the time in, so a test plays an
// hour in no time. What changes by itself (a discovery that ends) changes in advance(), which the
// server calls before each request and when next_change() has come; nothing else looks at the
// time. The state is plain data with the shape of the scenario file, so that it can be written
// out, edited and read back as one.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "text.h"

namespace vynd {

using time_point = std::chrono::steady_clock::time_point;
using bytes = std::vector<uint8_t>;

// System error codes with which this service refuses, beside those that the module knows.
enum service_syserr : uint32_t {
    VYN_ERR_UNKNOWN_REQUEST = 0x40B30002,   // no such opcode or query type
    VYN_ERR_BAD_REQUEST = 0x40B30003,       // its operation, size or a value does not fit
    VYN_ERR_DISCOVERY_RUNNING = 0x40B30042, // one discovery at a time
};

inline constexpr named_value disc_status_names[] = {
    {"idle", 1}, {"running", 2}, {"completed", 3}, {"failed", 4}};

// A discovery status as people write it: a name, or a number up to 255 for what has none.
std::optional<uint8_t> parse_disc_status(std::string_view text);
std::string disc_status_text(uint8_t status);

struct discovery_end {
    std::chrono::milliseconds after{1000};
    uint8_t status = 3;
    uint32_t failure_reason = 0;
};

struct discovery_state {
    uint8_t status = 1;
    uint32_t failure_reason = 0;
    discovery_end next; // how discoveries end; `after` counts from their start
};

// What the registry says of a feature. The name is bytes, without length or NUL.
struct feature {
    std::string name;
    uint32_t show_cfg_option = 0;
    uint32_t entry_attr = 0;
    uint32_t action = 0;
    uint32_t scope_type = 0;
    uint32_t scope_value = 0;
    uint32_t flags = 0;
    uint32_t flags2 = 0;
};
inline constexpr size_t longest_feature_name = 82;
inline constexpr named_value feature_scopes[] = {{"physical", 0x2}, {"logical", 0x4}}; // in flags

// The order of the registry: strcmp of the names with their length in front.
bool registry_order(const feature &a, const feature &b);

struct fabric_state {
    discovery_state discovery;
    bool distribution_enabled = true;
    std::vector<feature> features; // in registry order
};

// What subscribers of an opcode receive; the text is for the log.
struct event {
    uint32_t opcode;
    bytes payload;
    std::string text;
};

// The event with which a discovery ends.
event discovery_event(uint8_t status, uint32_t failure_reason);

class fabric {
  public:
    explicit fabric(fabric_state state) : state_(std::move(state)) {}

    const fabric_state &state() const { return state_; }

    // Changes the fabric from outside. A discovery under way goes on, unless the new state says
    // that none is running; one that is declared running here never ends by itself.
    void replace(fabric_state state);

    // Both return 0 or the system error code of the refusal.
    uint32_t start_discovery(time_point now);
    uint32_t enable_distribution(bool enabled);

    // When advance() will next have something to do, if ever.
    std::optional<time_point> next_change() const { return discovery_ends_; }

    // Lets everything happen whose time has come, and returns the events of it, oldest first.
    std::vector<event> advance(time_point now);

  private:
    fabric_state state_;
    std::optional<time_point> discovery_ends_;
};

} // namespace vynd
