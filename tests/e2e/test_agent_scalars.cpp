// The scalars through a real agent: every protocol version, who may do what, and the end of a
// discovery as a notification.

#include "fabric_agent.h"

namespace {

class agent_scalars : public fabric_agent {};

TEST_F(agent_scalars, are_read_alike_over_every_version) {
    start();
    control("set discovery.status failed");
    control("set discovery.failure_reason 0x40B30050");
    const std::string walk = manager("snmpwalk", watcher, "{}.1.3") + manager("snmpwalk", watcher, "{}.1.4.1");
    EXPECT_EQ(count(walk, "\n"), 4u) << walk;
    EXPECT_EQ(walk.find("{}.1.3.1.0 = INTEGER: 2\n{}.1.3.2.0 = INTEGER: 4\n{}.1.3.3.0 = STRING: \""), 0u) << walk;
    EXPECT_TRUE(has(walk, "\"\n{}.1.4.1.0 = INTEGER: 1\n"));

    const std::string all = " {}.1.3.1.0 {}.1.3.2.0 {}.1.3.3.0 {}.1.4.1.0";
    const std::string next = " {}.1.3.1 {}.1.3.1.0 {}.1.3.2.4294967295 {}.1.3.3.0.7";
    for (const std::string &who : {std::string("-v1 -c watcher"), watcher, alice}) {
        EXPECT_EQ(manager("snmpget", who, all), walk) << who;
        EXPECT_EQ(manager("snmpgetnext", who, next), walk) << who;
    }
    EXPECT_EQ(manager("snmpbulkwalk", alice, "{}.1.3") + manager("snmpbulkwalk", alice, "{}.1.4.1"), walk);
}

TEST_F(agent_scalars, run_a_discovery_to_its_end) {
    start();
    control("set discovery.next.after_ms 600000");
    EXPECT_EQ(set("1.3.1.0 i 2"), "INTEGER: 2");
    EXPECT_EQ(count(service_log(), "query 24"), 0u) << "false starts nothing";
    EXPECT_EQ(set("1.3.1.0 i 1"), "INTEGER: 1");
    EXPECT_EQ(get("1.3.2.0"), "INTEGER: 2");
    EXPECT_TRUE(has(set("1.3.1.0 i 1"), "inconsistentValue"));
    EXPECT_EQ(count(service_log(), "query 24"), 1u);

    // The next one fails at once, and the receiver hears of it.
    control("set discovery.status idle");
    control("set discovery.next '{\"after_ms\": 1, \"status\": \"failed\", \"failure_reason\": \"0x40B30050\"}'");
    EXPECT_EQ(set("1.3.1.0 i 1"), "INTEGER: 1");
    ASSERT_TRUE(wait_until([&] { return get("1.3.2.0") == "INTEGER: 4"; }));
    const std::string ended = "{}.0.3\t{}.1.3.2.0 = INTEGER: 4\t{}.1.3.3.0 = STRING: \"";
    EXPECT_TRUE(wait_until([&] { return has(trap_log(), ended); }));
}

TEST_F(agent_scalars, switch_distribution_for_those_who_may) {
    start();
    const std::string strangers[] = {"-r 0 -v3 -u mallory -l authPriv -a SHA -A alice-auth -x AES -X alice-priv",
                                     "-r 0 -v3 -u alice -l authPriv -a SHA -A alice-wrong -x AES -X alice-priv",
                                     "-r 0 -t 1 -v2c -c stranger", "-v3 -u alice -l noAuthNoPriv"};
    for (const std::string &who : strangers) {
        EXPECT_FALSE(has(get("1.4.1.0", who), "INTEGER")) << who;
        EXPECT_FALSE(has(set("1.4.1.0 i 2", who), "INTEGER")) << who;
    }
    EXPECT_TRUE(has(set("1.4.1.0 i 2", watcher), "noAccess"));
    EXPECT_EQ(count(service_log(), "query"), 0u) << service_log();

    const std::pair<std::string, std::string> users[] = {{oper, "oper"}, {"-v1 -c oper", "oper"}, {alice, "alice"}};
    size_t reads = 0;
    for (const auto &[who, user] : users) {
        EXPECT_EQ(get("1.4.1.0", who), "INTEGER: 1");
        EXPECT_EQ(set("1.4.1.0 i 1", who), "INTEGER: 1");
        EXPECT_TRUE(has(service_log(), "get query 30 user \"" + user + "\""));
        EXPECT_TRUE(has(service_log(), "set query 31 user \"" + user + "\""));
        EXPECT_EQ(count(service_log(), "query 30"), reads += 2) << "a read, and the one before a SET";
    }
    EXPECT_EQ(count(service_log(), "session 0"), count(service_log(), " registry ")) << service_log();

    control("fault short 7 1");
    EXPECT_EQ(get("1.4.1.0"), no_instance) << "of a status that is cut short, zero would be true";
    EXPECT_TRUE(has(set("1.4.1.0 i 3"), "Reason: wrongValue"));
    EXPECT_TRUE(has(set("1.4.1.1 i 1"), "Reason: notWritable"));
    EXPECT_EQ(count(service_log(), " set "), std::size(users)) << service_log();
    for (const std::string value : {"2", "1"}) {
        EXPECT_EQ(set("1.4.1.0 i " + value), "INTEGER: " + value);
        EXPECT_EQ(get("1.4.1.0"), "INTEGER: " + value);
        EXPECT_TRUE(has(control("show distribution.enabled"), value == "1" ? "true" : "false"));
    }
}

} // namespace
