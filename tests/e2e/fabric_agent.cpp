// Starting, asking and ending the processes of an end-to-end test.

#include "fabric_agent.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

static const std::string root = ".1.3.6.1.4.1.57193.12.7", failed = "vynctl has failed", or_else = " || echo " + failed;

bool wait_until(const std::function<bool()> &condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

std::string run(const std::string &command) {
    std::string text;
    FILE *pipe = popen(("( " + command + " ) 2>&1").c_str(), "r");
    char buffer[4096];
    while (size_t length = fread(buffer, 1, sizeof(buffer), pipe)) text.append(buffer, length);
    pclose(pipe);
    return text;
}

size_t count(const std::string &text, const std::string &part) {
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) found++;
    return found;
}

testing::AssertionResult has(const std::string &text, const std::string &part) {
    return testing::AssertionResult(text.find(part) != std::string::npos) << "\"" << part << "\" in:\n" << text;
}

std::string replace_all(std::string text, const std::string &from, const std::string &to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

static int free_udp_port() {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    auto *any = reinterpret_cast<sockaddr *>(&address);
    EXPECT_TRUE(bind(fd, any, length) == 0 && getsockname(fd, any, &length) == 0) << "no free port";
    close(fd);
    return ntohs(address.sin_port);
}

std::vector<binding> parse(const std::string &output) {
    std::vector<binding> found;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        if (line.find("{}.") != 0) continue;
        binding each{{}, line, line.substr(std::min(line.size(), line.find(" = ") + 3))};
        std::istringstream digits(line.substr(3, line.find(' ') - 3));
        for (std::string part; std::getline(digits, part, '.');) each.name.push_back(std::stoul(part));
        found.push_back(each);
    }
    return found;
}

size_t rows_of(const std::vector<binding> &walk, unsigned long table, unsigned long column) {
    return std::count_if(walk.begin(), walk.end(), [&](const binding &each) {
        return each.name[1] == 1 && each.name[2] == table && each.name[4] == column;
    });
}

std::string feature(const std::string &name, const std::string &rest) {
    return "{\"name\": \"" + name + "\"" + rest + "}";
}

fabric_agent::fabric_agent() {
    char name[] = "/tmp/vyn-e2e-XXXXXX";
    folder = mkdtemp(name);
    agent_port = std::to_string(free_udp_port());
    trap_port = std::to_string(free_udp_port());
    setenv("VYN_SOCKET", (folder + "/vynd.sock").c_str(), 1);
    setenv("SNMP_PERSISTENT_DIR", (folder + "/persistent").c_str(), 1);
    setenv("SNMPCONFPATH", folder.c_str(), 1);
    setenv("VYN_MARKERS", (folder + "/markers").c_str(), 1);
    setenv("MIBS", "", 1);
}

fabric_agent::~fabric_agent() {
    stop_all();
    if (HasFailure()) std::cerr << run("cd " + folder + " && tail -n +1 *.log *.out");
    std::filesystem::remove_all(folder);
}

pid_t fabric_agent::spawn(const std::string &command) {
    const pid_t process = fork();
    if (process != 0) return process;
    for (const auto &[name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    execl("/bin/sh", "sh", "-c", ("cd " + folder + " && exec " + command + " 2>&1").c_str(), nullptr);
    _exit(127);
}

int fabric_agent::end(pid_t &process, int signal) {
    int status = 0;
    kill(process, signal);
    kill(process, SIGCONT);
    waitpid(std::exchange(process, 0), &status, 0);
    return status;
}

void fabric_agent::start(const std::filesystem::path &scenario) {
    for (const std::string log : {"/vynd.log", "/snmptrapd.log", "/snmpd.log"}) std::filesystem::remove(folder + log);
    start_service(scenario);
    std::ofstream(folder + "/receiver.conf") << "disableAuthorization yes\n"
                                                "createUser carol SHA carol-auth AES carol-priv\n";
    trap_receiver = spawn("snmptrapd -f -C -c receiver.conf -On -n -Lf snmptrapd.log -F '%v\\n' " + transport +
                          ":127.0.0.1:" + trap_port + " >>snmptrapd.out");
    ASSERT_TRUE(wait_until([&] { return has(trap_log(), "NET-SNMP version"); }));
    start_agent();
    ASSERT_TRUE(wait_until([&] { return subscriptions() == 1; }));
}

void fabric_agent::start_with(const std::string &scenario) {
    std::ofstream(folder + "/fabric.json") << scenario;
    start(folder + "/fabric.json");
}

void fabric_agent::start_service(const std::filesystem::path &scenario) {
    const std::string path = std::filesystem::path(VYN_SCENARIOS) / scenario;
    service = spawn(VYN_SERVICE " --socket vynd.sock --scenario " + path + " >>vynd.log");
    ASSERT_TRUE(wait_until([&] { return !has(run(VYN_CONTROL " ping" + or_else), failed); }));
}

void fabric_agent::stop_all() {
    EXPECT_EQ(agent > 0 ? end(agent, SIGTERM) : 0, 0);
    for (pid_t *process : {&trap_receiver, &service})
        if (*process > 0) end(*process, SIGKILL);
}

void fabric_agent::start_agent() {
    std::ofstream(folder + "/agent.conf")
        << "agentaddress udp:127.0.0.1:" + agent_port + "\ndlmod vyn_mib " + agent_module + "\n"
        << "rocommunity watcher default\nrwcommunity oper default\n"
        << "createUser alice SHA alice-auth AES alice-priv\nrwuser alice priv\n"
        << replace_all(trap_sink, "{}", transport + ":127.0.0.1:" + trap_port) << "\n";
    agent = spawn(snmpd() + " -f -C -c agent.conf -Lf snmpd.log " + agent_options + " >>snmpd.out");
    const std::string hasty = "-r 0 -t 0.1 " + watcher;
    ASSERT_TRUE(wait_until([&] { return has(manager("snmpget", hasty, ".1.3.6.1.2.1.1.3.0"), "Timeticks"); }));
}

std::string fabric_agent::marker(const std::string &path) {
    const std::filesystem::path place = folder + "/markers" + path;
    std::filesystem::create_directories(place.parent_path());
    return place;
}

std::string fabric_agent::snmpd() const {
    // The agent has leaks of its own.
    return "env LD_PRELOAD='" + preloaded + "' ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 snmpd";
}

void fabric_agent::use_sanitizers() {
    agent_module = VYN_SANITIZED_MODULE;
    preloaded = VYN_SANITIZER_RUNTIME + (" " + preloaded);
}

void fabric_agent::restart_agent() {
    const size_t before = count(agent_log(), "restarted");
    kill(agent, SIGHUP);
    ASSERT_TRUE(wait_until([&] { return count(agent_log(), "restarted") > before; }));
}

std::string fabric_agent::control(const std::string &words) {
    const std::string text = run(VYN_CONTROL " " + words + or_else);
    EXPECT_FALSE(has(text, failed)) << words;
    return text;
}

std::string fabric_agent::manager(const std::string &tool, const std::string &who, const std::string &what) {
    const std::string command = tool + " -t 10 --hexOutputLength=0 -On -Oe " + who + " 127.0.0.1:" + agent_port + " ";
    return replace_all(run(command + replace_all(what, "{}", root)), root, "{}");
}

std::string fabric_agent::ask(const std::string &tool, const std::string &object, const std::string &who) {
    const std::string front = "{}." + object.substr(0, object.find(' ')) + " = ";
    const std::string answer = manager(tool, who, "{}." + object);
    return answer.find(front) == 0 ? answer.substr(front.size(), answer.size() - front.size() - 1) : answer;
}

std::vector<binding> fabric_agent::checked_walk(const std::string &subtree) {
    const std::string output = manager("snmpbulkwalk -Ih -Ox", oper, subtree);
    EXPECT_FALSE(has(output, "not increasing"));
    EXPECT_FALSE(has(output, "Timeout"));
    const std::vector<binding> rows = parse(output);
    for (size_t i = 1; i < rows.size(); i++) EXPECT_LT(rows[i - 1].name, rows[i].name);
    for (size_t i = 0; i < rows.size();) {
        std::string names, lines;
        for (const size_t end = std::min(i + 40, rows.size()); i < end; i++) {
            names += " " + rows[i].line.substr(0, rows[i].line.find(' '));
            lines += rows[i].line + "\n";
        }
        EXPECT_EQ(manager("snmpget -Ox", oper, names), lines);
    }
    return rows;
}

std::string fabric_agent::log_of(const std::string &process) const {
    std::stringstream text;
    text << std::ifstream(folder + "/" + process + ".log").rdbuf();
    return replace_all(text.str(), root, "{}");
}

long fabric_agent::agent_memory() const {
    return std::stol(run("awk '/^VmData/ {print $2}' /proc/" + std::to_string(agent) + "/status"));
}
