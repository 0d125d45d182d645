// Locks as records of the wire.
//
// The scopes of these records count the other way around than those of the fabric. Two fields mean
// nothing to clients and are filled all the same, so that a client that shows them shows something
// recognisable: the header is "LOCK", and the IPv4 address that of the loopback where the holder
// has none.
#include "lock_queries.h"

#include "keys.h"
#include "replies.h"

namespace vynd {

namespace {

constexpr uint32_t lock_header = 0x4C4F434B;
constexpr uint32_t loopback = 0x7F000001;

static_assert(sizeof(vyn_lock_info::user_name) == longest_user + 1 &&
              sizeof(vyn_app_descriptor::name) == longest_record_name + 1);

outcome lock_reply(std::string_view name, const place &where, const lock *holder)
{
    vyn_resp_lock_state state{};
    state.header = lock_header;
    vyn_lock_info &reply = state.lock_info[0];
    std::memcpy(reply.app.name, name.data(), name.size());
    reply.scope = service_scope(where);
    reply.vsan = where.vsan;
    if (holder) {
        reply.taken = 1;
        fill_address(holder->address, reply.addr_type, reply.addr);
        reply.ip_address = loopback;
        if (holder->address.type == VYN_ADDR_IPV4)
            std::memcpy(&reply.ip_address, reply.addr, sizeof reply.ip_address);
        std::memcpy(reply.user_name, holder->user.data(), holder->user.size());
    }
    return found(VYN_SNMP_APP_LOCK_STATE, state);
}

} // namespace

outcome get_lock(fabric &model, const query &asked)
{
    const vyn_lock_key &key = asked.record.request.req_app_lock_state;
    const std::string_view name = name_in(key.local_app.name);
    const place where = service_place(key.scope, key.min_vsan);
    if (name.size() > longest_record_name || where.scope == 0)
        return refused(VYN_ERR_BAD_REQUEST, "expected a name with an end, and a scope");
    const feature *owner = find_feature(model.state().features, name);
    if (!owner)
        return refused(VYN_ERR_NO_SUCH_FEATURE, "no such feature");
    const auto taken = owner->locks.find(where);
    return lock_reply(name, where, taken == owner->locks.end() ? nullptr : &taken->second);
}

outcome get_next_lock(fabric &model, const query &asked)
{
    const vyn_lock_key &key = asked.record.request.req_app_lock_state;
    const std::string_view name = name_in(key.local_app.name);
    if (name.size() > longest_record_name || key.scope > VYN_SERVICE_PHYSICAL)
        return refused(VYN_ERR_BAD_REQUEST, "expected a name with an end, and a scope or 0");
    const auto [owner, next] = next_row(model.state().features, &feature::locks, name,
                                        service_place(key.scope, key.min_vsan));
    if (!owner)
        return refused(VYN_ERR_NO_MORE_ENTRIES, "no more locks");
    return lock_reply(owner->name, next->first, &next->second);
}

std::string lock_key(const vyn_snmp_req &record)
{
    const vyn_lock_key &key = record.request.req_app_lock_state;
    return key_text(name_in(key.local_app.name), key.scope, key.min_vsan);
}

} // namespace vynd
