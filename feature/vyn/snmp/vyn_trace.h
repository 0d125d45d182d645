// Traces: messages for the platform's event history and its debug output.
//
// A format is checked against its arguments when the code is compiled. With both sinks off, a trace
// costs two platform calls and formats nothing.
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

// Called, never defined, by a format that does not fit: the call is no constant expression.
void vyn_format_does_not_fit_its_arguments();

// A text field of a record: it ends with a NUL or, where it has none, with its width.
struct vyn_field {
    template <size_t N> constexpr vyn_field(const char (&field)[N]) : text(field), width(N) {}

    size_t length() const { return strnlen(text, width); }

    const char *text;
    size_t width;
};

// A printf format that is checked against the arguments when the code is compiled. %s takes a C
// string or a field, %d and %x an integer of at most 32 bits; nothing else passes.
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

// Arguments of the debug output, which takes what printf does. A field is copied to where it has
// room for a NUL; the room lives until the end of the full expression with the call.
struct vyn_field_room {
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
inline const char *vyn_printf_argument(vyn_field field, vyn_field_room &&room = {})
{
    const size_t length = std::min(field.length(), sizeof(room.text) - 1);
    memcpy(room.text, field.text, length);
    room.text[length] = '\0';
    return room.text;
}

// Arguments of the history, which has a formatter of its own: nothing is copied on the way, and a
// read whose traces are recorded takes less than half the instructions that it takes with snprintf
// (a GET of vynPeersTable 4,200 instead of 10,000). An argument is a text, or a number and null.
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

// Formats into a record of 512 bytes of text, longer texts are cut, and adds it to the history.
// There are as many arguments as the format names.
void vyn_trace_history(vyn_trace_level level, const char *format,
                       const vyn_trace_argument *arguments);

// The two sinks. Not inlined: most traces reach neither.
template <typename... Args>
[[gnu::noinline]] void vyn_trace_to_history(vyn_trace_level level, const char *format,
                                            const Args &...args)
{
    // An array has at least one element, and a format may have no arguments: the last is not used.
    const vyn_trace_argument arguments[] = {vyn_trace_argument(args)..., uint32_t{0}};
    vyn_trace_history(level, format, arguments);
}
template <typename... Args>
[[gnu::noinline]] void vyn_trace_to_debug(const char *format, const Args &...args)
{
    buginf(1, sdwrap_dbg_modname, 0, format, vyn_printf_argument(args)...);
}

// Traces one message: to the event history and, when the level is on there, to the debug output.
// Where a format begins with %s, that argument is a function's name, and not always the name of the
// function that traces: it is passed like any other. Returns the answer of the debug check.
// Inlined, so that a trace which nobody wants does not even fetch its arguments.
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
