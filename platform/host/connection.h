// A connection to the service: frames in, frames out, and what to say about it in the agent's log.
//
// The socket is at $VYN_SOCKET; a request may take $VYN_TIMEOUT_MS milliseconds. Both are read when
// they are first needed. Nothing here waits but await(). Frames are packets: one receive is one
// frame, and a frame that is too large for its buffer has lost its end but not its header.
//
// An outage begins with the first failure of either connection and ends when neither is failing;
// its begin and its end are one line each in the log, however many requests fail between them.
#pragma once

#include <cstdint>

#include <sys/types.h>

#include "socket.h"

namespace vyn_host {

using vynd::arrival, vynd::now_ms;

int64_t timeout_ms();

// A connection that is silent when it should not be is given up after so many milliseconds; not
// sooner, because every abandoned one leaves a stalled service something to do.
int64_t give_up_after_ms();

// The two connections of the agent, as parties to an outage.
enum class party { requests, events };
void note_trouble(party who, const char *what);
void note_working(party who);
bool in_trouble(party who);
void forget_trouble(party who); // it has no more interest in the service

// Logs that a budget was used up, unless one was within the last minute.
void note_slow();

// Handlers of events get the payload without its length: there is room for so much behind its end.
inline constexpr size_t room_behind = 512;

struct frame_buffer {
    size_t payload_length; // in front, near to what every frame has
    vynd::frame_header header;
    uint8_t payload[vynd::largest_frame - sizeof(vynd::frame_header) + room_behind];

    bool is(vynd::frame_kind kind) const { return header.kind == static_cast<uint32_t>(kind); }
    // The greeting of a service that speaks this protocol.
    bool is_greeting() const
    {
        return is(vynd::frame_kind::greeting) && header.status == vynd::protocol_version;
    }
};

class connection {
  public:
    // Connects, at once or not at all.
    bool open();
    void close() { socket_.reset(); }
    bool is_open() const { return socket_.get() >= 0; }
    int fd() const { return socket_.get(); }

    // The process that listened when the connection was made, also when it has ended since.
    pid_t peer() const;

    // The next frame that has arrived. cut: only its header is whole. lost: the connection is of no
    // more use; the caller closes it.
    arrival receive(frame_buffer &frame)
    {
        return take(vynd::receive_frame(fd(), &frame.header, MSG_DONTWAIT), frame);
    }

    // Receives the next frame. Waits for it from now until the deadline at most.
    arrival await(frame_buffer &frame, int64_t now, int64_t deadline);

    // False: the frame has not been sent, and the connection is of no more use.
    bool send(const vynd::frame_header &header, const void *payload, size_t length);

    // Why the last open, receive or send failed.
    const char *trouble() const { return trouble_; }
    void set_trouble(const char *trouble) { trouble_ = trouble; }

  private:
    arrival take(vynd::received got, frame_buffer &frame);
    bool fail(const char *trouble);

    vynd::unique_fd socket_;
    const char *trouble_ = "";
};

} // namespace vyn_host
