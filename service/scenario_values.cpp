// Reads and writes scopes and addresses.
//
// An address is written as a string if that is read back as the same address.
#include "scenario_values.h"

namespace vynd {

scope read_scope(const node &value)
{
    if (value.has("scope") == value.has("vsan"))
        value.refuse("expected either \"scope\": \"physical\" or a \"vsan\"");
    scope where;
    value.with("scope", [&](const node &member) {
        static constexpr named_value physical[] = {{"physical", VYN_SCOPE_PHYSICAL}};
        where.type = member.one_of(physical);
    });
    value.with("vsan", [&](const node &member) {
        where = {VYN_SCOPE_LOGICAL, member.number(VYN_MAX_VSAN)};
        if (where.vsan == 0)
            member.refuse("VSANs start at 1");
    });
    return where;
}

void write_scope(const scope &where, json &value)
{
    if (where.type == VYN_SCOPE_PHYSICAL)
        value["scope"] = "physical";
    else
        value["vsan"] = where.vsan;
}

net_address read_address_keys(const node &value)
{
    if (!value.has("address"))
        value.refuse("expected an \"address\"");
    const std::string text = value.at("address").byte_text(max_address);
    if (!value.has("type"))
        return address_of(text);
    const node type = value.at("type");
    const net_address address{VYN_ADDR_TEXT, text, type.number()};
    if (address.record_type == VYN_ADDR_IPV4 || address.record_type == VYN_ADDR_IPV6)
        type.refuse("types 1 and 2 are IP addresses");
    return address;
}

void write_address_keys(const net_address &address, json &value)
{
    const std::string text = text_of(address);
    value["address"] = utf8_of(text);
    const net_address plain = address_of(text);
    if (plain != address || plain.record_type != address.record_type)
        value["type"] = address.record_type;
}

net_address read_address(const node &value)
{
    if (value.is_text())
        return address_of(value.byte_text(max_address));
    value.expect_keys({"address", "type"});
    return read_address_keys(value);
}

json address_to_json(const net_address &address)
{
    json value = json::object();
    write_address_keys(address, value);
    return value.size() == 1 ? value["address"] : value;
}

std::set<net_address> read_addresses(const node &array)
{
    std::set<net_address> addresses;
    array.each([&](const node &value) {
        if (!addresses.insert(read_address(value)).second)
            value.refuse("another one has this address");
    });
    return addresses;
}

json addresses_to_json(const std::set<net_address> &addresses)
{
    json array = json::array();
    for (const net_address &address : addresses)
        array.push_back(address_to_json(address));
    return array;
}

} // namespace vynd
