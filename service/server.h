// The server: one thread, one poll() loop, all connections.
//
// No client can block another: a frame that does not fit the socket waits in a queue of its
// connection for POLLOUT. Queues are bounded: the server stops reading from a client that does not
// read its replies, and disconnects a subscriber that does not read its events. It serves the only
// client that sends, as during a walk, without a poll, but only for a moment. A stalled server
// looks like a stopped process: it leaves all frames but commands in the socket, in order, until
// the stall ends.
#pragma once

#include <deque>
#include <list>
#include <set>
#include <string>

#include "fabric.h"
#include "faults.h"
#include "listener.h"
#include "log.h"
#include "socket.h"

namespace vynd {

class server {
  public:
    // Listens at `path`. Throws like the listener.
    server(std::string path, fabric &model, event_log &log);

    // Serves all that is ready, with `wait` after waiting for something. Returns false if the
    // descriptor `stop` is readable; -1 is none.
    bool step(int stop, bool wait = true);

  private:
    struct outgoing {
        bytes frame;
        time_point due{}; // of a reply
    };
    using queue = std::deque<outgoing>;

    // The frames of a queue are sent in order, so only the first one matters.
    struct connection {
        size_t waiting() const { return answers.size() + events.size() + replies.size(); }

        unique_fd socket;
        uint32_t number;
        queue answers;         // to commands: also sent during a stall
        queue events;          // and the greeting, which comes first
        queue replies;         // in the order of their due times
        time_point last_due{}; // of a reply: no reply overtakes another
        std::set<uint32_t> subscriptions;
        bool parked = false; // has sent a frame that waits for the end of a stall
        bool closed = false;
    };

    int timeout(time_point now) const;
    queue *sendable(connection &client, time_point now) const;
    short poll_events(connection &client, time_point now) const;
    void accept_one(time_point now);
    time_point advance();
    bool is_quiet(time_point now) const;
    void serve_run(connection &client);
    void remove_closed();
    bool receive(connection &client, int flags);
    void take_frame(connection &client, std::span<const uint8_t> frame, time_point now);
    void serve(connection &client, const frame_header &header, std::span<const uint8_t> record,
               time_point now);
    void subscribe(connection &client, uint32_t opcode);
    void command(connection &client, const frame_header &header, std::string_view line,
                 time_point now);
    size_t post(const event &posted, time_point now);
    void enqueue(connection &client, queue connection::*member, outgoing frame, time_point now);
    void flush(connection &client, time_point now);
    bool transmit(connection &client, const bytes &frame);
    void abandon(connection &client, const std::string &reason);

    fabric &model_;
    event_log &log_;
    fault_board faults_;
    listener listener_;
    std::list<connection> connections_;
    uint32_t last_number_ = 0;
    time_point accept_again_{};     // set while no descriptors are free
    uint32_t last_sole_sender_ = 0; // the only client that sent in the last step, or 0
};

} // namespace vynd
