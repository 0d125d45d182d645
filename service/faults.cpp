// The board of faults and its words. What a fault does to a reply is the server's business; here
// is only which are on, with what value and for how long.
//
// The table below is the one place that knows the words and their ranges. Every change answers with
// the whole list of what is on, so that whoever switches one sees what else was left on.
#include "faults.h"

#include <stdexcept>

#include "text.h"

namespace vynd {

namespace {

// In the order of the enumeration.
constexpr struct {
    const char *name;
    const char *argument; // what the number behind the name is; null: there is none
    uint32_t least;
    uint32_t most;
} fault_words[] = {
    {"stall", nullptr, 0, 0},
    {"delay", "milliseconds", 0, 600'000},
    {"drop", nullptr, 0, 0},
    {"short", "bytes", 0, 65'536},
    {"oversize", "bytes", 0, 1'048'576},
    {"empty", nullptr, 0, 0},
    {"error", "system error code", 1, UINT32_MAX},
    {"disconnect", nullptr, 0, 0},
    {"wrong-query", "query type", 0, UINT32_MAX},
};
static_assert(std::size(fault_words) == fault_count);

std::string value_text(size_t index, uint32_t value)
{
    if (!fault_words[index].argument)
        return fault_words[index].name;
    return std::string(fault_words[index].name) + " " +
           (index == static_cast<size_t>(fault::error) ? code_text(value) : std::to_string(value));
}

size_t index_of(const std::string &name)
{
    std::string names;
    for (size_t index = 0; index < fault_count; ++index) {
        if (name == fault_words[index].name)
            return index;
        names += std::string(" ") + fault_words[index].name;
    }
    throw std::invalid_argument("no fault \"" + escaped(name) + "\"; there are" + names);
}

} // namespace

active_faults fault_board::meet_request()
{
    active_faults faults;
    for (size_t index = 0; index < fault_count; ++index) {
        setting &current = settings_[index];
        if (!current.on)
            continue;
        faults[index] = current.value;
        if (current.left != 0 && --current.left == 0)
            current.on = false;
    }
    return faults;
}

std::string fault_board::list() const
{
    std::string text;
    for (size_t index = 0; index < fault_count; ++index) {
        if (!settings_[index].on)
            continue;
        text += (text.empty() ? "" : "\n") + value_text(index, settings_[index].value);
        if (settings_[index].left != 0)
            text += " for " + std::to_string(settings_[index].left) + " more";
    }
    return text.empty() ? "no faults" : text;
}

std::string fault_board::change(std::span<const std::string> words)
{
    if (words.size() == 1 && words[0] == "list")
        return list();
    if (words.size() == 1 && words[0] == "off") {
        settings_ = {};
        return list();
    }
    if (words.empty())
        throw std::invalid_argument("fault needs a name, \"off\" or \"list\"");

    const size_t index = index_of(words[0]);
    const auto &known = fault_words[index];
    const std::string name = known.name;
    words = words.subspan(1);
    setting changed{.on = true};
    if (words.size() == 1 && words[0] == "off") {
        changed.on = false;
        words = {};
    } else if (known.argument) {
        const auto value = words.empty() ? std::nullopt : parse_number(words[0], known.most);
        if (!value || *value < known.least)
            throw std::invalid_argument(name + " needs its " + known.argument + ", " +
                                        std::to_string(known.least) + " to " +
                                        std::to_string(known.most));
        changed.value = *value;
        words = words.subspan(1);
    }
    if (words.size() == 1 && words[0] != "on") {
        const auto count = parse_number(words[0]);
        if (!count || *count == 0 || index == static_cast<size_t>(fault::stall))
            throw std::invalid_argument(name + ": expected on, off or a number of requests");
        changed.left = *count;
    } else if (words.size() > 1) {
        throw std::invalid_argument(name + ": too many words");
    }
    settings_[index] = changed;
    return list();
}

std::string fault_text(const active_faults &faults)
{
    std::string text;
    for (size_t index = 0; index < fault_count; ++index)
        if (faults[index])
            text += (text.empty() ? " (" : ", ") + value_text(index, *faults[index]);
    return text.empty() ? text : text + ")";
}

} // namespace vynd
