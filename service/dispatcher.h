// Finds the handler of a request: from the record that a client sent to the record or the system
// error code that it gets. There are no sockets here; one call is one request.
//
// The stand-in exists to find the client's mistakes, so it refuses every request that it does not
// know, and checks the arguments that all queries repeat.
#pragma once

#include <string>

#include "query.h"

namespace vynd {

// Carries out the request. The caller has advanced the fabric to `now`.
outcome answer(fabric &model, const request &received, time_point now);

// Returns the request for the log: "8469 set query 24".
std::string describe(const request &received);

} // namespace vynd
