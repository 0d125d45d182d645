// The faults of the service that can be switched on and off while it runs, for a client's worst
// days on order. They compose: a late reply can be short as well.
//
// A fault holds until it is switched off or, with a count, for so many requests; every request
// counts, one that fails for other reasons included. `stall` knows no count: it is not about
// requests, it makes the service do nothing at all.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vynd {

enum class fault {
    stall,       // nobody is served but the operator
    delay,       // replies come so many milliseconds late
    drop,        // requests are carried out, replies are not sent
    shorten,     // replies are cut to so many bytes
    oversize,    // replies are filled up to so many bytes
    empty,       // replies have no bytes
    error,       // requests are refused with this system error code
    disconnect,  // the connection is closed instead of a reply
    wrong_query, // replies repeat this query type instead of their own
};
inline constexpr size_t fault_count = 9;

// The faults that one request meets: the value of each, which is 0 for one that has none.
using active_faults = std::array<std::optional<uint32_t>, fault_count>;

class fault_board {
  public:
    bool stalled() const { return settings_[static_cast<size_t>(fault::stall)].on; }

    // The faults of a request that has just come; counts it.
    active_faults meet_request();

    // Carries out the words behind "fault": "off", "list", "NAME off", "NAME [ARG] [on|COUNT]".
    // Returns the text of the answer; throws std::invalid_argument with the reason of a refusal.
    std::string change(std::span<const std::string> words);

  private:
    struct setting {
        bool on = false;
        uint32_t value = 0;
        uint32_t left = 0; // requests; 0: no limit
    };

    std::string list() const;

    std::array<setting, fault_count> settings_;
};

// " (drop, short 4)" for the log; empty without faults.
std::string fault_text(const active_faults &faults);

} // namespace vynd
