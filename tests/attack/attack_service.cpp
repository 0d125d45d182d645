// A service that breaks the rules of the protocol. It passes each request on to a vynd, and shows one behaviour in
// greetings, replies, the registry or events until a signal ends it.
//
// usage: vyn_attack_service SOCKET SOCKET-OF-VYND BEHAVIOUR SEED
//        vyn_attack_service --list

#include <poll.h>

#include <chrono>
#include <list>
#include <string>
#include <thread>

#include "attack.h"

namespace {

using vynd::frame_header, vynd::frame_kind, vynd::registry_entry, vynd::unique_fd;

constexpr size_t head = sizeof(frame_header), largest = vynd::largest_frame;

bytes with(bytes frame, be32 frame_header::*field, uint32_t value) {
    frame_header header;
    memcpy(&header, frame.data(), head);
    header.*field = value;
    memcpy(frame.data(), &header, head);
    return frame;
}
bytes sized(bytes frame, size_t length) { return frame.resize(length, 0xff), frame; }
bytes with_payload(bytes frame, const bytes &payload) {
    frame.resize(head);
    frame.insert(frame.end(), payload.begin(), payload.end());
    return with(frame, &frame_header::status, 0);
}
bytes payload_of(const bytes &frame) { return {frame.begin() + head, frame.end()}; }
bytes new_frame(frame_kind kind, be32 frame_header::*field, uint32_t value, const bytes &payload = {}) {
    return with(make_frame(vynd::header_of(kind), payload), field, value);
}
bytes greeting(uint32_t version = vynd::protocol_version) {
    return new_frame(frame_kind::greeting, &frame_header::status, version);
}
bytes event(const bytes &payload) {
    const uint32_t opcode = one_of({MTS_OPC_VYN_FEATURE_ACTION, MTS_OPC_VYN_NOTIFICATION});
    return new_frame(frame_kind::event, &frame_header::opcode, one_in(8) ? any_word() : opcode, payload);
}
bytes event_record() {
    bytes record = any_words(one_of({1, 4, 12, 85, 101, 102, 348, 352, 512}));
    const be32 type = one_of({VYN_NOTIF_MERGE_FAIL, VYN_NOTIF_DISCOVERY_COMPLETE});
    if (record.size() > 4 && one_in(2)) memcpy(record.data(), &type, 4);
    return record;
}
bytes junk() {
    const bytes frame = any_bytes(below(one_in(10) ? largest : 600));
    return frame.size() < head ? frame : with(frame, &frame_header::kind, any_word());
}

struct client {
    unique_fd socket;
    bool subscribed = false;
    bytes request{}, reply{}, previous{}; // whole frames; the replies are those of the vynd
    std::vector<registry_entry> page{};

    void put(const bytes &frame) { send(socket.get(), frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL); }
    void leave() { socket = unique_fd(); }
    // Has the length of some record, and often the first word of the request, as most replies do.
    bytes random_record() const {
        bytes record = any_words(one_of({4, 8, 44, 104, 108, 133, 137, 264, 268, 276, 280, 356, 360, 364, 508, 512}));
        if (request.size() >= head + 4 && !one_in(4)) memcpy(record.data(), request.data() + head, 4);
        return record;
    }
};

void wait_ms(size_t time) { std::this_thread::sleep_for(std::chrono::milliseconds(time)); }

void change_a_word(client &c) {
    bytes changed = c.reply;
    const bytes word = any_words(4);
    if (changed.size() >= head + 4) memcpy(changed.data() + head + below(changed.size() - head - 3), word.data(), 4);
    c.put(changed);
}
void send_strays(client &c) {
    for (size_t left = below(300); left > 0; left--) c.put(with(c.reply, &frame_header::sequence, any_word()));
    c.put(c.reply);
}
void send_many_events(client &c) {
    for (int left = 300; left > 0; left--) c.put(event(event_record()));
}
void make_up_a_feature(client &c) {
    c.page.assign(1, {});
    const std::string name = "f" + std::to_string(chance());
    c.page[0].name[0] = static_cast<uint8_t>(name.copy(reinterpret_cast<char *>(c.page[0].name) + 1, 82));
    c.page[0].flags = below(8);
}
void repeat_a_name(client &c) {
    for (registry_entry &each : c.page) each = c.page[0];
}
void spoil_names(client &c) {
    for (registry_entry &each : c.page) {
        memcpy(each.name + 1, any_bytes(83).data(), 83);
        each.name[0] = one_in(2) ? below(86) : any_word();
    }
}

// What a behaviour replaces: the greeting, a reply, or a page of features in one. posting: it adds an event.
enum moment { never, accepting, replying, naming_features, posting };

const struct behaviour {
    const char *name;
    moment when;
    void (*act)(client &);
} behaviours[] = {
    {"none", never, nullptr},
    {"closes at once", accepting, [](auto &c) { c.leave(); }},
    {"no greeting", accepting, [](auto &) {}},
    {"late greeting", accepting, [](auto &c) { wait_ms(below(900)), c.put(greeting()); }},
    {"other versions", accepting, [](auto &c) { c.put(greeting(any_word())); }},
    {"junk for greetings", accepting, [](auto &c) { c.put(junk()); }},
    {"cut greeting", accepting, [](auto &c) { c.put(sized(greeting(), below(head))); }},
    {"two greetings", accepting, [](auto &c) { c.put(greeting()), c.put(greeting()); }},
    {"greets and closes", accepting, [](auto &c) { c.put(greeting()), c.leave(); }},

    {"random payloads", replying, [](auto &c) { c.put(with_payload(c.reply, any_bytes(below(largest)))); }},
    {"random records", replying, [](auto &c) { c.put(with_payload(c.reply, c.random_record())); }},
    {"a word changed", replying, change_a_word},
    {"cut payloads", replying, [](auto &c) { c.put(sized(c.reply, head + below(c.reply.size() - head))); }},
    {"long payloads", replying, [](auto &c) { c.put(sized(c.reply, c.reply.size() + below(largest))); }},
    {"over 64 KiB", replying, [](auto &c) { c.put(sized(c.reply, largest + 1 + below(100'000))); }},
    {"cut headers", replying, [](auto &c) { c.put(sized(c.reply, below(head))); }},
    {"random errors", replying, [](auto &c) { c.put(with(c.reply, &frame_header::status, any_word())); }},
    {"other sequences", replying, [](auto &c) { c.put(with(c.reply, &frame_header::sequence, any_word())); }},
    {"other kinds", replying, [](auto &c) { c.put(with(c.reply, &frame_header::kind, below(9))); }},
    {"replies twice", replying, [](auto &c) { c.put(c.reply), c.put(c.reply); }},
    {"payload before", replying, [](auto &c) { c.put(with_payload(c.reply, payload_of(c.previous))); }},
    {"reply before", replying, [](auto &c) { c.put(c.previous); }},
    {"no replies", replying, [](auto &) {}},
    {"one in three missing", replying, [](auto &c) { one_in(3) ? void() : c.put(c.reply); }},
    {"slow replies", replying, [](auto &c) { wait_ms(below(900)), c.put(c.reply); }},
    {"replies after 50 ms", replying, [](auto &c) { wait_ms(50), c.put(c.reply); }},
    {"strays", replying, send_strays},
    {"closes, no reply", replying, [](auto &c) { c.leave(); }},
    {"closes after replies", replying, [](auto &c) { c.put(c.reply), c.leave(); }},

    {"one feature a page", naming_features, [](auto &c) { c.page.resize(std::min<size_t>(c.page.size(), 1)); }},
    {"endless features", naming_features, make_up_a_feature},
    {"bad names", naming_features, spoil_names},
    {"one name for all", naming_features, repeat_a_name},
    {"features that go", naming_features, [](auto &c) { std::erase_if(c.page, [](auto &) { return one_in(2); }); }},

    {"random events", posting, [](auto &c) { c.put(event(any_bytes(below(600)))); }},
    {"event records", posting, [](auto &c) { c.put(event(event_record())); }},
    {"huge events", posting, [](auto &c) { c.put(event(any_bytes(below(200'000)))); }},
    {"floods of events", posting, send_many_events},
    {"junk for events", posting, [](auto &c) { c.put(junk()); }},
    {"closes on subscribers", posting, [](auto &c) { c.leave(); }},
};

class hostile_service {
  public:
    hostile_service(const behaviour &chosen, const char *vynd) : chosen_(chosen), vynd_(connected(vynd)) {
        exchange(nullptr); // the greeting
    }

    [[noreturn]] void serve(int listener) {
        for (std::list<client> clients;;) {
            std::vector<pollfd> polled = {{listener, POLLIN, 0}};
            for (const client &each : clients) polled.push_back({each.socket.get(), POLLIN, 0});
            poll(polled.data(), polled.size(), 5);
            auto state = polled.begin() + 1;
            for (client &each : clients) {
                if ((state++)->revents != 0) take(each);
                if (each.subscribed) act(posting, each);
            }
            clients.remove_if([](const client &each) { return each.socket.get() < 0; });
            if (polled[0].revents == 0) continue;
            clients.push_back({unique_fd(accept(listener, nullptr, nullptr))});
            if (!act(accepting, clients.back())) clients.back().put(greeting());
        }
    }

  private:
    // Returns whether the behaviour has replaced what a service does.
    bool act(moment now, client &with) const {
        if (chosen_.when == now) chosen_.act(with);
        return chosen_.when == now;
    }

    void exchange(client *from) {
        bytes reply(largest);
        pollfd one{vynd_.get(), POLLIN, 0};
        if (from != nullptr) send(vynd_.get(), from->request.data(), from->request.size(), MSG_NOSIGNAL);
        const ssize_t length = poll(&one, 1, 5000) == 1 ? recv(vynd_.get(), reply.data(), reply.size(), 0) : 0;
        if (length < static_cast<ssize_t>(head)) fputs("vyn_attack_service: vynd does not reply\n", stderr), exit(1);
        if (from == nullptr) return;
        reply.resize(length);
        from->previous = from->reply.empty() ? reply : from->reply;
        from->reply = reply;
    }

    void take(client &from) {
        from.request.resize(largest);
        const ssize_t length = recv(from.socket.get(), from.request.data(), largest, MSG_DONTWAIT);
        if (length < static_cast<ssize_t>(head)) return from.leave();
        from.request.resize(length);
        frame_header header;
        memcpy(&header, from.request.data(), head);
        from.subscribed |= header.kind == static_cast<uint32_t>(frame_kind::subscribe);
        if (header.kind != static_cast<uint32_t>(frame_kind::request)) return;
        exchange(&from);
        if (chosen_.when == naming_features && one_in(30)) return from.leave(); // so that the registry is read again
        if (chosen_.when == naming_features && header.opcode == vynd::opcode_registry) spoil_registry(from);
        if (!act(replying, from)) from.put(from.reply);
    }

    void spoil_registry(client &of) const {
        of.page.resize((of.reply.size() - head) / sizeof(registry_entry));
        memcpy(of.page.data(), of.reply.data() + head, of.page.size() * sizeof(registry_entry));
        chosen_.act(of);
        const auto *first = reinterpret_cast<const uint8_t *>(of.page.data());
        of.reply = with_payload(of.reply, {first, first + of.page.size() * sizeof(registry_entry)});
    }

    const behaviour &chosen_;
    const unique_fd vynd_;
};

} // namespace

int main(int argc, char **argv) {
    if (argc == 2 && strcmp(argv[1], "--list") == 0) {
        for (const behaviour &each : behaviours) puts(each.name);
        return 0;
    }
    for (const behaviour &each : behaviours) {
        if (argc != 5 || strcmp(argv[3], each.name) != 0) continue;
        chance.seed(strtoul(argv[4], nullptr, 10));
        unique_fd listener;
        errno = vynd::bind_to(argv[1], &listener);
        if (errno != 0 || listen(listener.get(), 4) != 0) return perror(argv[1]), 1;
        hostile_service(each, argv[2]).serve(listener.get());
    }
    fputs("usage: vyn_attack_service SOCKET SOCKET-OF-VYND BEHAVIOUR SEED\n       vyn_attack_service --list\n", stderr);
    return 2;
}
