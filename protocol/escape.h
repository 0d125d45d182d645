// Text that is safe to log: it stays on its line and cannot forge another one.
#pragma once

#include <cstddef>
#include <string_view>

namespace vynd {

// The most characters that one byte becomes.
inline constexpr size_t max_escape = 4;

// Copies `text` to `out` and ends it with a NUL. Quotes, backslashes and bytes that are not
// printable ASCII become \xNN, whatever the locale. Cuts the text to fit into `size` bytes, and
// returns the length of what it has written, without the NUL.
size_t escape(char *out, size_t size, std::string_view text);

} // namespace vynd
