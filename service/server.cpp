// The poll loop, and the frames of clients.
//
// A malformed frame ends its sender's connection and is logged. During a stall a frame is peeked at
// before it is received, because commands must be received and other frames left.
#include "server.h"

#include <malloc.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <system_error>

#include "commands.h"
#include "dispatcher.h"

namespace vynd {

namespace {

constexpr size_t max_answers = 64;       // queued for a client that does not read them
constexpr size_t max_events = 10'000;    // queued for a subscriber that does not read them
constexpr size_t max_subscriptions = 64; // of one connection
constexpr size_t max_sent = 64;          // from the queues of one connection, in one step
constexpr std::chrono::milliseconds accept_pause{100};

// A client that sends one request after the other, as a walk does, is served in a run without
// polls, which saves a tenth of a read's time. Others wait meanwhile, so a run ends after 2 ms, or
// at a pause over 1 ms (at most two clock ticks: 8 ms at 250 Hz).
constexpr std::chrono::milliseconds max_run{2};
constexpr timeval max_pause{0, 1000};

[[noreturn]] void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

// Applies the faults to the reply of a request that succeeded.
void distort(bytes &reply, const active_faults &faults)
{
    if (const auto query_type = faults.value(fault::wrong_query); query_type && reply.size() >= 4) {
        const be32 word = *query_type;
        std::memcpy(reply.data(), &word, sizeof(word));
    }
    if (const auto size = faults.value(fault::oversize))
        reply.resize(std::max<size_t>(reply.size(), *size));
    if (const auto size = faults.value(fault::shorten))
        reply.resize(std::min<size_t>(reply.size(), *size));
    if (faults.value(fault::empty))
        reply.clear();
}

} // namespace

server::server(std::string path, fabric &model, event_log &log)
    : model_(model), log_(log), listener_(std::move(path))
{
}

// Returns the queue whose first frame may be sent now, or null.
server::queue *server::sendable(connection &client, time_point now) const
{
    if (!client.answers.empty())
        return &client.answers;
    if (faults_.stalled())
        return nullptr;
    if (!client.events.empty())
        return &client.events;
    return !client.replies.empty() && client.replies.front().due <= now ? &client.replies : nullptr;
}

short server::poll_events(connection &client, time_point now) const
{
    const bool read = !client.parked && client.answers.size() + client.replies.size() < max_answers;
    return static_cast<short>((read ? POLLIN : 0) |
                              (sendable(client, now) != nullptr ? POLLOUT : 0));
}

// Returns the milliseconds until the next timed change, reply or retry to accept, or -1 if there is
// none. Rounds up, so that the loop never spins.
int server::timeout(time_point now) const
{
    time_point next = time_point::max();
    const auto at = [&](time_point when) {
        if (when > now)
            next = std::min(next, when);
    };
    at(accept_again_);
    if (const auto change = model_.next_change())
        next = std::min(next, std::max(*change, now));
    for (const connection &client : connections_)
        if (!client.replies.empty())
            at(client.replies.front().due);
    if (next == time_point::max())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
    return static_cast<int>(std::min<int64_t>(left, INT_MAX));
}

bool server::step(int stop, bool wait)
{
    time_point now = std::chrono::steady_clock::now();
    std::vector<pollfd> polled = {{accept_again_ <= now ? listener_.get() : -1, POLLIN, 0},
                                  {stop, POLLIN, 0}};
    for (connection &client : connections_) {
        client.parked = client.parked && faults_.stalled();
        const short events = poll_events(client, now);
        // The hang-up of a parked client waits for the end of the stall, like its frames.
        polled.push_back({events || !client.parked ? client.socket.get() : -1, events, 0});
    }
    const int ready = poll(polled.data(), polled.size(), wait ? timeout(now) : 0);
    if (ready < 0 && errno != EINTR)
        fail("poll");

    now = advance();
    uint32_t sole_sender = 0;
    auto it = polled.begin() + 2;
    for (connection &client : connections_) {
        const auto &[fd, events, revents] = *it++;
        if (revents & (POLLOUT | POLLHUP | POLLERR))
            flush(client, now);
        client.closed |= (events & POLLIN) == 0 && (revents & (POLLHUP | POLLERR)) != 0;
        if ((events & POLLIN) && (revents & (POLLIN | POLLHUP | POLLERR)) && !client.closed &&
            receive(client, MSG_DONTWAIT) && ready == 1) {
            sole_sender = client.number;
            if (sole_sender == last_sole_sender_)
                serve_run(client);
        }
    }
    last_sole_sender_ = sole_sender;
    if (polled[0].revents)
        accept_one(now);
    remove_closed();
    return polled[1].revents == 0;
}

// Ends all that is due in the fabric, and returns the time.
time_point server::advance()
{
    const time_point now = std::chrono::steady_clock::now();
    for (const event &posted : model_.advance(now))
        post(posted, now);
    return now;
}

// Reports whether no stall, delayed reply, timed change or accept retry is pending.
bool server::is_quiet(time_point now) const
{
    return !faults_.stalled() && timeout(now) < 0;
}

void server::serve_run(connection &client)
{
    time_point now = std::chrono::steady_clock::now();
    const time_point end = now + max_run;
    while (now < end && is_quiet(now) && poll_events(client, now) == POLLIN && receive(client, 0))
        now = std::chrono::steady_clock::now();
}

void server::remove_closed()
{
    size_t unsent = 0;
    connections_.remove_if([&](const connection &client) {
        unsent += client.closed ? client.waiting() : 0;
        return client.closed;
    });
    // Without this the allocator keeps freed memory below a block that is in use.
    if (unsent > 0)
        malloc_trim(0);
}

void server::accept_one(time_point now)
{
    unique_fd socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (socket.get() < 0) {
        if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED)
            return;
        // Out of descriptors or memory: the client stays in the backlog until some are free.
        if (accept_again_ == time_point())
            log_.line(std::string("cannot accept: ") + std::strerror(errno));
        accept_again_ = now + accept_pause;
        return;
    }
    if (setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &max_pause, sizeof(max_pause)) != 0)
        fail("SO_RCVTIMEO");
    accept_again_ = {};
    connection &client = connections_.emplace_back();
    client.socket = std::move(socket);
    last_number_++;
    client.number = last_number_;
    frame_header greeting = header_of(frame_kind::greeting);
    greeting.status = protocol_version;
    enqueue(client, &connection::events, {make_frame(greeting, {})}, now);
}

// Receives one frame. Reports whether there was one and the connection is still open.
bool server::receive(connection &client, int flags)
{
    be32 kind;
    if (faults_.stalled() &&
        recv(client.socket.get(), &kind, sizeof(kind), MSG_PEEK | MSG_DONTWAIT) == sizeof(kind) &&
        kind != static_cast<uint32_t>(frame_kind::command)) {
        client.parked = true;
        return false;
    }
    static uint8_t buffer[largest_frame];
    const received got = receive_frame(client.socket.get(), buffer, flags);
    if (got.what == arrival::frame)
        take_frame(client, {buffer, got.length}, advance());
    else if (got.error != 0)
        abandon(client, std::strerror(got.error));
    else if (got.length != 0)
        abandon(client, "frame of " + std::to_string(got.length) + " bytes");
    else if (got.what == arrival::lost)
        client.closed = true;
    return got.what == arrival::frame && !client.closed;
}

void server::take_frame(connection &client, std::span<const uint8_t> frame, time_point now)
{
    frame_header header;
    std::memcpy(&header, frame.data(), sizeof(header));
    if (std::memchr(header.user, 0, sizeof(header.user)) == nullptr)
        return abandon(client, "user is not NUL-terminated");
    const std::span<const uint8_t> payload = frame.subspan(sizeof(header));

    switch (static_cast<frame_kind>(uint32_t{header.kind})) {
    case frame_kind::request: return serve(client, header, payload, now);
    case frame_kind::subscribe: return subscribe(client, header.opcode);
    case frame_kind::command:
        return command(client, header,
                       {reinterpret_cast<const char *>(payload.data()), payload.size()}, now);
    default: return abandon(client, "frame of kind " + std::to_string(header.kind));
    }
}

void server::serve(connection &client, const frame_header &header, std::span<const uint8_t> record,
                   time_point now)
{
    const std::string_view user = reinterpret_cast<const char *>(header.user);
    const request received{header.opcode, header.msg_type, record, user};
    const active_faults faults = faults_.meet_request();
    const auto log_request = [&](const std::string &end) {
        if (log_.wants_requests())
            log_.line("request " + describe(received) + " user \"" + escaped(user) + "\" session " +
                      std::to_string(header.session) + " -> " + end + faults.text());
    };
    if (faults.value(fault::disconnect)) {
        log_request("nothing");
        client.closed = true;
        return;
    }
    outcome result;
    if (const auto code = faults.value(fault::error))
        result.status = *code;
    else
        result = answer(model_, received, now);
    log_request(code_text(result.status) + (result.note.empty() ? "" : " " + result.note));
    if (faults.value(fault::drop))
        return;
    if (result.status == 0)
        distort(result.reply, faults);

    frame_header reply = header_of(frame_kind::reply);
    reply.sequence = header.sequence;
    reply.opcode = header.opcode;
    reply.status = result.status;
    const auto delay = std::chrono::milliseconds(faults.value(fault::delay).value_or(0));
    client.last_due = std::max(client.last_due, now + delay);
    enqueue(client, &connection::replies, {make_frame(reply, result.reply), client.last_due}, now);
}

void server::subscribe(connection &client, uint32_t opcode)
{
    if (client.subscriptions.size() == max_subscriptions)
        return abandon(client, "too many subscriptions");
    client.subscriptions.insert(opcode);
    log_.line("subscribe " + std::to_string(opcode));
}

void server::command(connection &client, const frame_header &header, std::string_view line,
                     time_point now)
{
    const auto post_now = [&](const event &posted) { return post(posted, now); };
    const command_answer result = run_command(line, {model_, faults_, now, post_now});
    log_.line("command \"" + escaped(line.substr(0, 512)) + "\" -> " +
              (result.done ? "done" : "refused: " + escaped(result.text)));
    frame_header reply = header_of(frame_kind::answer);
    reply.sequence = header.sequence;
    reply.status = result.done ? 0 : 1;
    enqueue(client, &connection::answers, {make_frame(reply, as_bytes(result.text))}, now);
}

size_t server::post(const event &posted, time_point now)
{
    frame_header header = header_of(frame_kind::event);
    header.opcode = posted.opcode;
    const bytes frame = make_frame(header, posted.payload);
    size_t subscribers = 0;
    for (connection &client : connections_) {
        if (client.closed || !client.subscriptions.contains(posted.opcode))
            continue;
        if (client.events.size() == max_events) {
            abandon(client, std::to_string(max_events) + " events not read");
            continue;
        }
        subscribers++;
        enqueue(client, &connection::events, {frame}, now);
    }
    log_.line("event " + std::to_string(posted.opcode) + " " + posted.text + " -> " +
              std::to_string(subscribers) + (subscribers == 1 ? " subscriber" : " subscribers"));
    return subscribers;
}

void server::enqueue(connection &client, queue connection::*member, outgoing frame, time_point now)
{
    (client.*member).push_back(std::move(frame));
    if ((client.*member).size() == 1)
        flush(client, now);
}

void server::flush(connection &client, time_point now)
{
    for (size_t sent = 0; sent < max_sent && !client.closed; sent++) {
        queue *const next = sendable(client, now);
        if (next == nullptr || !transmit(client, next->front().frame))
            return;
        next->pop_front();
    }
}

// Returns false if the socket has no room yet. Else the frame is done with, sent or not.
bool server::transmit(connection &client, const bytes &frame)
{
    const int error = send_frame(client.socket.get(), frame);
    if (error == EAGAIN)
        return false;
    if (error == EMSGSIZE)
        log_.line("connection " + std::to_string(client.number) + ": " +
                  std::to_string(frame.size()) + " bytes are too large to send");
    else if (error != 0)
        abandon(client, std::strerror(error));
    return true;
}

void server::abandon(connection &client, const std::string &reason)
{
    log_.line("connection " + std::to_string(client.number) + " closed: " + reason);
    client.closed = true;
}

} // namespace vynd
