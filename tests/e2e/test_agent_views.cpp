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

// An object under an OID that is not its own: its column, an index that reaches the row, and the row's own.
const struct {
    std::string column, index, row, value = {}; // and what a SET gives it
} aliases[] = {
    {.column = "1.1.1.1.2", .index = ".0" + ntp, .row = ".3" + ntp, .value = "i 4"}, // the name's length is not read
    {.column = "1.1.1.1.3", .index = ".4294967295" + ntp, .row = ".3" + ntp, .value = "i 2"},
    {.column = "1.1.1.1.4", .index = ".0" + ntp, .row = ".3" + ntp, .value = "x 00000001"},
    {.column = "1.1.2.1.6", .index = ".3" + ntp + ".2.1.0.0.0.10", .row = ".3" + ntp + vsan}, // nor is the VSAN's
    {.column = "1.1.2.1.3", .index = ".3.366.116.112" + vsan, .row = ".3" + ntp + vsan},      // the low 8 bits
    {.column = "1.1.3.1.5", .index = ".3" + ntp + ".2.9.0.0.0.10", .row = ".3" + ntp + vsan, .value = "i 2"},
    {.column = "1.1.4.1.3", .index = ".3" + ntp + ".2.5.0.0.0.10.7" + peer, .row = ".3" + ntp + vsan + peer},
    {.column = "1.1.5.1.2", .index = ".1.4.266.1.0.11", .row = peer},
    {.column = "1.1.6.1.4", .index = ".3" + ntp + ".2.5.0.0.0.10.7" + peer, .row = ".3" + ntp + vsan + peer},
    {.column = "1.1.7.1.6", .index = ".3" + ntp + ".1", .row = ".3" + ntp + ".1.0", .value = "i 2"}, // without its end
    {.column = "1.1.9.1.5", .index = ".9.2", .row = ".1.2", .value = "i 6"}, // the first sub-identifier is not read
    {.column = "1.1.9.1.5", .index = ".2" + vsan + ".3", .row = vsan, .value = "i 6"},
    {.column = "1.1.10.1.4", .index = ".3" + ntp + ".7", .row = ".3" + ntp + ".1", .value = "u 3"}, // nor is the scope
    {.column = "1.1.10.1.6", .index = ".3" + ntp + vsan, .row = ".3" + ntp + ".1", .value = "i 6"},
    {.column = "1.1.11.1.5", .index = ".1.4.10.257.0.11", .row = peer, .value = "i 6"},
    {.column = "1.4.2.1.2", .index = "", .row = ".2", .value = "x " + ff08}, // the column's number is taken for one
};

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

TEST_F(agent_views, hide_rows_under_every_oid_that_reaches_them) {
    for (const auto &alias : aliases) hide(alias.column + alias.row);
    start_with(fabric);
    for (const auto &alias : aliases) {
        const std::string asked = alias.column + alias.index;
        SCOPED_TRACE(asked);
        EXPECT_TRUE(has(manager("snmpget", oper, "{}." + asked), "{}." + alias.column + alias.row))
            << "it reaches the row";
        for (const std::string &who : {junior, bob}) {
            EXPECT_EQ(get(asked, who), no_instance);
            EXPECT_TRUE(alias.value.empty() || has(set(asked + " " + alias.value, who), "noAccess"));
        }
    }
    EXPECT_EQ(count(service_log(), " set "), 0u) << service_log();
    // Rows in the view are served as ever, those beside a hidden one included.
    const std::string visible = " {}.1.1.1.1.10.0" + ntp, own = "{}.1.1.1.1.10.3" + ntp + " = INTEGER: ";
    for (const std::string &who : {junior, bob}) {
        EXPECT_TRUE(has(manager("snmpset", who, visible + " i 2"), own + "2\n"));
        EXPECT_TRUE(has(manager("snmpget", who, "{}.1.1.1.1.2.0" + ntp + visible + " {}.1.4.1.0"),
                        "{}.1.1.1.1.2.0" + ntp + " = " + no_instance + "\n" + own + "2\n{}.1.4.1.0 = INTEGER: "));
        EXPECT_TRUE(has(manager("snmpset", who, visible + " i 1 {}.1.1.1.1.2.0" + ntp + " i 4"), "noAccess"));
    }
    EXPECT_EQ(count(service_log(), " set "), 2u) << "nothing of a SET that was refused in part";
}

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

// The master has checked the view, and a subagent has none.
TEST_F(agent_views, are_the_masters_over_agentx) {
    use_sanitizers();
    start_with(fabric);
    const std::string walk = manager("snmpwalk", oper, "{}");
    run("sed -i /^dlmod/d " + folder + "/agent.conf");
    restart_agent();
    start_subagent("dlmod", "dlmod vyn_mib " + agent_module);
    ASSERT_TRUE(wait_until([&] { return manager("snmpwalk", oper, "{}") == walk; }));
    for (int i = 0; i < 3; i++) {
        const size_t before = subscriptions();
        EXPECT_TRUE(has(manager("snmpget", oper, "{}.1.1.1.1.2.0" + ntp), "{}.1.1.1.1.2.3" + ntp + " = INTEGER: 1\n"));
        EXPECT_EQ(set("1.1.1.1.10.0" + ntp + " i 1"), "INTEGER: 1");
        kill(subagent, SIGHUP);
        ASSERT_TRUE(wait_until([&] { return subscriptions() > before; }));
        ASSERT_TRUE(wait_until([&] { return manager("snmpwalk", oper, "{}") == walk; }));
    }
    end_subagent();
    stop_all();
    expect_no_reports();
}

} // namespace
