// A client that sends junk to vynd over many connections, and leaves most replies unread.
//
// usage: vyn_attack_client SOCKET MILLISECONDS SEED
//
// Prints the numbers of frames sent and of connections made.

#include <chrono>
#include <iterator>
#include <sstream>
#include <string>

#include "attack.h"

namespace {

using vynd::frame_header, vynd::frame_kind, vynd::unique_fd;

bytes frame_of(frame_kind kind, const bytes &payload) {
    frame_header header = vynd::header_of(kind);
    header.opcode =
        one_in(20) ? any_word() : one_of<uint32_t>({MTS_OPC_VYN_MGMT_REQ, vynd::opcode_registry}) + below(15);
    header.msg_type = below(5);
    if (one_in(10)) memcpy(header.user, any_bytes(256).data(), 256);
    return make_frame(header, payload);
}

bytes request() {
    static constexpr uint8_t queries[] = {6, 14, 24, 25, 26, 28, 29, 30, 31, 35, 37, 40, 58, 59, 60, 66};
    static constexpr size_t names[] = {0, 8, 12, 20, 28}; // where records have them
    bytes record = any_words(one_in(10) ? below(65'000) : one_of({0, 4, 100, 112, 128, 363, 364, 365}));
    if (record.size() >= 100) {
        memcpy(record.data(), bytes{0, 0, 0, one_of(queries), 0, 0, 0, 1}.data(), 8);
        memcpy(record.data() + one_of(names), one_of({"\3ntp", "ntp", "role", "\4rol"}), 4);
    }
    return frame_of(frame_kind::request, record);
}

bytes command() {
    static std::istringstream text_of_words("off on stall delay drop short "
                                            "oversize empty error disconnect wrong-query "
                                            "physical ntp role commit failed raw action discovery merge-failure {} "
                                            "[[[[[[[[ \" 8475 300 0x40B3003A -1 features "
                                            "features.0.name features.0.locks discovery.status distribution");
    static const std::vector<std::string> words(std::istream_iterator<std::string>(text_of_words), {});
    std::string text = one_in(10) ? "fault off" : one_of({"ping", "show", "set", "remove", "merge", "event", "fault"});
    for (size_t left = below(6); left > 0; left--)
        text += " " + (one_in(8) ? std::to_string(any_word()) : one_of(words));
    if (one_in(8)) text[below(text.size())] = static_cast<char>(chance());
    return frame_of(frame_kind::command, bytes(text.begin(), text.end()));
}

bytes (*const frames[])() = {
    request,
    command,
    [] { return frame_of(frame_kind::subscribe, {}); },
    [] { return frame_of(static_cast<frame_kind>(any_word()), any_bytes(below(900))); },
    [] { return frame_of(frame_kind::command, any_bytes(below(3000))); },
    [] { return frame_of(frame_kind::request, any_bytes(below(200'000))); }, // two in three are too large
    [] { return any_bytes(below(sizeof(frame_header))); },
    [] { return any_bytes(below(1000)); },
};

} // namespace

int main(int argc, char **argv) {
    if (argc != 4) return fputs("usage: vyn_attack_client SOCKET MILLISECONDS SEED\n", stderr), 2;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(atol(argv[2]));
    chance.seed(strtoul(argv[3], nullptr, 10));
    std::vector<unique_fd> connections(16);
    long sent = 0, made = 0;
    while (std::chrono::steady_clock::now() < end) {
        unique_fd &one = connections[below(connections.size())];
        if (one.get() < 0 || one_in(50)) one = connected(argv[1]), made++;
        const bytes frame = one_of(frames)();
        static uint8_t reply[vynd::largest_frame];
        for (size_t left = one_in(4) ? 0 : 8; left > 0 && recv(one.get(), reply, sizeof(reply), 0) > 0;) left--;
        if (send(one.get(), frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0)
            sent++;
        else if (errno != EAGAIN)
            one = unique_fd();
    }
    printf("%ld %ld\n", sent, made);
}
