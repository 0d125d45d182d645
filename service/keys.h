// What the keys of several queries have in common: the name of a feature, and a scope as the
// service counts it in the records of locks, merges and regions, the other way around than the
// fabric.
//
// A name that fills its field has no end; its length then is past longest_record_name, which is
// how handlers tell.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "feature.h"
#include "text.h"
#include "vyn_wire.h"

namespace vynd {

using name_in_key = char[longest_record_name + 1];

inline std::string_view name_in(const name_in_key &field)
{
    return {field, strnlen(field, sizeof field)};
}

// The place of a scope in the service's encoding; scope 0, which comes before every place, for
// what is none.
inline place service_place(uint32_t scope, uint32_t vsan)
{
    switch (scope) {
    case VYN_SERVICE_PHYSICAL: return {VYN_SCOPE_PHYSICAL, 0};
    case VYN_SERVICE_LOGICAL: return {VYN_SCOPE_LOGICAL, vsan};
    default: return {0, 0};
    }
}

inline uint32_t service_scope(const place &where)
{
    return where.scope == VYN_SCOPE_PHYSICAL ? VYN_SERVICE_PHYSICAL : VYN_SERVICE_LOGICAL;
}

// For the log: what a change does with its record.
inline std::string change_text(uint32_t op)
{
    static constexpr named_value operations[] = {{"add", VYN_OP_ADD}, {"remove", VYN_OP_REMOVE}};
    const char *operation = name_of(operations, op);
    return operation ? operation : "op-" + std::to_string(op);
}

// For the log: "ntp" scope 2 vsan 0, the scope as it is on the wire.
inline std::string key_text(std::string_view name, uint32_t scope, uint32_t vsan)
{
    return "\"" + escaped(name) + "\" scope " + std::to_string(scope) + " vsan " +
           std::to_string(vsan);
}

} // namespace vynd
