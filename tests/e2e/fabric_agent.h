// A running switch without a switch: vynd, an snmpd that has loaded the module, and an snmptrapd,
// each started for one test in a private folder on free loopback ports, and ended with it. Managers
// are the Net-SNMP tools.
//
// Nothing here waits for a time: what takes time is waited for with wait_until, whose limit only a
// broken system reaches.
#pragma once

#include <gtest/gtest.h>

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

// Polls until the condition holds; false when it still does not after a minute.
bool wait_until(const std::function<bool()> &condition);

// A command of the shell: what it printed, standard error included, and its exit status.
struct outcome {
    std::string text;
    int status = -1;
};
outcome run(const std::string &command);

class fabric_agent : public testing::Test {
  protected:
    fabric_agent();
    ~fabric_agent() override;

    // A scenario of the tree, or any by its whole path.
    void start_service(const std::filesystem::path &scenario = "default.json");
    void stop_service(int signal); // and wait until the process is gone
    void start_agent();
    void stop_agent();
    void start_trap_receiver();

    // vynctl with these words; its output.
    std::string control(const std::string &words);

    // A manager: the tool's name, the arguments that say who asks, and what is asked. {} stands for
    // vynMIB, in the output too.
    std::string manager(const std::string &tool, const std::string &who, const std::string &what);

    // Like manager("snmpget", ...) of the operator, for one object below vynMIB.
    std::string get(const std::string &object);
    std::string set(const std::string &assignment);

    std::string service_log() const;
    std::string agent_log() const;
    std::string trap_log() const;

    std::filesystem::path folder;
    std::map<std::string, std::string> environment; // of the agent
    std::string agent_modules;                      // of the stock agent; empty: all it has
    pid_t service = 0, agent = 0, trap_receiver = 0;

    static inline const std::string watcher = "-v2c -c watcher", oper = "-v2c -c oper",
                                    alice = "-v3 -u alice -l authPriv -a SHA -A alice-auth "
                                            "-x AES -X alice-priv";

  private:
    pid_t start(const std::vector<std::string> &command, const std::string &output);
    void end(pid_t &process, int signal);

    int agent_port = 0, trap_port = 0;
};

// How many times a text occurs in another.
size_t count(const std::string &text, const std::string &part);
