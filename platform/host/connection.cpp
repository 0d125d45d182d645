// The socket, the environment that says where it is, and the log lines of an outage.
//
// connect() on a local socket ends at once: it works, or nobody listens, or the queue of those who
// wait to be accepted is full. So a stopped service shows in the greeting, never in connect().

#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "host.h"

namespace vyn_host {

static int64_t milliseconds_from(const char *variable, long usual)
{
    constexpr long most = 60'000;
    const char *given = getenv(variable);
    if (given == nullptr)
        return usual;
    char *end = nullptr;
    errno = 0;
    const long value = strtol(given, &end, 10);
    if (end != given && *end == '\0' && errno == 0 && value >= 1 && value <= most)
        return value;
    snmp_log(LOG_WARNING, "vyn: %s is not a number from 1 to %ld; using %ld\n", variable, most,
             usual);
    return usual;
}

int64_t timeout_ms()
{
    static const int64_t timeout = milliseconds_from("VYN_TIMEOUT_MS", 1000);
    return timeout;
}

int64_t budget_ms()
{
    static const int64_t budget = std::max(milliseconds_from("VYN_BUDGET_MS", 2000), timeout_ms());
    return budget;
}

int64_t give_up_after_ms()
{
    return 3 * timeout_ms();
}

static bool troubled[2]; // by party

bool in_trouble(party who)
{
    return troubled[static_cast<int>(who)];
}

void note_trouble(party who, const char *what)
{
    if (!troubled[0] && !troubled[1])
        snmp_log(LOG_WARNING, "vyn: service at %s not available: %s\n", vynd::socket_path(), what);
    troubled[static_cast<int>(who)] = true;
}

void note_working(party who)
{
    if (!in_trouble(who))
        return;
    forget_trouble(who);
    if (!troubled[0] && !troubled[1])
        snmp_log(LOG_WARNING, "vyn: service at %s available again\n", vynd::socket_path());
}

void forget_trouble(party who)
{
    troubled[static_cast<int>(who)] = false;
}

void note_slow()
{
    constexpr int64_t minute = 60'000;
    static int64_t silent_until = INT64_MIN;
    const int64_t now = now_ms();
    if (now >= silent_until)
        snmp_log(LOG_WARNING,
                 "vyn: service at %s is slow: SNMP requests that wait longer than %d ms for it get "
                 "genErr\n",
                 vynd::socket_path(), static_cast<int>(budget_ms()));
    silent_until = now + minute;
}

bool connection::fail(const char *trouble)
{
    trouble_ = trouble;
    return false;
}

bool connection::open()
{
    close();
    const int error = vynd::connect_to(vynd::socket_path(), &socket_);
    if (error != 0)
        return fail(error == ENAMETOOLONG ? "the path of the socket is too long"
                                          : strerrordesc_np(error));
    timeval timeout;
    timeout.tv_sec = timeout_ms() / 1000;
    timeout.tv_usec = timeout_ms() % 1000 * 1000;
    // From here on calls block unless they pass MSG_DONTWAIT.
    if (fcntl(fd(), F_SETFL, 0) == 0 &&
        setsockopt(fd(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout)) == 0)
        return true;
    fail(strerrordesc_np(errno));
    close();
    return false;
}

pid_t connection::peer() const
{
    ucred process{};
    socklen_t length = sizeof(process);
    getsockopt(fd(), SOL_SOCKET, SO_PEERCRED, &process, &length);
    return process.pid;
}

arrival connection::take(vynd::received got, frame_buffer &frame)
{
    static_assert(offsetof(frame_buffer, payload) ==
                  offsetof(frame_buffer, header) + sizeof(frame.header));
    if (got.what == arrival::lost)
        fail(got.error != 0    ? strerrordesc_np(got.error)
             : got.length == 0 ? "the service has closed the connection"
                               : "the service has sent a frame without header");
    else if (got.what != arrival::nothing)
        frame.payload_length = std::min(got.length, vynd::largest_frame) - sizeof(frame.header);
    return got.what;
}

bool connection::send(const vynd::frame_header &header, const void *payload, size_t length)
{
    static uint8_t frame[vynd::largest_frame];
    memcpy(frame, &header, sizeof(header));
    if (length != 0)
        memcpy(frame + sizeof(header), payload, length);
    const int error = vynd::send_frame(fd(), {frame, sizeof(header) + length});
    return error == 0 || fail(strerrordesc_np(error));
}

// With the full timeout left, blocks in the first receive (SO_RCVTIMEO): one system call instead of
// two, which are most of what a read costs.
arrival connection::await(frame_buffer &frame, int64_t now, int64_t deadline)
{
    const int flags = deadline - now >= timeout_ms() ? 0 : MSG_DONTWAIT;
    vynd::received got = vynd::receive_frame(fd(), &frame.header, flags);
    if (got.what == arrival::nothing)
        got = vynd::await_frame(fd(), &frame.header, deadline);
    return take(got, frame);
}

} // namespace vyn_host
