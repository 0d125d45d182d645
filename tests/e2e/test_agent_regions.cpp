// Regions, assignments of features to them and distribution control through a real agent: rows made,
// changed and removed by SETs, and what is refused and at which variable.

#include "fabric_agent.h"

namespace {

const std::string ntp = "3.110.116.112.1", column = "{}.1.1.10.1.",
                  features = R"("features": [{"name": "ntp", "scopes": ["physical"]},
    {"name": "role", "scopes": ["physical"], "regions": [{"scope": "physical", "region": 9}]}])";

class agent_regions : public fabric_agent {
  protected:
    std::string set_all(const std::string &assignments) { return manager("snmpset", oper, assignments); }
};

TEST_F(agent_regions, regions_are_made_and_destroyed) {
    start_with("{\"regions\": [{\"id\": 9, \"scope\": \"physical\"}], " + features + "}");
    const std::string row = "1.1.9.1.5.1.5";
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
    EXPECT_TRUE(has(set(row + " i 5"), "wrongValue"));
    EXPECT_TRUE(has(set("1.1.9.1.5.5 i 4"), "inconsistentValue"));
    EXPECT_EQ(count(service_log(), "set query 59"), sent);
}

// The agent reads before it writes, and runs a SET on the OID that the read has given the row.
TEST_F(agent_regions, both_indexes_of_a_region_in_a_vsan_reach_it_alone) {
    const std::string status = "1.1.9.1.5.", vsan = "2.4.0.0.0.10.";
    for (const std::string &index : {"2." + vsan, vsan}) {
        SCOPED_TRACE(index);
        start_with(R"({"regions": [{"id": 10, "vsan": 10}, {"id": 12, "vsan": 10}, {"id": 21, "vsan": 20},
                                   {"id": 9, "scope": "physical"}, {"id": 7, "scope": "physical"}]})");
        const auto ids = [&] { return run(VYN_CONTROL " show regions | grep -o '\"id\": [0-9]*' | grep -o '[0-9]*'"); };
        const std::string before = ids();
        EXPECT_EQ(set(status + "2." + vsan + "11 i 4"), "INTEGER: 4");
        EXPECT_NE(ids(), before);
        EXPECT_TRUE(has(manager("snmpget", oper, "{}." + status + index + "11"), "= INTEGER: 1"));
        for (const std::string sent_again : {"11", "10"}) // an answer is lost, and the manager sends it again
            EXPECT_TRUE(has(set(status + index + sent_again + " i 4"), "genError"));
        EXPECT_TRUE(has(agent_log(), "0x40B30062"));
        EXPECT_TRUE(has(manager("snmpset", oper, "{}." + status + index + "11 i 6"), "= INTEGER: 6"));
        EXPECT_EQ(ids(), before);
        EXPECT_TRUE(has(service_log(), "remove region 11"));
        EXPECT_EQ(count(service_log(), "remove region"), 1u);
        stop_all();
    }
}

TEST_F(agent_regions, physical_ones_come_before_those_in_vsans) {
    start_with(R"({"regions": [{"id": 1, "vsan": 10}, {"id": 5, "scope": "physical"}, {"id": 2, "scope": "physical"},
        {"id": 7, "vsan": 20}, {"id": 8, "vsan": 10}]})");
    const std::string row = " {}.1.1.9.1.5", in_10 = ".2.4.0.0.0.10", in_20 = ".2.4.0.0.0.20",
                      active = " = INTEGER: 1\n";
    const struct {
        std::string asked, next;
    } cases[] = {{"", ".1.2"},
                 {".1", ".1.2"},
                 {".1.2", ".1.5"},
                 {".1.5", in_10 + ".0"},
                 {".2", in_10 + ".0"},
                 {in_10 + ".8", in_20 + ".8"},
                 {".2" + in_10 + ".1", in_10 + ".10"}};
    std::string asked, expected;
    for (const auto &each : cases) asked += row + each.asked, expected += row.substr(1) + each.next + active;
    EXPECT_EQ(manager("snmpgetnext", oper, asked), expected);
    EXPECT_TRUE(has(manager("snmpget", oper, row + in_20 + ".7" + row + ".2" + in_20 + ".7"), in_20 + ".7" + active));
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
    EXPECT_TRUE(has(set_all(id + "256"), "wrongValue"));
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
    EXPECT_TRUE(has(manager("snmpwalk", oper, "{}.1.1"), "No Such")) << "nothing else is there";
    const std::string v4 = "{}.1.4.2.1.3.1 i ", v6 = " {}.1.4.2.1.3.2 i ";
    EXPECT_TRUE(has(set_all(v4 + "1" + v6 + "1"), "genError"));
    EXPECT_TRUE(has(agent_log(), "0x40B30074"));
    EXPECT_FALSE(has(service_log(), "query 35")) << "nothing is sent";
    EXPECT_TRUE(has(set_all(v6 + "1"), "genError")) << "the other one is enabled, says the service";
    EXPECT_TRUE(has(set_all(v6 + "1 " + v4 + "2"), "INTEGER: 2"));
    EXPECT_EQ(get("1.4.2.1.3.1") + get("1.4.2.1.3.2"), "INTEGER: 2INTEGER: 1");
    EXPECT_TRUE(has(set_all(v4 + "1" + v6 + "2"), "INTEGER: 2"));
    EXPECT_TRUE(has(set_all(v4 + "2" + v6 + "2"), "INTEGER: 2"));
    EXPECT_EQ(run("grep -o '[a-z]*able family .' " + folder + "/vynd.log | tr '\\n' ','"),
              "enable family 2,disable family 1,enable family 2,disable family 2,enable family 1,"
              "disable family 1,disable family 2,");

    EXPECT_EQ(set("1.4.2.1.2.1 x efff0001"), "Hex-STRING: EF FF 00 01 ");
    EXPECT_TRUE(has(set("1.4.2.1.2.1 x ef010101"), "wrongValue"));
    EXPECT_TRUE(has(set("1.4.2.1.2.2 x ff080000000000000000000000000001"), "Hex-STRING: FF 08"));
    EXPECT_EQ(get("1.4.2.1.2.1"), "Hex-STRING: EF FF 00 01 ");
    EXPECT_TRUE(has(get("1.4.2.1.2.2"), "FF 08"));
    EXPECT_EQ(count(service_log(), "query 37"), 2u);
}

} // namespace
