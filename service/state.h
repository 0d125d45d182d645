// The state of the fabric: plain data with the shape of a scenario, which can be written, edited
// and read back.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "address.h"
#include "feature.h"
#include "text.h"

namespace vynd {

inline constexpr named_value disc_status_names[] = {{"idle", VYN_DISC_IDLE},
                                                    {"running", VYN_DISC_RUNNING},
                                                    {"completed", VYN_DISC_COMPLETED},
                                                    {"failed", VYN_DISC_FAILED}};

struct discovery_end {
    std::chrono::milliseconds after{1000};
    uint8_t status = VYN_DISC_COMPLETED;
    uint32_t failure_reason = 0;
};

struct discovery_state {
    uint8_t status = VYN_DISC_IDLE;
    uint32_t failure_reason = 0;
    discovery_end next; // how discoveries end; `after` counts from their start
};

// The distribution over one IP family.
struct ip_distribution {
    net_address multicast; // of that family
    bool enabled = false;
};

struct static_peer {
    uint32_t status = 1;
};

struct fabric_state {
    discovery_state discovery;
    bool distribution_enabled = true;
    // By address types, always both; at most one of them is enabled.
    std::map<uint32_t, ip_distribution> ip_families{
        {VYN_ADDR_IPV4, {address_of("239.255.70.83")}},
        {VYN_ADDR_IPV6, {address_of("ff15::efff:4653")}}};
    std::set<net_address> peers; // found by physical discovery
    std::map<net_address, static_peer> static_peers;
    std::map<uint32_t, scope> regions; // by their ids
    std::vector<feature> features;     // in registry order
};

} // namespace vynd
