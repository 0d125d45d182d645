// A service that is slow, or that answers some requests and not others: what one SNMP request may cost the agent, what
// its manager is told, and what the log says. A reply here takes long, but nowhere near its own timeout.

#include "fabric_agent.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

const std::string gen_err = "(genError)", enabled = "INTEGER: 1";

class agent_budget : public fabric_agent {};

// A status that is refused leaves its row, of whatever feature.
TEST_F(agent_budget, rows_under_creation_are_bounded) {
    start();
    const std::string full = "vyn: 4096 rows are under creation; further ones are refused\n";
    const auto refuse = [&](int first, int rows) {
        std::string objects;
        for (int i = first; i < first + rows; i++) // names of two characters
            objects += " {}.1.1.10.1.6.2." + std::to_string(1 + i / 100) + "." + std::to_string(1 + i % 100) + ".1 i 4";
        EXPECT_TRUE(has(manager("snmpset", oper, objects), gen_err));
    };
    for (int i = 0; i < 4096; i += 128) refuse(i, 128);
    EXPECT_EQ(count(agent_log(), full), 0u);
    for (int i = 4096; i < 4099; i++) refuse(i, 1);
    EXPECT_EQ(count(agent_log(), full), 1u);
    EXPECT_EQ(set("1.1.10.1.4.2.1.1.1 u 7"), "Gauge32: 7") << "ends the first one";
    for (int i = 4100; i < 4103; i++) refuse(i, 1);
    EXPECT_EQ(count(agent_log(), full), 2u);
}

TEST_F(agent_budget, history_goes_to_no_fifo) {
    const std::string fifo = environment["VYN_HISTORY_FILE"] = folder + "/history";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    int reader = -1;
    start();
    for (size_t times = 1; times <= 2; times++) { // without a reader and with one
        kill(agent, SIGUSR2);
        EXPECT_EQ(get("1.4.1.0"), enabled);
        const std::string line = "vyn: cannot write the history to " + fifo + ": not a regular file\n";
        EXPECT_TRUE(wait_until([&] { return count(agent_log(), line) == times; })) << agent_log();
        EXPECT_TRUE(has(agent_log(), "vyn history: "));
        EXPECT_EQ(get("1.4.1.0"), enabled);
        reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    }
    close(reader);
}

} // namespace
