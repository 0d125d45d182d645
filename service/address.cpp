// Converts addresses between texts, records and keys.
//
// Records and keys have no length: a family has a fixed number of octets, and a text ends at its
// NUL or at the end of the field.
#include "address.h"

#include <arpa/inet.h>

#include <cstring>
#include <span>
#include <tuple>

#include "text.h"

namespace vynd {

namespace {

constexpr struct {
    uint32_t type;
    int family;
    size_t size;
    uint8_t first_multicast, last_multicast; // first octets
} families[] = {{VYN_ADDR_IPV4, AF_INET, 4, 224, 239}, {VYN_ADDR_IPV6, AF_INET6, 16, 0xFF, 0xFF}};

} // namespace

std::strong_ordering net_address::operator<=>(const net_address &other) const
{
    const auto order = [](const net_address &address) {
        return std::tuple(address.type, address.octets.size(), std::string_view(address.octets));
    };
    return order(*this) <=> order(other);
}

net_address address_of(std::string_view text)
{
    const std::string ended(text);
    char octets[16];
    for (const auto &known : families)
        if (inet_pton(known.family, ended.c_str(), octets) == 1)
            return {known.type, std::string(octets, known.size), known.type};
    return {VYN_ADDR_TEXT, ended};
}

std::string text_of(const net_address &address)
{
    char text[INET6_ADDRSTRLEN];
    for (const auto &known : families)
        if (address.type == known.type)
            return inet_ntop(known.family, address.octets.data(), text, sizeof(text));
    return address.octets;
}

bool is_multicast(const net_address &address)
{
    for (const auto &known : families)
        if (address.type == known.type) {
            const auto first = static_cast<uint8_t>(address.octets[0]);
            return first >= known.first_multicast && first <= known.last_multicast;
        }
    return false;
}

net_address key_address(uint32_t type, const address_field &field)
{
    size_t length = strnlen(field, sizeof(field));
    for (const auto &family : families)
        if (family.type == type)
            length = family.size;
    return {type, std::string(field, length), type};
}

void fill_address(const net_address &address, be32 &type, address_field &field)
{
    type = address.record_type;
    std::memcpy(field, address.octets.data(), address.octets.size());
}

std::string address_key_text(const net_address &key)
{
    const bool octets = key.type == VYN_ADDR_IPV4 || key.type == VYN_ADDR_IPV6;
    const auto *data = reinterpret_cast<const uint8_t *>(key.octets.data());
    return "addr " + std::to_string(key.type) + " " +
           (octets ? to_hex({data, key.octets.size()}) : "\"" + escaped(key.octets) + "\"");
}

} // namespace vynd
