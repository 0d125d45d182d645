// Scopes and addresses in a scenario.
//
// A scope is "scope": "physical" or "vsan": N. An address is a string, read as the kind of address
// that it looks like. {"address": TEXT, "type": N} is always a text, with that type in records.
#pragma once

#include <set>

#include "fields.h"

namespace vynd {

// The keys "scope" and "vsan" of an object, which has exactly one of them.
scope read_scope(const node &value);
void write_scope(const scope &where, json &value);

template <typename Object> field<Object> scope_keys(scope Object::*member)
{
    return {{"scope", "vsan"},
            [=](const node &value, Object &object) { object.*member = read_scope(value); },
            [=](const Object &object, json &value) { write_scope(object.*member, value); }};
}

// The keys "address", which is required, and "type" of an object.
net_address read_address_keys(const node &value);
void write_address_keys(const net_address &address, json &value);

template <typename Object> field<Object> address_keys(net_address Object::*member)
{
    return {{"address", "type"},
            [=](const node &value, Object &object) { object.*member = read_address_keys(value); },
            [=](const Object &object, json &value) { write_address_keys(object.*member, value); }};
}

// A string, or an object with only these keys.
net_address read_address(const node &value);
json address_to_json(const net_address &address);

// The id of a region, which the object must have.
template <typename Object> field<Object> region_id(const char *key, uint32_t Object::*member)
{
    return {{key},
            [=](const node &value, Object &object) {
                object.*member = value.has(key) ? value.at(key).number() : 0;
                if (object.*member == 0)
                    value.refuse("expected the id of a region as \"" + std::string(key) +
                                 "\", from 1");
            },
            [=](const Object &object, json &value) { value[key] = object.*member; }};
}

std::set<net_address> read_addresses(const node &array);
json addresses_to_json(const std::set<net_address> &addresses);

} // namespace vynd
