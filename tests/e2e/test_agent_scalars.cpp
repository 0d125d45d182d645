// The scalars through a real agent: every protocol version, every refusal a manager can meet, who
// may do what, the end of a discovery as a notification, and what the libraries export.

#include <algorithm>

#include "fabric_agent.h"

namespace {

class agent_scalars : public fabric_agent {};

TEST_F(agent_scalars, are_read_alike_over_every_version)
{
    start_service();
    start_agent();
    control("set discovery.status failed");
    control("set discovery.failure_reason 0x40B30050");
    const std::string walk =
        manager("snmpwalk", watcher, "{}.1.3") + manager("snmpwalk", watcher, "{}.1.4");
    EXPECT_EQ(count(walk, "\n"), 4u) << walk;
    EXPECT_EQ(walk.find("{}.1.3.1.0 = INTEGER: 2\n{}.1.3.2.0 = INTEGER: 4\n"
                        "{}.1.3.3.0 = STRING: \""),
              0u)
        << walk;
    EXPECT_NE(walk.find("\"\n{}.1.4.1.0 = INTEGER: 1\n"), std::string::npos) << walk;

    const std::string all = " {}.1.3.1.0 {}.1.3.2.0 {}.1.3.3.0 {}.1.4.1.0";
    const std::string next = " {}.1.3.1 {}.1.3.1.0 {}.1.3.2.4294967295 {}.1.3.3.0.7";
    for (const std::string who : {"-v1 -c watcher", "-v2c -c watcher", "-v1 -c oper"}) {
        EXPECT_EQ(manager("snmpget", who, all), walk) << who;
        EXPECT_EQ(manager("snmpgetnext", who, next), walk) << who;
    }
    EXPECT_EQ(manager("snmpget", alice, all), walk);
    EXPECT_EQ(manager("snmpbulkwalk", alice, "{}.1.3") + manager("snmpbulkwalk", alice, "{}.1.4"),
              walk);
    EXPECT_EQ(get("1.3.1"), "{}.1.3.1 = No Such Instance currently exists at this OID\n");
    EXPECT_EQ(get("1.4.1.0.0"), "{}.1.4.1.0.0 = No Such Instance currently exists at this OID\n");
}

TEST_F(agent_scalars, run_a_discovery_to_its_end)
{
    start_service();
    start_trap_receiver();
    start_agent();
    control("set discovery.next.after_ms 600000");
    EXPECT_EQ(set("1.3.1.0 i 2"), "{}.1.3.1.0 = INTEGER: 2\n");
    EXPECT_EQ(count(service_log(), "query 24"), 0u) << "false starts nothing";
    EXPECT_EQ(set("1.3.1.0 i 1"), "{}.1.3.1.0 = INTEGER: 1\n");
    EXPECT_EQ(get("1.3.2.0"), "{}.1.3.2.0 = INTEGER: 2\n");
    EXPECT_EQ(get("1.3.1.0"), "{}.1.3.1.0 = INTEGER: 2\n");
    EXPECT_NE(set("1.3.1.0 i 1").find("inconsistentValue"), std::string::npos);
    EXPECT_EQ(count(service_log(), "query 24"), 1u);

    // The next one fails at once, and the receiver hears of it; so it does after a restart of the
    // service, which the agent subscribes to again by itself.
    for (int round = 1; round <= 2; round++) {
        control("set discovery.status idle");
        control("set discovery.next '{\"after_ms\": 1, \"status\": \"failed\", "
                "\"failure_reason\": \"0x40B30050\"}'");
        EXPECT_EQ(set("1.3.1.0 i 1"), "{}.1.3.1.0 = INTEGER: 1\n");
        ASSERT_TRUE(wait_until([&] { return get("1.3.2.0").find(": 4\n") != std::string::npos; }));
        ASSERT_TRUE(wait_until([&] { return count(trap_log(), "{}.0.3") == size_t(round); }))
            << "notification " << round;
        if (round == 1) {
            stop_service(SIGTERM);
            start_service();
            ASSERT_TRUE(wait_until([&] { return count(service_log(), "subscribe 8475") == 2; }));
        }
    }
    const std::string traps = trap_log();
    EXPECT_NE(traps.find("{}.0.3\t{}.1.3.2.0 = INTEGER: 4\t{}.1.3.3.0 = STRING: \""),
              std::string::npos)
        << traps;
}

TEST_F(agent_scalars, switch_distribution)
{
    start_service();
    start_agent();
    for (const std::string value : {"2", "1"}) {
        EXPECT_EQ(set("1.4.1.0 i " + value), "{}.1.4.1.0 = INTEGER: " + value + "\n");
        EXPECT_EQ(get("1.4.1.0"), "{}.1.4.1.0 = INTEGER: " + value + "\n");
        EXPECT_NE(control("show distribution.enabled").find(value == "1" ? "true" : "false"),
                  std::string::npos);
    }
    // A change that the service refuses is recorded with the agent; the manager is not told.
    control("fault error 0x40B3003A");
    EXPECT_EQ(set("1.4.1.0 i 2"), "{}.1.4.1.0 = INTEGER: 2\n");
    EXPECT_NE(agent_log().find("40B3003A"), std::string::npos) << agent_log();
    control("fault off");
    EXPECT_EQ(get("1.4.1.0"), "{}.1.4.1.0 = INTEGER: 1\n");
}

TEST_F(agent_scalars, refuse_what_is_no_value_of_theirs)
{
    start_service();
    start_agent();
    const struct {
        std::string assignment, reason;
    } cases[] = {
        {"1.3.1.0 s true", "wrongType"},
        {"1.3.1.0 u 1", "wrongType"},
        {"1.3.1.0 x 00000001", "wrongType"},
        {"1.3.1.0 i 0", "wrongValue"},
        {"1.3.1.0 i 3", "wrongValue"},
        {"1.3.1.0 i -2147483647", "wrongValue"},
        {"1.4.1.0 s 1", "wrongType"},
        {"1.4.1.0 a 0.0.0.1", "wrongType"},
        {"1.4.1.0 i 3", "wrongValue"},
        {"1.3.2.0 i 1", "notWritable"},
        {"1.3.3.0 s text", "notWritable"},
        {"1.4.1.1 i 1", "notWritable"},
        {"1.1.5.1.2.1.4.1.2.3.4 x 01020304", "notWritable"},
    };
    for (const auto &test : cases) {
        const std::string answer = set(test.assignment);
        EXPECT_NE(answer.find("Reason: " + test.reason), std::string::npos)
            << test.assignment << ": " << answer;
    }
    EXPECT_EQ(count(service_log(), " set "), 0u) << service_log();
}

TEST_F(agent_scalars, know_who_asks)
{
    start_service();
    start_agent();
    const std::string mallory = "-v3 -r 0 -u mallory -l authPriv -a SHA -A alice-auth -x AES "
                                "-X alice-priv",
                      wrong_password = "-v3 -r 0 -u alice -l authPriv -a SHA -A alice-wrong -x AES "
                                       "-X alice-priv",
                      stranger = "-v2c -t 1 -r 0 -c stranger",
                      no_auth = "-v3 -u alice -l noAuthNoPriv";
    for (const std::string &who : {mallory, wrong_password, stranger, no_auth}) {
        EXPECT_EQ(manager("snmpget", who, "{}.1.4.1.0").find("INTEGER"), std::string::npos) << who;
        EXPECT_EQ(manager("snmpset", who, "{}.1.4.1.0 i 2").find("INTEGER"), std::string::npos);
    }
    EXPECT_NE(manager("snmpset", watcher, "{}.1.4.1.0 i 2").find("noAccess"), std::string::npos);
    EXPECT_EQ(count(service_log(), "query"), 0u) << service_log();

    const struct {
        std::string who, user;
    } cases[] = {{oper, "oper"}, {"-v1 -c oper", "oper"}, {alice, "alice"}};
    size_t reads = 0;
    for (const auto &test : cases) {
        EXPECT_EQ(manager("snmpget", test.who, "{}.1.4.1.0"), "{}.1.4.1.0 = INTEGER: 1\n");
        EXPECT_EQ(manager("snmpset", test.who, "{}.1.4.1.0 i 1"), "{}.1.4.1.0 = INTEGER: 1\n");
        const std::string log = service_log();
        const std::string by = "user \"" + test.user + "\"";
        EXPECT_NE(log.rfind("get query 30 " + by), std::string::npos) << log;
        EXPECT_NE(log.rfind("set query 31 " + by), std::string::npos) << log;
        EXPECT_EQ(count(log, "query 30"), reads += 2) << "a read, and the one before a SET";
    }
    EXPECT_EQ(count(service_log(), "query 31 user \"alice\""), 1u);
    EXPECT_EQ(count(service_log(), "session 0"), count(service_log(), " registry "))
        << service_log();
}

} // namespace
