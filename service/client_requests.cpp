// The requests of the client library: each has a function that runs it and one for the log.
//
// Only the state has a get and a getnext. The opcode alone says what the other requests do, and
// their operation is ignored. VYN_ERR_BAD_REQUEST means a malformed record; any other refusal is
// due to the state of the fabric.
#include "client_requests.h"

#include <algorithm>
#include <iterator>

#include "replies.h"
#include "vynd_protocol.h"

namespace vynd {

namespace {

// The values are 1 and 2; 0 in an entry: never set. Not shared, as a check of the module's own
// limit.
constexpr uint32_t max_show_cfg = 2;

// Returns the name without its length. It is empty, like no feature's, if the length is invalid.
std::string_view plain(const name_field &name)
{
    const size_t length = name[0] <= VYN_MAX_FEATURE_NAME ? name[0] : 0;
    return {reinterpret_cast<const char *>(name + 1), length};
}

// A scope that was never set (0) counts as physical. A physical scope ignores the value.
std::optional<scope> scope_of(uint32_t type, uint32_t value)
{
    if (type <= VYN_SCOPE_PHYSICAL)
        return scope{};
    if (type == VYN_SCOPE_LOGICAL && value >= VYN_MIN_VSAN && value <= VYN_MAX_VSAN)
        return scope{type, value};
    return std::nullopt;
}

outcome outcome_of(uint32_t status)
{
    switch (status) {
    case 0: return {};
    case VYN_ERR_NO_SUCH_FEATURE: return refused(status, "no such feature");
    case VYN_ERR_NO_MORE_ENTRIES: return refused(status, "no such state");
    case VYN_ERR_ACTION_UNSUPPORTED: return refused(status, "not distributed in this scope");
    case VYN_ERR_ACTION_IN_PROGRESS: return refused(status, "an action is in progress");
    default: return refused(status, "refused");
    }
}

outcome read_registry(fabric &model, const be32 &index, const request &, time_point)
{
    constexpr size_t max_entries = (largest_frame - sizeof(frame_header)) / sizeof(registry_entry);
    const std::vector<feature> &features = model.state().features;
    const size_t first = std::min<size_t>(index, features.size());
    const size_t count = std::min(max_entries, features.size() - first);

    outcome result{0, bytes(count * sizeof(registry_entry)), {}};
    for (size_t i = 0; i < count; i++) {
        const feature &from = features[first + i];
        registry_entry entry{{},          from.show_cfg_option, from.entry_attr,
                             from.action, from.scope_type,      from.scope_value,
                             from.flags,  from.flags2};
        entry.name[0] = static_cast<uint8_t>(from.name.size());
        std::memcpy(entry.name + 1, from.name.data(), from.name.size());
        std::memcpy(result.reply.data() + i * sizeof(entry), &entry, sizeof(entry));
    }
    return result;
}

outcome read_state(fabric &model, const state_request &key, const request &received, time_point)
{
    const bool next = received.msg_type == VYN_MSG_GETNEXT;
    const uint32_t type = key.record.scope;
    const uint32_t vsan = type == VYN_SCOPE_LOGICAL ? uint32_t{key.record.vsan} : 0;
    if ((!next && received.msg_type != VYN_MSG_GET) || type > VYN_SCOPE_LOGICAL)
        return refused(VYN_ERR_BAD_REQUEST, "wrong operation or scope");
    const feature *owner = find_feature(model.state().features, plain(key.name));
    if (owner == nullptr)
        return outcome_of(VYN_ERR_NO_SUCH_FEATURE);

    auto row = owner->states.end();
    if (next && type == VYN_SCOPE_LOGICAL)
        row = owner->states.upper_bound({type, vsan});
    else if (type != 0)
        row = owner->states.find({type, vsan});
    else if (!next && owner->last)
        row = owner->states.find(*owner->last);
    if (row == owner->states.end())
        return outcome_of(VYN_ERR_NO_MORE_ENTRIES);

    const auto &[where, state] = *row;
    const vyn_feature_state record{{},
                                   state.action,
                                   where.type,
                                   where.vsan,
                                   state.result,
                                   state.failure,
                                   state.seconds,
                                   state.microseconds,
                                   state.show_cfg_option};
    outcome result{0, bytes(sizeof(record)), {}};
    std::memcpy(result.reply.data(), &record, sizeof(record));
    return result;
}

outcome run_action(fabric &model, const registry_entry &entry, const request &received,
                   time_point now)
{
    const auto where = scope_of(entry.scope_type, entry.scope_value);
    if (!where || entry.action < VYN_ACTION_ENABLE || entry.action > VYN_ACTION_CLEAR)
        return refused(VYN_ERR_BAD_REQUEST, "no such action or scope");
    return outcome_of(
        model.start_action(plain(entry.name), *where, entry.action, received.user, now));
}

outcome store_entry(fabric &model, const registry_entry &entry, const request &, time_point)
{
    if (entry.show_cfg_option > max_show_cfg || entry.scope_type > VYN_SCOPE_LOGICAL)
        return refused(VYN_ERR_BAD_REQUEST, "no such option or scope");
    return outcome_of(model.store_entry(plain(entry.name), entry.show_cfg_option, entry.scope_type,
                                        entry.scope_value));
}

outcome store_option(fabric &model, const option_request &change, const request &, time_point)
{
    const auto where = scope_of(change.scope, change.vsan);
    if (change.option != VYN_OPTION_SHOW_CFG || !where || where->type != VYN_SCOPE_LOGICAL ||
        change.value == 0 || change.value > max_show_cfg)
        return refused(VYN_ERR_BAD_REQUEST, "expected the show option of a VSAN");
    return outcome_of(model.store_show_option(plain(change.name), *where, change.value));
}

std::string quoted(const name_field &name)
{
    return "\"" + escaped(plain(name)) + "\" ";
}

// The scope of a record, which may be invalid. `none` is the text of type 0.
std::string record_scope_text(uint32_t type, uint32_t vsan, const char *none)
{
    if (type == 0)
        return none;
    return type <= VYN_SCOPE_LOGICAL
               ? scope_text({type, vsan})
               : "scope " + std::to_string(type) + " vsan " + std::to_string(vsan);
}

std::string registry_text(const be32 &index)
{
    return "registry from " + std::to_string(index);
}

std::string state_text(const state_request &key)
{
    return "state of " + quoted(key.name) +
           record_scope_text(key.record.scope, key.record.vsan, "last");
}

std::string action_text(const registry_entry &entry)
{
    return "action " + named_text(action_names, entry.action) + " of " + quoted(entry.name) +
           record_scope_text(entry.scope_type, entry.scope_value, "physical");
}

std::string entry_text(const registry_entry &entry)
{
    return "entry of " + quoted(entry.name) + "option " + std::to_string(entry.show_cfg_option) +
           " scope " + std::to_string(entry.scope_type) + " value " +
           std::to_string(entry.scope_value);
}

std::string option_text(const option_request &change)
{
    return "option " + std::to_string(change.option) + " of " + quoted(change.name) +
           record_scope_text(change.scope, change.vsan, "scope 0") + " value " +
           std::to_string(change.value);
}

template <typename Record, outcome (*run)(fabric &, const Record &, const request &, time_point)>
outcome with(fabric &model, const request &received, time_point now)
{
    Record record;
    if (!take(received.record, record))
        return refused(VYN_ERR_BAD_REQUEST, "wrong record size");
    return run(model, record, received, now);
}

template <typename Record, std::string (*describe)(const Record &)>
std::string text(const request &received)
{
    Record record;
    return take(received.record, record) ? describe(record)
                                         : std::to_string(received.record.size()) + " bytes";
}

constexpr struct client_row {
    uint32_t opcode;
    outcome (*run)(fabric &, const request &, time_point);
    std::string (*describe)(const request &);
} rows[] = {
    // clang-format off
    {opcode_registry,     with<be32, read_registry>,          text<be32, registry_text>},
    {opcode_state,        with<state_request, read_state>,    text<state_request, state_text>},
    {opcode_run_action,   with<registry_entry, run_action>,   text<registry_entry, action_text>},
    {opcode_store_entry,  with<registry_entry, store_entry>,  text<registry_entry, entry_text>},
    {opcode_store_option, with<option_request, store_option>, text<option_request, option_text>},
    // clang-format on
};

const client_row *row_of(uint32_t opcode)
{
    const auto matches = [&](const client_row &row) { return row.opcode == opcode; };
    const auto row = std::find_if(std::begin(rows), std::end(rows), matches);
    return row == std::end(rows) ? nullptr : row;
}

} // namespace

bool is_client_request(uint32_t opcode)
{
    return row_of(opcode) != nullptr;
}

outcome answer_client(fabric &model, const request &received, time_point now)
{
    return row_of(received.opcode)->run(model, received, now);
}

std::string describe_client(const request &received)
{
    return row_of(received.opcode)->describe(received);
}

} // namespace vynd
