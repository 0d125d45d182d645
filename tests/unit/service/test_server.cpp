// The server over a real socket, one step at a time: clients and server share a thread, so nothing waits and the order
// is certain. The end-to-end tests cover the replies to valid frames.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include "server.h"

namespace vynd {
namespace {

struct Server : testing::Test {
    const std::string path = "/tmp/vynd-test-" + std::to_string(getpid());
    fabric model{{}};
    event_log log{path + ".log"};
    server served{path, model, log};
    const bytes ping = command("ping");
    static constexpr uint32_t opcode = 9; // of events

    ~Server() override { std::filesystem::remove(path + ".log"); }
    static bytes command(const std::string &words) {
        return make_frame(header_of(frame_kind::command), as_bytes(words));
    }
    unique_fd subscribed_client() {
        unique_fd client = greeted_client();
        frame_header header = header_of(frame_kind::subscribe);
        header.opcode = opcode;
        send_frame(client, make_frame(header, {}));
        served.step(-1, false);
        return client;
    }
    void request_late_replies(const unique_fd &client, int count) {
        send_frame(client, command("fault delay 600000"));
        EXPECT_GT(received(client, 1), 0);
        for (int i = 0; i < count; i++) send_frame(client, make_frame(header_of(frame_kind::request), {}));
        for (int i = 0; i < count; i++) served.step(-1, false);
    }

    ssize_t received(const unique_fd &client, int steps) { // returns the size of a frame, 0: closed
        static char frame[largest_frame];
        while (steps-- > 0) served.step(-1, false);
        return recv(client.get(), frame, sizeof(frame), MSG_DONTWAIT);
    }
    unique_fd greeted_client() {
        unique_fd client;
        EXPECT_EQ(connect_to(path.c_str(), &client), 0);
        EXPECT_GT(received(client, 3), 0);
        return client;
    }
    void send_frame(const unique_fd &client, const bytes &frame) {
        EXPECT_EQ(vynd::send_frame(client.get(), frame), 0);
    }
};

TEST(Start, SaysWhyALogCannotBeOpened) {
    try {
        event_log log("/tmp/vynd-no-such-folder/log");
        ADD_FAILURE() << "no exception";
    } catch (const std::system_error &error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory) << error.what();
    }
}

TEST(Start, AnEmptySocketPathMeansTheDefault) {
    setenv("VYN_SOCKET", "/tmp/a", 1);
    EXPECT_STREQ(socket_path(), "/tmp/a");
    setenv("VYN_SOCKET", "", 1);
    EXPECT_STREQ(socket_path(), "/run/vynd/vynd.sock");
    unsetenv("VYN_SOCKET");
    EXPECT_STREQ(socket_path(), "/run/vynd/vynd.sock");
}

TEST_F(Server, DisconnectsOnlyTheSenderOfAMalformedFrame) {
    frame_header user_without_nul = header_of(frame_kind::request), no_kind = header_of(frame_kind{9});
    std::memset(user_without_nul.user, 'u', sizeof(user_without_nul.user));
    const unique_fd bystander = greeted_client();
    for (const bytes &frame : {bytes(1), bytes{0, 0, 0, 2}, bytes(280), make_frame(header_of(frame_kind::reply), {}),
                               make_frame(header_of(frame_kind::request), bytes(largest_frame)),
                               make_frame(user_without_nul, {}), make_frame(no_kind, {})}) {
        const unique_fd client = greeted_client();
        send_frame(client, frame);
        send_frame(bystander, ping);
        EXPECT_EQ(received(client, 3), 0) << frame.size() << " bytes";
        EXPECT_GT(received(bystander, 0), 0);
    }
}

// Only a sole sender gets more than a frame in a step, and only while no reply is pending.
TEST_F(Server, ServesARunOfTheOnlySender) {
    const unique_fd client = greeted_client(), other = greeted_client(), subscriber = subscribed_client();
    for (int i = 0; i < 20; i++) { // more than its socket holds
        send_frame(other, command("event raw " + std::to_string(opcode) + " " + std::string(60'000, '0')));
        EXPECT_GT(received(other, 1), 0);
    }
    const auto answers = [&](int steps) { // in this number of steps
        constexpr int commands = 8;
        for (int i = 0; i < commands; i++) send_frame(client, ping);
        int count = 0;
        while (steps-- > 0) served.step(-1, false);
        while (count < commands && received(client, 0) > 0) count++;
        for (int i = count; i < commands; i++) EXPECT_GT(received(client, 2), 0);
        return count;
    };
    EXPECT_GT(answers(2), 2) << "unread events do not end a run";
    send_frame(other, ping);
    EXPECT_EQ(answers(2), 2) << "not the only sender";
    EXPECT_GT(received(other, 0), 0);
    request_late_replies(other, 1);
    EXPECT_EQ(answers(4), 4) << "a reply is pending";
}

TEST_F(Server, DisconnectsASubscriberThatLeavesTooManyEventsUnread) {
    const unique_fd poster = greeted_client(), subscriber = subscribed_client(), reader = subscribed_client(),
                    other = greeted_client();
    constexpr int limit = 10'000, room = 10'000; // more than the subscriber's socket holds
    request_late_replies(other, 1);              // a pending reply: no runs, which would wait after each event
    const bytes event = command("event raw " + std::to_string(opcode) + " 00");
    for (int i = 0; i < limit + room; i++) {
        send_frame(poster, event);
        ASSERT_GT(received(poster, 1), 0);
        ASSERT_GT(received(reader, 0), 0);
    }
    int got = 0;
    while (received(subscriber, 0) > 0) got++;
    EXPECT_EQ(received(subscriber, 0), 0) << "disconnected";
    std::map<std::string, int> lines; // by the text after the arrow or the colon
    std::ifstream file(path + ".log");
    for (std::string line; std::getline(file, line);) lines[line.substr(line.find_first_of(">:") + 2)]++;
    EXPECT_EQ(lines["10000 events not read"], 1);
    EXPECT_EQ(lines["2 subscribers"], limit + got);
}

TEST_F(Server, ForgetsAClientThatLeavesBeforeItsRepliesAreDue) {
    const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = descriptors();
    request_late_replies(greeted_client(), 100);
    served.step(-1, false);
    EXPECT_EQ(descriptors(), before);
}

} // namespace
} // namespace vynd
