// Notifications as a real receiver gets them: every variable, v2c and v3, and bursts in order.

#include <fstream>
#include <regex>
#include <sstream>

#include "fabric_agent.h"

namespace {

class agent_notifications : public fabric_agent {
  protected:
    // What the receiver has got of the module's notifications, without the two variables in front,
    // which are checked.
    std::vector<std::string> received() {
        static const std::regex pattern("\\.1\\.3\\.6\\.1\\.2\\.1\\.1\\.3\\.0 = Timeticks: \\(\\d+\\) [^\t]*\t"
                                        "\\.1\\.3\\.6\\.1\\.6\\.3\\.1\\.1\\.4\\.1\\.0 = OID: (\\{\\}\\.0\\.[^]*)");
        std::vector<std::string> found;
        std::istringstream lines(trap_log());
        for (std::string line; std::getline(lines, line);) {
            std::smatch match;
            EXPECT_EQ(std::regex_match(line, match, pattern), bool(has(line, "{}.0."))) << line;
            if (!match.empty()) found.push_back(match[1]);
        }
        return found;
    }
};

// A notification with these values of its variables.
std::string notification(size_t number, const std::vector<std::string> &values) {
    const std::string op = "1.1.1.1.", ntp = ".3.110.116.112";
    const std::vector<std::string> objects[] = {{op + "5" + ntp, op + "6" + ntp, op + "7" + ntp, op + "8" + ntp},
                                                {"1.2.1.0", "1.2.2.0", "1.2.3.0", "1.2.4.0"},
                                                {"1.3.2.0", "1.3.3.0"}};
    std::string text = "{}.0." + std::to_string(number);
    for (size_t i = 0; i < values.size(); i++) text += "\t{}." + objects[number - 1][i] + " = " + values[i];
    return text;
}

const std::string empty = "\"\"", vsan = "Hex-STRING: 00 00 00 0A ", name = "STRING: \"ntp\"";

const std::pair<std::string, std::string> cases[] = {
    {"merge-failure ntp 5/10 first", notification(2, {name, "INTEGER: 0", empty, "STRING: \"first\""})},
    {"discovery failed 0x40B30050", notification(3, {"INTEGER: 4", "STRING: \"Success\""})},
    {"discovery completed", notification(3, {"INTEGER: 3", empty})},
    {"merge-failure abcdefgh 10 lost",
     notification(2, {"STRING: \"abcdefgh\"", "INTEGER: 2", vsan, "STRING: \"lost\""})},
    {"discovery failed 0x40B30050", notification(3, {"INTEGER: 4", "STRING: \"Unknown error 0x65666768\""})},
    {"merge-failure ntp physical", notification(2, {name, "INTEGER: 1", empty, empty})},
    {"raw 8475 0000001b", notification(3, {"INTEGER: 0", empty})}, // what it lacks is zero, also behind a long one
    {"action ntp physical commit success", notification(1, {"INTEGER: 4", "INTEGER: 1", empty, "INTEGER: 2"})},
    {"action ntp 10 abort failed", notification(1, {"INTEGER: 5", "INTEGER: 2", vsan, "INTEGER: 3"})},
    {"action ntp 7/10 9 5", notification(1, {"INTEGER: 9", "INTEGER: 7", empty, "INTEGER: 5"})},
};

TEST_F(agent_notifications, carry_every_variable) {
    for (const bool inform : {false, true}) {
        if (inform) // SNMPv3, authenticated and encrypted, and answered by the receiver
            trap_sink = "trapsess -v3 -Ci -u carol -l authPriv -a SHA -A carol-auth -x AES -X carol-priv {}";
        start();
        for (const auto &test : cases) control("event " + test.first);
        ASSERT_TRUE(wait_until([&] { return received().size() == std::size(cases); })) << received().size();
        const std::vector<std::string> got = received();
        for (size_t i = 0; i < got.size(); i++) EXPECT_EQ(got[i], cases[i].second) << cases[i].first;
        stop_all();
    }
}

TEST_F(agent_notifications, bursts_arrive_whole_and_in_order_and_memory_is_flat) {
    constexpr int burst = 1000, rounds = 9;
    transport = "tcp";
    start();
    std::ofstream commands(folder + "/commands");
    for (int i = 1; i <= burst; i++)
        commands << (i % 2 ? "event action ntp 2/" : "event merge-failure ntp 1/") << i
                 << (i % 2 ? " commit success\n" : " text\n");
    commands.close();
    long settled = 0;
    for (size_t round = 1; round <= rounds; round++) {
        control("fault stall"); // so that all of them come at once
        control("- <" + folder + "/commands >/dev/null");
        control("fault off");
        ASSERT_TRUE(wait_until([&] {
            EXPECT_TRUE(has(manager("snmpbulkwalk", oper, "{}"), "{}.1.4.1.0 = INTEGER: 1\n"));
            return count(trap_log(), "OID: {}.0.") >= round * burst;
        })) << received().size();
        if (round == 2) settled = agent_memory();
    }
    // The allocator takes 132 KiB at a time from the system.
    EXPECT_LE(agent_memory(), settled + 256) << "KiB: 64 bytes of each event would be more";
    const std::vector<std::string> got = received();
    EXPECT_EQ(got.size(), size_t{rounds * burst});
    for (int i = 0; i < rounds * burst; i++) {
        char end[32];
        const int number = i % burst + 1;
        snprintf(end, sizeof(end), "%02X %02X \t", number >> 8, number & 255);
        ASSERT_TRUE(has(got[i], end)) << i;
    }
}

} // namespace
