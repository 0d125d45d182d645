// What a read function returns: a pointer to a value and, in *var_len, its length in bytes.
//
// One integer and one buffer serve all tables. A value stays valid until the next read of any of
// them, which is as long as the agent looks at it: it copies a value before it asks for the next.
// Rows that are kept between reads are the tables' own, and values may point into them instead.
#pragma once

#include "vyn_mib.h"

// An INTEGER, Unsigned32 or TimeTicks, of length 4.
u_char *vyn_integer_value(uint32_t value, size_t *var_len);

// An OCTET STRING: the text, cut to `max_length` characters; or the octets as they are, 256 at
// most.
u_char *vyn_text_value(const char *text, size_t max_length, size_t *var_len);
u_char *vyn_octets_value(const void *octets, size_t length, size_t *var_len);

// What most texts are cut to.
inline constexpr size_t VYN_MAX_TEXT = 255;
