// The commands of vynctl: one function for each.
//
// A refused command throws the reason, and changes nothing.
#include "commands.h"

#include <algorithm>
#include <stdexcept>

#include "document.h"
#include "scenario.h"
#include "vynd_protocol.h"

namespace vynd {

namespace {

using words = std::span<const std::string>;

[[noreturn]] void refuse(const std::string &reason)
{
    throw std::invalid_argument(reason);
}

std::string joined(words rest)
{
    std::string text;
    for (const std::string &word : rest)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

// discovery.next.status -> /discovery/next/status
json::json_pointer pointer_of(std::string path)
{
    std::replace(path.begin(), path.end(), '.', '/');
    return json::json_pointer("/" + path);
}

std::string show(words rest, const command_target &target)
{
    if (rest.size() > 1)
        refuse("show takes one path");
    const json document = state_to_json(target.model.state());
    const std::string text = (rest.empty() ? document : document.at(pointer_of(rest[0]))).dump(2);
    if (text.size() > largest_frame - sizeof(frame_header))
        refuse("too long to show at once: name a part, such as features.0");
    return text;
}

// Sets the value at a path of the fabric's document, or removes it if `value` is null. The fabric
// changes only if the result is a valid scenario.
void edit(fabric &model, const std::string &path, const json *value)
{
    const json document = state_to_json(model.state());
    const json::json_pointer pointer = pointer_of(path);
    // "add" would insert a new element before an existing one.
    const char *set = document.contains(pointer) ? "replace" : "add";
    const json change = {{"op", value != nullptr ? set : "remove"},
                         {"path", pointer.to_string()},
                         {"value", value != nullptr ? *value : json()}};
    model.replace(state_from_json(document.patch(json::array({change}))));
}

// Returns a string for what is not JSON, so that words need no quotes.
json parse_value(const std::string &text)
{
    // Copying a document recurses, so this refuses values nested deeper than any fabric.
    const auto shallow = [](int depth, json::parse_event_t, const json &) {
        return depth <= 16 ? true : throw std::invalid_argument("nested too deep");
    };
    const json value = json::parse(text, shallow, false);
    return value.is_discarded() ? json(text) : value;
}

std::string set(words rest, const command_target &target)
{
    if (rest.size() < 2)
        refuse("set needs a path and a value");
    const json value = parse_value(joined(rest.subspan(1)));
    edit(target.model, rest[0], &value);
    return "";
}

std::string remove(words rest, const command_target &target)
{
    if (rest.size() != 1)
        refuse("remove needs a path");
    edit(target.model, rest[0], nullptr);
    return "";
}

uint32_t named_word(const char *what, std::span<const named_value> names, const std::string &word,
                    uint32_t max = UINT32_MAX)
{
    const auto value = parse_named(names, word, max);
    if (!value)
        refuse(std::string("expected ") + what + ": " + list_of(names) + ", or a number up to " +
               std::to_string(max));
    return *value;
}

event discovery_of(words rest)
{
    if (rest.empty() || rest.size() > 2)
        refuse("expected discovery STATUS [REASON]");
    const uint32_t status = named_word("a status", disc_status_names, rest[0], UINT8_MAX);
    const auto reason = rest.size() == 2 ? parse_number(rest[1]) : 0;
    if (!reason)
        refuse("expected a system error code");
    return discovery_event(static_cast<uint8_t>(status), *reason);
}

// `physical` and `logical`: the types of these scopes, which differ between events.
scope scope_of(const std::string &text, uint32_t physical, uint32_t logical)
{
    if (text == "physical")
        return {physical, 0};
    const size_t slash = text.find('/');
    const bool both = slash != std::string::npos;
    const auto type = both ? parse_number(text.substr(0, slash)) : logical;
    const auto value = parse_number(both ? text.substr(slash + 1) : text);
    if (!type || !value)
        refuse("expected a scope: physical, a VSAN, or TYPE/VALUE");
    return {*type, *value};
}

event action_of(words rest)
{
    if (rest.size() != 4)
        refuse("expected action FEATURE SCOPE ACTION RESULT");
    const scope where = scope_of(rest[1], VYN_SCOPE_PHYSICAL, VYN_SCOPE_LOGICAL);
    const uint32_t action = named_word("an action", action_names, rest[2]);
    const uint32_t result = named_word("a result", result_names, rest[3]);
    return action_event(rest[0], action, where.type, where.vsan, result);
}

event merge_failure_of(words rest)
{
    if (rest.size() < 2)
        refuse("expected merge-failure FEATURE SCOPE [TEXT...]");
    const scope where = scope_of(rest[1], VYN_SERVICE_PHYSICAL, VYN_SERVICE_LOGICAL);
    return merge_failure_event(rest[0], where.type, where.vsan, joined(rest.subspan(2)));
}

event raw_of(words rest)
{
    const std::string digits = rest.size() == 2 ? rest[1] : "";
    const auto opcode = rest.empty() || rest.size() > 2 ? std::nullopt : parse_number(rest[0]);
    const auto payload = from_hex(digits);
    if (!opcode || !payload)
        refuse("expected raw, an opcode and an even number of hexadecimal digits");
    return {*opcode, *payload, "raw " + digits.substr(0, 256)};
}

event event_of(words rest)
{
    static constexpr struct {
        const char *word;
        event (*read)(words rest);
    } kinds[] = {{"discovery", discovery_of},
                 {"action", action_of},
                 {"merge-failure", merge_failure_of},
                 {"raw", raw_of}};
    for (const auto &[word, read] : kinds)
        if (!rest.empty() && rest[0] == word)
            return read(rest.subspan(1));
    refuse("expected discovery, action, merge-failure or raw");
}

// A leading number is the code, if it is small enough.
merge_failure failure_of(words rest)
{
    if (rest.empty())
        return {};
    const auto code = parse_number(rest[0], max_merge_failure);
    if (code == 0)
        refuse("codes start at 1");
    return {code.value_or(default_merge_failure), joined(rest.subspan(code ? 1 : 0))};
}

std::string merge(words rest, const command_target &target)
{
    const auto duration = rest.size() >= 3 ? parse_number(rest[2], max_wait_ms) : std::nullopt;
    if (!duration)
        refuse("expected merge FEATURE SCOPE MS [CODE] [TEXT...]");
    const scope where = scope_of(rest[1], VYN_SCOPE_PHYSICAL, VYN_SCOPE_LOGICAL);
    if (where != scope{} &&
        (where.type != VYN_SCOPE_LOGICAL || where.vsan == 0 || where.vsan > VYN_MAX_VSAN))
        refuse("expected physical or a VSAN");
    if (!target.model.start_merge(rest[0], where, std::chrono::milliseconds(*duration),
                                  failure_of(rest.subspan(3)), target.now))
        refuse("no such feature");
    return "";
}

std::string post(words rest, const command_target &target)
{
    const size_t subscribers = target.post(event_of(rest));
    return "to " + std::to_string(subscribers) +
           (subscribers == 1 ? " subscriber" : " subscribers");
}

std::string ping(words rest, const command_target &)
{
    if (!rest.empty())
        refuse("ping takes no words");
    return "vynd " VYN_VERSION;
}

std::string change_faults(words rest, const command_target &target)
{
    return target.faults.change(rest);
}

constexpr struct {
    const char *word;
    std::string (*run)(words rest, const command_target &target);
} commands[] = {
    {"ping", ping},   {"show", show},           {"set", set}, {"remove", remove}, {"event", post},
    {"merge", merge}, {"fault", change_faults},
};

} // namespace

command_answer run_command(std::string_view line, const command_target &target)
{
    const std::vector<std::string> all = split(line);
    try {
        for (const auto &[word, run] : commands)
            if (!all.empty() && all[0] == word)
                return {true, run(words(all).subspan(1), target)};
        refuse("unknown command; vynctl --help lists them");
    } catch (const std::exception &error) {
        return {false, json_reason(error)};
    }
}

} // namespace vynd
