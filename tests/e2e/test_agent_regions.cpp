// Regions, assignments of features to them and distribution control through a real agent: rows made,
// changed and removed by SETs, what is refused and at which variable, and walks of all three tables.

#include "fabric_agent.h"

namespace {

const std::string ntp = "3.110.116.112.1", column = "{}.1.1.10.1.",
                  features = R"("features": [{"name": "ntp", "scopes": ["physical"]},
    {"name": "role", "scopes": ["physical"], "regions": [{"scope": "physical", "region": 9}]}])";

class agent_regions : public fabric_agent {
  protected:
    std::string set_all(const std::string &assignments) { return manager("snmpset", oper, assignments); }
};

TEST_F(agent_regions, walks_are_whole) {
    std::string regions, assigned;
    for (int i = 255; i > 0; i--) {
        const std::string id = std::to_string(i);
        regions += (i < 255 ? ", " : "") + std::string("{\"id\": ") + id + ", \"scope\": \"physical\"}";
        assigned += (i < 255 ? ", " : "") +
                    feature("f" + id, ", \"regions\": [{" +
                                          (i % 2 ? std::string("\"scope\": \"physical\"") : "\"vsan\": " + id) +
                                          ", \"region\": " + id + "}]");
    }
    start_with("{\"regions\": [" + regions + "], \"features\": [" + assigned +
               "], \"distribution\": {\"ipv6\": {\"enabled\": true}}}");
    const std::vector<binding> walk = checked_walk("{}");
    EXPECT_EQ(rows_of(walk, 9, 4), 255u);
    EXPECT_EQ(rows_of(walk, 9, 5), 255u);
    for (unsigned long each : {4, 5, 6}) EXPECT_EQ(rows_of(walk, 10, each), 255u);
    EXPECT_EQ(walk.back().line, "{}.1.4.2.1.3.2 = INTEGER: 1");
    EXPECT_EQ(get("1.4.2.1.3.1"), "INTEGER: 2");
    EXPECT_EQ(get("1.4.2.1.3.0"), no_instance);
}

TEST_F(agent_regions, limits_of_the_tables_are_what_managers_see) {
    start_with("{\"regions\": [{\"id\": 3, \"vsan\": 10}, {\"id\": 7, \"scope\": \"physical\"}], \"features\": [" +
               feature("a", R"(, "regions": [{"scope": "physical", "region": 7}, {"vsan": 5, "region": 3}])") + "]}");
    // A logical region's row has no number in its index, so a walk cannot get past it.
    const std::string walk = manager("snmpwalk", oper, "{}.1.1.9.1.5");
    EXPECT_TRUE(has(walk, "{}.1.1.9.1.5.2.4.0.0.0.10.0 = INTEGER: 1\n"));
    EXPECT_TRUE(has(walk, "OID not increasing"));
    EXPECT_EQ(get("1.1.9.1.5.1.7"), "INTEGER: 1") << "a GET has it";
    // A GET of an assignment carries no scope: every one of a feature's shows the first.
    EXPECT_EQ(parse(manager("snmpwalk", oper, "{}.1.1.10.1.4")).size(), 2u);
    EXPECT_EQ(manager("snmpget", oper, "{}.1.1.10.1.4.1.97.2.4.0.0.0.5"), "{}.1.1.10.1.4.1.97.1 = Gauge32: 7\n");
}

TEST_F(agent_regions, regions_are_made_and_destroyed) {
    start_with("{\"regions\": [{\"id\": 9, \"scope\": \"physical\"}], " + features + "}");
    const std::string row = "1.1.9.1.5.1.5";
    EXPECT_EQ(get(row), no_instance);
    EXPECT_EQ(set(row + " i 4"), "INTEGER: 4");
    EXPECT_TRUE(has(service_log(), "set query 59 add region 5"));
    EXPECT_EQ(get(row), "INTEGER: 1");
    EXPECT_EQ(get("1.1.9.1.4.1.5"), "INTEGER: 3");
    EXPECT_EQ(set("1.1.9.1.4.1.5 i 2"), "INTEGER: 2") << "and nothing comes of it";
    EXPECT_TRUE(has(set(row + " i 4"), "Reason: (genError)"));
    EXPECT_TRUE(has(agent_log(), "0x40B30062"));
    EXPECT_EQ(set(row + " i 6"), "INTEGER: 6");
    EXPECT_EQ(get(row), no_instance);
    EXPECT_EQ(set("1.1.9.1.5.1.2 i 1"), "INTEGER: 1") << "active makes it too";
    EXPECT_TRUE(has(set_all("{}.1.1.9.1.5.1.2 i 6 {}.1.1.9.1.5.1.77 i 6"), "Failed object: {}.1.1.9.1.5.1.77"));
    EXPECT_EQ(get("1.1.9.1.5.1.2"), no_instance) << "what was sent is not undone";
    EXPECT_TRUE(has(set("1.1.9.1.5.1.9 i 6"), "genError")) << "it is in use";
    const size_t sent = count(service_log(), "set query 59");
    for (const char *value : {"i 0", "i 2", "i 3", "i 5", "i 7"})
        EXPECT_TRUE(has(set(row + " " + value), "wrongValue"));
    for (const char *object : {"1.1.9.1.5.1.5 s 4", "1.1.9.1.4.1.5 s 4"}) EXPECT_TRUE(has(set(object), "wrongType"));
    EXPECT_TRUE(has(set("1.1.9.1.5.5 i 4"), "inconsistentValue"));
    EXPECT_EQ(count(service_log(), "set query 59"), sent);
}

TEST_F(agent_regions, features_are_assigned_changed_and_removed) {
    start_with("{\"regions\": [{\"id\": 9, \"scope\": \"physical\"}, {\"id\": 255, \"vsan\": 10}], " + features + "}");
    const std::string status = column + "6." + ntp + " i ", id = column + "4." + ntp + " u ";
    EXPECT_TRUE(has(set_all(id + "9 " + status + "4"), "Failed object: {}.1.1.10.1.4")) << "in the other order";
    EXPECT_TRUE(has(agent_log(), "0x40B30061"));
    EXPECT_TRUE(has(set_all(id + "9"), "inconsistentValue")) << "nothing is there to be changed";
    EXPECT_FALSE(has(service_log(), "set query 60"));
    EXPECT_TRUE(has(set_all(status + "4 " + id + "9"), "INTEGER: 4"));
    EXPECT_EQ(count(service_log(), "set query 60"), 1u);
    EXPECT_TRUE(has(service_log(), "set query 60 add \"ntp\" region 9"));
    EXPECT_EQ(get("1.1.10.1.4." + ntp), "Gauge32: 9");
    EXPECT_EQ(get("1.1.10.1.5." + ntp), "INTEGER: 3");
    EXPECT_EQ(get("1.1.10.1.6." + ntp), "INTEGER: 1");
    EXPECT_TRUE(has(set_all(status + "4 " + id + "255"), "inconsistentValue")) << "it is assigned already";
    EXPECT_TRUE(has(set_all(id + "255"), "Gauge32: 255"));
    EXPECT_EQ(get("1.1.10.1.4." + ntp), "Gauge32: 255");
    EXPECT_TRUE(has(set_all(id + "254"), "genError"));
    EXPECT_TRUE(has(agent_log(), "0x40B30060"));
    EXPECT_TRUE(has(set_all(status + "1"), "INTEGER: 1"));
    for (const char *value : {"0", "256", "4294967295"}) EXPECT_TRUE(has(set_all(id + value), "wrongValue")) << value;
    EXPECT_TRUE(has(set_all(column + "4." + ntp + " i 9"), "wrongType"));
    EXPECT_TRUE(has(set_all(column + "6.3.110.116.112 i 6"), "inconsistentValue")) << "without a scope";
    EXPECT_TRUE(has(set_all(status + "6"), "INTEGER: 6"));
    EXPECT_EQ(get("1.1.10.1.4." + ntp), no_instance);
    // A createAndGo without a region is refused by the service and leaves its row behind; with a region it is complete.
    EXPECT_TRUE(has(set_all(status + "4"), "genError"));
    EXPECT_TRUE(has(set_all(status + "4 " + id + "9"), "INTEGER: 4"));
    EXPECT_EQ(get("1.1.10.1.4." + ntp), "Gauge32: 9");
}

TEST_F(agent_regions, distribution_changes_families_disable_first) {
    start_with("{\"distribution\": {\"ipv4\": {\"enabled\": true, \"address\": \"239.255.70.83\"}}}");
    const std::string v4 = "{}.1.4.2.1.3.1 i ", v6 = " {}.1.4.2.1.3.2 i ";
    auto changes = [&, seen = size_t{0}]() mutable { // that the service has seen since the last call
        std::string all;
        const std::string log = service_log();
        for (size_t at = log.find("query 35 ", seen); at != std::string::npos; at = log.find("query 35 ", at + 1))
            all += log.substr(at + 9, log.find(" user", at) - at - 9) + "; ";
        seen = log.size();
        return all;
    };
    EXPECT_TRUE(has(set_all(v4 + "1" + v6 + "1"), "genError"));
    EXPECT_TRUE(has(agent_log(), "0x40B30074"));
    EXPECT_EQ(changes(), "") << "nothing is sent";
    EXPECT_TRUE(has(set_all(v6 + "1"), "genError")) << "the other one is enabled, says the service";
    EXPECT_EQ(changes(), "enable family 2; ");
    EXPECT_TRUE(has(set_all(v6 + "1 " + v4 + "2"), "INTEGER: 2"));
    EXPECT_EQ(changes(), "disable family 1; enable family 2; ");
    EXPECT_EQ(get("1.4.2.1.3.1") + get("1.4.2.1.3.2"), "INTEGER: 2INTEGER: 1");
    EXPECT_TRUE(has(set_all(v4 + "1" + v6 + "2"), "INTEGER: 2"));
    EXPECT_EQ(changes(), "disable family 2; enable family 1; ");
    EXPECT_TRUE(has(set_all(v4 + "2" + v6 + "2"), "INTEGER: 2"));
    EXPECT_EQ(changes(), "disable family 1; disable family 2; ");

    const std::pair<std::string, std::string> addresses[] = {
        {"1.4.2.1.2.1 x efc00101", "Hex-STRING: EF C0 01 01 "},
        {"1.4.2.1.2.1 x effb0101", "Hex-STRING: EF FB 01 01 "},
        {"1.4.2.1.2.1 x efff0001", "Hex-STRING: EF FF 00 01 "},
        {"1.4.2.1.2.1 x ef010101", "wrongValue"},
        {"1.4.2.1.2.1 x effc0101", "wrongValue"},
        {"1.4.2.1.2.1 x 0a000001", "wrongValue"},
        {"1.4.2.1.2.1 x efff00", "wrongValue"},
        {"1.4.2.1.2.1 i 1", "wrongType"},
        {"1.4.2.1.2.2 x ff050000000000000000000000000001", "Hex-STRING: FF 05"},
        {"1.4.2.1.2.2 x ff080000000000000000000000000001", "Hex-STRING: FF 08"},
        {"1.4.2.1.2.2 x ff0e0000000000000000000000000001", "wrongValue"},
        {"1.4.2.1.2.2 x efff0001", "wrongValue"},
        {"1.4.2.1.3.1 i 3", "wrongValue"},
        {"1.4.2.1.3.3 i 1", "notWritable"}};
    for (const auto &[assignment, answer] : addresses) EXPECT_TRUE(has(set(assignment), answer)) << assignment;
    EXPECT_EQ(get("1.4.2.1.2.1"), "Hex-STRING: EF FF 00 01 ");
    EXPECT_TRUE(has(get("1.4.2.1.2.2"), "FF 08"));
    EXPECT_EQ(count(service_log(), "query 37"), 5u);
}

} // namespace
