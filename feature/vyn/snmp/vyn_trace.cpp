// The record of a trace in the event history, and the formatter that fills it.

#include "vyn_trace.h"

#include <iterator>

// Writes as much of a text to `at` as there is room for, and returns the end of it.
static char *put(char *at, const char *end, const char *text, size_t length)
{
    length = std::min(length, static_cast<size_t>(end - at));
    memcpy(at, text, length);
    return at + length;
}

// As %u, or as %x for a base of 16. Not std::to_chars, whose tables a library would export.
template <uint32_t base> static char *put_number(char *at, const char *end, uint32_t number)
{
    char digits[16];
    char *first = std::end(digits);
    do
        *--first = "0123456789abcdef"[number % base];
    while ((number /= base) != 0);
    return put(at, end, first, static_cast<size_t>(std::end(digits) - first));
}

static char *put_signed(char *at, const char *end, uint32_t number)
{
    if (number <= INT32_MAX)
        return put_number<10>(at, end, number);
    return put_number<10>(put(at, end, "-", 1), end, 0 - number);
}

// Formats as printf would, for the conversions that vyn_format accepts.
void vyn_trace_history(vyn_trace_level level, const char *format,
                       const vyn_trace_argument *arguments)
{
    struct {
        uint32_t level;
        char text[512];
    } record;
    record.level = level;
    char *at = record.text;
    const char *const end = std::end(record.text) - 1;
    for (;;) {
        const char *const mark = strchrnul(format, '%');
        at = put(at, end, format, static_cast<size_t>(mark - format));
        if (*mark == '\0')
            break;
        format = mark + 2;
        if (mark[1] == '%') {
            at = put(at, end, mark, 1);
            continue;
        }
        if (mark[1] == 's') {
            const size_t room = std::min(arguments->width, static_cast<size_t>(end - at));
            at = put(at, end, arguments->text, strnlen(arguments->text, room));
        } else {
            at = mark[1] == 'x' ? put_number<16>(at, end, arguments->number)
                                : put_signed(at, end, arguments->number);
        }
        arguments++;
    }
    *at++ = '\0';
    const size_t length = sizeof(record.level) + static_cast<size_t>(at - record.text);
    sdwrap_hist_event(VYN_HISTORY_TYPE, static_cast<u32>(length), &record);
}
