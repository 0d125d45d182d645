// The event history and the debug output.
//
// The history is a ring in memory of the last traces of the module, there for the day on which
// something has already gone wrong: SIGUSR2 (which the agent has no use for) has it written out, to
// $VYN_HISTORY_FILE or else to the agent's log. VYN_HISTORY=off turns it off. VYN_DEBUG names the
// levels ("100,101", or "all") that also go to the agent's log as they happen.
//
// The history begins anew when the agent loads the library again, at each SIGHUP.
//
// Both are asked about on every read of every object, so the environment is read once, at load.
//
// The signal handler only wakes up the agent's loop; the writing is done there. It takes the signal
// only when nobody else has it, and leaves it ignored: between unloading and loading again, the
// system's default would end the agent.

#include <bitset>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "host.h"
#include "sdwrap.h"

namespace vyn_host {
namespace {

struct event_record {
    timespec when;
    u32 type;
    u32 level;
    char text[512];
};

constexpr size_t ring_size = 1024;
event_record ring[ring_size];
uint64_t recorded; // since load; the next one goes to this place, modulo the size

struct levels {
    levels() : history(true)
    {
        const char *off = getenv("VYN_HISTORY");
        history = off == nullptr || strcmp(off, "off") != 0;
        const char *named = getenv("VYN_DEBUG");
        if (named == nullptr)
            return;
        if (strcmp(named, "all") == 0)
            debug.set();
        for (const char *at = named; *at != '\0';) {
            char *end = nullptr;
            const unsigned long level = strtoul(at, &end, 10);
            if (end != at && level < debug.size())
                debug.set(level);
            at = end != at ? end : at + 1;
        }
    }
    bool history;
    std::bitset<256> debug;
};
const levels wanted;

int wakeup[2] = {-1, -1}; // the signal handler writes to 1, the agent's loop reads from 0

void on_signal(int)
{
    const int saved = errno;
    [[maybe_unused]] const ssize_t written = write(wakeup[1], "", 1);
    errno = saved;
}

void write_line(FILE *file, const event_record &record)
{
    char when[32], text[4 * sizeof(record.text) + 1];
    tm local{};
    localtime_r(&record.when.tv_sec, &local);
    strftime(when, sizeof(when), "%Y-%m-%d %H:%M:%S", &local);
    const size_t length = strlen(record.text);
    const bool ended = length > 0 && record.text[length - 1] == '\n';
    copy_printable(text, sizeof(text), record.text, length - (ended ? 1 : 0));
    const int milliseconds = static_cast<int>(record.when.tv_nsec / 1'000'000);
    if (file != nullptr)
        fprintf(file, "%s.%03d 0x%X %u %s\n", when, milliseconds, record.type, record.level, text);
    else
        snmp_log(LOG_NOTICE, "vyn history: %s.%03d 0x%X %u %s\n", when, milliseconds, record.type,
                 record.level, text);
}

FILE *open_history_file(const char *path)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600);
    FILE *file = fd >= 0 ? fdopen(fd, "a") : nullptr;
    if (file != nullptr)
        return file;
    snmp_log(LOG_WARNING, "vyn: cannot write the history to %s: %s\n", path, strerror(errno));
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
    for (uint64_t i = recorded > ring_size ? recorded - ring_size : 0; i < recorded; i++)
        write_line(file, ring[i % ring_size]);
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
    event_record &place = ring[recorded % ring_size];
    if (record == nullptr || length < sizeof(place.level))
        return;
    clock_gettime(CLOCK_REALTIME_COARSE, &place.when); // a few milliseconds are near enough
    place.type = type;
    memcpy(&place.level, record, sizeof(place.level));
    size_t text = length - sizeof(place.level);
    if (text > sizeof(place.text) - 1)
        text = sizeof(place.text) - 1;
    memcpy(place.text, static_cast<const char *>(record) + sizeof(place.level), text);
    place.text[text] = '\0';
    recorded++;
}

VYN_EXPORT int sdwrap_chk_int(u32 level, int, int, int)
{
    return level < wanted.debug.size() && wanted.debug[level];
}

VYN_EXPORT void buginf(int, const char *module, int, const char *format, ...)
{
    char text[1024], printable[4 * sizeof(text) + 1];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    const size_t length = strlen(text);
    const bool ended = length > 0 && text[length - 1] == '\n';
    copy_printable(printable, sizeof(printable), text, length - (ended ? 1 : 0));
    snmp_log(LOG_DEBUG, "%s: %s\n", module, printable);
}
