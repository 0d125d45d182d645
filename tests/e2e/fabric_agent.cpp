// Starting, asking and ending the processes of an end-to-end test.

#include "fabric_agent.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

static const std::string root = ".1.3.6.1.4.1.57193.12.7";

bool wait_until(const std::function<bool()> &condition)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

outcome run(const std::string &command)
{
    outcome result;
    FILE *pipe = popen(("( " + command + " ) 2>&1").c_str(), "r");
    if (pipe == nullptr)
        return result;
    char buffer[4096];
    while (size_t length = fread(buffer, 1, sizeof(buffer), pipe))
        result.text.append(buffer, length);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

size_t count(const std::string &text, const std::string &part)
{
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        found++;
    return found;
}

static std::string replace_all(std::string text, const std::string &from, const std::string &to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

static std::string read_file(const std::filesystem::path &path)
{
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

static int free_udp_port()
{
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), length) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        ADD_FAILURE() << "no free port";
    close(fd);
    return ntohs(address.sin_port);
}

fabric_agent::fabric_agent()
{
    char name[] = "/tmp/vyn-e2e-XXXXXX";
    folder = mkdtemp(name);
    agent_port = free_udp_port();
    trap_port = free_udp_port();
    environment["VYN_SOCKET"] = folder / "vynd.sock";
}

fabric_agent::~fabric_agent()
{
    for (pid_t *process : {&agent, &trap_receiver, &service})
        if (*process > 0)
            end(*process, SIGKILL);
    if (HasFailure())
        fprintf(stderr, "-- snmpd:\n%s-- vynd:\n%s-- snmptrapd:\n%s", agent_log().c_str(),
                service_log().c_str(), trap_log().c_str());
    std::filesystem::remove_all(folder);
}

pid_t fabric_agent::start(const std::vector<std::string> &command, const std::string &output)
{
    const pid_t process = fork();
    if (process != 0)
        return process;
    std::vector<char *> arguments;
    for (const std::string &word : command)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    const int file = open((folder / output).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    close(file);
    for (const auto &[name, value] : environment)
        setenv(name.c_str(), value.c_str(), 1);
    setenv("SNMP_PERSISTENT_DIR", (folder / "persistent").c_str(), 1);
    setenv("SNMPCONFPATH", folder.c_str(), 1);
    setenv("MIBS", "", 1);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

void fabric_agent::end(pid_t &process, int signal)
{
    kill(process, signal);
    kill(process, SIGCONT);
    waitpid(process, nullptr, 0);
    process = 0;
}

void fabric_agent::start_service(const std::filesystem::path &scenario)
{
    const std::string socket = folder / "vynd.sock";
    service = start({VYN_SERVICE, "--socket", socket, "--scenario",
                     std::filesystem::path(VYN_SCENARIOS) / scenario},
                    "vynd.log");
    ASSERT_TRUE(wait_until([&] {
        return run(std::string(VYN_CONTROL) + " --socket " + socket + " ping").status == 0;
    })) << service_log();
}

void fabric_agent::stop_service(int signal)
{
    end(service, signal);
}

void fabric_agent::stop_agent()
{
    end(agent, SIGTERM);
}

void fabric_agent::start_agent()
{
    std::ofstream(folder / "agent.conf")
        << "agentaddress udp:127.0.0.1:" << agent_port << "\n"
        << "dlmod vyn_mib " << VYN_MODULE << "\n"
        << "view fabric included .1.3.6.1.2.1.1\n"
        << "view fabric included " << root << "\n"
        << "view fabric included .1.3.6.1.6.3.1\n" // something behind it, where walks end
        << "rocommunity watcher default -V fabric\n"
        << "rwcommunity oper default -V fabric\n"
        << "createUser alice SHA alice-auth AES alice-priv\n"
        << "rwuser alice priv -V fabric\n"
        << "trap2sink udp:127.0.0.1:" << trap_port << " traps\n";
    std::vector<std::string> command = {
        "snmpd", "-f", "-C", "-c", folder / "agent.conf", "-Lf", folder / "snmpd.log"};
    if (!agent_modules.empty())
        command.insert(command.end(), {"-I", agent_modules});
    agent = start(command, "snmpd.out");
    ASSERT_TRUE(wait_until([&] {
        return manager("snmpget -r 0 -t 0.1", watcher, ".1.3.6.1.2.1.1.3.0").find("Timeticks") !=
               std::string::npos;
    })) << agent_log();
}

void fabric_agent::start_trap_receiver()
{
    std::ofstream(folder / "receiver.conf") << "disableAuthorization yes\n";
    trap_receiver = start({"snmptrapd", "-f", "-C", "-c", folder / "receiver.conf", "-On", "-n",
                           "-Lf", folder / "snmptrapd.log", "-F", "%v\n",
                           "udp:127.0.0.1:" + std::to_string(trap_port)},
                          "snmptrapd.out");
    ASSERT_TRUE(
        wait_until([&] { return trap_log().find("NET-SNMP version") != std::string::npos; }));
}

std::string fabric_agent::control(const std::string &words)
{
    const outcome result = run(std::string(VYN_CONTROL) + " --socket " +
                               (folder / "vynd.sock").string() + " " + words);
    EXPECT_EQ(result.status, 0) << "vynctl " << words << ": " << result.text;
    return result.text;
}

std::string fabric_agent::manager(const std::string &tool, const std::string &who,
                                  const std::string &what)
{
    const std::string text =
        run("MIBS= SNMPCONFPATH=" + folder.string() + " SNMP_PERSISTENT_DIR=" + folder.string() +
            "/manager " + tool + " -On -Oe " + who + " 127.0.0.1:" + std::to_string(agent_port) +
            " " + replace_all(what, "{}", root))
            .text;
    return replace_all(text, root, "{}");
}

std::string fabric_agent::get(const std::string &object)
{
    return manager("snmpget", oper, "{}." + object);
}

std::string fabric_agent::set(const std::string &assignment)
{
    return manager("snmpset", oper, "{}." + assignment);
}

std::string fabric_agent::service_log() const
{
    return read_file(folder / "vynd.log");
}

std::string fabric_agent::agent_log() const
{
    return read_file(folder / "snmpd.log");
}

std::string fabric_agent::trap_log() const
{
    return replace_all(read_file(folder / "snmptrapd.log"), root, "{}");
}
