// Places and addresses in a scenario, and back.
//
// An address is written as a plain string wherever that is read back as the same.
#include "scenario_places.h"

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
        where = {VYN_SCOPE_LOGICAL, member.number(max_vsan)};
        if (where.vsan == 0)
            member.refuse("VSANs count from 1");
    });
    return where;
}

json scope_to_json(const scope &where)
{
    json result = json::object();
    if (where.type == VYN_SCOPE_PHYSICAL)
        result["scope"] = "physical";
    else
        result["vsan"] = where.vsan;
    return result;
}

void expect_short_name(const node &value, const feature &owner, const char *what)
{
    if (owner.name.size() > max_record_name)
        value.refuse(std::string("a feature with ") + what + " has a name of at most " +
                     std::to_string(max_record_name) + " characters");
}

net_address read_member_address(const node &value)
{
    if (!value.has("address"))
        value.refuse("expected an \"address\"");
    net_address address;
    value.with("address", [&](const node &member) {
        const std::string text = member.byte_text(max_address);
        address = value.has("type") ? net_address{address_text, text} : address_of(text);
    });
    value.with("type", [&](const node &member) {
        address.record_type = member.number();
        if (address.record_type == VYN_ADDR_IPV4 || address.record_type == VYN_ADDR_IPV6)
            member.refuse("the types 1 and 2 are not those of texts");
    });
    return address;
}

net_address read_address(const node &value)
{
    if (value.is_text())
        return address_of(value.byte_text(max_address));
    value.expect_keys({"address", "type"});
    return read_member_address(value);
}

json object_with(const net_address &address)
{
    const std::string text = text_of(address);
    json result = {{"address", utf8_of(text)}};
    const net_address plain = address_of(text);
    if (plain != address || plain.record_type != address.record_type)
        result["type"] = address.record_type;
    return result;
}

json address_to_json(const net_address &address)
{
    const json object = object_with(address);
    return object.size() == 1 ? object["address"] : object;
}

} // namespace vynd
