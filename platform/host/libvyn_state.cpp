// The client library's requests about one feature: its state, its actions and its options.
//
// A request names the feature, so the service refuses one about a feature that it no longer has.
// There is no state here, and nothing is undone: an entry keeps the values that its caller has set,
// also if the service refuses them.

#include "libvyn.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "host.h"
#include "snmp_context.h"
#include "vyn_wire.h"
#include "vynd_protocol.h"

namespace vyn_host {
namespace {

// Sends a change. Its reply is only a status: 0 or a system error, which is logged here because the
// module does not call log_set_error for these.
template <typename Request> int change(vynd::client_opcode opcode, Request request)
{
    u32 length = sizeof(request);
    const u32 error = ask_service(opcode, VYN_MSG_SET, &request, nullptr, &length);
    if (error != 0)
        log_set_error(error, 0);
    return static_cast<int>(error);
}

vynd::registry_entry wire_of(const vyn_feature_entry &entry)
{
    vynd::registry_entry wire{{},           entry.show_cfg_option, entry.entry_attr,
                              entry.action, entry.scope_type,      entry.scope_value,
                              entry.flags,  entry.flags2};
    memcpy(wire.name, entry.name, sizeof(wire.name));
    return wire;
}

} // namespace
} // namespace vyn_host

using namespace vyn_host;

VYN_EXPORT int get_vyn_entry_from_module(vyn_feature_entry *entry, void *state, int op)
{
    constexpr int exact = 1, next = 2;
    constexpr int none = 1, failed = -1;
    if (entry == nullptr || state == nullptr || (op != exact && op != next))
        return failed;
    vynd::state_request request;
    memcpy(request.name, entry->name, sizeof(request.name));
    memcpy(&request.record, state, sizeof(request.record));
    void *block = nullptr;
    u32 length = sizeof(request);
    const u32 error = ask_service(vynd::opcode_state, op == exact ? VYN_MSG_GET : VYN_MSG_GETNEXT,
                                  &request, &block, &length);
    const std::unique_ptr<void, decltype(&free)> owner(block, free);
    if (error == VYN_ERR_NO_MORE_ENTRIES)
        return none;
    // Unlike a reply to a query, a part of a record is an error.
    if (error != 0 || block == nullptr || length != sizeof(request.record))
        return failed;
    memcpy(state, block, sizeof(request.record));
    return 0;
}

VYN_EXPORT int set_vyn_entry_to_module(vyn_feature_entry *entry)
{
    return entry != nullptr ? change(vynd::opcode_run_action, wire_of(*entry))
                            : int{VYN_ERR_BAD_CALL};
}

VYN_EXPORT int pss_update_vyn_feature_entry_rt(vyn_feature_entry *entry, int)
{
    return entry != nullptr ? change(vynd::opcode_store_entry, wire_of(*entry))
                            : int{VYN_ERR_BAD_CALL};
}

VYN_EXPORT int set_vyn_cfg_option_to_module(vyn_feature_entry *entry, const vyn_cfg_option *option)
{
    if (entry == nullptr || option == nullptr)
        return VYN_ERR_BAD_CALL;
    vynd::option_request request{{}, option->option, option->scope, option->vsan, option->value};
    memcpy(request.name, entry->name, sizeof(request.name));
    return change(vynd::opcode_store_option, request);
}

VYN_EXPORT u32 vyn_mr_status2syserr(u32 code, u32 flag)
{
    return flag != 0 ? VYN_ERR_MERGE + (code & 0xffff) : 0;
}
