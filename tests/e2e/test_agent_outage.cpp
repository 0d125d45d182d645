// The service stalls, dies, and comes back; the agent is told to start again. Others' objects go on
// answering, nothing waits in a queue, and the first request afterwards is right.

#include <signal.h>

#include "fabric_agent.h"

namespace {

class agent_outage : public fabric_agent {
  protected:
    std::string uptime() { return manager("snmpget", watcher, ".1.3.6.1.2.1.1.3.0"); }

    size_t descriptors() const
    {
        size_t open = 0;
        for ([[maybe_unused]] const auto &entry :
             std::filesystem::directory_iterator("/proc/" + std::to_string(agent) + "/fd"))
            open++;
        return open;
    }

    // KiB of the agent's heap and other private memory.
    long memory() const
    {
        return std::stol(
            run("awk '/^VmData/ {print $2}' /proc/" + std::to_string(agent) + "/status").text);
    }

    static inline const std::string enabled = "{}.1.4.1.0 = INTEGER: 1\n",
                                    nothing = "{}.1.4.1.0 = No Such Instance currently exists at "
                                              "this OID\n";
};

TEST_F(agent_outage, stalled_service_costs_one_request)
{
    start_service();
    start_agent();
    EXPECT_EQ(get("1.4.1.0"), enabled);
    const size_t before = count(service_log(), " query ");
    kill(service, SIGSTOP);

    // Sixty reads in one request. One of them waits; were it each of them, the manager would have
    // given up, and the service would find all of them when it goes on.
    const std::string bulk =
        manager("snmpbulkget -r 0 -t 20 -Cn0 -Cr20", watcher, "{}.1.3.1.0 {}.1.3.2.0 {}.1.3.3.0");
    EXPECT_NE(bulk.find("No more variables"), std::string::npos) << bulk;
    EXPECT_NE(uptime().find("Timeticks"), std::string::npos);
    EXPECT_EQ(get("1.4.1.0"), nothing);
    EXPECT_NE(set("1.4.1.0 i 2").find("INTEGER: 2"), std::string::npos)
        << "a refusal in ACTION is only recorded";

    kill(service, SIGCONT);
    control("ping");
    EXPECT_EQ(get("1.4.1.0"), enabled) << "the first request is right, and no SET has come late";
    EXPECT_EQ(count(service_log(), " query "), before + 2) << service_log();
    EXPECT_EQ(count(agent_log(), "vynd.sock"), 2u)
        << "one line for the loss and one for the return:\n"
        << agent_log();
}

TEST_F(agent_outage, dead_service_is_missed_and_found_again)
{
    start_agent(); // before there is any service
    EXPECT_EQ(get("1.4.1.0"), nothing);
    for (int signal : {SIGTERM, SIGKILL}) {
        start_service();
        EXPECT_EQ(get("1.4.1.0"), enabled) << "first request after a start";
        stop_service(signal);
        EXPECT_EQ(get("1.4.1.0"), nothing);
        EXPECT_NE(uptime().find("Timeticks"), std::string::npos);
    }
    start_service();
    // Killed with a request under way: that one is lost, the next is not.
    control("fault disconnect 1");
    EXPECT_EQ(get("1.4.1.0"), nothing);
    EXPECT_EQ(get("1.4.1.0"), enabled);
}

TEST_F(agent_outage, stalled_service_is_found_when_it_goes_on)
{
    start_service();
    kill(service, SIGSTOP);
    start_agent();
    EXPECT_EQ(get("1.4.1.0"), nothing);
    kill(service, SIGCONT);
    control("ping");
    EXPECT_EQ(get("1.4.1.0"), enabled);

    // Another one takes the place of a service that stays stopped, its events included.
    kill(service, SIGSTOP);
    EXPECT_EQ(get("1.4.1.0"), nothing);
    pid_t stopped = std::exchange(service, 0);
    std::filesystem::remove(folder / "vynd.sock");
    const size_t subscribed = count(service_log(), "subscribe 8475");
    start_service();
    EXPECT_TRUE(wait_until([&] { return get("1.4.1.0") == enabled; }));
    EXPECT_TRUE(wait_until([&] { return count(service_log(), "subscribe 8475") > subscribed; }));
    std::swap(service, stopped);
    stop_service(SIGKILL);
    service = stopped;
}

TEST_F(agent_outage, unloading_without_a_service_leaves_nothing_to_call)
{
    start_service();
    start_agent();
    EXPECT_EQ(get("1.4.1.0"), enabled);
    stop_service(SIGKILL);
    EXPECT_EQ(get("1.4.1.0"), nothing);
    const auto restart = [&] {
        const size_t before = count(agent_log(), "restarted");
        kill(agent, SIGHUP);
        ASSERT_TRUE(wait_until([&] { return count(agent_log(), "restarted") > before; }));
    };
    restart();
    EXPECT_EQ(get("1.4.1.0"), nothing);
    run("sed -i '/^dlmod/d' " + (folder / "agent.conf").string());
    restart();
    // Long enough for what the module had the agent call every second.
    const auto seconds = [&] {
        const std::string text = uptime();
        return std::stol(text.substr(text.find('(') + 1)) / 100;
    };
    const long end = seconds() + 2;
    EXPECT_TRUE(wait_until([&] { return seconds() >= end; }));
    EXPECT_EQ(get("1.4.1.0"), "{}.1.4.1.0 = No Such Object available on this agent at this OID\n");
    kill(agent, SIGUSR2);
    EXPECT_NE(uptime().find("Timeticks"), std::string::npos);
}

TEST_F(agent_outage, wrong_replies_harm_nobody)
{
    environment["VYN_TIMEOUT_MS"] = "200";
    start_service();
    start_agent();
    const struct {
        std::string fault, status, distribution;
    } cases[] = {
        {"short 0", "1", ""},        {"short 4", "0", "1"},        {"short 5", "1", "1"},
        {"empty", "1", ""},          {"oversize 60000", "1", "1"}, {"oversize 200000", "", ""},
        {"wrong-query 7", "1", "1"}, {"error 0x40B3003A", "", ""},
    };
    for (const auto &test : cases) {
        const std::string plain = get("1.3.2.0");
        EXPECT_EQ(plain, "{}.1.3.2.0 = INTEGER: 1\n") << "before " << test.fault;
        control("fault " + test.fault);
        const std::string status = get("1.3.2.0"), distribution = get("1.4.1.0");
        EXPECT_NE(status.find(test.status.empty() ? "No Such" : "INTEGER: " + test.status),
                  std::string::npos)
            << test.fault << ": " << status;
        EXPECT_NE(distribution.find(test.distribution.empty() ? "No Such"
                                                              : "INTEGER: " + test.distribution),
                  std::string::npos)
            << test.fault << ": " << distribution;
        control("fault off");
    }

    // A reply that comes late is not taken for the next one's.
    control("fault delay 400 1");
    EXPECT_NE(get("1.3.2.0").find("No Such"), std::string::npos);
    ASSERT_TRUE(wait_until([&] { return get("1.4.1.0") == enabled; }));
    control("fault drop 1");
    EXPECT_NE(get("1.3.2.0").find("No Such"), std::string::npos);
    ASSERT_TRUE(wait_until([&] { return get("1.4.1.0") == enabled; }));
}

TEST_F(agent_outage, hundred_restarts_of_the_agent_leave_nothing)
{
    // Not all of the stock agent's own modules stand a restart: some register twice or lose
    // sockets.
    agent_modules = "dlmod,vacm_conf,usmConf,usmUser,snmpEngine,system_mib,setSerialNo";
    start_service();
    start_agent();
    size_t open = 0;
    long data = 0;
    for (size_t round = 1; round <= 100; round++) {
        EXPECT_EQ(get("1.4.1.0"), enabled);
        kill(agent, SIGHUP);
        ASSERT_TRUE(wait_until([&] { return count(service_log(), "subscribe 8475") == round + 1; }))
            << "round " << round;
        if (round == 20) { // the agent's own buffers have been made by now
            open = descriptors();
            data = memory();
        }
    }
    EXPECT_EQ(get("1.4.1.0"), enabled);
    EXPECT_EQ(descriptors(), open);
    EXPECT_LE(memory(), data + 512) << "KiB";
    EXPECT_EQ(count(agent_log(), "uplicate"), 0u) << agent_log();
    EXPECT_EQ(manager("snmpset", alice, "{}.1.4.1.0 i 1"), enabled);
    EXPECT_EQ(count(service_log(), "query 31 user \"alice\""), 1u);
}

} // namespace
