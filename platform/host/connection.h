// A connection to the service at $VYN_SOCKET: frames in, frames out, and the reason of a failure.
//
// Only await() waits. A failure is reported once, by the call that meets it; the caller then closes
// the connection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <sys/types.h>

#include "socket.h"

namespace vyn_host {

using vynd::arrival, vynd::now_ms;

// Zero bytes after a payload, because handlers of events do not get its length.
inline constexpr size_t payload_padding = 512;

struct frame_buffer {
    static constexpr size_t max_payload = vynd::largest_frame - sizeof(vynd::frame_header);

    size_t payload_length; // first, so that it is near to the header
    vynd::frame_header header;
    uint8_t payload[max_payload + payload_padding];

    std::span<const uint8_t> bytes() const
    {
        return {reinterpret_cast<const uint8_t *>(&header), sizeof(header) + payload_length};
    }
    bool is(vynd::frame_kind kind) const { return header.kind == static_cast<uint32_t>(kind); }
    // Reports whether it is the greeting of a service that speaks this protocol.
    bool is_greeting() const
    {
        return is(vynd::frame_kind::greeting) && header.status == vynd::protocol_version;
    }
};

class connection {
  public:
    // Connects, without waiting.
    bool open();
    void close() { socket_.reset(); }
    bool is_open() const { return socket_.get() >= 0; }
    int fd() const { return socket_.get(); }

    // Returns the process that listened when the connection was made, even if it has ended since.
    pid_t peer() const;

    // Receives the next frame that has arrived.
    arrival receive(frame_buffer &frame)
    {
        return take(vynd::receive_frame(fd(), &frame.header, MSG_DONTWAIT), frame);
    }

    // Receives the next frame. Waits from now until the deadline at most.
    arrival await(frame_buffer &frame, int64_t now, int64_t deadline);

    // Returns false if the frame has not been sent.
    bool send(std::span<const uint8_t> frame);

    // Returns the reason of the last failure.
    const char *trouble() const { return trouble_; }
    void set_trouble(const char *trouble) { trouble_ = trouble; }

  private:
    arrival take(vynd::received got, frame_buffer &frame);
    bool fail(const char *trouble);

    vynd::unique_fd socket_;
    const char *trouble_ = "";
};

} // namespace vyn_host
