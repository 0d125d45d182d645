// The formatter of traces for the event history.

#include "vyn_trace.h"

#include <iterator>

// Copies the part of a text that fits between `at` and `end`. Returns the end of the copy.
static char *put(char *at, const char *end, const char *text, size_t length)
{
    length = std::min(length, static_cast<size_t>(end - at));
    memcpy(at, text, length);
    return at + length;
}

// Formats as %u, or as %x for base 16. std::to_chars would add exported symbols to the library.
template <uint32_t base> static char *put_number(char *at, const char *end, uint32_t number)
{
    char digits[16];
    char *first = std::end(digits);
    do
        *--first = "0123456789abcdef"[number % base];
    while ((number /= base) != 0);
    return put(at, end, first, static_cast<size_t>(std::end(digits) - first));
}

// Formats as %d.
static char *put_signed(char *at, const char *end, uint32_t number)
{
    if (number <= INT32_MAX)
        return put_number<10>(at, end, number);
    return put_number<10>(put(at, end, "-", 1), end, 0 - number);
}

// Formats like printf, for the conversions that vyn_format accepts.
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
        const char *const percent = strchrnul(format, '%');
        at = put(at, end, format, static_cast<size_t>(percent - format));
        if (*percent == '\0')
            break;
        format = percent + 2;
        if (percent[1] == '%') {
            at = put(at, end, percent, 1);
            continue;
        }
        if (percent[1] == 's') {
            const size_t room = std::min(arguments->width, static_cast<size_t>(end - at));
            at = put(at, end, arguments->text, strnlen(arguments->text, room));
        } else {
            at = percent[1] == 'x' ? put_number<16>(at, end, arguments->number)
                                   : put_signed(at, end, arguments->number);
        }
        arguments++;
    }
    *at++ = '\0';
    const size_t length = sizeof(record.level) + static_cast<size_t>(at - record.text);
    sdwrap_hist_event(VYN_HISTORY_TYPE, static_cast<u32>(length), &record);
}
