// vynctl: sends commands to a running vynd, prints the answers, and exits with a status for
// scripts.
//
// It does not wait for the greeting, which a stalled service does not send, and ignores it. Only
// the service knows the commands.
#include <getopt.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>

#include "command_help.h"
#include "socket.h"
#include "text.h"

namespace {

constexpr char usage[] =
    "usage: vynctl [--socket PATH] [--timeout MS] COMMAND...\n"
    "Controls a running vynd: changes its fabric, posts events, switches faults on and off.\n"
    "With - as the command, reads commands from standard input: one per line, stops at the first\n"
    "refused.\n"
    "  --socket PATH  where it listens: by default $VYN_SOCKET, or else /run/vynd/vynd.sock\n"
    "  --timeout MS   how long to wait for an answer, 5000 by default\n"
    "  --help         this text\n"
    "  --version      the version\n"
    "Exit status: 0 done, 1 refused, 2 usage, 3 no service or no answer in time.\n";

enum exit_status { done, refused, wrong_usage, no_service };

using steady = std::chrono::steady_clock;

[[noreturn]] void fail(int code, const std::string &what)
{
    throw std::system_error(code, std::generic_category(), what);
}

// Returns the next frame. Throws if the service closes the connection, or on a timeout.
vynd::bytes next_frame(int socket, steady::time_point deadline)
{
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady::now());
        pollfd readable{socket, POLLIN, 0};
        const int ready =
            left.count() <= 0 ? 0 : poll(&readable, 1, static_cast<int>(left.count()));
        if (ready == 0)
            fail(ETIMEDOUT, "no answer");
        vynd::bytes frame(vynd::largest_frame);
        const ssize_t size = recv(socket, frame.data(), frame.size(), 0);
        if (size == 0)
            fail(ECONNRESET, "no answer");
        if (size < 0 && errno != EAGAIN && errno != EINTR)
            fail(errno, "no answer");
        if (size >= static_cast<ssize_t>(sizeof(vynd::frame_header))) {
            frame.resize(static_cast<size_t>(size));
            return frame;
        }
    }
}

vynd::unique_fd connect_to(const std::string &path)
{
    const sockaddr_un address = vynd::address_of(path);
    vynd::unique_fd socket = vynd::make_socket();
    if (connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0)
        fail(errno, path);
    return socket;
}

exit_status execute(int socket, const std::string &command, std::chrono::milliseconds timeout)
{
    const vynd::bytes request =
        vynd::make_frame(vynd::header_of(vynd::frame_kind::command), vynd::as_bytes(command));
    if (request.size() > vynd::largest_frame) {
        std::fputs("vynctl: the command is too long\n", stderr);
        return refused;
    }
    if (send(socket, request.data(), request.size(), MSG_NOSIGNAL) < 0)
        fail(errno, "not sent");

    const steady::time_point deadline = steady::now() + timeout;
    vynd::frame_header header;
    vynd::bytes frame;
    do {
        frame = next_frame(socket, deadline);
        std::memcpy(&header, frame.data(), sizeof(header));
    } while (header.kind != static_cast<uint32_t>(vynd::frame_kind::answer));

    const std::string text(frame.begin() + sizeof(header), frame.end());
    if (header.status != 0) {
        std::fprintf(stderr, "vynctl: %s\n", text.c_str());
        return refused;
    }
    if (!text.empty())
        std::puts(text.c_str());
    return done;
}

exit_status run(const std::string &path, const std::string &command,
                std::chrono::milliseconds timeout)
{
    const vynd::unique_fd socket = connect_to(path);
    if (command != "-")
        return execute(socket.get(), command, timeout);
    exit_status status = done;
    for (std::string line; status == done && std::getline(std::cin, line);)
        status = execute(socket.get(), line, timeout);
    return status;
}

int show_usage(std::FILE *to, exit_status status)
{
    std::fprintf(to, "%s%s", usage, vynd::command_help);
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    static constexpr option known[] = {
        {"socket", required_argument, nullptr, 's'},
        {"timeout", required_argument, nullptr, 't'},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'v'},
        {nullptr, 0, nullptr, 0},
    };
    std::string path = vynd::socket_path();
    std::optional<uint32_t> timeout = 5000;
    // "+": options end where the command begins, whose words may start with a dash.
    for (int letter; (letter = getopt_long(argc, argv, "+", known, nullptr)) != -1;) {
        switch (letter) {
        case 's': path = optarg; break;
        case 't': timeout = vynd::parse_number(optarg, 3'600'000); break;
        case 'h': return show_usage(stdout, done);
        case 'v': std::puts("vynctl " VYN_VERSION); return done;
        default: return show_usage(stderr, wrong_usage);
        }
    }
    if (optind == argc || path.empty() || !timeout)
        return show_usage(stderr, wrong_usage);
    std::string command = argv[optind];
    for (int i = optind + 1; i < argc; i++)
        command += std::string(" ") + argv[i];
    try {
        return run(path, command, std::chrono::milliseconds(*timeout));
    } catch (const std::exception &error) {
        std::fprintf(stderr, "vynctl: %s\n", error.what());
        return no_service;
    }
}
