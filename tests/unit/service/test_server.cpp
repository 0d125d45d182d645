// The server over a real socket, turned by hand: one thread plays the clients and the server, so that what a client
// sees is certain and nothing waits. What clients get that say what they should is the end-to-end tests' part.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "server.h"

namespace vynd {
namespace {

TEST(Server, MalformedFramesCostTheirSenderTheConnectionAndNobodyElse) {
    const std::string path = "/tmp/vynd-test-" + std::to_string(getpid());
    fabric model{{}};
    event_log log{"/dev/null"};
    server served{path, model, log};
    const auto received = [&](const unique_fd &client) { // the size of a frame, 0: the connection is closed
        static char frame[largest_frame];
        for (int rounds = 0; rounds < 3; ++rounds) served.step(-1, false);
        return recv(client.get(), frame, sizeof frame, 0);
    };
    const auto greeted_client = [&] {
        unique_fd client = make_socket();
        const sockaddr_un address = address_of(path);
        EXPECT_EQ(connect(client.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        EXPECT_GT(received(client), 0);
        return client;
    };
    const auto answer_to = [&](const unique_fd &client, const bytes &frame) {
        EXPECT_EQ(send(client.get(), frame.data(), frame.size(), MSG_NOSIGNAL), static_cast<ssize_t>(frame.size()));
        return received(client);
    };
    frame_header endless_user = header_of(frame_kind::request), no_kind = header_of(frame_kind{9});
    std::memset(endless_user.user, 'u', sizeof endless_user.user);
    const unique_fd bystander = greeted_client();
    for (const bytes &frame : {bytes(1), bytes{0, 0, 0, 2}, bytes(280), make_frame(header_of(frame_kind::reply), {}),
                               make_frame(header_of(frame_kind::request), bytes(largest_frame)),
                               make_frame(endless_user, {}), make_frame(no_kind, {})}) {
        EXPECT_EQ(answer_to(greeted_client(), frame), 0) << frame.size() << " bytes";
        EXPECT_GT(answer_to(bystander, make_frame(header_of(frame_kind::command), as_bytes("ping"))), 0);
    }
}

} // namespace
} // namespace vynd
