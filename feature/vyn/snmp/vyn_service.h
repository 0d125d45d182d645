// How every part of the module speaks to the service and reports what went wrong: the one transport
// call, the owner of a reply, the trace, and the first checks of a SET.
//
// A request is one blocking call, made once for each SNMP operation and phase, and never repeated.
// What the service did not send reads as zero. A trace costs two questions to the platform while
// nobody listens: nothing is formatted before a sink has asked for it.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "sdwrap.h"
#include "vyn_mib.h"

// --- Tracing ---

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

// What becomes of an argument on its way to printf: a word is a number, and a field is copied to
// where its end has room. The room lives as long as the expression that the call stands in.
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

// An argument on its way to the history: a text, or a number and null.
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

// The sinks of a trace, for one that has asked for it.
template <typename... Args>
[[gnu::noinline]] void vyn_trace_to_history(vyn_trace_level level, const char *format,
                                            const Args &...args)
{
    // The last is of no format: an array has at least one.
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

// --- The service call ---

// Owns the block in which the transport hands over a reply, and frees it on every path.
class vyn_reply {
  public:
    vyn_reply() = default;
    vyn_reply(const vyn_reply &) = delete;
    vyn_reply &operator=(const vyn_reply &) = delete;
    ~vyn_reply() { release(); }

    // False for a null reply: the call has succeeded, and there is nothing to read.
    bool present() const { return block_ != nullptr && length_ != 0; }

    // Reports whether the reply has all of a member. A null reply has none of it.
    template <typename Member> bool has_all_of(Member vyn_snmp_resp::*) const
    {
        return present() && length_ >= member_offset + sizeof(Member);
    }

    // Returns a member, which is named as in &vyn_snmp_resp::resp_region. What a short reply lacks
    // of it is zero.
    template <typename Member> Member read(Member vyn_snmp_resp::*which) const
    {
        Member member;
        read_into(&member, which);
        return member;
    }

    // Copies a member into a retained row.
    template <typename Member> void read_into(Member *member, Member vyn_snmp_resp::*) const
    {
        static_assert(std::is_trivially_copyable_v<Member> && alignof(Member) == 1);
        const bool reaches = present() && length_ > member_offset;
        const size_t there = reaches ? std::min(length_ - member_offset, sizeof(Member)) : 0;
        auto *bytes = reinterpret_cast<uint8_t *>(member);
        if (reaches)
            memcpy(bytes, static_cast<const uint8_t *>(block_) + member_offset, there);
        if (there < sizeof(Member))
            memset(bytes + there, 0, sizeof(Member) - there);
    }

  private:
    friend u32 vyn_call(vyn_opcode, vyn_msg_type, vyn_snmp_req *, vyn_reply *);

    static constexpr size_t member_offset = offsetof(vyn_snmp_resp, bytes); // of every member

    void release()
    {
        free(block_);
        block_ = nullptr;
        length_ = 0;
    }

    void *block_ = nullptr;
    u32 length_ = 0; // in bytes
};

// The operation of a query: for the row that is named, or for the one behind it.
constexpr vyn_msg_type vyn_read_type(bool exact)
{
    return exact ? VYN_MSG_GET : VYN_MSG_GETNEXT;
}

// Sends a request on behalf of the SNMP user whose operation is being served, and waits for the
// answer. Returns 0, or the system error code of the service or the transport; then there is no
// reply. With a null `reply`, none is asked for: the service only says whether it is done.
u32 vyn_call(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply);

// The query of a read: the call, and a trace when it has failed or when the reply is a null one;
// both texts begin with the name of the function. Returns what the call returned.
u32 vyn_query(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply,
              const char *function, vyn_format<const char *, const char *> failed,
              vyn_format<const char *> null_reply);

// The query of a read of regions or assignments, with the trace of a failure; none tells of a null
// reply.
u32 vyn_query_region(vyn_snmp_req *request, bool exact, vyn_reply *reply, const char *function);

// --- SET ---

// Tells the agent of the system error behind the refusal of a SET.
void vyn_report_set_error(u32 code);

// Traces the message of a refusal and returns its SNMP error.
int vyn_refuse(const char *message, int snmp_error);

// Sends a change that needs no reply. When it fails, traces that with the name of the function,
// tells the agent of the error, and returns SNMP_ERR_GENERR; else SNMP_ERR_NOERROR.
int vyn_send_change(vyn_opcode opcode, vyn_snmp_req *request, const char *function,
                    vyn_format<const char *, const char *> failed);

// What RESERVE1 demands of an integer, and the messages of a refusal, in the order of the checks.
// The messages are literals, irregular as they are: they are what an operator greps for.
struct vyn_integer_checks {
    u_char type;             // ASN_INTEGER or ASN_UNSIGNED
    size_t shortest;         // bytes; a few columns take an integer of length 0
    int32_t lowest, highest; // the values accepted
    const char *wrong_type;
    const char *wrong_length;
    const char *wrong_value = nullptr; // null: "%s : Wrong range : %d", with the value and
    const char *function = nullptr;    // the name of the write function
    uint32_t excluded = 0;             // bit n: n is no value either
};

// What RESERVE1 demands of a row status: active, createAndGo or destroy, and none of those of a row
// that waits to be complete.
consteval vyn_integer_checks vyn_row_status_checks(const char *wrong_type, const char *wrong_length,
                                                   const char *wrong_value)
{
    return {.type = ASN_INTEGER,
            .shortest = 0,
            .lowest = SNMP_ROW_ACTIVE,
            .highest = SNMP_ROW_DESTROY,
            .wrong_type = wrong_type,
            .wrong_length = wrong_length,
            .wrong_value = wrong_value,
            .excluded = 1u << SNMP_ROW_NOTINSERVICE | 1u << SNMP_ROW_NOTREADY |
                        1u << SNMP_ROW_CREATEANDWAIT};
}

// Runs the checks; traces and returns the SNMP error of the first that fails, else
// SNMP_ERR_NOERROR.
int vyn_check_integer(const vyn_integer_checks &checks, const u_char *value, u_char type,
                      size_t length);

// A phase of a SET of a storage type, which is fixed: RESERVE1 looks at the type and the length,
// and the value is of no consequence. These refusals are no traces; they go to standard error.
int vyn_set_storage_type(int action, u_char type, size_t length, const char *wrong_type,
                         const char *wrong_length);

// RESERVE2 of a row status writes a 1 over the value that the agent has read; there is none when
// the row does not exist yet.
inline void vyn_mark_stored_value(u_char *stored)
{
    if (stored != nullptr)
        *stored = 1;
}

// The integer that a SET carries. The agent hands it over as a long, so the length is the size of a
// long there, whatever was on the wire; every other length means the 4 bytes at `value`, in host
// order, which are always there.
long vyn_set_integer(const u_char *value, size_t length);
