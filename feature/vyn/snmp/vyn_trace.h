// Traces: messages for the platform's event history and debug output.
//
// The compiler checks each format against its arguments. With both outputs off, a trace costs two
// platform calls and formats nothing.
#pragma once

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "sdwrap.h"
#include "vyn_wire.h"

enum vyn_trace_level : uint32_t {
    VYN_TRACE_FAILURE = 100, // failures and refusals
    VYN_TRACE_FLOW = 101,
};

inline constexpr uint32_t VYN_HISTORY_TYPE = 0x730000;

// Declared, never defined: a mismatched format calls it and so does not compile.
void vyn_format_does_not_fit_its_arguments();

// A text field of a record. The text ends at the first NUL or at the end of the field.
struct vyn_field {
    template <size_t N> constexpr vyn_field(const char (&field)[N]) : text(field), width(N) {}

    size_t length() const { return strnlen(text, width); }

    const char *text;
    size_t width;
};

// A printf format that is checked at compile time. %s takes a C string or a field, %d and %x take
// an integer of at most 32 bits. Other conversions do not compile.
template <typename... Args> class vyn_format {
  public:
    consteval vyn_format(const char *text) : text_(text)
    {
        const char kinds[] = {kind<Args>()..., '\0'};
        const char *expected = kinds;
        for (; *text != '\0'; text++) {
            if (*text != '%')
                continue;
            text++;
            if (*text == '%')
                continue;
            if (*expected == '\0' || *expected != (*text == 'x' ? 'd' : *text))
                vyn_format_does_not_fit_its_arguments();
            expected++;
        }
        if (*expected != '\0')
            vyn_format_does_not_fit_its_arguments();
    }
    constexpr const char *text() const { return text_; }

  private:
    template <typename Arg> static consteval char kind()
    {
        if constexpr (std::is_convertible_v<Arg, const char *> || std::is_same_v<Arg, vyn_field>)
            return 's';
        else if constexpr (std::is_same_v<Arg, be32> ||
                           (std::is_integral_v<Arg> && sizeof(Arg) <= sizeof(uint32_t)))
            return 'd';
        else
            return '?';
    }

    const char *text_;
};

// Converts an argument for the debug output, which formats with printf. A field is copied into a
// buffer with a NUL; the buffer lives until the end of the full expression that contains the call.
struct vyn_field_buffer {
    char text[257];
};
template <typename Arg> const Arg &vyn_printf_argument(const Arg &argument)
{
    return argument;
}
inline uint32_t vyn_printf_argument(be32 word)
{
    return word;
}
inline const char *vyn_printf_argument(vyn_field field, vyn_field_buffer &&buffer = {})
{
    const size_t length = std::min(field.length(), sizeof(buffer.text) - 1);
    memcpy(buffer.text, field.text, length);
    buffer.text[length] = '\0';
    return buffer.text;
}

// An argument for the event history: a text, or null and a number. The history has its own
// formatter, which copies each text once. With snprintf, a traced GET of vynPeersTable would take
// 10,000 instructions instead of 4,200.
struct vyn_trace_argument {
    vyn_trace_argument(const char *string)
        : text(string != nullptr ? string : "(null)"), width(SIZE_MAX)
    {
    }
    vyn_trace_argument(vyn_field field) : text(field.text), width(field.width) {}
    vyn_trace_argument(uint32_t number) : number(number) {}

    const char *text = nullptr;
    size_t width = 0;
    uint32_t number = 0;
};

// Formats a message, cut to 511 characters, and adds it to the event history. `arguments` has one
// element for each conversion of the format.
void vyn_trace_history(vyn_trace_level level, const char *format,
                       const vyn_trace_argument *arguments);

// Write a trace to one output. Not inlined, because most traces reach neither.
template <typename... Args>
[[gnu::noinline]] void vyn_trace_to_history(vyn_trace_level level, const char *format,
                                            const Args &...args)
{
    // The last element is unused: an array needs one element even if the format has no arguments.
    const vyn_trace_argument arguments[] = {vyn_trace_argument(args)..., uint32_t{0}};
    vyn_trace_history(level, format, arguments);
}
template <typename... Args>
[[gnu::noinline]] void vyn_trace_to_debug(const char *format, const Args &...args)
{
    buginf(1, sdwrap_dbg_modname, 0, format, vyn_printf_argument(args)...);
}

// Traces one message to the event history and to the debug output, if they record this level. A %s
// at the start of a format takes a function's name, which may differ from the caller's. Returns the
// result of the debug check. Inlined, so that a trace that is off does not fetch its arguments.
template <typename... Args>
[[gnu::always_inline]] inline int vyn_trace(vyn_trace_level level,
                                            vyn_format<std::decay_t<const Args &>...> format,
                                            const Args &...args)
{
    if (sdwrap_hist_event_subtype_check(VYN_HISTORY_TYPE, level) == 0) [[unlikely]]
        vyn_trace_to_history(level, format.text(), args...);
    const int debug = sdwrap_chk_int(level, 0, 0, 1);
    if (debug != 0) [[unlikely]]
        vyn_trace_to_debug(format.text(), args...);
    return debug;
}
