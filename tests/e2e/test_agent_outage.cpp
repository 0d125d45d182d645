// The service stalls, dies, and comes back; the agent is told to start again. Others' objects go on
// answering, nothing waits in a queue, and the first request afterwards is right.

#include "fabric_agent.h"

namespace {

class agent_outage : public fabric_agent {
  protected:
    // Of the agent, in seconds: an object of others, which answers whatever the service does.
    long uptime() {
        const std::string text = manager("snmpget", watcher, ".1.3.6.1.2.1.1.3.0");
        EXPECT_TRUE(has(text, "Timeticks: ("));
        return atol(text.substr(text.find('(') + 1).c_str()) / 100;
    }

    std::string descriptors() const { return run("ls /proc/" + std::to_string(agent) + "/fd | wc -l"); }

    std::string distribution() { return get("1.4.1.0"); }

    static inline const std::string enabled = "INTEGER: 1";
};

TEST_F(agent_outage, stalled_service_costs_one_request) {
    start();
    EXPECT_EQ(distribution(), enabled);
    const size_t before = count(service_log(), " query ");
    kill(service, SIGSTOP);

    // Sixty reads in one request. One of them waits; were it each of them, the manager would have
    // given up, and the service would find all of them when it goes on.
    EXPECT_TRUE(has(manager("snmpbulkget -Cn0 -Cr20", "-r 0 -t 20 " + watcher, "{}.1.3.1.0 {}.1.3.2.0 {}.1.3.3.0"),
                    "\n.1.3.6.1.6.3."));
    uptime();
    EXPECT_EQ(distribution(), no_instance);
    EXPECT_EQ(set("1.4.1.0 i 2"), "INTEGER: 2") << "a refusal in ACTION is only recorded";

    kill(service, SIGCONT);
    control("ping");
    EXPECT_EQ(distribution(), enabled) << "the first request is right, and no SET has come late";
    EXPECT_EQ(count(service_log(), " query "), before + 2) << service_log();
    EXPECT_EQ(count(agent_log(), "vynd.sock"), 2u) << "one line for the loss and one for the return:\n" << agent_log();
}

TEST_F(agent_outage, dead_service_is_missed_and_found_again) {
    start_agent(); // before there is any service
    EXPECT_EQ(distribution(), no_instance);
    start_service();
    EXPECT_EQ(distribution(), enabled) << "first request after a start";
    ASSERT_TRUE(wait_until([&] { return subscriptions() > 0; }));
    stop_service(SIGTERM);
    EXPECT_EQ(distribution(), no_instance);
    uptime();
    // Unloading without a service leaves nothing to call.
    restart_agent();
    EXPECT_EQ(distribution(), no_instance);
    run("sed -i /^dlmod/d " + folder + "/agent.conf");
    restart_agent();
    // Long enough for what the module had the agent call every second.
    const long later = uptime() + 2;
    EXPECT_TRUE(wait_until([&] { return uptime() >= later; }));
    EXPECT_EQ(distribution(), "No Such Object available on this agent at this OID");
    kill(agent, SIGUSR2);
    uptime();
}

TEST_F(agent_outage, history_has_the_latest_traces_in_order) {
    const std::string file = environment["VYN_HISTORY_FILE"] = folder + "/history";
    start();
    const auto history = [&] {
        std::string text;
        EXPECT_TRUE(has(set("1.4.2.1.2.1 x ef010101"), "wrongValue")); // the last trace is of this
        kill(agent, SIGUSR2);
        EXPECT_TRUE(wait_until([&] { return (text = run("cat " + file)).ends_with("multicast Addr\n"); }));
        EXPECT_EQ(run("cut -c -23 " + file + " | sort -c"), "") << "dates and times";
        std::filesystem::remove(file);
        return text;
    };
    const std::string first = " init_vyn_mib : entrying\n";
    EXPECT_EQ(count(history(), first), 1u);
    for (int walks = 0; walks < 50; walks++) manager("snmpbulkwalk", watcher, "{}.1.1");
    const std::string latest = history();
    EXPECT_EQ(count(latest, first), 0u);
    EXPECT_GT(latest.size(), 60'000u);
}

TEST_F(agent_outage, stalled_service_is_found_when_it_goes_on) {
    start_service();
    kill(service, SIGSTOP);
    start_agent();
    EXPECT_EQ(distribution(), no_instance);
    kill(service, SIGCONT);
    control("ping");
    EXPECT_EQ(distribution(), enabled);

    // Another one takes the place of a service that stays stopped, its events included.
    kill(service, SIGSTOP);
    EXPECT_EQ(distribution(), no_instance);
    pid_t stopped = std::exchange(service, 0);
    std::filesystem::remove(folder + "/vynd.sock");
    const size_t before = subscriptions();
    start_service();
    EXPECT_TRUE(wait_until([&] { return distribution() == enabled; }));
    EXPECT_TRUE(wait_until([&] { return subscriptions() > before; }));
    std::swap(service, stopped);
    stop_service(SIGKILL);
    service = stopped;
}

TEST_F(agent_outage, events_outlive_their_service) {
    transport = "tcp";
    start();
    kill(agent, SIGSTOP);
    std::string commands;
    for (int i = 0; i < 60; i++) commands += "event discovery failed " + std::to_string(i) + "\\n";
    EXPECT_EQ(count(run("printf '" + commands + "' | " VYN_CONTROL " -"), "to 1 subscriber"), 60u);
    stop_service(SIGKILL);
    start_service();
    // A request that waits for the agent, and will meet the new service in front of most events.
    EXPECT_TRUE(has(manager("snmpget", "-r 0 -t 0.1 " + oper, "{}.1.4.1.0"), "Timeout"));
    kill(agent, SIGCONT);
    EXPECT_TRUE(wait_until([&] { return count(trap_log(), "1.3.3.0") == 60; })) << trap_log();
}

TEST_F(agent_outage, hundred_restarts_of_the_agent_leave_nothing) {
    // The stock agent's own modules that stand a restart: some of the others register twice or lose sockets.
    agent_options = "-I dlmod,vacm_conf,usmConf,usmUser,snmpEngine,system_mib,setSerialNo";
    start();
    std::string open;
    long data = 0;
    for (size_t round = 1; round <= 100; round++) {
        EXPECT_EQ(distribution(), enabled);
        restart_agent();
        ASSERT_TRUE(wait_until([&] { return subscriptions() == round + 1; })) << "round " << round;
        if (round == 20) { // the agent's own buffers have been made by now
            open = descriptors();
            data = agent_memory();
        }
    }
    EXPECT_EQ(distribution(), enabled);
    EXPECT_EQ(descriptors(), open);
    EXPECT_LE(agent_memory(), data + 512) << "KiB";
    EXPECT_EQ(count(agent_log(), "uplicate"), 0u) << agent_log();
    EXPECT_EQ(set("1.4.1.0 i 1", alice), enabled);
    EXPECT_EQ(count(service_log(), "query 31 user \"alice\""), 1u);
}

} // namespace
