// Peers, static peers, merges and regions through a real agent: what managers see of the limits of the tables, static
// peers in and out of NPV mode, and failed merges resolved.

#include "fabric_agent.h"

#include <sys/stat.h>

#include <fstream>

namespace {

class agent_peers : public fabric_agent {};

TEST_F(agent_peers, limits_of_the_tables_are_what_managers_see) {
    const std::string merge = "{\"scope\": \"physical\"}, {\"vsan\": 5}, {\"vsan\": 9}",
                      regions = R"({"scope": "physical", "region": 7}, {"vsan": 5, "region": 3})";
    start_with(
        R"({"regions": [{"id": 3, "vsan": 10}, {"id": 7, "scope": "physical"}], "peers": ["10.0.0.1", "a", "", ")" +
        std::string(113, 'z') + R"("], "static_peers": [{"address": "x"}], "features": [)" +
        feature("a", ", \"merges\": [" + merge + "], \"regions\": [" + regions + "]") + ", " +
        feature("bb", ", \"merges\": [{\"vsan\": 8}, {\"vsan\": 9}]") + ", " +
        feature("ccc", ", \"merges\": [{\"scope\": \"physical\"}, {\"vsan\": 11}]") + ", " +
        feature(std::string(81, 'd'), "") + "]}");
    // A text under four characters is walked and not read; an OID that is too long ends the walk.
    for (int walk = 0; walk < 2; walk++) EXPECT_EQ(parse(manager("snmpwalk", oper, "{}.1.1.5")).size(), 3u);
    EXPECT_EQ(count(agent_log(), "12.7.1.1.5.1.2 ended: the OID of the next row is too long"), 1u) << agent_log();
    EXPECT_EQ(count(agent_log(), "ended: "), 1u) << "and other walks end by themselves";
    EXPECT_EQ(get("1.1.5.1.2.16.1.97"), no_instance);
    EXPECT_EQ(get("1.1.11.1.3.16.1.120"), no_instance);
    EXPECT_EQ(parse(manager("snmpwalk", oper, "{}.1.1.11.1.3")).size(), 1u);
    // The walk of merges takes the VSAN along to the next feature, and passes over those up to it.
    std::string rows;
    for (const binding &row : parse(manager("snmpwalk", oper, "{}.1.1.3.1.3")))
        rows += row.line.substr(12, row.line.find(' ') - 12) + " ";
    EXPECT_EQ(rows, ".1.97.1 .1.97.2.4.0.0.0.5 .1.97.2.4.0.0.0.9 .3.99.99.99.2.4.0.0.0.11 ");
    EXPECT_EQ(get("1.1.3.1.3.2.98.98.2.4.0.0.0.8"), "INTEGER: 1") << "a GET has them all";
    // A logical region's row has no number in its index, so the walk of its column ends with it.
    const std::string walk = manager("snmpwalk", oper, "{}.1.1.9.1.5");
    EXPECT_TRUE(has(walk, "{}.1.1.9.1.5.2.4.0.0.0.10.0 = INTEGER: 1\n"));
    EXPECT_FALSE(has(walk, "not increasing"));
    EXPECT_EQ(get("1.1.9.1.5.1.7"), "INTEGER: 1") << "a GET has it";
    // A GET of an assignment carries no scope: every one of a feature's shows the first.
    EXPECT_EQ(parse(manager("snmpwalk", oper, "{}.1.1.10.1.4")).size(), 2u);
    EXPECT_EQ(manager("snmpget", oper, "{}.1.1.10.1.4.1.97.2.4.0.0.0.5"), "{}.1.1.10.1.4.1.97.1 = Gauge32: 7\n");
    // An empty reply: a GET has the row that was read last, and a GETNEXT goes on with the next column.
    control("fault empty 1");
    EXPECT_TRUE(has(get("1.1.5.1.2.1.4.10.0.0.1"), "STRING: \"zzz"));
    control("fault empty 1");
    const std::string asked = "{}.1.1.5.1.2.1.4.9.9.9.9";
    EXPECT_TRUE(has(manager("snmpgetnext", oper, asked), "{}.1.1.9.1.4."));
    EXPECT_TRUE(has(manager("snmpgetnext", oper, asked), "{}.1.1.5.1.2.1.4.10.0.0.1 = Hex-STRING: 0A 00 00 01"));
}

TEST_F(agent_peers, static_peers_are_added_and_removed_in_npv_mode) {
    start();
    const std::string peer = ".1.4.10.9.0.77", row = "1.1.11.1.5" + peer, exists = "0x40B30044";
    EXPECT_TRUE(has(set(row + " i 4"), "Reason: (genError)"));
    EXPECT_TRUE(has(agent_log(), "0x40B30071")) << "it needs NPV mode";
    EXPECT_FALSE(has(service_log(), "set query 66"));
    ASSERT_EQ(mkfifo(marker("/tmp/fc_nport_mux").c_str(), 0600), 0);
    EXPECT_EQ(set(row + " i 1"), "INTEGER: 1") << "no writer of a FIFO is waited for";
    std::filesystem::remove(marker("/tmp/fc_nport_mux"));
    std::ofstream(marker("/mnt/pss/fc_nport_mux")) << "";
    EXPECT_EQ(set(row + " i 6").find("INTEGER"), std::string::npos);
    EXPECT_TRUE(has(agent_log(), "0x40B30043"));
    EXPECT_EQ(set(row + " i 4"), "INTEGER: 4");
    EXPECT_TRUE(has(service_log(), "set query 66 add 10.9.0.77")) << "it is sent";
    EXPECT_EQ(get("1.1.11.1.3" + peer), "INTEGER: 1");
    EXPECT_EQ(get(row), "INTEGER: 1");
    EXPECT_EQ(set(row + " i 1"), "INTEGER: 1");
    EXPECT_EQ(set("1.1.11.1.4" + peer + " i 5"), "INTEGER: 5") << "and nothing comes of it";
    EXPECT_EQ(get("1.1.11.1.4" + peer), "INTEGER: 3");
    EXPECT_FALSE(has(agent_log(), exists));
    EXPECT_TRUE(has(set(row + " i 4"), "Reason: (genError)"));
    EXPECT_TRUE(has(agent_log(), exists));
    EXPECT_EQ(set(row + " i 6"), "INTEGER: 6");
    EXPECT_EQ(get(row), no_instance);
    EXPECT_TRUE(has(set(row + " s 4"), "wrongType"));
    EXPECT_EQ(count(service_log(), "set query 66"), 4u) << service_log();
}

TEST_F(agent_peers, failed_merges_are_resolved) {
    start_with("{\"features\": [" + feature("ntp", R"(, "scopes": ["physical"], "merges": [{"scope": "physical"}])") +
               "]}");
    const std::string row = ".3.110.116.112.1", resolve = "1.1.3.1.5" + row;
    EXPECT_EQ(get("1.1.3.1.4" + row), "\"\"");
    EXPECT_TRUE(has(set(resolve + " i 2"), "Reason: (genError)"));
    EXPECT_TRUE(has(agent_log(), "0x40B30045"));
    control("merge ntp physical 0 2 Two fabrics met");
    ASSERT_TRUE(wait_until([&] { return get("1.1.3.1.3" + row) == "INTEGER: 3"; }));
    EXPECT_EQ(get("1.1.3.1.4" + row), "STRING: \"The feature is locked in one of the fabrics\"");
    EXPECT_TRUE(wait_until([&] { return has(trap_log(), "Two fabrics met"); }));
    EXPECT_EQ(set(resolve + " i 1"), "INTEGER: 1");
    EXPECT_EQ(get("1.1.3.1.3" + row), "INTEGER: 3") << "nothing is resolved by the value that it has";
    EXPECT_EQ(set(resolve + " i 2"), "INTEGER: 2");
    EXPECT_EQ(get("1.1.3.1.3" + row), "INTEGER: 1");
    EXPECT_EQ(get("1.1.3.1.4" + row), "\"\"");
    EXPECT_EQ(get(resolve), "INTEGER: 1");
    EXPECT_EQ(count(service_log(), "set query 58"), 2u) << service_log();
}

} // namespace
