// The event history and the debug output.
//
// The history keeps the last traces of the module in memory, to find out later what went wrong. On
// SIGUSR2, which the agent does not use, it is written to $VYN_HISTORY_FILE, a regular file, or
// else to the agent's log. VYN_HISTORY=off turns it off. VYN_DEBUG names the levels ("100,101", or
// "all") that also go to the agent's log at once.
//
// The history starts empty when the agent loads the library again, at each SIGHUP.
//
// Every read of every object asks whether both are on, so the environment is read once, at load.
//
// The signal handler only wakes the agent's loop, which then writes. It takes the signal only if it
// is not in use, and leaves it ignored: while the library is not loaded, the default action would
// end the agent.

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "escape.h"
#include "host.h"
#include "sdwrap.h"
#include "socket.h"

namespace vyn_host {
namespace {

struct record_head {
    timespec when;
    u32 type;
    u32 level;
    size_t length; // of the text, which follows
};
constexpr size_t max_text = 511;

class event_history {
  public:
    event_history();
    ~event_history();

    bool is_on() const { return on_; }
    bool is_printed(u32 level) const { return level < std::size(printed_) && printed_[level]; }

    // Records a text of that level, which is cut to max_text bytes.
    void add(u32 type, u32 level, const char *text, size_t length);

  private:
    // Two blocks are filled in turn, and the one that is begun forgets what it had. Each read
    // leaves some traces, so the blocks are small enough for a processor's cache.
    struct block {
        char bytes[64 * 1024];
        size_t used = 0;
    };

    void read_environment();
    void take_signal();
    void write_all();
    static void on_signal(int);

    bool on_ = true;
    bool printed_[256] = {}; // by level
    block blocks_[2];
    int filling_ = 0;          // the block that is filled; the other one is older
    vynd::unique_fd wakeup_;   // read by the agent's loop
    vynd::unique_fd signaled_; // written to by the signal handler
    bool signal_taken_ = false;
} the_history;

void event_history::read_environment()
{
    const char *off = getenv("VYN_HISTORY");
    on_ = off == nullptr || strcmp(off, "off") != 0;
    const char *levels = getenv("VYN_DEBUG");
    if (levels == nullptr)
        return;
    if (strcmp(levels, "all") == 0)
        std::fill(std::begin(printed_), std::end(printed_), true);
    for (const char *at = levels; *at != '\0';) {
        char *end = nullptr;
        const unsigned long level = strtoul(at, &end, 10);
        if (end != at && level < std::size(printed_))
            printed_[level] = true;
        at = end != at ? end : at + 1;
    }
}

void event_history::on_signal(int)
{
    const int saved = errno;
    [[maybe_unused]] const ssize_t written = write(the_history.signaled_.get(), "", 1);
    errno = saved;
}

void event_history::take_signal()
{
    struct sigaction current {};
    int ends[2];
    if (sigaction(SIGUSR2, nullptr, &current) != 0 ||
        (current.sa_handler != SIG_DFL && current.sa_handler != SIG_IGN) ||
        pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    wakeup_ = vynd::unique_fd(ends[0]);
    signaled_ = vynd::unique_fd(ends[1]);
    const auto wake = [](int, void *owner) { static_cast<event_history *>(owner)->write_all(); };
    if (register_readfd(wakeup_.get(), wake, this) != FD_REGISTERED_OK)
        return;
    struct sigaction ours {};
    ours.sa_handler = on_signal;
    ours.sa_flags = SA_RESTART;
    signal_taken_ = sigaction(SIGUSR2, &ours, nullptr) == 0;
}

event_history::event_history()
{
    read_environment();
    take_signal();
}

event_history::~event_history()
{
    if (signal_taken_)
        signal(SIGUSR2, SIG_IGN);
    if (wakeup_.get() >= 0)
        unregister_readfd(wakeup_.get());
}

void event_history::add(u32 type, u32 level, const char *text, size_t length)
{
    record_head head;
    clock_gettime(CLOCK_REALTIME_COARSE, &head.when); // exact to a few milliseconds, and cheap
    head.type = type;
    head.level = level;
    head.length = std::min(length, max_text);
    block *to = &blocks_[filling_];
    if (sizeof(head) + head.length > sizeof(to->bytes) - to->used) {
        filling_ = 1 - filling_;
        to = &blocks_[filling_];
        to->used = 0;
    }
    char *const end = to->bytes + to->used;
    memcpy(end, &head, sizeof(head));
    memcpy(end + sizeof(head), text, head.length);
    to->used += sizeof(head) + head.length;
}

// Escapes a text without the newline at its end. The size of the array `out` is enough for it.
template <size_t Size> void escape_line(char (&out)[Size], const char *text, size_t length)
{
    const bool ended = length > 0 && text[length - 1] == '\n';
    vynd::escape(out, Size, {text, length - (ended ? 1 : 0)});
}

void write_record(FILE *file, const record_head &record, const char *recorded)
{
    char when[32], text[vynd::max_escape * max_text + 1];
    tm local{};
    localtime_r(&record.when.tv_sec, &local);
    strftime(when, sizeof(when), "%Y-%m-%d %H:%M:%S", &local);
    escape_line(text, recorded, strnlen(recorded, record.length));
    const int milliseconds = static_cast<int>(record.when.tv_nsec / 1'000'000);
    if (file != nullptr)
        fprintf(file, "%s.%03d 0x%X %u %s\n", when, milliseconds, record.type, record.level, text);
    else
        snmp_log(LOG_NOTICE, "vyn history: %s.%03d 0x%X %u %s\n", when, milliseconds, record.type,
                 record.level, text);
}

// Returns null and logs why if the file cannot be opened. Opening a FIFO, or writing to it, must
// not wait for its reader: ENXIO is a FIFO without a reader.
FILE *open_history_file(const char *path)
{
    constexpr int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    vynd::unique_fd fd(open(path, flags, 0600));
    struct stat opened {};
    const bool other =
        fd.get() >= 0 ? fstat(fd.get(), &opened) == 0 && !S_ISREG(opened.st_mode) : errno == ENXIO;
    FILE *file = fd.get() >= 0 && !other ? fdopen(fd.get(), "a") : nullptr;
    if (file != nullptr)
        fd.release();
    else
        snmp_log(LOG_WARNING, "vyn: cannot write the history to %s: %s\n", path,
                 other ? "not a regular file" : strerror(errno));
    return file;
}

void event_history::write_all()
{
    char signals[64];
    while (read(wakeup_.get(), signals, sizeof(signals)) > 0)
        ;
    const char *path = getenv("VYN_HISTORY_FILE");
    FILE *file = path != nullptr && *path != '\0' ? open_history_file(path) : nullptr;
    for (const block *from : {&blocks_[1 - filling_], &blocks_[filling_]}) {
        record_head record;
        for (size_t at = 0; at < from->used; at += sizeof(record) + record.length) {
            memcpy(&record, from->bytes + at, sizeof(record));
            write_record(file, record, from->bytes + at + sizeof(record));
        }
    }
    if (file != nullptr)
        fclose(file);
}

} // namespace
} // namespace vyn_host

using namespace vyn_host;

VYN_EXPORT const char *sdwrap_dbg_modname = "vyn";

VYN_EXPORT int sdwrap_hist_event_subtype_check(u32, u32)
{
    return the_history.is_on() ? 0 : 1;
}

VYN_EXPORT void sdwrap_hist_event(u32 type, u32 length, const void *record)
{
    u32 level;
    if (record == nullptr || length < sizeof(level))
        return;
    memcpy(&level, record, sizeof(level));
    the_history.add(type, level, static_cast<const char *>(record) + sizeof(level),
                    length - sizeof(level));
}

VYN_EXPORT int sdwrap_chk_int(u32 level, int, int, int)
{
    return the_history.is_printed(level) ? 1 : 0;
}

VYN_EXPORT void buginf(int, const char *module, int, const char *format, ...)
{
    char text[1024], printable[vynd::max_escape * sizeof(text) + 1];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    escape_line(printable, text, strlen(text));
    snmp_log(LOG_DEBUG, "%s: %s\n", module, printable);
}
