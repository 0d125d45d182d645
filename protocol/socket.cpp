#include "socket.h"

#include <poll.h>
#include <sys/un.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace vynd {

const char *socket_path()
{
    const char *path = getenv("VYN_SOCKET");
    return path != nullptr && *path != '\0' ? path : default_socket;
}

// Calls connect() or bind() for a new socket.
template <typename Call> static int make_at(const char *path, unique_fd *made, Call call)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const size_t length = strlen(path);
    if (length == 0 || length >= sizeof(address.sun_path))
        return ENAMETOOLONG; // cut, it would be another path
    memcpy(address.sun_path, path, length);
    unique_fd result(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (result.get() < 0 ||
        call(result.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0)
        return errno;
    *made = std::move(result);
    return 0;
}

int connect_to(const char *path, unique_fd *connected)
{
    return make_at(path, connected, connect);
}

int bind_to(const char *path, unique_fd *bound)
{
    return make_at(path, bound, bind);
}

int64_t now_ms()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

received await_frame(int socket, void *frame, int64_t deadline)
{
    for (;;) {
        const int64_t left = deadline - now_ms();
        if (left <= 0)
            return {arrival::nothing, 0, 0};
        pollfd readable{socket, POLLIN, 0};
        if (poll(&readable, 1, static_cast<int>(std::min<int64_t>(left, INT_MAX))) < 0 &&
            errno != EINTR)
            return {arrival::nothing, 0, 0};
        const received got = receive_frame(socket, frame, MSG_DONTWAIT);
        if (got.what != arrival::nothing)
            return got;
    }
}

} // namespace vynd
