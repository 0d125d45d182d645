// Features through a real agent: walks of every kind of fabric, actions from their start to their
// end, and scope and options written and stored.

#include "fabric_agent.h"

namespace {

const std::string ntp = ".3.110.116.112", zone = ".10.122.111.110.101.45.110.97.109.101.115";

class agent_features : public fabric_agent {};

TEST_F(agent_features, generated_fabrics_are_walked_whole) {
    const std::string both = ", \"scopes\": [\"physical\", \"logical\"], \"states\": [{\"scope\": \"physical\"}, "
                             "{\"vsan\": 1}, {\"vsan\": 256}, {\"vsan\": 4093}]",
                      lock = ", \"locks\": [{\"vsan\": 7, \"user\": \"u\", \"address\": \"\"}]";
    std::string many; // for more than one page of the registry
    for (int i = 0; i < 600; i++) many += feature("f" + std::to_string(i * 7919 % 600), both + lock) + ", ";
    start_with("{\"features\": [" + many + feature("a", both) + ", " + feature(std::string(80, 'a'), both + lock) +
               ", " + feature("\\u0080\\u00ff", both) + ", " + feature("\\u00ff", both + lock) + ", " +
               feature(std::string(79, 'b'), "") + "]}");
    const std::vector<binding> walk = checked_walk();
    EXPECT_EQ(rows_of(walk, 1, 2), 605u);
    EXPECT_EQ(rows_of(walk, 7, 5), 4 * 604u);
    EXPECT_EQ(rows_of(walk, 2, 4), 602u);
    stop_all();
    // What no walk goes on from, and what the extension table shows but no GET reaches, are long names.
    start_with("{\"features\": [" + feature("a", both) + ", " + feature(std::string(81, 'b'), both) + ", " +
               feature(std::string(82, 'c'), both) + ", " + feature(std::string(82, 'd'), both) + "]}");
    EXPECT_EQ(checked_walk("{}.1.1.1.1.2").size(), 3u);
    const std::string last = parse(manager("snmpwalk", oper, "{}.1.1.7.1.3")).back().line;
    EXPECT_GT(last.size(), 3u * 81);
    EXPECT_EQ(get(last.substr(3, last.find(' ') - 3)), no_instance);
}

TEST_F(agent_features, walks_begin_inside_a_vsan) {
    start_with("{\"features\": [" + feature("ntp", R"(, "scopes": ["logical"],
               "states": [{"vsan": 10}, {"vsan": 256}, {"vsan": 257}, {"vsan": 512}])") +
               "]}");
    const std::string row = "{}.1.1.7.1.3" + ntp + ".2.4.0.0.";
    EXPECT_EQ(manager("snmpgetnext", oper, row + "1"), row + "1.0 = INTEGER: 1\n");
    EXPECT_EQ(manager("snmpwalk", oper, row + "1"), row + "1.0 = INTEGER: 1\n" + row + "1.1 = INTEGER: 1\n");
    EXPECT_EQ(manager("snmpwalk", oper, row + "2"), row + "2.0 = INTEGER: 1\n");
}

TEST_F(agent_features, actions_run_to_their_ends_and_options_are_stored) {
    environment["VYN_NETWORK_ADMINS"] = "alice, root";
    start();
    EXPECT_EQ(checked_walk("{}").back().name, (oid_name{1, 4, 2, 1, 3, 2}));
    const std::string action = "1.1.1.1.2" + ntp;
    control("set features.0.next_action '{\"after_ms\": 600000, \"result\": \"success\"}'");
    EXPECT_EQ(set(action + " i 4"), "INTEGER: 4");
    EXPECT_EQ(get("1.1.1.1.8" + ntp), "INTEGER: 4") << "in progress";
    EXPECT_TRUE(has(set(action + " i 5"), "Reason: commitFailed"));
    EXPECT_TRUE(has(agent_log(), "SET by \"oper\" failed: 0x40B3003A"));
    EXPECT_EQ(count(service_log(), " action "), 1u) << service_log();

    // It is cleared, which is an action too; the next one fails at once, and the receiver hears of it.
    control("set features.0.next_action '{\"after_ms\": 1, \"result\": \"failed\", \"failure\": \"0x40B30051\"}'");
    EXPECT_EQ(set(action + " i 6"), "INTEGER: 6");
    ASSERT_TRUE(wait_until([&] { return set(action + " i 4") == "INTEGER: 4"; }));
    ASSERT_TRUE(wait_until([&] { return get("1.1.1.1.8" + ntp) == "INTEGER: 3"; }));
    EXPECT_EQ(get("1.1.1.1.9" + ntp), "STRING: \"The fabric is being reconfigured\"");
    const std::string ended = "{}.0.1\t{}.1.1.1.1.5" + ntp + " = INTEGER: 4\t{}.1.1.1.1.6" + ntp +
                              " = INTEGER: 1\t{}.1.1.1.1.7" + ntp + " = \"\"\t{}.1.1.1.1.8" + ntp + " = INTEGER: 3\n";
    EXPECT_TRUE(wait_until([&] { return has(trap_log(), ended); })) << trap_log();

    // The roles of users are changed by administrators only; others get no further than RESERVE1.
    const std::string commit_role = "1.1.1.1.2.4.114.111.108.101 i 4";
    EXPECT_TRUE(has(set(commit_role), "Reason: (genError)"));
    EXPECT_EQ(set(commit_role, alice), "INTEGER: 4");
    EXPECT_TRUE(has(service_log(), "\"role\" physical user \"alice\""));

    // Scope and options are stored, and the action is one that the scope does not have.
    EXPECT_EQ(set("1.1.1.1.3" + ntp + " i 2"), "INTEGER: 2");
    EXPECT_TRUE(has(set("1.1.1.1.4" + ntp + " x 00000ffe"), "wrongValue"));
    EXPECT_EQ(set("1.1.1.1.4" + ntp + " x 00000001"), "Hex-STRING: 00 00 00 01 ");
    EXPECT_EQ(set("1.1.1.1.10" + ntp + " i 2"), "INTEGER: 2");
    EXPECT_EQ(set("1.1.7.1.6" + zone + ".2.4.0.0.0.10 i 2"), "INTEGER: 2");
    EXPECT_EQ(set("1.1.7.1.6" + ntp + ".1.0 i 1"), "INTEGER: 1");
    EXPECT_TRUE(has(set("1.1.7.1.6" + zone + ".2.4.0.0.0.11 i 2"), "notWritable"));
    EXPECT_TRUE(has(set(action + " i 4"), "commitFailed"));
    EXPECT_TRUE(has(agent_log(), "0x40B30035"));
    // The service has them, so they are there when the agent has read its registry anew.
    restart_agent();
    ASSERT_TRUE(wait_until([&] { return subscriptions() == 2; }));
    EXPECT_EQ(get("1.1.1.1.3" + ntp), "INTEGER: 2");
    EXPECT_EQ(get("1.1.1.1.4" + ntp), "Hex-STRING: 00 00 00 01 ");
    EXPECT_EQ(get("1.1.1.1.10" + ntp), "INTEGER: 1") << "as the extension table set it last";
    EXPECT_EQ(get("1.1.7.1.6" + zone + ".2.4.0.0.0.10"), "INTEGER: 2");
}

} // namespace
