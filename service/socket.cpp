// Sockets and frames for both ends.
//
// The address of a socket takes 107 characters of path at most, and silently cutting a longer one
// would listen, or connect, somewhere else. So that is an error, and is reported with the path.
// What else fails here is the system's refusal, thrown as it came.
#include "socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace vynd {

unique_fd::~unique_fd()
{
    if (fd_ >= 0)
        close(fd_);
}

std::string socket_path()
{
    const char *path = std::getenv("VYN_SOCKET");
    return path && *path ? path : default_socket;
}

sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

unique_fd make_socket()
{
    unique_fd result(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (result.get() < 0)
        throw std::system_error(errno, std::generic_category(), "socket");
    return result;
}

frame_header header_of(frame_kind kind)
{
    frame_header header{};
    header.kind = static_cast<uint32_t>(kind);
    return header;
}

bytes make_frame(const frame_header &header, std::span<const uint8_t> payload)
{
    const auto *head = reinterpret_cast<const uint8_t *>(&header);
    bytes frame;
    frame.reserve(sizeof header + payload.size());
    frame.assign(head, head + sizeof header);
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

} // namespace vynd
