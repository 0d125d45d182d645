// The values that read functions return: a pointer to the value, and its length in bytes in
// *var_len.
//
// All tables share one integer and one buffer. A value stays valid until the next read, and the
// agent copies it before that. A value may also point into a table's retained row.
#pragma once

#include "vyn_mib.h"

// Returns an INTEGER, Unsigned32 or TimeTicks of length 4.
u_char *vyn_integer_value(uint32_t value, size_t *var_len);

// Return an OCTET STRING: a text, cut to `max_length` characters, or octets. Neither exceeds 256.
u_char *vyn_text_value(const char *text, size_t max_length, size_t *var_len);
u_char *vyn_octets_value(const void *octets, size_t length, size_t *var_len);

// The maximum length of most texts.
inline constexpr size_t VYN_MAX_TEXT = 255;
