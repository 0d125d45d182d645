// JSON to fabric and back. Each part of the document has one function that reads it and one that
// writes it, side by side.
//
// Names in JSON are Unicode, names in the fabric are bytes: the characters up to U+00FF stand for
// one byte each, and others cannot be named. A missing field keeps the default that the fabric's
// own types give it; only a feature's name has none.
#include "scenario.h"

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <set>

namespace vynd {

namespace {

// One value of the document and where it is.
class node {
  public:
    node(const json &value, std::string path) : value_(value), path_(std::move(path)) {}

    [[noreturn]] void refuse(const std::string &reason) const
    {
        throw scenario_error((path_.empty() ? "/" : path_) + ": " + reason);
    }

    // Makes sure that this is an object with no other keys than these.
    void expect_keys(std::initializer_list<const char *> keys) const
    {
        if (!value_.is_object())
            refuse("expected an object");
        for (const auto &[key, value] : value_.items()) {
            const auto matches = [&key = key](const char *known) { return key == known; };
            if (std::none_of(keys.begin(), keys.end(), matches))
                node(value, path_ + "/" + key).refuse("unknown key");
        }
    }

    // Calls `use` with the member of that name, if there is one.
    template <typename Use> void with(const char *key, Use use) const
    {
        if (const auto found = value_.find(key); found != value_.end())
            use(node(*found, path_ + "/" + key));
    }

    template <typename Use> void each(Use use) const
    {
        if (!value_.is_array())
            refuse("expected an array");
        for (size_t index = 0; index < value_.size(); ++index)
            use(node(value_[index], path_ + "/" + std::to_string(index)));
    }

    uint32_t number(uint32_t most = UINT32_MAX) const
    {
        std::optional<uint32_t> number;
        // The library keeps numbers that were read as unsigned and others as signed.
        if (value_.is_number_integer() && value_ >= 0 && value_ <= most)
            number = value_.get<uint32_t>();
        else if (value_.is_string())
            number = parse_number(value_.get_ref<const std::string &>(), most);
        if (!number)
            refuse("expected a number from 0 to " + std::to_string(most) + ", or \"0x...\"");
        return *number;
    }

    bool flag() const
    {
        if (!value_.is_boolean())
            refuse("expected true or false");
        return value_.get<bool>();
    }

    const std::string &text() const
    {
        if (!value_.is_string())
            refuse("expected a string");
        return value_.get_ref<const std::string &>();
    }

    uint32_t one_of(std::span<const named_value> names) const
    {
        std::optional<uint32_t> value;
        if (value_.is_string())
            value = value_of(names, text());
        if (!value)
            refuse("expected one of " + list_of(names));
        return *value;
    }

    bool is_number() const { return value_.is_number(); }

  private:
    const json &value_;
    std::string path_;
};

// The bytes that a JSON string stands for; the library has made sure that it is UTF-8.
std::string bytes_of(const node &value)
{
    const std::string &utf8 = value.text();
    std::string result;
    for (size_t at = 0; at < utf8.size(); ++at) {
        const auto lead = static_cast<unsigned char>(utf8[at]);
        if (lead == 0)
            value.refuse("a NUL cannot be part of a name");
        if (lead > 0xC3)
            value.refuse("expected characters up to \\u00ff, which stand for one byte each");
        if (lead < 0x80)
            result += utf8[at];
        else
            result += static_cast<char>((lead & 3) << 6 | (utf8[++at] & 0x3F));
    }
    return result;
}

std::string utf8_of(std::string_view name)
{
    std::string utf8;
    for (const char character : name) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80)
            utf8 += character;
        else
            utf8 += {static_cast<char>(0xC0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3F))};
    }
    return utf8;
}

json code_to_json(uint32_t code)
{
    return code == 0 ? json(0) : json(code_text(code));
}

discovery_end read_discovery_end(const node &value)
{
    constexpr uint32_t one_day = 24 * 60 * 60 * 1000;
    discovery_end end;
    value.expect_keys({"after_ms", "status", "failure_reason"});
    value.with("after_ms", [&](const node &member) {
        end.after = std::chrono::milliseconds(member.number(one_day));
    });
    value.with("status", [&](const node &member) {
        static constexpr named_value ends[] = {{"completed", 3}, {"failed", 4}};
        end.status = static_cast<uint8_t>(member.one_of(ends));
    });
    value.with("failure_reason", [&](const node &member) { end.failure_reason = member.number(); });
    return end;
}

discovery_state read_discovery(const node &value)
{
    discovery_state state;
    value.expect_keys({"status", "failure_reason", "next"});
    value.with("status", [&](const node &member) {
        state.status = static_cast<uint8_t>(member.is_number() ? member.number(UINT8_MAX)
                                                               : member.one_of(disc_status_names));
    });
    value.with("failure_reason",
               [&](const node &member) { state.failure_reason = member.number(); });
    value.with("next", [&](const node &member) { state.next = read_discovery_end(member); });
    return state;
}

json discovery_to_json(const discovery_state &state)
{
    const char *name = name_of(disc_status_names, state.status);
    return {{"status", name ? json(name) : json(state.status)},
            {"failure_reason", code_to_json(state.failure_reason)},
            {"next",
             {{"after_ms", state.next.after.count()},
              {"status", disc_status_text(state.next.status)},
              {"failure_reason", code_to_json(state.next.failure_reason)}}}};
}

// The fields of a feature that are plain numbers, and 0 where the scenario does not say.
constexpr struct {
    const char *key;
    uint32_t feature::*member;
} feature_numbers[] = {
    {"show_cfg_option", &feature::show_cfg_option},
    {"entry_attr", &feature::entry_attr},
    {"action", &feature::action},
    {"scope_type", &feature::scope_type},
    {"scope_value", &feature::scope_value},
    {"flags", &feature::flags},
    {"flags2", &feature::flags2},
};

feature read_feature(const node &value, std::set<std::string> &names)
{
    feature result;
    value.expect_keys({"name", "scopes", "show_cfg_option", "entry_attr", "action", "scope_type",
                       "scope_value", "flags", "flags2"});
    for (const auto &[key, member] : feature_numbers)
        value.with(key,
                   [&, member = member](const node &number) { result.*member = number.number(); });
    value.with("scopes", [&](const node &scopes) {
        scopes.each([&](const node &scope) { result.flags |= scope.one_of(feature_scopes); });
    });
    value.with("name", [&](const node &name) {
        result.name = bytes_of(name);
        if (result.name.empty() || result.name.size() > longest_feature_name)
            name.refuse("expected 1 to " + std::to_string(longest_feature_name) + " characters");
        if (!names.insert(result.name).second)
            name.refuse("another feature has this name");
    });
    if (result.name.empty())
        value.refuse("a feature needs a name");
    return result;
}

json feature_to_json(const feature &entry)
{
    json scopes = json::array();
    feature rest = entry;
    for (const named_value &scope : feature_scopes) {
        if (entry.flags & scope.value)
            scopes.push_back(scope.name);
        rest.flags &= ~scope.value;
    }
    json result = {{"name", utf8_of(entry.name)}, {"scopes", scopes}};
    for (const auto &[key, member] : feature_numbers)
        if (rest.*member != 0)
            result[key] = rest.*member;
    return result;
}

} // namespace

fabric_state state_from_json(const json &document)
{
    const node root(document, "");
    fabric_state state;
    root.expect_keys({"discovery", "distribution", "features"});
    root.with("discovery", [&](const node &value) { state.discovery = read_discovery(value); });
    root.with("distribution", [&](const node &value) {
        value.expect_keys({"enabled"});
        value.with("enabled",
                   [&](const node &enabled) { state.distribution_enabled = enabled.flag(); });
    });
    root.with("features", [&](const node &value) {
        std::set<std::string> names;
        value.each(
            [&](const node &entry) { state.features.push_back(read_feature(entry, names)); });
    });
    std::sort(state.features.begin(), state.features.end(), registry_order);
    return state;
}

json state_to_json(const fabric_state &state)
{
    json features = json::array();
    for (const feature &entry : state.features)
        features.push_back(feature_to_json(entry));
    return {{"discovery", discovery_to_json(state.discovery)},
            {"distribution", {{"enabled", state.distribution_enabled}}},
            {"features", features}};
}

std::string json_reason(const std::exception &error)
{
    const std::string text = error.what();
    const size_t end = text.starts_with("[json.") ? text.find("] ") : std::string::npos;
    return end == std::string::npos ? text : text.substr(end + 2);
}

fabric_state read_scenario(const std::string &file)
{
    std::ifstream input(file);
    if (!input)
        throw scenario_error(file + ": cannot be read");
    try {
        return state_from_json(json::parse(input));
    } catch (const std::exception &error) {
        throw scenario_error(file + ": " + json_reason(error));
    }
}

} // namespace vynd
