// Locks as records of the wire.
//
// The scopes of these records count the other way around than those of the fabric. Two fields mean
// nothing to clients and are filled all the same, so that a client that shows them shows something
// recognisable: the header is "LOCK", and the IPv4 address that of the loopback where the holder
// has none.
#include "lock_queries.h"

#include <arpa/inet.h>

#include "replies.h"

namespace vynd {

namespace {

constexpr uint32_t lock_header = 0x4C4F434B;
constexpr uint32_t loopback = 0x7F000001;
constexpr uint32_t address_text = 16; // beside the types that have a meaning

static_assert(sizeof(resp_app_lock_state::user_name) == longest_user + 1 &&
              sizeof(resp_app_lock_state::addr) == longest_address + 1 &&
              sizeof(resp_app_lock_state::app_name) == longest_locked_name + 1);

std::string_view name_in(const vyn_lock_key &key)
{
    return {key.app_name, strnlen(key.app_name, sizeof key.app_name)};
}

// Scope 0, which comes before every place, for what is neither.
place place_in(const vyn_lock_key &key)
{
    switch (key.scope) {
    case VYN_SERVICE_PHYSICAL: return {VYN_SCOPE_PHYSICAL, 0};
    case VYN_SERVICE_LOGICAL: return {VYN_SCOPE_LOGICAL, key.min_vsan};
    default: return {0, 0};
    }
}

void fill_address(resp_app_lock_state &reply, const std::string &address)
{
    reply.ip_address = loopback;
    if (inet_pton(AF_INET, address.c_str(), reply.addr) == 1) {
        reply.addr_type = VYN_ADDR_IPV4;
        std::memcpy(&reply.ip_address, reply.addr, sizeof reply.ip_address);
    } else if (inet_pton(AF_INET6, address.c_str(), reply.addr) == 1) {
        reply.addr_type = VYN_ADDR_IPV6;
    } else {
        reply.addr_type = address_text;
        std::memcpy(reply.addr, address.data(), address.size());
    }
}

outcome lock_reply(std::string_view name, const place &where, const lock *holder)
{
    resp_app_lock_state reply{};
    reply.header = lock_header;
    std::memcpy(reply.app_name, name.data(), name.size());
    reply.scope = where.scope == VYN_SCOPE_PHYSICAL ? VYN_SERVICE_PHYSICAL : VYN_SERVICE_LOGICAL;
    reply.vsan = where.vsan;
    if (holder) {
        reply.taken = 1;
        fill_address(reply, holder->address);
        std::memcpy(reply.user_name, holder->user.data(), holder->user.size());
    }
    return found(VYN_SNMP_APP_LOCK_STATE, reply);
}

} // namespace

outcome get_lock(fabric &model, const vyn_snmp_req &record, time_point)
{
    const vyn_lock_key &key = record.request.req_app_lock_state;
    const std::string_view name = name_in(key);
    const place where = place_in(key);
    if (name.size() > longest_locked_name || where.scope == 0)
        return refused(VYN_ERR_BAD_REQUEST, "expected a name with an end, and a scope");
    const feature *owner = find_feature(model.state().features, name);
    if (!owner)
        return refused(VYN_ERR_NO_SUCH_FEATURE, "no such feature");
    const auto taken = owner->locks.find(where);
    return lock_reply(name, where, taken == owner->locks.end() ? nullptr : &taken->second);
}

outcome get_next_lock(fabric &model, const vyn_snmp_req &record, time_point)
{
    const vyn_lock_key &key = record.request.req_app_lock_state;
    const std::string_view name = name_in(key);
    if (name.size() > longest_locked_name || key.scope > VYN_SERVICE_PHYSICAL)
        return refused(VYN_ERR_BAD_REQUEST, "expected a name with an end, and a scope or 0");
    const lock_row row = next_lock(model.state().features, name, place_in(key));
    if (!row.owner)
        return refused(VYN_ERR_NO_MORE_ENTRIES, "no more locks");
    return lock_reply(row.owner->name, row.where, row.holder);
}

std::string describe_lock_key(const vyn_lock_key &key)
{
    return "\"" + escaped(name_in(key)) + "\" scope " + std::to_string(key.scope) + " vsan " +
           std::to_string(key.min_vsan);
}

} // namespace vynd
