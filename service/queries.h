// Requests and their replies: from the record that a client sent to the record or the system error
// code that it gets, by way of the fabric. Knows no sockets; one call is one request.
//
// A request that the service does not know is refused, never guessed at: the stand-in is there to
// find the client's mistakes. The arguments that every query repeats are checked for that reason.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "fabric.h"

namespace vynd {

struct request {
    uint32_t opcode;
    uint32_t msg_type;
    std::span<const uint8_t> record;
    std::string_view user = {};
};

// A request in the service's own record, as the function that answers it sees it.
struct query {
    const vyn_snmp_req &record;
    uint32_t msg_type;
    time_point now;

    bool next() const { return msg_type == VYN_MSG_GETNEXT; }
};

struct outcome {
    uint32_t status = 0; // a system error code
    bytes reply;         // empty after a failure
    std::string note;    // why it was refused, for the log
};

// Carries the request out. The fabric has been advanced to `now` by the caller.
outcome answer(fabric &model, const request &asked, time_point now);

// What is asked, for the log: "8469 set query 24".
std::string describe(const request &asked);

} // namespace vynd
