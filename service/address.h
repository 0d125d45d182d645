// The address of a switch, or of whoever holds a lock: IPv4, IPv6 or any other text.
//
// Addresses are ordered as in an OID index: by the number of their type, which is 16 for every
// text, then by their length, then by their octets. Records say the type of a text in a word of
// their own, which may be any number but those of the two families; the order does not know it, so
// a text has one place whatever its record says. A text may be empty. An address that comes as the
// key of a query has the type that the key says, and may be none that exists: it is only compared.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "vyn_wire.h"

namespace vynd {

inline constexpr uint32_t address_text = 16; // the type of a text, beside those of the families
inline constexpr size_t longest_address = 255;
using address_field = char[longest_address + 1];

struct net_address {
    uint32_t type = address_text;        // in an index and in keys
    std::string octets{};                // 4, 16, or the text
    uint32_t record_type = address_text; // in records

    std::strong_ordering operator<=>(const net_address &other) const;
    bool operator==(const net_address &other) const { return (*this <=> other) == 0; }
};

// What a text stands for, and back. The text has at most longest_address characters.
net_address address_of(std::string_view text);
std::string text_of(const net_address &address);

// Whether it is an IP address of a multicast.
bool is_multicast(const net_address &address);

// From a key, and into a record; what the address leaves of the field stays as it is.
net_address key_address(uint32_t type, const address_field &field);
void fill_address(const net_address &address, be32 &type, address_field &field);

// A key for the log, the octets of IP addresses in hexadecimal: addr 1 0a000001.
std::string address_key_text(const net_address &key);

} // namespace vynd
