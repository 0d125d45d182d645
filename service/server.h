// The server: one thread, one poll() loop, all connections.
//
// No client can hold up another: a frame that the socket does not take waits in a queue of its
// connection for POLLOUT. Queues are bounded: a client that sends requests without reading the
// replies is no longer read from, and a subscriber that does not read its events is disconnected.
// A client that is alone in sending, as during a walk, is served without a poll, but only for a
// moment. A stalled server looks like a stopped process from outside: it leaves everything that is
// not a command in the socket, in order, and finds it there when the stall ends.
#pragma once

#include <deque>
#include <list>
#include <set>
#include <string>

#include <sys/types.h>

#include "fabric.h"
#include "faults.h"
#include "log.h"
#include "socket.h"

namespace vynd {

class server {
  public:
    // Listens at `path`, which only its owner can use. Replaces a socket that nobody serves any
    // more; throws std::system_error when somebody does, or when something else is there.
    server(std::string path, fabric &model, event_log &log);
    ~server();
    server(const server &) = delete;
    server &operator=(const server &) = delete;

    // Serves what has happened, and waits for something to happen first unless told not to. False
    // when `stop` is readable; -1 for none.
    bool step(int stop, bool wait = true);

  private:
    struct outgoing {
        bytes frame;
        time_point due{}; // of a reply
    };
    using queue = std::deque<outgoing>;

    // The frames of one queue leave in its order, so only its first one matters.
    struct connection {
        size_t waiting() const { return answers.size() + events.size() + replies.size(); }

        unique_fd socket;
        uint32_t number;
        queue answers;         // to commands: sent during a stall too
        queue events;          // and the greeting, which comes first
        queue replies;         // in the order in which they are due
        time_point last_due{}; // of a reply: no reply overtakes another
        std::set<uint32_t> subscriptions;
        bool parked = false; // has something to say that waits for the end of a stall
        bool closed = false;
    };

    int timeout(time_point now) const;
    queue *sendable(connection &client, time_point now) const;
    short wanted(connection &client, time_point now) const;
    void accept_one(time_point now);
    time_point advance();
    bool is_quiet(time_point now) const;
    void serve_in_a_row(connection &client);
    void remove_closed();
    bool receive(connection &client, int flags);
    void take_frame(connection &client, std::span<const uint8_t> frame, time_point now);
    void serve(connection &client, const frame_header &header, std::span<const uint8_t> record,
               time_point now);
    void subscribe(connection &client, uint32_t opcode);
    void command(connection &client, const frame_header &header, std::string_view line,
                 time_point now);
    size_t post(const event &posted, time_point now);
    void enqueue(connection &client, queue connection::*where, outgoing frame, time_point now);
    void flush(connection &client, time_point now);
    bool transmit(connection &client, const bytes &frame);
    void abandon(connection &client, const std::string &reason);

    std::string path_;
    fabric &model_;
    event_log &log_;
    fault_board faults_;
    unique_fd listener_;
    dev_t device_ = 0; // of the socket file, to remove no other
    ino_t inode_ = 0;
    std::list<connection> connections_;
    uint32_t last_number_ = 0;
    time_point accept_again_{}; // set while descriptors are used up
    uint32_t was_alone_ = 0;    // the connection that alone had sent something before the last step
};

} // namespace vynd
