// Peers, static peers and merges through a real agent: walks of every kind of row, what managers
// see of the limits of the tables, static peers in and out of NPV mode, and failed merges resolved.

#include "fabric_agent.h"

namespace {

// An index of a name or a text: its length and characters.
std::string index_of(const std::string &name) {
    std::string index = "." + std::to_string(name.size());
    for (const unsigned char character : name) index += "." + std::to_string(character);
    return index;
}

const std::string ntp = index_of("ntp");

class agent_peers : public fabric_agent {
  protected:
    // The agent runs where one of the files that mark NPV mode is there, and nobody else sees it. False where a
    // test may not make such a place.
    bool enter_npv_mode() {
        const std::string place = "sh -c 'mount -t tmpfs none /mnt && mkdir /mnt/pss && touch /mnt/pss/fc_nport_mux "
                                  "&& exec \"$@\"' sh ";
        for (const std::string space : {"unshare -m ", "unshare -Urm "})
            if (run(space + place + "echo made") == "made\n") {
                agent_wrapper = space + place;
                return true;
            }
        return false;
    }
};

TEST_F(agent_peers, generated_fabrics_are_walked_whole) {
    const std::string addresses =
        R"("10.0.0.1", "10.0.1.0", "9.255.0.1", "::1", "fe80::2", "core", "edge-12", "\u00ffabc")";
    const std::string members =
        R"("members": [{"address": "10.0.0.9", "attr1": 255, "attr2": 1}, {"address": "edge-1"}])";
    const auto peers = [&](const std::string &place) { return "{" + place + ", \"peers\": [" + addresses + "]}"; };
    std::string features;
    for (int i = 1; i <= 200; i++) { // the VSANs of merges increase from one feature to the next
        const std::string vsan = "\"vsan\": " + std::to_string(i), scope = "\"scope\": \"physical\"";
        const std::string merge = i % 3 == 0 ? scope : vsan;
        features += (i > 1 ? ", " : "") + feature("f" + std::to_string(1000 + i),
                                                  ", \"scopes\": [\"physical\", \"logical\"], \"peers\": [" +
                                                      peers(scope) + ", " + peers(vsan) + "], \"merges\": [{" + merge +
                                                      ", \"status\": \"failed\", \"failure\": 1, " + members + "}]");
    }
    start_with("{\"peers\": [" + addresses +
               "], \"static_peers\": [{\"address\": \"10.9.0.1\", \"status\": 4294967295}, " +
               "{\"address\": \"::9\"}, {\"address\": \"host\"}], \"features\": [" + features + "]}");
    const std::vector<binding> walk = checked_walk();
    const std::tuple<unsigned long, unsigned long, size_t> tables[] = {
        {5, 2, 8}, {6, 4, 200 * 16}, {11, 3, 3}, {11, 5, 3}, {3, 3, 200}, {3, 5, 200}, {4, 4, 400}};
    for (const auto &[table, column, rows] : tables) EXPECT_EQ(rows_of(walk, table, column), rows) << table;
}

TEST_F(agent_peers, limits_of_the_tables_are_what_managers_see) {
    const std::string merge = "{\"scope\": \"physical\"}, {\"vsan\": 5}, {\"vsan\": 9}";
    start_with(R"({"peers": ["10.0.0.1", "a", "", ")" + std::string(113, 'z') +
               R"("], "static_peers": [{"address": "x"}], "features": [)" +
               feature("a", ", \"merges\": [" + merge + "]") + ", " +
               feature("bb", ", \"merges\": [{\"vsan\": 8}, {\"vsan\": 9}]") + ", " +
               feature("ccc", ", \"merges\": [{\"scope\": \"physical\"}, {\"vsan\": 11}]") + ", " +
               feature(std::string(81, 'd'), "") + "]}");
    // A text under four characters is walked and not read; an OID that is too long ends the walk.
    EXPECT_EQ(parse(manager("snmpwalk", oper, "{}.1.1.5")).size(), 3u);
    EXPECT_EQ(get("1.1.5.1.2.16.1.97"), no_instance);
    EXPECT_EQ(get("1.1.11.1.3.16.1.120"), no_instance);
    EXPECT_EQ(parse(manager("snmpwalk", oper, "{}.1.1.11.1.3")).size(), 1u);
    // The walk of merges takes the VSAN along to the next feature, and passes over those up to it.
    std::string rows;
    for (const binding &row : parse(manager("snmpwalk", oper, "{}.1.1.3.1.3")))
        rows += row.line.substr(12, row.line.find(' ') - 12) + " ";
    EXPECT_EQ(rows, ".1.97.1 .1.97.2.4.0.0.0.5 .1.97.2.4.0.0.0.9 .3.99.99.99.2.4.0.0.0.11 ");
    EXPECT_EQ(get("1.1.3.1.3.2.98.98.2.4.0.0.0.8"), "INTEGER: 1") << "a GET has them all";
    // An empty reply: the row before it, under the OID that was asked for.
    control("fault empty 1");
    const std::string asked = "{}.1.1.5.1.2.1.4.9.9.9.9";
    EXPECT_TRUE(has(manager("snmpgetnext", oper, asked), asked + " = "));
    EXPECT_TRUE(has(manager("snmpgetnext", oper, asked), "{}.1.1.5.1.2.1.4.10.0.0.1 = Hex-STRING: 0A 00 00 01"));
}

TEST_F(agent_peers, static_peers_are_added_and_removed_in_npv_mode) {
    if (!enter_npv_mode()) GTEST_SKIP() << "no mount namespace can be made here";
    start();
    const std::string peer = ".1.4.10.9.0.77", row = "1.1.11.1.5" + peer, exists = "0x40B30044";
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
    const std::pair<std::string, std::string> refused[] = {
        {"1.1.11.1.5" + peer + " i 0", "wrongValue"},
        {"1.1.11.1.5" + peer + " i 2", "wrongValue"},
        {"1.1.11.1.5" + peer + " i 5", "wrongValue"},
        {"1.1.11.1.5" + peer + " i 7", "wrongValue"},
        {"1.1.11.1.5" + peer + " s 4", "wrongType"},
        {"1.1.11.1.4" + peer + " s 4", "wrongType"},
        {"1.1.11.1.3" + peer + " i 4", "notWritable"},
        {"1.1.11.1.5.1.4.10.9.0 i 4", "inconsistentValue"},
        {"1.1.11.1.5.1.256.10.9.0.1 i 4", "inconsistentValue"},
        {"1.1.11.1.5.16.4.97.98.99.100 i 4", "inconsistentValue"},
        {"1.1.11.1.5.2.16.254.128.0.0.0.0.0.0.0.0.0.0.0.0.0.1 i 4", "inconsistentValue"}};
    for (const auto &[assignment, reason] : refused) EXPECT_TRUE(has(set(assignment), reason)) << assignment;
    EXPECT_EQ(count(service_log(), "set query 66"), 4u) << service_log();
}

TEST_F(agent_peers, static_peers_need_npv_mode) {
    start();
    EXPECT_TRUE(has(set("1.1.11.1.5.1.4.10.9.0.77 i 4"), "Reason: (genError)"));
    EXPECT_TRUE(has(agent_log(), "0x40B30071"));
    EXPECT_FALSE(has(service_log(), "set query 66"));
}

TEST_F(agent_peers, failed_merges_are_resolved) {
    start_with("{\"features\": [" +
               feature("ntp", R"(, "scopes": ["physical"], "merges": [{"scope": "physical"}, {"vsan": 7}])") + "]}");
    const std::string row = ntp + ".1", resolve = "1.1.3.1.5" + row;
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
    control("set features.0.merges.1.failure 4");
    control("set features.0.merges.1.status failed");
    EXPECT_EQ(set("1.1.3.1.5" + ntp + ".2.4.0.0.0.7 i 2"), "INTEGER: 2");
    EXPECT_EQ(count(service_log(), "set query 58"), 3u) << service_log();
    for (const std::string assignment : {".1 i 3", ".1 s 2"})
        EXPECT_TRUE(has(set("1.1.3.1.5" + ntp + assignment), "wrong"));
    for (const std::string &index :
         {ntp + ".1.0", ntp + ".2.4.0.0.0.8", index_of("none") + ".1", ntp, std::string(".0")})
        EXPECT_TRUE(has(set("1.1.3.1.5" + index + " i 2"), "notWritable")) << index;
}

} // namespace
