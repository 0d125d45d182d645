// The server over a real socket, turned by hand: one thread plays the clients and the server, so
// that what a client sees after a number of rounds is certain and nothing waits.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <system_error>

#include "server.h"

namespace vynd {
namespace {

bytes request_frame(uint32_t sequence, uint32_t msg_type = 1, uint8_t query_type = 25)
{
    frame_header header = header_of(frame_kind::request);
    header.sequence = sequence;
    header.opcode = 8469;
    header.msg_type = msg_type;
    bytes record(364);
    record[3] = query_type;
    record[7] = 1;
    return make_frame(header, record);
}

// What a client has received: "greeting", "reply 7 status 0 size 360", "event 8475 0016",
// "answer 0 text", "closed", or "nothing".
std::string receive(const unique_fd &client)
{
    static uint8_t frame[1 << 20];
    const ssize_t size = recv(client.get(), frame, sizeof frame, 0);
    if (size < 0)
        return errno == EAGAIN ? "nothing" : "closed";
    if (size == 0)
        return "closed";
    frame_header header;
    std::memcpy(&header, frame, sizeof header);
    const bytes payload(frame + sizeof header, frame + size);
    const std::string sequence = std::to_string(header.sequence);
    switch (static_cast<frame_kind>(uint32_t{header.kind})) {
    case frame_kind::greeting: return "greeting";
    case frame_kind::reply:
        return "reply " + sequence + " status " + code_text(header.status) + " size " +
               std::to_string(payload.size());
    case frame_kind::event: return "event " + std::to_string(header.opcode) + " " + to_hex(payload);
    case frame_kind::answer:
        return "answer " + std::to_string(header.status) + " " +
               std::string(payload.begin(), payload.end());
    default: return "?";
    }
}

class Server : public testing::Test {
  protected:
    void SetUp() override
    {
        ASSERT_NE(mkdtemp(folder_), nullptr);
        path_ = std::string(folder_) + "/socket";
        log_ = std::make_unique<event_log>(std::string(folder_) + "/log");
        server_ = std::make_unique<server>(path_, model_, *log_);
    }

    void TearDown() override
    {
        server_.reset();
        unlink((std::string(folder_) + "/log").c_str());
        EXPECT_EQ(rmdir(folder_), 0) << "the socket's file has stayed";
    }

    void turn(int rounds = 8)
    {
        while (rounds-- > 0)
            server_->step(std::chrono::milliseconds(0));
    }

    unique_fd connect_client() const
    {
        unique_fd client = make_socket();
        const sockaddr_un address = address_of(path_);
        EXPECT_EQ(
            connect(client.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        return client;
    }

    unique_fd greeted_client()
    {
        unique_fd client = connect_client();
        turn();
        EXPECT_EQ(receive(client), "greeting");
        return client;
    }

    static void say(const unique_fd &client, const bytes &frame)
    {
        EXPECT_EQ(send(client.get(), frame.data(), frame.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(frame.size()));
    }

    // As vynctl does: without waiting for the greeting.
    std::string command(const std::string &words)
    {
        const unique_fd client = connect_client();
        say(client, make_frame(header_of(frame_kind::command), as_bytes(words)));
        turn();
        const std::string first = receive(client);
        return first == "greeting" ? receive(client) : first;
    }

    unique_fd subscriber(uint32_t opcode)
    {
        unique_fd client = greeted_client();
        frame_header header = header_of(frame_kind::subscribe);
        header.opcode = opcode;
        say(client, make_frame(header, {}));
        turn();
        return client;
    }

    char folder_[32] = "/tmp/vynd-test-XXXXXX";
    std::string path_;
    fabric model_{{}};
    std::unique_ptr<event_log> log_;
    std::unique_ptr<server> server_;
};

TEST_F(Server, HostileFramesCostTheirSenderTheConnectionAndNobodyElse)
{
    frame_header endless_user = header_of(frame_kind::request);
    std::memset(endless_user.user, 'u', sizeof endless_user.user);
    const bytes cases[] = {
        bytes(1),
        bytes(sizeof(frame_header) - 1),
        bytes(sizeof(frame_header)),
        bytes(largest_frame + 1),
        make_frame(endless_user, {}),
        make_frame(header_of(frame_kind::reply), {}),
        make_frame(header_of(static_cast<frame_kind>(UINT32_MAX)), {}),
    };
    const unique_fd bystander = greeted_client();
    for (const bytes &frame : cases) {
        const unique_fd client = greeted_client();
        say(client, frame);
        turn();
        EXPECT_EQ(receive(client), "closed") << frame.size() << " bytes";
        say(bystander, request_frame(5));
        turn();
        EXPECT_EQ(receive(bystander), "reply 5 status 0 size 360");
    }
}

TEST_F(Server, FaultsDistortRepliesForAsLongAsTheyAreOn)
{
    const struct {
        const char *fault;
        const char *first;
        const char *second; // behind a fault that counts to one
    } cases[] = {
        {"drop 1", "nothing", "reply 2 status 0 size 360"},
        {"short 6 1", "reply 1 status 0 size 6", "reply 2 status 0 size 360"},
        {"oversize 100000", "reply 1 status 0 size 100000", "reply 2 status 0 size 100000"},
        {"oversize 1048576", "nothing", "nothing"}, // more than a socket takes
        {"empty on", "reply 1 status 0 size 0", "reply 2 status 0 size 0"},
        {"error 0x40B3001C 1", "reply 1 status 0x40B3001C size 0", "reply 2 status 0 size 360"},
        {"disconnect 1", "closed", "closed"},
        {"delay 600000", "nothing", "nothing"},
    };
    for (const auto &[fault, first, second] : cases) {
        EXPECT_EQ(command("fault " + std::string(fault)).substr(0, 9), "answer 0 ") << fault;
        const unique_fd client = greeted_client();
        say(client, request_frame(1));
        turn();
        EXPECT_EQ(receive(client), first) << fault;
        const bytes again = request_frame(2);
        (void)send(client.get(), again.data(), again.size(), MSG_NOSIGNAL);
        turn();
        EXPECT_EQ(receive(client), second) << fault;
        EXPECT_EQ(command("fault off"), "answer 0 no faults");
    }
    for (const char *refused : {"fault", "fault short", "fault short x", "fault stall 1",
                                "fault drop 0", "fault drop 1 1", "fault error 0", "fault x"})
        EXPECT_EQ(command(refused).substr(0, 9), "answer 1 ") << refused;
    EXPECT_EQ(command("fault list"), "answer 0 no faults");
}

TEST_F(Server, StallLeavesEverythingInOrderForLater)
{
    const unique_fd listener = subscriber(8475);
    const unique_fd old_client = greeted_client();
    EXPECT_EQ(command("fault stall"), "answer 0 stall");
    const unique_fd new_client = connect_client();
    say(old_client, request_frame(1));
    say(old_client, request_frame(2));
    say(new_client, request_frame(3, 3, 24)); // starts a discovery, and goes
    EXPECT_EQ(command("event raw 8475 0016"), "answer 0 to 1 subscriber");
    for (const unique_fd *client : {&listener, &old_client, &new_client})
        EXPECT_EQ(receive(*client), "nothing");
    EXPECT_EQ(model_.state().discovery.status, 1);
    turn();
    const auto before = std::chrono::steady_clock::now();
    server_->step(std::chrono::milliseconds(20));
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20)) << "spins";
    { // a client that gives up in the meantime has been heard all the same
        const unique_fd gone = connect_client();
        say(gone, request_frame(4, 3, 24));
        turn();
    }
    EXPECT_EQ(command("fault stall off"), "answer 0 no faults");
    turn();
    EXPECT_EQ(receive(listener), "event 8475 0016");
    EXPECT_EQ(receive(old_client), "reply 1 status 0 size 360");
    EXPECT_EQ(receive(old_client), "reply 2 status 0 size 360");
    EXPECT_EQ(receive(new_client), "greeting");
    EXPECT_EQ(receive(new_client), "reply 3 status 0 size 8");
    EXPECT_EQ(model_.state().discovery.status, 2);
}

TEST_F(Server, SlowReadersLoseNothingAndHoldUpNobody)
{
    constexpr uint32_t count = 3000;
    const unique_fd slow = subscriber(8475);
    const unique_fd operator_client = greeted_client();
    const unique_fd greedy = greeted_client();
    const auto serial = [](uint32_t number) { return std::to_string(1000000 + number); };
    for (uint32_t number = 0; number < count; ++number) {
        const std::string words = "event raw 8475 0" + serial(number);
        say(operator_client, make_frame(header_of(frame_kind::command), as_bytes(words)));
        turn(1);
        ASSERT_EQ(receive(operator_client), "answer 0 to 1 subscriber");
    }
    uint32_t asked = 0;
    for (bytes frame = request_frame(0);
         asked < count && send(greedy.get(), frame.data(), frame.size(), MSG_NOSIGNAL) > 0;
         frame = request_frame(++asked))
        turn(1);
    EXPECT_LT(asked, count) << "nothing held the client back";
    EXPECT_EQ(command("ping").substr(0, 9), "answer 0 ");

    for (uint32_t number = 0; number < count; ++number, turn(1))
        ASSERT_EQ(receive(slow), "event 8475 0" + serial(number));
    for (uint32_t number = 0; number < asked; ++number, turn(1))
        ASSERT_EQ(receive(greedy), "reply " + std::to_string(number) + " status 0 size 360");
}

TEST_F(Server, CommandsEditTheFabricAllOrNothing)
{
    const std::string deep = std::string(20000, '[') + std::string(20000, ']');
    const struct {
        std::string words;
        bool done;
    } cases[] = {
        {"set discovery.status failed", true},
        {"set discovery.next.failure_reason 0x40B30042", true},
        {"set features.- {\"name\": \"a b\"}", true},
        {"set features.0.scopes [\"logical\"]", true},
        {"set features.- {\"name\": \"a b\"}", false},
        {"set features.4000000000 {\"name\": \"c\"}", false},
        {"set features.0.name \"\"", false},
        {"set discovery.status " + deep, false},
        {"set discovery.status", false},
        {"show features.7", false},
        {"", false},
    };
    for (const auto &[words, done] : cases)
        EXPECT_EQ(command(words).substr(0, 9), done ? "answer 0 " : "answer 1 ") << words;
    EXPECT_EQ(model_.state().discovery.status, 4);
    EXPECT_EQ(model_.state().discovery.next.failure_reason, 0x40B30042u);
    ASSERT_EQ(model_.state().features.size(), 1u);
    EXPECT_EQ(model_.state().features[0].flags, 0x4u);
    EXPECT_EQ(command("remove features.0"), "answer 0 ");
    EXPECT_TRUE(model_.state().features.empty());
}

TEST_F(Server, PostsEventsOfAnyContent)
{
    const unique_fd actions = subscriber(8470);
    const unique_fd notifications = subscriber(8475);
    const auto padded = [](std::string hex, size_t size) {
        return hex + std::string(2 * size - hex.size(), '0');
    };
    const auto action = [&](const char *words) {
        return "8470 " + padded("6e7470", 81) + padded(words, 20);
    };
    const auto failure = [&](const std::string &name, const std::string &rest) {
        return "8475 00000016" + padded(name, 84) + padded(rest, 264);
    };
    const struct {
        std::string words;
        std::string received; // empty: refused
    } cases[] = {
        // clang-format off
        {"action ntp physical commit success", action("00000004000000010000000000000002")},
        {"action ntp 0x10 6 partly", action("00000006000000020000001000000005")},
        {"action ntp 0/4294967295 clear 99", action("0000000600000000ffffffff00000063")},
        {"merge-failure ntp physical", failure("6e7470", "00000002")},
        {"merge-failure ntp 10 50% of it", failure("6e7470", "000000010000000a353025206f66206974")},
        {"merge-failure " + std::string(82, 'A') + " 5/1 " + std::string(257, 'B'),
         failure(to_hex(bytes(81, 'A')), "0000000500000001" + to_hex(bytes(256, 'B')))},
        {"action ntp vsan commit success", ""},   {"action ntp 1/ commit success", ""},
        {"action ntp 1 committed success", ""},   {"action ntp 1 commit good", ""},
        {"action ntp 1 commit", ""},              {"merge-failure ntp", ""},
        // clang-format on
    };
    for (const auto &[words, received] : cases) {
        const std::string answer = command("event " + words).substr(0, 9);
        EXPECT_EQ(answer, received.empty() ? "answer 1 " : "answer 0 ") << words;
        if (!received.empty()) {
            EXPECT_EQ(receive(received[3] == '0' ? actions : notifications), "event " + received);
        }
        EXPECT_EQ(receive(actions) + receive(notifications), "nothingnothing") << words;
    }
}

TEST_F(Server, TakesOverADeadSocketAndNothingElse)
{
    EXPECT_THROW(server(path_, model_, *log_), std::system_error);
    EXPECT_EQ(command("fault list"), "answer 0 no faults"); // the first one still serves

    const std::string other = std::string(folder_) + "/other";
    std::ofstream(other) << "precious";
    EXPECT_THROW(server(other, model_, *log_), std::system_error);
    EXPECT_EQ(unlink(other.c_str()), 0);
    {
        const unique_fd dead = make_socket();
        const sockaddr_un address = address_of(other);
        ASSERT_EQ(bind(dead.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
                  0);
    }
    EXPECT_NO_THROW(server(other, model_, *log_));
    EXPECT_NE(access(other.c_str(), F_OK), 0);
}

} // namespace
} // namespace vynd
