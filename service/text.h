// Small text helpers that the scenario, the log and the commands share: numbers as people write
// them, text made safe to print, and values that have names.
//
// Numbers are decimal or, with 0x, hexadecimal everywhere, because system error codes are only
// readable in the latter.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vynd {

struct named_value {
    const char *name;
    uint32_t value;
};

// The value of a name, or nothing.
std::optional<uint32_t> value_of(std::span<const named_value> names, std::string_view name);

// The name of a value, or null.
const char *name_of(std::span<const named_value> names, uint32_t value);

// The same for values that people may also write as numbers, because not all of them have names.
std::optional<uint32_t> parse_named(std::span<const named_value> names, std::string_view text,
                                    uint32_t most = UINT32_MAX);
std::string named_text(std::span<const named_value> names, uint32_t value);

// "idle, running, completed": for messages.
std::string list_of(std::span<const named_value> names);

// The whole text as a number of at most `most`, or nothing.
std::optional<uint32_t> parse_number(std::string_view text, uint32_t most = UINT32_MAX);

// "0" for success, "0x40B30042" for anything else.
std::string code_text(uint32_t code);

// The text on one line: quotes, backslashes and all bytes that are not printable become \xNN.
std::string escaped(std::string_view text);

// Bytes as hexadecimal digits, and back; nothing for an odd number of digits or other characters.
std::string to_hex(std::span<const uint8_t> data);
std::optional<std::vector<uint8_t>> from_hex(std::string_view text);

// The words of a line, which blanks separate.
std::vector<std::string> split(std::string_view line);

} // namespace vynd
