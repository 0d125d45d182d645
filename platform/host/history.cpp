// The event history and the debug output.
//
// The history is the last traces of the module in memory, there for the day on which something has
// already gone wrong: SIGUSR2 (which the agent has no use for) has it written out, to
// $VYN_HISTORY_FILE, a regular file, or else to the agent's log. VYN_HISTORY=off turns it off.
// VYN_DEBUG names the levels ("100,101", or "all") that also go to the agent's log as they happen.
//
// The history begins anew when the agent loads the library again, at each SIGHUP.
//
// Both are asked about on every read of every object, so the environment is read once, at load.
//
// The signal handler only wakes up the agent's loop; the writing is done there. It takes the signal
// only when nobody else has it, and leaves it ignored: between unloading and loading again, the
// system's default would end the agent.

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

namespace vyn_host {
namespace {

struct record_head {
    timespec when;
    u32 type;
    u32 level;
    size_t length; // of the text, which follows
};
constexpr size_t longest_text = 511;

// Two blocks are filled in turn, and the one that is begun forgets what it had. Each read leaves
// some traces, so they lie close together: less memory than a processor has near at hand.
struct history_block {
    char bytes[64 * 1024];
    size_t used = 0;
};
history_block blocks[2];
int filling; // the block that is filled; the other has what was before

struct levels {
    levels() : history(true)
    {
        const char *off = getenv("VYN_HISTORY");
        history = off == nullptr || strcmp(off, "off") != 0;
        const char *named = getenv("VYN_DEBUG");
        if (named == nullptr)
            return;
        if (strcmp(named, "all") == 0)
            std::fill(std::begin(debug), std::end(debug), true);
        for (const char *at = named; *at != '\0';) {
            char *end = nullptr;
            const unsigned long level = strtoul(at, &end, 10);
            if (end != at && level < std::size(debug))
                debug[level] = true;
            at = end != at ? end : at + 1;
        }
    }
    bool history;
    bool debug[256] = {};
};
const levels wanted;

int wakeup[2] = {-1, -1}; // the signal handler writes to 1, the agent's loop reads from 0

void on_signal(int)
{
    const int saved = errno;
    [[maybe_unused]] const ssize_t written = write(wakeup[1], "", 1);
    errno = saved;
}

void write_line(FILE *file, const record_head &record, const char *recorded)
{
    char when[32], text[vynd::max_escape * longest_text + 1];
    tm local{};
    localtime_r(&record.when.tv_sec, &local);
    strftime(when, sizeof(when), "%Y-%m-%d %H:%M:%S", &local);
    const size_t length = strnlen(recorded, record.length);
    const bool ended = length > 0 && recorded[length - 1] == '\n';
    vynd::escape(text, sizeof(text), {recorded, length - (ended ? 1 : 0)});
    const int milliseconds = static_cast<int>(record.when.tv_nsec / 1'000'000);
    if (file != nullptr)
        fprintf(file, "%s.%03d 0x%X %u %s\n", when, milliseconds, record.type, record.level, text);
    else
        snmp_log(LOG_NOTICE, "vyn history: %s.%03d 0x%X %u %s\n", when, milliseconds, record.type,
                 record.level, text);
}

void write_block(FILE *file, const history_block &block)
{
    record_head record;
    for (size_t at = 0; at < block.used; at += sizeof(record) + record.length) {
        memcpy(&record, block.bytes + at, sizeof(record));
        write_line(file, record, block.bytes + at + sizeof(record));
    }
}

// Null, and a line in the log, when the file cannot be had. Opening a FIFO, or writing to one, must
// not wait for its reader: ENXIO is one without a reader.
FILE *open_history_file(const char *path)
{
    constexpr int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const int fd = open(path, flags, 0600);
    struct stat opened {};
    const bool other =
        fd >= 0 ? fstat(fd, &opened) == 0 && !S_ISREG(opened.st_mode) : errno == ENXIO;
    FILE *file = fd >= 0 && !other ? fdopen(fd, "a") : nullptr;
    if (file != nullptr)
        return file;
    snmp_log(LOG_WARNING, "vyn: cannot write the history to %s: %s\n", path,
             other ? "not a regular file" : strerror(errno));
    if (fd >= 0)
        close(fd);
    return nullptr;
}

void write_history(int fd, void *)
{
    char signals[64];
    while (read(fd, signals, sizeof(signals)) > 0)
        ;
    const char *path = getenv("VYN_HISTORY_FILE");
    FILE *file = path != nullptr && *path != '\0' ? open_history_file(path) : nullptr;
    write_block(file, blocks[1 - filling]);
    write_block(file, blocks[filling]);
    if (file != nullptr)
        fclose(file);
}

class history_signal {
  public:
    history_signal()
    {
        struct sigaction current {};
        if (sigaction(SIGUSR2, nullptr, &current) != 0 ||
            (current.sa_handler != SIG_DFL && current.sa_handler != SIG_IGN) ||
            pipe2(wakeup, O_CLOEXEC | O_NONBLOCK) != 0)
            return;
        if (register_readfd(wakeup[0], write_history, nullptr) != FD_REGISTERED_OK)
            return;
        struct sigaction ours {};
        ours.sa_handler = on_signal;
        ours.sa_flags = SA_RESTART;
        taken_ = sigaction(SIGUSR2, &ours, nullptr) == 0;
    }
    ~history_signal()
    {
        if (taken_)
            signal(SIGUSR2, SIG_IGN);
        if (wakeup[0] < 0)
            return;
        unregister_readfd(wakeup[0]);
        close(wakeup[0]);
        close(wakeup[1]);
    }

  private:
    bool taken_ = false;
} the_signal;

} // namespace
} // namespace vyn_host

using namespace vyn_host;

VYN_EXPORT const char *sdwrap_dbg_modname = "vyn";

VYN_EXPORT int sdwrap_hist_event_subtype_check(u32, u32)
{
    return wanted.history ? 0 : 1;
}

VYN_EXPORT void sdwrap_hist_event(u32 type, u32 length, const void *record)
{
    record_head head;
    if (record == nullptr || length < sizeof(head.level))
        return;
    clock_gettime(CLOCK_REALTIME_COARSE, &head.when); // a few milliseconds are near enough
    head.type = type;
    memcpy(&head.level, record, sizeof(head.level));
    head.length = std::min(length - sizeof(head.level), longest_text);
    history_block *block = &blocks[filling];
    if (sizeof(head) + head.length > sizeof(block->bytes) - block->used) {
        filling = 1 - filling;
        block = &blocks[filling];
        block->used = 0;
    }
    char *const place = block->bytes + block->used;
    memcpy(place, &head, sizeof(head));
    memcpy(place + sizeof(head), static_cast<const char *>(record) + sizeof(head.level),
           head.length);
    block->used += sizeof(head) + head.length;
}

VYN_EXPORT int sdwrap_chk_int(u32 level, int, int, int)
{
    return level < std::size(wanted.debug) && wanted.debug[level];
}

VYN_EXPORT void buginf(int, const char *module, int, const char *format, ...)
{
    char text[1024], printable[vynd::max_escape * sizeof(text) + 1];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    const size_t length = strlen(text);
    const bool ended = length > 0 && text[length - 1] == '\n';
    vynd::escape(printable, sizeof(printable), {text, length - (ended ? 1 : 0)});
    snmp_log(LOG_DEBUG, "%s: %s\n", module, printable);
}
