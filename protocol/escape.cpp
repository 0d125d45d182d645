#include "escape.h"

namespace vynd {

size_t escape(char *out, size_t size, std::string_view text)
{
    static constexpr char digits[] = "0123456789abcdef";
    size_t length = 0;
    for (const char character : text) {
        if (length + max_escape >= size)
            break;
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7f && byte != '"' && byte != '\\') {
            out[length++] = character;
            continue;
        }
        out[length++] = '\\';
        out[length++] = 'x';
        out[length++] = digits[byte >> 4];
        out[length++] = digits[byte & 15];
    }
    out[length] = '\0';
    return length;
}

} // namespace vynd
