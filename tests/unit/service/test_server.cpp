// The server over a real socket, turned by hand: one thread plays the clients and the server, so
// that what a client sees after a number of rounds is certain and nothing waits.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "server.h"

namespace vynd {
namespace {

bytes frame_of(frame_kind kind, std::span<const uint8_t> payload, uint32_t opcode = 0, uint32_t sequence = 0,
               uint32_t msg_type = 0) {
    frame_header header = header_of(kind);
    header.sequence = sequence;
    header.opcode = opcode;
    header.msg_type = msg_type;
    return make_frame(header, payload);
}

bytes request_frame(uint32_t sequence, uint32_t msg_type = 1, uint8_t query_type = 25) {
    bytes record = {0, 0, 0, query_type, 0, 0, 0, 1};
    record.resize(364);
    return frame_of(frame_kind::request, record, 8469, sequence, msg_type);
}

// "greeting 0 ", "event 0 TEXT", "answer 0 TEXT", "reply SEQUENCE SIZE", "closed", or "nothing".
std::string receive(const unique_fd &client) {
    static char frame[largest_frame];
    const ssize_t size = recv(client.get(), frame, sizeof frame, 0);
    if (size <= 0) return size < 0 && errno == EAGAIN ? "nothing" : "closed";
    frame_header header;
    std::memcpy(&header, frame, sizeof header);
    const std::string payload(frame + sizeof header, frame + size);
    const bool reply = header.kind == static_cast<uint32_t>(frame_kind::reply);
    const char *kinds[] = {"", "greeting ", "request ", "reply ", "subscribe ", "event ", "command ", "answer "};
    return kinds[header.kind & 7] + std::to_string(header.sequence) + " " +
           (reply ? std::to_string(payload.size()) : payload);
}

void say(const unique_fd &client, const bytes &frame) {
    EXPECT_EQ(send(client.get(), frame.data(), frame.size(), MSG_NOSIGNAL), static_cast<ssize_t>(frame.size()));
}

struct Server : testing::Test {
    void turn(int rounds = 8) {
        while (rounds-- > 0) served.step(std::chrono::milliseconds(0));
    }

    unique_fd connect_client() {
        unique_fd client = make_socket();
        const sockaddr_un address = address_of(path);
        EXPECT_EQ(connect(client.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        return client;
    }

    unique_fd greeted_client() {
        unique_fd client = connect_client();
        turn();
        EXPECT_EQ(receive(client), "greeting 0 ");
        return client;
    }

    // As vynctl does: without waiting for the greeting, which a stall holds back.
    std::string command(const std::string &words) {
        const unique_fd client = connect_client();
        say(client, frame_of(frame_kind::command, as_bytes(words)));
        turn();
        const std::string first = receive(client);
        return first == "greeting 0 " ? receive(client) : first;
    }

    const std::string path = "/tmp/vynd-test-" + std::to_string(getpid());
    fabric model{{}};
    event_log log{"/dev/null"};
    server served{path, model, log};
};

TEST_F(Server, MalformedFramesCostTheirSenderTheConnectionAndNobodyElse) {
    frame_header endless_user = header_of(frame_kind::request);
    std::memset(endless_user.user, 'u', sizeof endless_user.user);
    // clang-format off
    const bytes cases[] = {bytes(1), bytes{0, 0, 0, 2}, bytes(280), frame_of(frame_kind::reply, {}),
        frame_of(frame_kind::request, bytes(largest_frame)), make_frame(endless_user, {}), frame_of(frame_kind{9}, {})};
    // clang-format on
    const unique_fd bystander = greeted_client();
    for (const bytes &frame : cases) {
        const unique_fd client = greeted_client();
        say(client, frame);
        say(bystander, request_frame(5));
        turn();
        EXPECT_EQ(receive(client), "closed") << frame.size() << " bytes";
        EXPECT_EQ(receive(bystander), "reply 5 360");
    }
}

TEST_F(Server, StallLeavesEverythingInOrderForLater) {
    const unique_fd listener = greeted_client(), old_client = greeted_client();
    say(listener, frame_of(frame_kind::subscribe, {}, 8475));
    EXPECT_EQ(command("fault stall"), "answer 0 stall");
    const unique_fd new_client = connect_client();
    for (uint32_t number : {1, 2}) say(old_client, request_frame(number));
    say(new_client, request_frame(3, 3, 24)); // starts a discovery
    EXPECT_EQ(command("event raw 8475 4142"), "answer 0 to 1 subscriber");
    for (const unique_fd *client : {&listener, &old_client, &new_client}) EXPECT_EQ(receive(*client), "nothing");
    EXPECT_EQ(model.state().discovery.status, 1);
    EXPECT_EQ(command("fault stall off"), "answer 0 no faults");
    EXPECT_EQ(receive(listener), "event 0 AB");
    EXPECT_EQ(receive(old_client), "reply 1 360");
    EXPECT_EQ(receive(old_client), "reply 2 360");
    EXPECT_EQ(receive(new_client), "greeting 0 ");
    EXPECT_EQ(receive(new_client), "reply 3 8");
    EXPECT_EQ(model.state().discovery.status, 2);
}

TEST_F(Server, SlowReadersLoseNothingAndHoldUpNobody) {
    constexpr uint32_t count = 3000;
    const unique_fd slow = greeted_client(), greedy = greeted_client();
    say(slow, frame_of(frame_kind::subscribe, {}, 8475));
    for (uint32_t number = 0; number < count; ++number)
        ASSERT_EQ(command("event raw 8475 " + to_hex(as_bytes(std::to_string(number)))), "answer 0 to 1 subscriber");
    uint32_t asked = 0;
    for (bytes next = request_frame(0); asked < count && send(greedy.get(), next.data(), next.size(), 0) > 0; turn(1))
        next = request_frame(++asked);
    EXPECT_LT(asked, count) << "nothing held the client back";
    EXPECT_EQ(command("fault list"), "answer 0 no faults");
    for (uint32_t number = 0; number < count; ++number, turn(1))
        ASSERT_EQ(receive(slow), "event 0 " + std::to_string(number));
    for (uint32_t number = 0; number < asked; ++number, turn(1))
        ASSERT_EQ(receive(greedy), "reply " + std::to_string(number) + " 360");
}

} // namespace
} // namespace vynd
