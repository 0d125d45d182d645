// What the keys of several queries share: the name of a feature, and a scope.
//
// The records of locks, merges and regions number scopes in another way than the fabric: logical
// is 1 and physical 2. A name without a NUL reads as 81 characters; handlers refuse it by that
// length.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "feature.h"
#include "text.h"
#include "vyn_wire.h"

namespace vynd {

using name_in_key = char[VYN_MAX_APP_NAME + 1];

inline std::string_view name_in(const name_in_key &field)
{
    return {field, strnlen(field, sizeof(field))};
}

// Returns type 0, which is before every scope, for a type that the records do not have.
inline scope scope_from_service(uint32_t type, uint32_t vsan)
{
    switch (type) {
    case VYN_SERVICE_PHYSICAL: return {VYN_SCOPE_PHYSICAL, 0};
    case VYN_SERVICE_LOGICAL: return {VYN_SCOPE_LOGICAL, vsan};
    default: return {0, 0};
    }
}

inline uint32_t service_scope_type(const scope &where)
{
    return where.type == VYN_SCOPE_PHYSICAL ? VYN_SERVICE_PHYSICAL : VYN_SERVICE_LOGICAL;
}

// Returns the operation of a change, for the log.
inline std::string change_text(uint32_t op)
{
    static constexpr named_value operations[] = {{"add", VYN_OP_ADD}, {"remove", VYN_OP_REMOVE}};
    const char *operation = name_of(operations, op);
    return operation != nullptr ? operation : "op-" + std::to_string(op);
}

// Returns a key for the log, its scope as on the wire: "ntp" scope 2 vsan 0.
inline std::string key_text(std::string_view name, uint32_t scope_type, uint32_t vsan)
{
    return "\"" + escaped(name) + "\" scope " + std::to_string(scope_type) + " vsan " +
           std::to_string(vsan);
}

} // namespace vynd
