// What the client library asks: the registry, the states of features, actions and options. These
// requests have opcodes and records of their own (see vynd_protocol.h).
#pragma once

#include "queries.h"

namespace vynd {

bool is_client_request(uint32_t opcode);

outcome answer_client(fabric &model, const request &asked, time_point now);

// What is asked, for the log: action commit of "ntp" physical. Takes any record.
std::string describe_client(const request &asked);

} // namespace vynd
