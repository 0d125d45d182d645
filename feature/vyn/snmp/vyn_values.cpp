// The storage behind the values of read functions.

#include "vyn_values.h"

#include <cstdio>
#include <cstring>

u_char *vyn_integer_value(uint32_t value, size_t *var_len)
{
    static uint32_t integer;
    integer = value;
    *var_len = sizeof(integer);
    return reinterpret_cast<u_char *>(&integer);
}

u_char *vyn_text_value(const char *text, size_t *var_len)
{
    static char buffer[256];
    snprintf(buffer, sizeof(buffer), "%s", text);
    *var_len = strlen(buffer);
    return reinterpret_cast<u_char *>(buffer);
}
