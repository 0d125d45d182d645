// The socket, the environment that says where it is, and the log lines of an outage.
//
// connect() on a local socket ends at once: it works, or nobody listens, or the queue of those who
// wait to be accepted is full. So a stopped service shows in the greeting, never in connect().

#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "host.h"

namespace vyn_host {

const char *socket_path()
{
    static const char *const path = [] {
        const char *given = getenv("VYN_SOCKET");
        return given != nullptr && *given != '\0' ? given : "/run/vynd/vynd.sock";
    }();
    return path;
}

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

int64_t now_ms()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

static bool troubled[2]; // by party

bool in_trouble(party who)
{
    return troubled[static_cast<int>(who)];
}

void note_trouble(party who, const char *what)
{
    if (!troubled[0] && !troubled[1])
        snmp_log(LOG_WARNING, "vyn: service at %s not available: %s\n", socket_path(), what);
    troubled[static_cast<int>(who)] = true;
}

void note_working(party who)
{
    if (!in_trouble(who))
        return;
    forget_trouble(who);
    if (!troubled[0] && !troubled[1])
        snmp_log(LOG_WARNING, "vyn: service at %s available again\n", socket_path());
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
                 socket_path(), static_cast<int>(budget_ms()));
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
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (strlen(socket_path()) >= sizeof(address.sun_path))
        return fail("the path of the socket is too long");
    strcpy(address.sun_path, socket_path());
    fd_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd_ < 0)
        return fail(strerrordesc_np(errno));
    int result;
    do
        result = connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address));
    while (result < 0 && errno == EINTR);
    timeval longest;
    longest.tv_sec = timeout_ms() / 1000;
    longest.tv_usec = timeout_ms() % 1000 * 1000;
    // From here on what does not wait says so.
    if (result == 0 && fcntl(fd_, F_SETFL, 0) == 0 &&
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof(longest)) == 0)
        return true;
    fail(strerrordesc_np(errno));
    close();
    return false;
}

void connection::close()
{
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
}

pid_t connection::peer() const
{
    ucred process{};
    socklen_t length = sizeof(process);
    getsockopt(fd_, SOL_SOCKET, SO_PEERCRED, &process, &length);
    return process.pid;
}

arrival connection::receive(frame_buffer &frame, int flags)
{
    constexpr size_t room = vynd::largest_frame;
    static_assert(offsetof(frame_buffer, payload) ==
                  offsetof(frame_buffer, header) + sizeof(frame.header));
    // With MSG_TRUNC the length is that of the frame, also where it has more than there is room
    // for.
    const ssize_t length = recv(fd_, &frame.header, room, flags | MSG_TRUNC);
    if (length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
        return arrival::nothing;
    if (length < static_cast<ssize_t>(sizeof(frame.header))) {
        fail(length < 0    ? strerrordesc_np(errno)
             : length == 0 ? "the service has closed the connection"
                           : "the service has sent a frame without header");
        return arrival::lost;
    }
    const size_t taken = std::min(static_cast<size_t>(length), room);
    frame.payload_length = taken - sizeof(frame.header);
    return static_cast<size_t>(length) > room ? arrival::cut : arrival::frame;
}

bool connection::send(const vynd::frame_header &header, const void *payload, size_t length)
{
    static uint8_t frame[vynd::largest_frame];
    memcpy(frame, &header, sizeof(header));
    if (length != 0)
        memcpy(frame + sizeof(header), payload, length);
    ssize_t sent;
    do
        sent = ::send(fd_, frame, sizeof(header) + length, MSG_NOSIGNAL | MSG_DONTWAIT);
    while (sent < 0 && errno == EINTR);
    return sent >= 0 || fail(strerrordesc_np(errno));
}

// With the whole timeout left, receives without a poll: the socket has that timeout. This saves one
// of two system calls, which are most of what a read costs.
arrival connection::await(frame_buffer &frame, int64_t now, int64_t deadline)
{
    arrival got = receive(frame, deadline - now >= timeout_ms() ? 0 : MSG_DONTWAIT);
    while (got == arrival::nothing) {
        const int64_t left = deadline - now_ms();
        if (left <= 0)
            break;
        pollfd readable{fd_, POLLIN, 0};
        if (poll(&readable, 1, static_cast<int>(std::min<int64_t>(left, INT_MAX))) < 0 &&
            errno != EINTR)
            break;
        got = receive(frame, MSG_DONTWAIT);
    }
    return got;
}

} // namespace vyn_host
