// be32: the 32-bit big-endian word of every VYN message.
//
// Records of messages are plain structs of be32 and byte arrays. The class holds bytes, not a
// number. So it has alignment 1, a record may start at any offset of a buffer, and only this class
// converts byte order.
#pragma once

#include <cstdint>
#include <type_traits>

class be32 {
  public:
    be32() = default;
    constexpr be32(uint32_t value)
        : bytes_{static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                 static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)}
    {
    }
    constexpr operator uint32_t() const
    {
        return uint32_t{bytes_[0]} << 24 | uint32_t{bytes_[1]} << 16 | uint32_t{bytes_[2]} << 8 |
               uint32_t{bytes_[3]};
    }

  private:
    uint8_t bytes_[4];
};

static_assert(sizeof(be32) == 4 && alignof(be32) == 1);
static_assert(std::is_trivial_v<be32> && std::is_standard_layout_v<be32>);
static_assert(uint32_t{be32{0x01020304}} == 0x01020304);
