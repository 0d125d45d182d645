// Used by both ends of the socket: descriptors that close themselves, the address, and whole
// frames.
//
// Errors are returned as errno values, and nothing throws except make_frame, which may run out of
// memory: the platform must not let an exception reach the agent. One frame is one packet, so there
// is no part of a frame to keep. A packet that is too long loses its end but not its header.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#include "vynd_protocol.h"

namespace vynd {

class unique_fd {
  public:
    explicit unique_fd(int fd = -1) : fd_(fd) {}
    unique_fd(unique_fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    unique_fd &operator=(unique_fd &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~unique_fd() { reset(); }

    int get() const { return fd_; } // -1: none
    int release() { return std::exchange(fd_, -1); }
    void reset()
    {
        if (fd_ >= 0)
            close(fd_);
        fd_ = -1;
    }

  private:
    int fd_;
};

// Returns VYN_SOCKET of the environment, or default_socket if that is empty or not set.
const char *socket_path();

// Connects a new socket to a path, or binds it there. The socket is non-blocking. Returns 0 or an
// error: ENAMETOOLONG if the path has no address. A local connect never waits: EAGAIN is a full
// backlog.
int connect_to(const char *path, unique_fd *connected);
int bind_to(const char *path, unique_fd *bound);

// Returns milliseconds of the monotonic clock.
int64_t now_ms();

enum class arrival {
    nothing, // no frame yet
    frame,
    cut, // too long: the header and the beginning of the payload
    lost // the other end has closed the connection, or has sent a packet without a header
};

struct received {
    arrival what;
    int error;     // lost: why, or 0
    size_t length; // of the packet, also of one that was cut
};

// Receives the next frame into `frame`, which has room for largest_frame bytes. Waits as the socket
// does, unless `flags` has MSG_DONTWAIT. Inline, as send_frame: both are part of every read.
inline received receive_frame(int socket, void *frame, int flags)
{
    // With MSG_TRUNC the length is that of the packet, also if it is longer than the room for it.
    const ssize_t length = recv(socket, frame, largest_frame, flags | MSG_TRUNC);
    const auto size = static_cast<size_t>(length);
    if (length >= static_cast<ssize_t>(sizeof(frame_header)))
        return {size > largest_frame ? arrival::cut : arrival::frame, 0, size};
    if (length >= 0)
        return {arrival::lost, 0, size};
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
        return {arrival::nothing, 0, 0};
    return {arrival::lost, errno, 0};
}

// Waits for a frame until the deadline, a time of now_ms(), and receives it.
received await_frame(int socket, void *frame, int64_t deadline);

// Sends a frame without waiting. Returns 0 or an error: EAGAIN if the socket has no room for it.
inline int send_frame(int socket, std::span<const uint8_t> frame)
{
    ssize_t sent;
    do
        sent = send(socket, frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    while (sent < 0 && errno == EINTR);
    return sent < 0 ? errno : 0;
}

inline std::vector<uint8_t> make_frame(const frame_header &header, std::span<const uint8_t> payload)
{
    const auto *head = reinterpret_cast<const uint8_t *>(&header);
    std::vector<uint8_t> frame;
    frame.reserve(sizeof(header) + payload.size());
    frame.assign(head, head + sizeof(header));
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

inline std::span<const uint8_t> as_bytes(std::string_view text)
{
    return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

} // namespace vynd
