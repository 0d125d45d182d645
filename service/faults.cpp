// The faults that are on, and the words that switch them.
//
// The table below is the one place that knows the names and the ranges. The server knows what a
// fault does to a reply. Every change returns the list of all faults that are on, so the operator
// also sees a fault that was left on.
#include "faults.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "text.h"

namespace vynd {

namespace {

constexpr struct fault_row {
    fault which;
    const char *name;
    const char *argument; // the number that follows the name; null: none does
    uint32_t min;
    uint32_t max;
} fault_rows[] = {
    // clang-format off
    {fault::stall,       "stall",       nullptr,             0, 0},
    {fault::delay,       "delay",       "milliseconds",      0, 600'000},
    {fault::drop,        "drop",        nullptr,             0, 0},
    {fault::shorten,     "short",       "bytes",             0, 65'536},
    {fault::oversize,    "oversize",    "bytes",             0, 1'048'576},
    {fault::empty,       "empty",       nullptr,             0, 0},
    {fault::error,       "error",       "system error code", 1, UINT32_MAX},
    {fault::disconnect,  "disconnect",  nullptr,             0, 0},
    {fault::wrong_query, "wrong-query", "query type",        0, UINT32_MAX},
    // clang-format on
};

std::string value_text(fault which, uint32_t value)
{
    const auto &row = *std::find_if(std::begin(fault_rows), std::end(fault_rows),
                                    [&](const fault_row &known) { return known.which == which; });
    if (row.argument == nullptr)
        return row.name;
    return std::string(row.name) + " " +
           (which == fault::error ? code_text(value) : std::to_string(value));
}

const fault_row &row_of(const std::string &name)
{
    std::string names;
    for (const fault_row &row : fault_rows) {
        if (name == row.name)
            return row;
        names += std::string(" ") + row.name;
    }
    throw std::invalid_argument("no fault \"" + escaped(name) + "\"; there are" + names);
}

uint32_t parse_argument(const fault_row &known, const std::string &word)
{
    const auto value = parse_number(word, known.max);
    if (!value || *value < known.min)
        throw std::invalid_argument(std::string(known.name) + " needs its " + known.argument +
                                    ", " + std::to_string(known.min) + " to " +
                                    std::to_string(known.max));
    return *value;
}

uint32_t parse_count(const fault_row &known, const std::string &word)
{
    const auto count = parse_number(word);
    if (!count || *count == 0 || known.which == fault::stall)
        throw std::invalid_argument(std::string(known.name) +
                                    ": expected on, off or a number of requests");
    return *count;
}

} // namespace

std::optional<uint32_t> active_faults::value(fault which) const
{
    const auto it = values_.find(which);
    return it == values_.end() ? std::nullopt : std::optional(it->second);
}

std::string active_faults::text() const
{
    std::string text;
    for (const auto &[which, value] : values_)
        text += (text.empty() ? " (" : ", ") + value_text(which, value);
    return text.empty() ? text : text + ")";
}

active_faults fault_board::meet_request()
{
    active_faults faults;
    for (auto &[which, current] : settings_) {
        faults.add(which, current.value);
        if (current.left)
            --*current.left;
    }
    std::erase_if(settings_, [](const auto &entry) { return entry.second.left == 0u; });
    return faults;
}

std::string fault_board::list() const
{
    std::string text;
    for (const auto &[which, current] : settings_) {
        text += (text.empty() ? "" : "\n") + value_text(which, current.value);
        if (current.left)
            text += " for " + std::to_string(*current.left) + " more";
    }
    return text.empty() ? "no faults" : text;
}

std::string fault_board::change(std::span<const std::string> words)
{
    if (words.empty())
        throw std::invalid_argument("fault needs a name, \"off\" or \"list\"");
    if (words.size() == 1 && words[0] == "list")
        return list();
    if (words.size() == 1 && words[0] == "off") {
        settings_.clear();
        return list();
    }

    const fault_row &known = row_of(words[0]);
    words = words.subspan(1);
    if (words.size() == 1 && words[0] == "off") {
        settings_.erase(known.which);
        return list();
    }
    setting changed;
    if (known.argument != nullptr) {
        changed.value = parse_argument(known, words.empty() ? "" : words[0]);
        words = words.subspan(words.empty() ? 0 : 1);
    }
    if (words.size() > 1)
        throw std::invalid_argument(std::string(known.name) + ": too many words");
    if (words.size() == 1 && words[0] != "on")
        changed.left = parse_count(known, words[0]);
    settings_[known.which] = changed;
    return list();
}

} // namespace vynd
