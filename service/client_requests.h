// The requests of the client library: the registry, the states of features, actions and options.
// They have opcodes and records of their own: see vynd_protocol.h.
#pragma once

#include "query.h"

namespace vynd {

bool is_client_request(uint32_t opcode);

outcome answer_client(fabric &model, const request &received, time_point now);

// Returns the request for the log: action commit of "ntp" physical. Takes any record.
std::string describe_client(const request &received);

} // namespace vynd
