// A service that is slow, or that answers some requests and not others: what one SNMP request may cost the agent, what
// its manager is told, and what the log says. A reply here takes long, but nowhere near its own timeout.

#include "fabric_agent.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

const std::string enabled = "INTEGER: 1";

class agent_budget : public fabric_agent {};

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
