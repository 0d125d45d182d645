// vynctl: sends commands to a running vynd, prints the answers, and exits with a status for
// scripts.
//
// It does not wait for the greeting, which a stalled service does not send, and ignores it. Only
// the service knows the commands.
#include <getopt.h>

#include <algorithm>
#include <cerrno>
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

[[noreturn]] void fail(int code, const std::string &what)
{
    throw std::system_error(code, std::generic_category(), what);
}

// Returns the next frame. Throws if the service closes the connection, or on a timeout.
std::vector<uint8_t> next_frame(int socket, int64_t deadline)
{
    for (;;) {
        std::vector<uint8_t> frame(vynd::largest_frame);
        const vynd::received got = vynd::await_frame(socket, frame.data(), deadline);
        if (got.what == vynd::arrival::nothing)
            fail(ETIMEDOUT, "no answer");
        if (got.what == vynd::arrival::lost && got.length == 0)
            fail(got.error != 0 ? got.error : ECONNRESET, "no answer");
        if (got.what != vynd::arrival::lost) {
            frame.resize(std::min(got.length, frame.size()));
            return frame;
        }
    }
}

exit_status execute(int socket, const std::string &command, int64_t timeout_ms)
{
    const std::vector<uint8_t> request =
        vynd::make_frame(vynd::header_of(vynd::frame_kind::command), vynd::as_bytes(command));
    if (request.size() > vynd::largest_frame) {
        std::fputs("vynctl: the command is too long\n", stderr);
        return refused;
    }
    if (const int error = vynd::send_frame(socket, request))
        fail(error, "not sent");

    const int64_t deadline = vynd::now_ms() + timeout_ms;
    vynd::frame_header header;
    std::vector<uint8_t> frame;
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

exit_status run(const std::string &path, const std::string &command, int64_t timeout_ms)
{
    vynd::unique_fd socket;
    if (const int error = vynd::connect_to(path.c_str(), &socket))
        fail(error, path);
    if (command != "-")
        return execute(socket.get(), command, timeout_ms);
    exit_status status = done;
    for (std::string line; status == done && std::getline(std::cin, line);)
        status = execute(socket.get(), line, timeout_ms);
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
        return run(path, command, *timeout);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "vynctl: %s\n", error.what());
        return no_service;
    }
}
