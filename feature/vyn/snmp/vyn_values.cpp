// The storage of the values that read functions return.
//
// The integer has 32 bits and length 4 on every host. From a 64-bit long of a big-endian host, the
// agent would read the wrong half. Octets are copied, because most of them come from a temporary.

#include "vyn_values.h"

#include <cstring>

u_char *vyn_integer_value(uint32_t value, size_t *var_len)
{
    static uint32_t integer;
    integer = value;
    *var_len = sizeof(integer);
    return reinterpret_cast<u_char *>(&integer);
}

u_char *vyn_text_value(const char *text, size_t max_length, size_t *var_len)
{
    return vyn_octets_value(text, strnlen(text, max_length), var_len);
}

u_char *vyn_octets_value(const void *octets, size_t length, size_t *var_len)
{
    static u_char buffer[256];
    *var_len = length < sizeof(buffer) ? length : sizeof(buffer);
    memcpy(buffer, octets, *var_len);
    return buffer;
}
