// The address of a switch or of the holder of a lock: IPv4, IPv6 or any other text.
//
// Addresses are ordered as in an OID index: by type, which is 16 for every text, then by length,
// then by octets. A record gives a text any other type except those of the two families; the order
// ignores that type. A text may be empty. The key of a query may have any type: it is only
// compared.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "vyn_wire.h"

namespace vynd {

inline constexpr size_t max_address = 255;
using address_field = char[max_address + 1];

struct net_address {
    uint32_t type = VYN_ADDR_TEXT;        // in an index and in keys
    std::string octets{};                 // 4, 16, or the text
    uint32_t record_type = VYN_ADDR_TEXT; // in records

    std::strong_ordering operator<=>(const net_address &other) const;
    bool operator==(const net_address &other) const { return (*this <=> other) == 0; }
};

// Convert a text of at most max_address characters to the address that it looks like, and back.
net_address address_of(std::string_view text);
std::string text_of(const net_address &address);

// Reports whether it is an IP multicast address.
bool is_multicast(const net_address &address);

net_address key_address(uint32_t type, const address_field &field);

// Writes the address to a record. The rest of the field is left unchanged.
void fill_address(const net_address &address, be32 &type, address_field &field);

// Returns a key for the log, with the octets of an IP address in hexadecimal: addr 1 0a000001.
std::string address_key_text(const net_address &key);

} // namespace vynd
