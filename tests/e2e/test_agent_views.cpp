// What the host platform keeps from the agent: rows outside of a manager's view that are reached under another OID,
// answers on which a walk would not end, and registrations that outlive the module.

#include "fabric_agent.h"

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace {

const std::string ntp = ".110.116.112", vsan = ".2.4.0.0.0.10", peer = ".1.4.10.1.0.11",
                  ff08 = "ff08" + std::string(28, '0');

const std::string fabric =
    R"({"peers": ["10.1.0.11", "10.1.0.12", "10.2.0.11"], "static_peers": [{"address": "10.1.0.11"}],
    "regions": [{"id": 2, "scope": "physical"}, {"id": 3, "vsan": 10}], "features": [{"name": "ntp",
    "scopes": ["physical", "logical"], "states": [{"scope": "physical"}, {"vsan": 10}], "locks": [{"vsan": 10,
    "user": "u", "address": "10.1.0.11"}], "peers": [{"vsan": 10, "peers": ["10.1.0.11"]}], "merges": [{"vsan": 10,
    "status": "failed", "failure": 1, "members": [{"address": "10.1.0.11", "attr1": 1}]}],
    "regions": [{"scope": "physical", "region": 2}]}]})";

class agent_views : public fabric_agent {
  protected:
    const std::string junior = "-r 0 -v2c -c junior",
                      bob = "-r 0 -v3 -u bob -l authPriv -a SHA -A bob-auth-pass -x AES -X bob-priv-pass",
                      out_of_order = "does not come after the OID asked for";
    pid_t subagent = 0;

    agent_views() {
        trap_sink += "\nmaster agentx\nagentXSocket unix:" + folder +
                     "/agentx\nview limited included .1\n"
                     "rwcommunity junior default -V limited\ncreateUser bob SHA bob-auth-pass AES bob-priv-pass\n"
                     "rwuser bob priv -V limited\n";
    }
    ~agent_views() override { end_subagent(); }

    void hide(const std::string &object) {
        trap_sink += "view limited excluded .1.3.6.1.4.1.57193.12.7." + object + "\n";
    }

    void start_subagent(const std::string &modules, const std::string &configuration) {
        std::ofstream(folder + "/subagent.conf") << "agentXSocket unix:" + folder + "/agentx\n" + configuration + "\n";
        if ((subagent = fork()) != 0) return;
        execl("/bin/sh", "sh", "-c",
              ("cd " + folder + " && SNMP_PERSISTENT_DIR=subagent exec " + snmpd() + " -f -C -X -I " + modules +
               " -c subagent.conf -Lf subagent.log >>snmpd.out 2>&1")
                  .c_str(),
              nullptr);
        _exit(127);
    }
    void end_subagent() {
        int status = 0;
        if (subagent == 0) return;
        kill(subagent, SIGTERM);
        waitpid(std::exchange(subagent, 0), &status, 0);
        EXPECT_EQ(status, 0);
    }

    std::string values_of(const std::string &column) {
        std::string values;
        for (const binding &row : parse(manager("snmpbulkwalk", oper, column))) values += row.value + ",";
        return values;
    }
    void expect_no_reports() { EXPECT_EQ(run("cat " + folder + "/snmpd.out"), "") << "from sanitizers"; }
};

TEST_F(agent_views, do_not_keep_the_agent_asking) {
    hide("1.1.9.1.5.2"); // a region's row in a VSAN, from which no walk goes on
    hide("1.1.5.1.2" + peer);
    start_with(fabric);
    for (const std::string &who : {junior, bob}) {
        EXPECT_EQ(manager("snmpwalk", who, "{}.1.1.9.1.5"), "{}.1.1.9.1.5.1.2 = INTEGER: 1\n");
        EXPECT_EQ(manager("snmpbulkwalk", who, "{}.1.1.9.1.5"), "{}.1.1.9.1.5.1.2 = INTEGER: 1\n");
    }
    // Seen or not, such a row ends its column, and the walk goes on with the next.
    const std::string walk = manager("snmpwalk", oper, "{}");
    EXPECT_EQ(manager("snmpbulkwalk", oper, "{}"), walk);
    EXPECT_EQ(count(walk, "\n{}.1.1.9.1.5" + vsan), 1u);
    EXPECT_EQ(parse(walk).back().name, (oid_name{1, 4, 2, 1, 3, 2})) << walk;
    EXPECT_EQ(count(agent_log(), out_of_order), 2u) << "one line for each column of the table:\n" << agent_log();
    // So does a null reply, which is answered with the row before under the OID that was asked for.
    control("fault empty");
    for (const std::string &who : {junior, oper}) {
        EXPECT_EQ(parse(manager("snmpgetnext", who, "{}.1.1.5.1.2" + peer)).size(), 1u);
        EXPECT_FALSE(has(manager("snmpwalk", who, "{}.1.1"), "not increasing"));
    }
    control("fault off");
    EXPECT_EQ(manager("snmpwalk", oper, "{}"), walk);
    const size_t lines = count(agent_log(), out_of_order);
    stop_service(SIGTERM);
    start_service(folder + "/fabric.json");
    ASSERT_TRUE(wait_until([&] { return subscriptions() == 2; }));
    for (int i = 0; i < 3; i++) EXPECT_EQ(manager("snmpwalk", oper, "{}"), walk);
    EXPECT_EQ(count(agent_log(), out_of_order), lines + 2) << "again, for another service:\n" << agent_log();
}

class agent_registrations : public agent_views {};

TEST_F(agent_registrations, end_with_the_module) {
    use_sanitizers();
    start_with(fabric);
    const std::string column = "{}.1.1.5.1.2", ours = "Hex-STRING: 0A 01 00 0B ,Hex-STRING: 0A 01 00 0C ,";
    start_subagent("override", "override .1.3.6.1.4.1.57193.12.7.1.1.5.1.2.1.4.10.1.5 octet_str theirs");
    const std::string all = ours + "STRING: \"theirs\",Hex-STRING: 0A 02 00 0B ,";
    ASSERT_TRUE(wait_until([&] { return values_of(column) == all; }));
    for (size_t round = 2; round < 5; round++) {
        restart_agent();
        ASSERT_TRUE(wait_until([&] { return subscriptions() == round; }));
        EXPECT_EQ(values_of(column), all) << "with another's registration in the middle of a column";
    }
    EXPECT_EQ(count(service_log(), "user \"\""), count(service_log(), " registry ")) << "all of it has the handler";
    run("sed -i /^dlmod/d " + folder + "/agent.conf");
    restart_agent();
    EXPECT_EQ(values_of("{}"), "STRING: \"theirs\",") << "which stays";
    end_subagent();
    EXPECT_TRUE(has(manager("snmpwalk", oper, "{}"), "No Such Object"));
    stop_all();

    start_with(fabric);
    const std::string second =
        run("cd " + folder + " && SNMP_PERSISTENT_DIR=second " + snmpd() + " -f -C -c agent.conf -Lo");
    EXPECT_TRUE(has(second, "Error opening specified endpoint")) << "it exits with the module, and its objects, loaded";
    EXPECT_FALSE(has(second, "Sanitizer"));
    stop_all();
    expect_no_reports();
}

} // namespace
