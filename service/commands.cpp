// One function for each word of vynctl.
//
// A command that cannot be carried out throws, with the reason as its text, and leaves everything
// as it was: the fabric is replaced as a whole, after its document has been read without error.
#include "commands.h"

#include <algorithm>
#include <stdexcept>

#include "scenario.h"
#include "vynd_protocol.h"

namespace vynd {

const char command_help[] =
    "commands:\n"
    "  ping                         answers, also while the service is stalled\n"
    "  show [PATH]                  the fabric, or a part of it, as in a scenario file\n"
    "  set PATH VALUE               changes it: set discovery.status failed,\n"
    "                               set features.0.scopes [\"logical\"], set features.- {...}\n"
    "  remove PATH                  takes out an element, or sets a field to its default\n"
    "  event discovery STATUS [REASON]\n"
    "                               posts the end of a discovery; the fabric stays as it is\n"
    "  event raw OPCODE HEX         posts any event\n"
    "  fault list                   the faults that are on\n"
    "  fault off                    all faults off\n"
    "  fault NAME off               one fault off\n"
    "  fault NAME [ARG] [on|COUNT]  on, or on for so many requests:\n"
    "    stall                      serve nobody but vynctl; what waits goes on afterwards\n"
    "    delay MS                   send replies so much later\n"
    "    drop                       carry out requests, never reply\n"
    "    short N                    cut replies to N bytes\n"
    "    oversize N                 fill replies up to N bytes\n"
    "    empty                      reply success without a byte\n"
    "    error CODE                 refuse requests with this system error code\n"
    "    disconnect                 close the connection instead of a reply\n"
    "    wrong-query N              repeat query type N in replies instead of their own\n"
    "PATH is the way down the document, with dots; features are counted from 0 in registry\n"
    "order, and - is behind the last. Numbers are decimal, or hexadecimal with 0x.\n";

namespace {

using words = std::span<const std::string>;

[[noreturn]] void refuse(const std::string &reason)
{
    throw std::invalid_argument(reason);
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

void edit(const char *operation, const std::string &path, const json &value, fabric &model)
{
    const json change = {
        {"op", operation}, {"path", pointer_of(path).to_string()}, {"value", value}};
    const json document = state_to_json(model.state());
    model.replace(state_from_json(document.patch(json::array({change}))));
}

// A value is JSON; what is not JSON is a string, so that words need no quotes.
std::string set(words rest, const command_target &target)
{
    if (rest.size() < 2)
        refuse("set needs a path and a value");
    std::string text = rest[1];
    for (const std::string &more : rest.subspan(2))
        text += " " + more;
    // Copying a document recurses, so one nested deeper than any fabric is refused here.
    const auto shallow = [](int depth, json::parse_event_t, const json &) {
        return depth <= 16 ? true : throw std::invalid_argument("nested too deep");
    };
    json value = json::parse(text, shallow, false);
    if (value.is_discarded())
        value = text;
    // An "add" would insert into an array where an element is meant to be replaced.
    const json document = state_to_json(target.model.state());
    const bool there = document.contains(pointer_of(rest[0]));
    edit(there ? "replace" : "add", rest[0], value, target.model);
    return "";
}

std::string remove(words rest, const command_target &target)
{
    if (rest.size() != 1)
        refuse("remove needs a path");
    edit("remove", rest[0], nullptr, target.model);
    return "";
}

event event_of(words rest)
{
    if (rest.size() >= 2 && rest.size() <= 3 && rest[0] == "discovery") {
        const auto status = parse_disc_status(rest[1]);
        const auto reason = rest.size() == 3 ? parse_number(rest[2]) : 0;
        if (!status)
            refuse("expected a status: " + list_of(disc_status_names) + ", or a number up to 255");
        if (!reason)
            refuse("expected a system error code");
        return discovery_event(*status, *reason);
    }
    if (rest.size() == 3 && rest[0] == "raw") {
        const auto opcode = parse_number(rest[1]);
        const auto payload = from_hex(rest[2]);
        if (!opcode || !payload)
            refuse("expected an opcode and an even number of hexadecimal digits");
        return {*opcode, *payload, "raw " + rest[2].substr(0, 256)};
    }
    refuse("expected discovery STATUS [REASON] or raw OPCODE HEX");
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
    {"ping", ping},     {"show", show},  {"set", set},
    {"remove", remove}, {"event", post}, {"fault", change_faults},
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
