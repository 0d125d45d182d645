// Faults that vynctl injects to test clients. They combine: a late reply can be short as well.
//
// A fault stays on until it is switched off or, with a count, for that number of requests. Every
// request counts, also one that is refused. `stall` takes no count: it concerns all that clients
// send, not single requests.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>

namespace vynd {

// The order of lists of faults.
enum class fault {
    stall,       // only commands are served
    delay,       // replies are sent this many milliseconds late
    drop,        // requests are carried out, replies are not sent
    shorten,     // replies are cut to this number of bytes
    oversize,    // replies are padded to this number of bytes
    empty,       // replies have no bytes
    error,       // requests are refused with this system error code
    disconnect,  // the connection is closed instead of a reply
    wrong_query, // replies repeat this query type instead of their own
};

// The faults that one request meets, with their values: 0 for a fault that takes none.
class active_faults {
  public:
    void add(fault which, uint32_t value) { values_.emplace(which, value); }
    std::optional<uint32_t> value(fault which) const;

    // " (drop, short 4)" for the log; empty without faults.
    std::string text() const;

  private:
    std::map<fault, uint32_t> values_;
};

class fault_board {
  public:
    bool stalled() const { return settings_.contains(fault::stall); }

    // Returns the faults of a request that has just come, and counts the request.
    active_faults meet_request();

    // Carries out the words that follow "fault": "off", "list", "NAME off", "NAME [ARG]
    // [on|COUNT]". Returns the faults that are on; throws std::invalid_argument with the reason of
    // a refusal.
    std::string change(std::span<const std::string> words);

  private:
    struct setting {
        uint32_t value = 0;
        std::optional<uint32_t> left{}; // requests; none: no limit
    };

    std::string list() const;

    std::map<fault, setting> settings_; // of the faults that are on
};

} // namespace vynd
