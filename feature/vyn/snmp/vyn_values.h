// What a read function returns: pointers into storage of the module, valid until the next read.
#pragma once

#include "vyn_mib.h"

// An INTEGER, Unsigned32 or TimeTicks. The storage has 32 bits and the length is 4 on every host:
// of a long, the agent would take the wrong half where bytes are ordered the other way.
u_char *vyn_integer_value(uint32_t value, size_t *var_len);

// An OCTET STRING holding the text, cut to 255 characters.
u_char *vyn_text_value(const char *text, size_t *var_len);
