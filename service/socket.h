// The least that both ends of the socket need: descriptors that close themselves, the address of a
// path, and frames.
//
// A frame is built once, as the bytes of one packet, and is kept like that in queues: an event for
// many subscribers is the same bytes for each. Reading one is left to its receiver, who has to
// judge its length first.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include <sys/un.h>

#include "fabric.h"
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
    ~unique_fd();

    int get() const { return fd_; } // -1: none

  private:
    int fd_;
};

// Returns VYN_SOCKET of the environment, or default_socket if that is empty or not set.
std::string socket_path();

// Throws std::system_error for a path that does not fit.
sockaddr_un address_of(const std::string &path);

// A new SOCK_SEQPACKET socket, non-blocking and closed on exec. Throws std::system_error.
unique_fd make_socket();

// A header of that kind, zero otherwise.
frame_header header_of(frame_kind kind);

bytes make_frame(const frame_header &header, std::span<const uint8_t> payload);

inline std::span<const uint8_t> as_bytes(std::string_view text)
{
    return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

} // namespace vynd
