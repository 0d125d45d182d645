// What several parts of a scenario say in the same way: where something is, and an address.
//
// A place is "scope": "physical" or "vsan": N. An address is a string that stands for what it looks
// like; {"address": TEXT, "type": N} is always a text, with that type in records.
#pragma once

#include "document.h"

namespace vynd {

scope read_scope(const node &value);

// The place of an element of a list; `taken` knows the places of those before it.
template <typename Scopes> scope read_free_scope(const node &value, const Scopes &taken)
{
    const scope where = read_scope(value);
    if (taken.contains(where))
        value.refuse("another one has this scope: " + scope_text(where));
    return where;
}

json scope_to_json(const scope &where);

// Refuses an element of a list that features with a long name cannot have; `what` the list is of.
void expect_short_name(const node &value, const feature &owner, const char *what);

// A string, or an object that says nothing but an address.
net_address read_address(const node &value);
json address_to_json(const net_address &address);

// The address of an object that says more than that; "address" and "type" are among its keys.
net_address read_member_address(const node &value);
json object_with(const net_address &address);

} // namespace vynd
