// Small text helpers. Nothing here knows about the service, or keeps anything between calls.
//
// No function depends on the locale: what is printable is decided by ASCII, so that a log reads
// the same wherever it was written, and a number parses the same.
#include "text.h"

#include <charconv>
#include <cstdio>

#include "escape.h"

namespace vynd {

std::optional<uint32_t> value_of(std::span<const named_value> names, std::string_view name)
{
    for (const named_value &entry : names)
        if (name == entry.name)
            return entry.value;
    return std::nullopt;
}

const char *name_of(std::span<const named_value> names, uint32_t value)
{
    for (const named_value &entry : names)
        if (value == entry.value)
            return entry.name;
    return nullptr;
}

std::optional<uint32_t> parse_named(std::span<const named_value> names, std::string_view text,
                                    uint32_t most)
{
    const auto value = value_of(names, text);
    return value ? value : parse_number(text, most);
}

std::string named_text(std::span<const named_value> names, uint32_t value)
{
    const char *name = name_of(names, value);
    return name != nullptr ? name : std::to_string(value);
}

std::string list_of(std::span<const named_value> names)
{
    std::string list;
    for (const named_value &entry : names)
        list += (list.empty() ? "" : ", ") + std::string(entry.name);
    return list;
}

std::optional<uint32_t> parse_number(std::string_view text, uint32_t most)
{
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    uint32_t value = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc() || stop != end || value > most)
        return std::nullopt;
    return value;
}

std::string code_text(uint32_t code)
{
    if (code == 0)
        return "0";
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
    return text;
}

std::string escaped(std::string_view text)
{
    std::string result(max_escape * text.size() + 1, '\0');
    result.resize(escape(result.data(), result.size(), text));
    return result;
}

std::string to_hex(std::span<const uint8_t> data)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : data)
        text += {digits[byte >> 4], digits[byte & 15]};
    return text;
}

std::optional<std::vector<uint8_t>> from_hex(std::string_view text)
{
    if (text.size() % 2 != 0)
        return std::nullopt;
    std::vector<uint8_t> data;
    for (size_t at = 0; at < text.size(); at += 2) {
        uint8_t byte = 0;
        const char *end = text.data() + at + 2;
        const auto [stop, error] = std::from_chars(text.data() + at, end, byte, 16);
        if (error != std::errc() || stop != end)
            return std::nullopt;
        data.push_back(byte);
    }
    return data;
}

std::vector<std::string> split(std::string_view line)
{
    std::vector<std::string> words;
    size_t at = line.find_first_not_of(' ');
    while (at != std::string_view::npos) {
        const size_t end = line.find(' ', at);
        words.emplace_back(line.substr(at, end - at));
        at = line.find_first_not_of(' ', end);
    }
    return words;
}

} // namespace vynd
