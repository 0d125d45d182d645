// A service that is slow, or that answers some requests and not others: what one SNMP request may cost the agent, what
// its manager is told, and what the log says. A reply here takes long, but nowhere near its own timeout.

#include "fabric_agent.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>

#include "fake_service.h"
#include "vyn_wire.h"

namespace {

const std::string gen_err = "(genError)", enabled = "INTEGER: 1";

class agent_budget : public fabric_agent {};

// The registry is read again on each connection, so each of them answers something.
TEST_F(agent_budget, service_that_drops_connections_is_one_outage) {
    std::atomic<bool> works = false;
    fake_service fake(folder + "/vynd.sock", [&](const auto &header, const auto &request) {
        std::optional<fake_service::answer> answer;
        if (header.opcode == vynd::opcode_registry)
            answer = fake_service::registry_of("ntp", request);
        else if (works)
            answer = {VYN_ERR_NO_MORE_ENTRIES, ""};
        return answer;
    });
    start_agent();
    const std::string last_action = "1.1.1.1.5.3.110.116.112";
    for (int i = 0; i < 10; i++) EXPECT_EQ(get(last_action), enabled) << "none";
    EXPECT_EQ(count(agent_log(), "vynd.sock"), 1u) << agent_log();
    works = true;
    EXPECT_EQ(get(last_action), enabled);
    EXPECT_TRUE(wait_until([&] { return count(agent_log(), "available again") == 1; }));
    EXPECT_EQ(count(agent_log(), "vynd.sock"), 2u) << agent_log();
}

TEST_F(agent_budget, refusals_of_the_client_library_are_logged) {
    fake_service fake(folder + "/vynd.sock", [&](const auto &header, const auto &request) {
        if (header.opcode == vynd::opcode_registry) return std::optional(fake_service::registry_of("ntp", request));
        if (header.opcode != vynd::opcode_state) return std::optional(fake_service::answer{0x40B30051, ""});
        return std::optional(fake_service::answer{0, request.substr(sizeof(vynd::registry_entry::name))});
    });
    start_agent();
    const std::string ntp = "3.110.116.112", error = "0x40B30051 VYN_ERR_FABRIC_BUSY: The fabric is being reconfigured",
                      line = "vyn: SET by \"alice\" failed: " + error + "\n";
    const struct {
        std::string object, answer;
    } cases[] = {
        {"1.1.1.1.2." + ntp + " i 4", "commitFailed"}, // vynFeatureOpAction
        {"1.1.1.1.3." + ntp + " i 1", gen_err},        // vynFeatureOpScopeType
        {"1.1.1.1.10." + ntp + " i 2", gen_err},       // vynFeatureOpShowCfgOption
        {"1.1.7.1.6." + ntp + ".1.0 i 2", gen_err},    // vynFeatureOpExtShowCfgOption
        {"1.1.7.1.6." + ntp + ".2.4.0.0.0.10 i 2", gen_err},
    };
    size_t logged = 0;
    for (const auto &each : cases) {
        EXPECT_TRUE(has(set(each.object, alice), each.answer));
        EXPECT_EQ(count(agent_log(), line), ++logged) << each.object << "\n" << agent_log();
    }
    EXPECT_EQ(count(agent_log(), "SET by"), logged);
}

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
