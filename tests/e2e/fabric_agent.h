// A running switch without a switch: vynd, an snmpd that has loaded the module, and an snmptrapd,
// each started for one test in a private folder on free loopback ports, and ended with it. Managers
// are the Net-SNMP tools.
//
// Nothing here waits for a time: what takes time is waited for with wait_until, whose limit only a
// broken system reaches. What a manager is told is given with {} for vynMIB.
#pragma once

#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

// Polls until the condition holds; false when it still does not after a minute.
bool wait_until(const std::function<bool()> &condition);

// What a command of the shell prints, standard error included.
std::string run(const std::string &command);

std::string replace_all(std::string text, const std::string &from, const std::string &to);

// How many times a text occurs in another, and whether it does; a failed check of that shows the text.
size_t count(const std::string &text, const std::string &part);
testing::AssertionResult has(const std::string &text, const std::string &part);

using oid_name = std::vector<unsigned long>;

// One line of a walk: the sub-identifiers below vynMIB, the line itself, and what is behind its " = ".
struct binding {
    oid_name name;
    std::string line, value;
};

std::vector<binding> parse(const std::string &output);
size_t rows_of(const std::vector<binding> &walk, unsigned long table, unsigned long column);

// A feature of a scenario: its name, and the rest of its object, with a comma in front.
std::string feature(const std::string &name, const std::string &rest);

class fabric_agent : public testing::Test {
  protected:
    fabric_agent();
    ~fabric_agent() override;

    // Everything, with new logs, up to the agent's subscription to events.
    void start(const std::filesystem::path &scenario = "default.json");
    void start_with(const std::string &scenario);                               // its text
    void start_service(const std::filesystem::path &scenario = "default.json"); // of the tree, or a whole path
    void stop_service(int signal) { end(service, signal); }                     // and wait until it is gone
    void start_agent();
    void restart_agent();                        // as a manager of processes does it, by SIGHUP
    std::string marker(const std::string &path); // of NPV mode: where the agent looks for the file of that path
    void use_sanitizers();                       // in the agents that are started from now on, where they can be had
    std::string snmpd() const;                   // the command that starts an agent, without options
    void stop_all(); // the agent by SIGTERM: whatever has happened to it, it has to end well

    // vynctl with these words; its output.
    std::string control(const std::string &words);

    // A manager: the tool's name, the arguments that say who asks, and what is asked.
    std::string manager(const std::string &tool, const std::string &who, const std::string &what);

    // A GET and a SET of one object below vynMIB: its value ("INTEGER: 1"), or all of the answer if that is none.
    std::string get(const std::string &object, const std::string &who = oper) { return ask("snmpget", object, who); }
    std::string set(const std::string &object, const std::string &who = oper) { return ask("snmpset", object, who); }

    // A walk of a subtree, checked: it ends, its OIDs only increase, and a GET of each gives the same.
    std::vector<binding> checked_walk(const std::string &subtree = "{}.1.1");

    std::string log_of(const std::string &process) const;
    std::string service_log() const { return log_of("vynd"); }
    std::string agent_log() const { return log_of("snmpd"); }
    std::string trap_log() const { return log_of("snmptrapd"); }
    size_t subscriptions() const { return count(service_log(), "subscribe 8475"); }
    long agent_memory() const; // its heap and other private memory, in KiB

    std::string folder;
    std::map<std::string, std::string> environment; // of the agent
    std::string agent_module = VYN_MODULE;          // that the agent loads
    std::string agent_options;                      // at the end of its command
    std::string preloaded = VYN_MARKER_FILES;       // libraries, separated by blanks
    std::string transport = "udp";                  // to the receiver of notifications
    std::string trap_sink = "trap2sink {} traps";   // {}: the receiver's address
    pid_t service = 0, agent = 0, trap_receiver = 0;

    static inline const std::string watcher = "-v2c -c watcher", oper = "-v2c -c oper",
                                    alice = "-v3 -u alice -l authPriv -a SHA -A alice-auth -x AES -X alice-priv",
                                    no_instance = "No Such Instance currently exists at this OID";

  private:
    std::string ask(const std::string &tool, const std::string &object, const std::string &who);
    pid_t spawn(const std::string &command);
    int end(pid_t &process, int signal);
    std::string agent_port, trap_port;
};
