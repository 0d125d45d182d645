// The octets of a packet: a record, an event, a frame.
#pragma once

#include <cstdint>
#include <vector>

namespace vynd {

using bytes = std::vector<uint8_t>;

} // namespace vynd
