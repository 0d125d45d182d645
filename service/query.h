// A request as its handlers see it, and what they answer.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "bytes.h"
#include "fabric.h"

namespace vynd {

struct request {
    uint32_t opcode;
    uint32_t msg_type;
    std::span<const uint8_t> record;
    std::string_view user = {};
};

// A request in the service's own record, after its size was checked.
struct query {
    const vyn_snmp_req &record;
    uint32_t msg_type;
    time_point now;

    bool next() const { return msg_type == VYN_MSG_GETNEXT; }
};

struct outcome {
    uint32_t status = 0; // a system error code
    bytes reply;         // empty after a failure
    std::string note;    // the reason of a refusal, for the log
};

} // namespace vynd
