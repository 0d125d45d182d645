#include "fake_service.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>

#include <cstring>
#include <vector>

template <typename Record> static std::string bytes_of(const Record &record) {
    return {reinterpret_cast<const char *>(&record), sizeof(record)};
}

fake_service::fake_service(const std::string &path, script given) : script_(given) {
    EXPECT_EQ(vynd::bind_to(path.c_str(), &listener_), 0) << path;
    EXPECT_EQ(listen(listener_.get(), 64), 0);
    int stop[2];
    EXPECT_EQ(pipe2(stop, O_CLOEXEC), 0);
    stop_ = vynd::unique_fd(stop[1]);
    thread_ = std::thread([this, end = vynd::unique_fd(stop[0])] { serve(end.get()); });
}

fake_service::~fake_service() {
    stop_.reset();
    thread_.join();
}

void fake_service::serve(int end) {
    std::vector<vynd::unique_fd> clients;
    std::vector<pollfd> polled{{end, POLLIN, 0}, {listener_.get(), POLLIN, 0}};
    while (poll(polled.data(), polled.size(), -1) > 0 && polled[0].revents == 0) {
        for (size_t i = clients.size(); i-- > 0;)
            if (polled[i + 2].revents != 0 && !take_frame(clients[i].get())) {
                clients.erase(clients.begin() + long(i));
                polled.erase(polled.begin() + long(i) + 2);
            }
        if (polled[1].revents == 0) continue;
        vynd::frame_header greeting = vynd::header_of(vynd::frame_kind::greeting);
        greeting.status = vynd::protocol_version;
        clients.emplace_back(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        polled.push_back({clients.back().get(), POLLIN, 0});
        vynd::send_frame(clients.back().get(), vynd::make_frame(greeting, {}));
    }
}

bool fake_service::take_frame(int client) {
    uint8_t frame[vynd::largest_frame];
    vynd::frame_header header;
    const vynd::received got = vynd::receive_frame(client, frame, 0);
    if (got.what != vynd::arrival::frame) return false;
    memcpy(&header, frame, sizeof(header));
    if (header.kind != uint32_t(vynd::frame_kind::request)) return true;
    const auto given = script_(header, {frame + sizeof(header), frame + got.length});
    if (!given) return false;
    header.kind = uint32_t(vynd::frame_kind::reply);
    header.status = given->status;
    return vynd::send_frame(client, vynd::make_frame(header, vynd::as_bytes(given->payload))) == 0;
}

fake_service::answer fake_service::registry_of(const std::string &feature, const std::string &request) {
    if (request != std::string(sizeof(be32), '\0')) return {};
    vynd::registry_entry entry{};
    entry.name[0] = uint8_t(feature.size());
    memcpy(entry.name + 1, feature.data(), feature.size());
    entry.scope_type = entry.show_cfg_option = 1;
    entry.flags = VYN_FEATURE_PHYSICAL | VYN_FEATURE_LOGICAL;
    return {0, bytes_of(entry)};
}
