// Reads and writes the values of the document.
//
// Numbers may be strings, because JSON has no hexadecimal numbers, and system error codes are
// unreadable in decimal. All that is written here reads back as the same value.
#include "document.h"

#include <algorithm>

namespace vynd {

void node::expect_keys(const std::vector<const char *> &keys) const
{
    if (!value_.is_object())
        refuse("expected an object");
    for (const auto &[key, value] : value_.items())
        if (std::find(keys.begin(), keys.end(), key) == keys.end())
            at(key.c_str()).refuse("unknown key");
}

uint32_t node::number(uint32_t max) const
{
    std::optional<uint32_t> number;
    // The library keeps numbers that were read as unsigned and others as signed.
    if (value_.is_number_integer() && value_ >= 0 && value_ <= max)
        number = value_.get<uint32_t>();
    else if (value_.is_string())
        number = parse_number(value_.get_ref<const std::string &>(), max);
    if (!number)
        refuse("expected a number from 0 to " + std::to_string(max) + ", or \"0x...\"");
    return *number;
}

bool node::flag() const
{
    if (!value_.is_boolean())
        refuse("expected true or false");
    return value_.get<bool>();
}

const std::string &node::text() const
{
    if (!value_.is_string())
        refuse("expected a string");
    return value_.get_ref<const std::string &>();
}

uint32_t node::one_of(std::span<const named_value> names) const
{
    std::optional<uint32_t> value;
    if (value_.is_string())
        value = value_of(names, text());
    if (!value)
        refuse("expected one of " + list_of(names));
    return *value;
}

uint32_t node::named_number(std::span<const named_value> names, uint32_t max) const
{
    return value_.is_number() ? number(max) : one_of(names);
}

std::string node::byte_text(size_t max) const
{
    const std::string &utf8 = text(); // the library has checked that it is UTF-8
    std::string result;
    for (size_t i = 0; i < utf8.size(); i++) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        if (lead == 0)
            refuse("a NUL cannot be part of a name");
        if (lead > 0xC3)
            refuse("expected characters up to \\u00ff, one byte each");
        if (lead < 0x80)
            result += utf8[i];
        else
            result += static_cast<char>((lead & 3) << 6 | (utf8[++i] & 0x3F));
    }
    if (result.size() > max)
        refuse("expected at most " + std::to_string(max) + " characters");
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

json named_to_json(std::span<const named_value> names, uint32_t value)
{
    const char *name = name_of(names, value);
    return name != nullptr ? json(name) : json(value);
}

} // namespace vynd
