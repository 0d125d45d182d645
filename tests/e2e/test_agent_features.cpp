// Features through a real agent: walks of every kind of fabric, actions from their start to their
// end, scope and options written and stored, and what hostile indexes get.

#include <fstream>
#include <sstream>

#include "fabric_agent.h"

namespace {

using oid = std::vector<unsigned long>;

struct binding {
    oid name;
    std::string line;
};

std::vector<binding> parse(const std::string &output)
{
    std::vector<binding> found;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        if (line.find("{}.") != 0) { // a text of several lines
            if (!found.empty())
                found.back().line += "\n" + line;
            continue;
        }
        binding each{{}, line};
        std::istringstream digits(line.substr(3, line.find(' ') - 3));
        for (std::string part; std::getline(digits, part, '.');)
            each.name.push_back(std::stoul(part));
        found.push_back(each);
    }
    return found;
}

class agent_features : public fabric_agent {
  protected:
    // Starts on a fabric of these features, written as JSON.
    void start_with(const std::string &features)
    {
        std::ofstream(folder / "fabric.json") << "{\"features\": [" << features << "]}";
        start_service(folder / "fabric.json");
        start_agent();
    }

    // A walk of a subtree, checked: it ends, its OIDs only increase, and a GET of each gives the
    // same.
    std::vector<binding> checked_walk(const std::string &subtree = "{}.1.1")
    {
        const std::string output = manager("snmpbulkwalk -Ih -Ox", oper, subtree);
        EXPECT_EQ(output.find("not increasing"), std::string::npos) << output.substr(0, 2000);
        EXPECT_EQ(output.find("Timeout"), std::string::npos);
        const std::vector<binding> rows = parse(output);
        for (size_t i = 1; i < rows.size(); i++)
            EXPECT_LT(rows[i - 1].name, rows[i].name);
        constexpr size_t at_once = 40;
        for (size_t i = 0; i < rows.size(); i += at_once) {
            std::string names;
            for (size_t j = i; j < std::min(i + at_once, rows.size()); j++)
                names += " " + rows[j].line.substr(0, rows[j].line.find(' '));
            const std::vector<binding> got = parse(manager("snmpget -Ox", oper, names));
            for (size_t j = 0; j < got.size(); j++)
                EXPECT_EQ(got[j].line, rows[i + j].line);
            EXPECT_EQ(got.size(), std::min(at_once, rows.size() - i));
        }
        return rows;
    }

    static size_t rows_of(const std::vector<binding> &walk, unsigned long table,
                          unsigned long column)
    {
        size_t found = 0;
        for (const binding &each : walk)
            found += each.name[2] == table && each.name[4] == column;
        return found;
    }
};

std::string feature(const std::string &name, const std::string &rest)
{
    return "{\"name\": \"" + name + "\"" + rest + "}";
}

TEST_F(agent_features, default_fabric_is_walked_whole)
{
    start_service();
    start_agent();
    const std::vector<binding> walk = checked_walk("{}");
    EXPECT_EQ(rows_of(walk, 1, 2), 8u) << "features";
    EXPECT_EQ(rows_of(walk, 1, 12), 8u);
    EXPECT_EQ(rows_of(walk, 2, 3), 5u) << "locks";
    EXPECT_EQ(rows_of(walk, 7, 3), 11u) << "states";
    EXPECT_EQ(walk.back().name, (oid{1, 4, 1, 0})) << "and the scalars behind them";

    const std::string ntp = ".3.110.116.112", alerting = ".8.97.108.101.114.116.105.110.103";
    const struct {
        std::string object, value;
    } cases[] = {
        {"1.1.1.1.2" + ntp, "INTEGER: 1"},
        {"1.1.1.1.5" + ntp, "INTEGER: 4"},
        {"1.1.1.1.12" + ntp, "Hex-STRING: 80 "},
        {"1.1.1.1.7" + alerting, "Hex-STRING: 00 00 00 0A "},
        {"1.1.1.1.9" + alerting, "STRING: \"The fabric is being reconfigured\""},
        {"1.1.2.1.6" + ntp + ".1", "STRING: \"alice\""},
        {"1.1.2.1.6" + alerting + ".1", "STRING: \"VYN\""},
        {"1.1.2.1.5" + alerting + ".1", "Hex-STRING: 80 "},
        {"1.1.2.1.6" + alerting + ".2.4.0.0.0.20", "STRING: \"backup\""},
        {"1.1.2.1.5" + alerting + ".2.4.0.0.0.20", "STRING: \"@\""},
        {"1.1.7.1.4" + alerting + ".2.4.0.0.0.10", "INTEGER: 5"},
        {"1.1.7.1.6" + alerting + ".2.4.0.0.0.20", "INTEGER: 2"},
        {"1.1.7.1.7" + ntp + ".1.0", "Timeticks: (0) 0:00:00.00"},
    };
    for (const auto &test : cases)
        EXPECT_EQ(get(test.object), "{}." + test.object + " = " + test.value + "\n");
}

TEST_F(agent_features, generated_fabrics_are_walked_whole)
{
    const std::string both = ", \"scopes\": [\"physical\", \"logical\"], \"states\": [{\"scope\": "
                             "\"physical\"}, {\"vsan\": 1}, {\"vsan\": 256}, {\"vsan\": 4093}]",
                      lock = ", \"locks\": [{\"vsan\": 7, \"user\": \"u\", \"address\": \"\"}]";
    std::string many;
    for (int i = 0; i < 500; i++)
        many += (i ? ", " : "") + feature("f" + std::to_string(i * 7919 % 500), both + lock);
    const struct {
        std::string features;
        size_t count, states, locks;
    } fabrics[] = {
        {"", 0, 0, 0},
        {feature("x", ""), 1, 0, 0},
        {feature("a", both) + ", " + feature(std::string(80, 'a'), both + lock) + ", " +
             feature("\\u0080\\u00ff", both) + ", " + feature("\\u00ff", both + lock) + ", " +
             feature(std::string(79, 'b'), ""),
         5, 16, 2},
        {many, 500, 2000, 500},
    };
    for (const auto &fabric : fabrics) {
        start_with(fabric.features);
        const std::vector<binding> walk = checked_walk();
        EXPECT_EQ(rows_of(walk, 1, 2), fabric.count);
        EXPECT_EQ(rows_of(walk, 1, 8), fabric.count);
        EXPECT_EQ(rows_of(walk, 7, 5), fabric.states);
        EXPECT_EQ(rows_of(walk, 2, 4), fabric.locks);
        stop_agent();
        stop_service(SIGTERM);
    }
}

// What cannot be walked or read by design.
TEST_F(agent_features, limits_of_walks_are_what_they_are)
{
    const std::string both =
        ", \"scopes\": [\"physical\"], \"states\": [{\"scope\": \"physical\"}]";
    start_with(feature("a", both) + ", " + feature(std::string(81, 'b'), both) + ", " +
               feature(std::string(82, 'c'), both) + ", " + feature(std::string(82, 'd'), both));
    const std::vector<binding> walk = checked_walk("{}.1.1.1.1.2");
    ASSERT_EQ(walk.size(), 3u) << "nothing goes on from a name of 82 characters";
    EXPECT_EQ(walk[2].name.size(), 6u + 82);

    // The extension table shows the first name that is too long, and no GET reaches it.
    const std::vector<binding> ext = parse(manager("snmpwalk", oper, "{}.1.1.7.1.3"));
    ASSERT_EQ(ext.size(), 2u);
    const std::string second = ext[1].line.substr(0, ext[1].line.find(' '));
    EXPECT_NE(manager("snmpget", oper, second).find("No Such Instance"), std::string::npos);

    // A physical-only feature without a row hides what comes behind it.
    stop_agent();
    stop_service(SIGTERM);
    start_with(feature("a", both) + ", " + feature("b", ", \"scopes\": [\"physical\"]") + ", " +
               feature("c", both));
    EXPECT_EQ(parse(manager("snmpwalk", oper, "{}.1.1.7.1.3")).size(), 1u);
}

TEST_F(agent_features, action_runs_to_its_end)
{
    environment["VYN_NETWORK_ADMINS"] = "alice, root";
    start_service();
    start_trap_receiver();
    start_agent();
    const std::string ntp = ".3.110.116.112", role = ".4.114.111.108.101";
    control("set features.0.next_action '{\"after_ms\": 600000, \"result\": \"success\"}'");
    EXPECT_EQ(set("1.1.1.1.2" + ntp + " i 4"), "{}.1.1.1.1.2" + ntp + " = INTEGER: 4\n");
    EXPECT_EQ(get("1.1.1.1.8" + ntp), "{}.1.1.1.1.8" + ntp + " = INTEGER: 4\n") << "in progress";
    EXPECT_NE(set("1.1.1.1.2" + ntp + " i 5").find("Reason: commitFailed"), std::string::npos);
    EXPECT_NE(agent_log().find("SET by \"oper\" failed: 0x40B3003A"), std::string::npos);
    EXPECT_EQ(count(service_log(), " action "), 1u) << service_log();

    // It is cleared, which is an action too; the next one fails at once, and the receiver hears of
    // it.
    control("set features.0.next_action '{\"after_ms\": 1, \"result\": \"failed\", "
            "\"failure\": \"0x40B30051\"}'");
    EXPECT_EQ(set("1.1.1.1.2" + ntp + " i 6"), "{}.1.1.1.1.2" + ntp + " = INTEGER: 6\n");
    ASSERT_TRUE(wait_until([&] {
        return set("1.1.1.1.2" + ntp + " i 4") == "{}.1.1.1.1.2" + ntp + " = INTEGER: 4\n";
    }));
    ASSERT_TRUE(
        wait_until([&] { return get("1.1.1.1.8" + ntp).find("INTEGER: 3") != std::string::npos; }));
    EXPECT_EQ(get("1.1.1.1.9" + ntp),
              "{}.1.1.1.1.9" + ntp + " = STRING: \"The fabric is being reconfigured\"\n");
    EXPECT_EQ(get("1.1.7.1.4" + ntp + ".1.0"), "{}.1.1.7.1.4" + ntp + ".1.0 = INTEGER: 3\n");
    const std::string ended = "{}.0.1\t{}.1.1.1.1.5" + ntp + " = INTEGER: 4\t{}.1.1.1.1.6" + ntp +
                              " = INTEGER: 1\t{}.1.1.1.1.7" + ntp + " = \"\"\t{}.1.1.1.1.8" + ntp +
                              " = INTEGER: 3\n";
    EXPECT_TRUE(wait_until([&] { return trap_log().find(ended) != std::string::npos; }))
        << trap_log();

    // The roles of users are changed by administrators only; others get no further than RESERVE1.
    const std::string commit_role = "{}.1.1.1.1.2" + role + " i 4";
    EXPECT_NE(manager("snmpset", oper, commit_role).find("Reason: (genError)"), std::string::npos);
    EXPECT_EQ(manager("snmpset", alice, commit_role), "{}.1.1.1.1.2" + role + " = INTEGER: 4\n");
    EXPECT_NE(service_log().rfind("\"role\" physical user \"alice\""), std::string::npos);

    // An action that the scope does not have, or a scope without its VSAN.
    EXPECT_EQ(set("1.1.1.1.3" + ntp + " i 2"), "{}.1.1.1.1.3" + ntp + " = INTEGER: 2\n");
    EXPECT_NE(set("1.1.1.1.2" + ntp + " i 4").find("commitFailed"), std::string::npos);
    EXPECT_EQ(set("1.1.1.1.4" + ntp + " x 0000000A").find("Error"), std::string::npos);
    EXPECT_NE(set("1.1.1.1.2" + ntp + " i 4").find("commitFailed"), std::string::npos);
    EXPECT_NE(agent_log().find("0x40B30035"), std::string::npos);
}

TEST_F(agent_features, scope_and_options_are_stored)
{
    start_service();
    start_agent();
    const std::string ntp = ".3.110.116.112", zone = ".10.122.111.110.101.45.110.97.109.101.115";
    const struct {
        std::string assignment, answer; // "": as assigned
    } cases[] = {
        {"1.1.1.1.3" + ntp + " i 2", ""},
        {"1.1.1.1.4" + ntp + " x 00000ffd", ""},
        {"1.1.1.1.4" + ntp + " x 00000ffe", "wrongValue"},
        {"1.1.1.1.4" + ntp + " x 00000000", "wrongValue"},
        {"1.1.1.1.4" + ntp + " x 00000001", ""},
        {"1.1.1.1.10" + ntp + " i 2", ""},
        {"1.1.1.1.10" + ntp + " i 3", "wrongValue"},
        {"1.1.1.1.3" + ntp + " i 0", "wrongValue"},
        {"1.1.1.1.3" + ntp + " s 1", "wrongType"},
        {"1.1.1.1.4" + ntp + " i 1", "wrongType"},
        {"1.1.1.1.3.3.110.116.113 i 1", "notWritable"},
        {"1.1.7.1.6" + zone + ".2.4.0.0.0.10 i 2", ""},
        {"1.1.7.1.6" + ntp + ".1.0 i 1", ""},
        {"1.1.7.1.6" + zone + ".2.4.0.0.0.11 i 2", "notWritable"},
    };
    for (const auto &test : cases) {
        const std::string answer = set(test.assignment);
        if (test.answer.empty())
            EXPECT_EQ(answer.find("Error"), std::string::npos) << test.assignment << answer;
        else
            EXPECT_NE(answer.find(test.answer), std::string::npos) << test.assignment << answer;
    }
    // The service has them, so they are there when the agent has read its registry anew.
    const size_t subscribed = count(service_log(), "subscribe 8475");
    kill(agent, SIGHUP);
    ASSERT_TRUE(wait_until([&] { return count(service_log(), "subscribe 8475") > subscribed; }));
    EXPECT_EQ(get("1.1.1.1.3" + ntp), "{}.1.1.1.1.3" + ntp + " = INTEGER: 2\n");
    EXPECT_EQ(get("1.1.1.1.4" + ntp), "{}.1.1.1.1.4" + ntp + " = Hex-STRING: 00 00 00 01 \n");
    EXPECT_EQ(get("1.1.1.1.10" + ntp), "{}.1.1.1.1.10" + ntp + " = INTEGER: 1\n")
        << "as the extension table set it last";
    EXPECT_EQ(get("1.1.7.1.6" + zone + ".2.4.0.0.0.10"),
              "{}.1.1.7.1.6" + zone + ".2.4.0.0.0.10 = INTEGER: 2\n");
}

TEST_F(agent_features, hostile_indexes_find_nothing)
{
    start_service();
    start_agent();
    std::string full; // 128 sub-identifiers in all
    for (int i = 14; i < 128; i++)
        full += ".4294967295";
    const std::string indexes[] = {".4294967295",          ".3.110.116", ".3.110.116.112.120",
                                   ".3.110.116.368",       ".0",         full,
                                   ".83" + full.substr(11)};
    for (const std::string &index : indexes)
        for (const std::string column : {"1.1.1.1.2", "1.1.2.1.3", "1.1.7.1.6"}) {
            EXPECT_NE(get(column + index).find("No Such Instance"), std::string::npos)
                << column << index;
            EXPECT_NE(set(column + index + " i 2").find("notWritable"), std::string::npos)
                << column << index;
            manager("snmpgetnext", oper, "{}." + column + index);
        }
    EXPECT_EQ(count(service_log(), " set "), 0u);
    EXPECT_EQ(get("1.4.1.0"), "{}.1.4.1.0 = INTEGER: 1\n");
}

} // namespace
