// Locks as records of the wire.
//
// Clients ignore two fields. They are filled, so that a client that shows them shows something
// recognisable: the header is "LOCK", and the IPv4 address is the loopback's if the holder has
// another kind of address.
#include "lock_queries.h"

#include "keys.h"
#include "replies.h"

namespace vynd {

namespace {

constexpr uint32_t lock_header = 0x4C4F434B;
constexpr uint32_t loopback = 0x7F000001;

static_assert(sizeof(vyn_lock_info::user_name) == max_user + 1);

outcome lock_reply(const query &received, std::string_view name, const scope &where,
                   const lock *holder)
{
    vyn_resp_lock_state state{};
    state.header = lock_header;
    vyn_lock_info &reply = state.lock_info[0];
    std::memcpy(reply.app.name, name.data(), name.size());
    reply.scope = service_scope_type(where);
    reply.vsan = where.vsan;
    if (holder != nullptr) {
        reply.taken = 1;
        fill_address(holder->address, reply.addr_type, reply.addr);
        reply.ip_address = loopback;
        if (holder->address.type == VYN_ADDR_IPV4)
            std::memcpy(&reply.ip_address, reply.addr, sizeof(reply.ip_address));
        std::memcpy(reply.user_name, holder->user.data(), holder->user.size());
    }
    return read_reply(received, state);
}

} // namespace

outcome get_lock(fabric &model, const query &received)
{
    const vyn_lock_key &key = received.record.request.req_app_lock_state;
    const std::string_view name = name_in(key.local_app.name);
    const scope where = scope_from_service(key.scope, key.min_vsan);
    if (name.size() > VYN_MAX_APP_NAME || where.type == 0)
        return refused(VYN_ERR_BAD_REQUEST, "name is not NUL-terminated, or wrong scope");
    const feature *owner = find_feature(model.state().features, name);
    if (owner == nullptr)
        return refused(VYN_ERR_NO_SUCH_FEATURE, "no such feature");
    const auto taken = owner->locks.find(where);
    return lock_reply(received, name, where,
                      taken == owner->locks.end() ? nullptr : &taken->second);
}

outcome get_next_lock(fabric &model, const query &received)
{
    const vyn_lock_key &key = received.record.request.req_app_lock_state;
    const std::string_view name = name_in(key.local_app.name);
    if (name.size() > VYN_MAX_APP_NAME || key.scope > VYN_SERVICE_PHYSICAL)
        return refused(VYN_ERR_BAD_REQUEST, "name is not NUL-terminated, or wrong scope");
    const auto [owner, next] = next_row(model.state().features, &feature::locks, name,
                                        scope_from_service(key.scope, key.min_vsan));
    if (owner == nullptr)
        return no_row(received);
    return lock_reply(received, owner->name, next->first, &next->second);
}

std::string lock_key(const vyn_snmp_req &record)
{
    const vyn_lock_key &key = record.request.req_app_lock_state;
    return key_text(name_in(key.local_app.name), key.scope, key.min_vsan);
}

} // namespace vynd
