// Reading and writing the values of the document.
//
// Numbers may be strings, because JSON has no hexadecimal and system error codes are unreadable
// without. Everything that is written here is read back as the same.
#include "document.h"

namespace vynd {

uint32_t node::number(uint32_t most) const
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

uint32_t node::named_number(std::span<const named_value> names, uint32_t most) const
{
    return value_.is_number() ? number(most) : one_of(names);
}

std::string node::byte_text(size_t most) const
{
    const std::string &utf8 = text(); // the library has made sure that it is UTF-8
    std::string result;
    for (size_t at = 0; at < utf8.size(); ++at) {
        const auto lead = static_cast<unsigned char>(utf8[at]);
        if (lead == 0)
            refuse("a NUL cannot be part of a name");
        if (lead > 0xC3)
            refuse("expected characters up to \\u00ff, which stand for one byte each");
        if (lead < 0x80)
            result += utf8[at];
        else
            result += static_cast<char>((lead & 3) << 6 | (utf8[++at] & 0x3F));
    }
    if (result.size() > most)
        refuse("expected at most " + std::to_string(most) + " characters");
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
    return name ? json(name) : json(value);
}

} // namespace vynd
