// connect() on a local socket never waits: it works, or nobody listens, or the queue of clients
// that wait to be accepted is full. So a stopped service shows in the greeting, not in connect().

#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>

#include "settings.h"

namespace vyn_host {

// Header and payload are sent and received as one.
static_assert(offsetof(frame_buffer, payload) ==
              offsetof(frame_buffer, header) + sizeof(vynd::frame_header));

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
    if (got.what == arrival::lost)
        fail(got.error != 0    ? strerrordesc_np(got.error)
             : got.length == 0 ? "the service has closed the connection"
                               : "the service has sent a frame without header");
    else if (got.what != arrival::nothing)
        frame.payload_length = std::min(got.length, vynd::largest_frame) - sizeof(frame.header);
    return got.what;
}

bool connection::send(std::span<const uint8_t> frame)
{
    const int error = vynd::send_frame(fd(), frame);
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
