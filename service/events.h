// The events that the service posts to subscribers: the end of a discovery, the end of a feature
// action, the failure of a merge.
//
// The functions build any event that the wire can carry, because vynctl also posts invalid ones:
// values are not checked, and a name that fills its field has no NUL.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bytes.h"

namespace vynd {

// Subscribers of the opcode receive the payload; the text is for the log.
struct event {
    uint32_t opcode;
    bytes payload;
    std::string text;
};

event discovery_event(uint8_t status, uint32_t failure_reason);

// Names are cut to 81 bytes, texts to 256.
// scope_type: 1 physical, 2 logical, with the VSAN as the value.
event action_event(std::string_view feature, uint32_t action, uint32_t scope_type,
                   uint32_t scope_value, uint32_t result);

// scope_type: 2 physical, 1 logical.
event merge_failure_event(std::string_view feature, uint32_t scope_type, uint32_t vsan,
                          std::string_view reason);

} // namespace vynd
