#include "fake_service.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <vector>

template <typename Record> static std::string bytes_of(const Record &record) {
    return {reinterpret_cast<const char *>(&record), sizeof(record)};
}

static bool send_frame(int client, const vynd::frame_header &header, const std::string &payload) {
    const std::string frame = bytes_of(header) + payload;
    return send(client, frame.data(), frame.size(), MSG_NOSIGNAL) == ssize_t(frame.size());
}

fake_service::fake_service(const std::string &path, script given)
    : script_(given), listener_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{AF_UNIX, {}};
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0) << path;
    EXPECT_EQ(listen(listener_, 64), 0);
    EXPECT_EQ(pipe2(stop_, O_CLOEXEC), 0);
    thread_ = std::thread([this] { serve(); });
}

fake_service::~fake_service() {
    close(stop_[1]);
    thread_.join();
    close(stop_[0]);
    close(listener_);
}

void fake_service::serve() {
    std::vector<pollfd> polled{{stop_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
    while (poll(polled.data(), polled.size(), -1) > 0 && polled[0].revents == 0) {
        for (size_t i = polled.size() - 1; i > 1; i--)
            if (polled[i].revents != 0 && !take_frame(polled[i].fd)) {
                close(polled[i].fd);
                polled.erase(polled.begin() + long(i));
            }
        if (polled[1].revents == 0) continue;
        vynd::frame_header greeting{};
        greeting.kind = uint32_t(vynd::frame_kind::greeting);
        greeting.status = vynd::protocol_version;
        polled.push_back({accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), POLLIN, 0});
        send_frame(polled.back().fd, greeting, {});
    }
    for (size_t i = 2; i < polled.size(); i++) close(polled[i].fd);
}

bool fake_service::take_frame(int client) {
    char frame[vynd::largest_frame];
    vynd::frame_header header;
    const ssize_t length = recv(client, frame, sizeof(frame), 0);
    if (length < ssize_t(sizeof(header))) return false;
    memcpy(&header, frame, sizeof(header));
    if (header.kind != uint32_t(vynd::frame_kind::request)) return true;
    const auto given = script_(header, {frame + sizeof(header), frame + length});
    if (!given) return false;
    header.kind = uint32_t(vynd::frame_kind::reply);
    header.status = given->status;
    return send_frame(client, header, given->payload);
}

fake_service::answer fake_service::registry_of(const std::string &feature, const std::string &request) {
    if (request != std::string(sizeof(be32), '\0')) return {};
    vynd::registry_entry entry{};
    entry.name[0] = uint8_t(feature.size());
    memcpy(entry.name + 1, feature.data(), feature.size());
    entry.scope_type = entry.show_cfg_option = 1;
    entry.flags = 6;
    return {0, bytes_of(entry)};
}
