// vynd: the stand-in VYN service. Reads a scenario, listens, and serves until a signal ends it.
//
// SIGTERM and SIGINT make a descriptor in the server's loop readable, so that the loop ends between
// two steps and the socket's file is removed. SIGPIPE is ignored, so that a log without a reader
// does not end vynd.
#include <getopt.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>

#include "scenario.h"
#include "server.h"
#include "short_time_slice.h"

namespace {

constexpr char usage[] =
    "usage: vynd [--socket PATH] --scenario FILE [--log FILE] [--quiet]\n"
    "Stands in for the VYN service of a switch, with the fabric of a scenario file.\n"
    "  --socket PATH    where to listen: by default $VYN_SOCKET, or else /run/vynd/vynd.sock\n"
    "  --scenario FILE  the fabric, in JSON\n"
    "  --log FILE       append the log to FILE instead of writing it to standard output\n"
    "  --quiet          no line for each request\n"
    "  --help           this text\n"
    "  --version        the version\n"
    "Prints a line \"vynd: ready ...\" when clients can connect. SIGTERM and SIGINT end it.\n"
    "Exit status: 0 ended by a signal, 1 cannot serve, 2 usage.\n";

struct options {
    std::string socket;
    std::string scenario{};
    std::string log{};
    bool quiet = false;
};

int wrong_usage()
{
    std::fputs(usage, stderr);
    return 2;
}

vynd::unique_fd stop_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    vynd::unique_fd result(signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
    if (result.get() < 0)
        throw std::system_error(errno, std::generic_category(), "signalfd");
    return result;
}

void serve(const options &chosen)
{
    vynd::fabric model(vynd::read_scenario(chosen.scenario));
    vynd::event_log log = chosen.log.empty() ? vynd::event_log() : vynd::event_log(chosen.log);
    if (chosen.quiet)
        log.leave_out_requests();
    const vynd::unique_fd stop = stop_signals();
    vynd::request_short_time_slice();
    vynd::server server(chosen.socket, model, log);

    const std::string ready = "vynd: ready at " + chosen.socket + ", scenario " + chosen.scenario +
                              ", " + std::to_string(model.state().features.size()) + " features";
    log.line(ready);
    if (!chosen.log.empty())
        vynd::event_log().line(ready);
    while (server.step(stop.get())) {
    }
    log.line("vynd: stopped");
}

} // namespace

int main(int argc, char **argv)
{
    static constexpr option known[] = {
        {"socket", required_argument, nullptr, 's'},
        {"scenario", required_argument, nullptr, 'f'},
        {"log", required_argument, nullptr, 'l'},
        {"quiet", no_argument, nullptr, 'q'},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'v'},
        {nullptr, 0, nullptr, 0},
    };
    options chosen{.socket = vynd::socket_path()};
    for (int letter; (letter = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
        switch (letter) {
        case 's': chosen.socket = optarg; break;
        case 'f': chosen.scenario = optarg; break;
        case 'l': chosen.log = optarg; break;
        case 'q': chosen.quiet = true; break;
        case 'h': std::fputs(usage, stdout); return 0;
        case 'v': std::puts("vynd " VYN_VERSION); return 0;
        default: return wrong_usage();
        }
    }
    if (optind != argc || chosen.socket.empty() || chosen.scenario.empty())
        return wrong_usage();
    try {
        serve(chosen);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "vynd: %s\n", error.what());
        return 1;
    }
}
