// A service that is slow, or that answers some requests and not others: what one SNMP request may cost the agent, what
// its manager is told, and what the log says. A reply here takes long, but nowhere near its own timeout.

#include "fabric_agent.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <fstream>

#include "fake_service.h"
#include "vyn_wire.h"

namespace {

const std::string gen_err = "(genError)", enabled = "INTEGER: 1";

class agent_budget : public fabric_agent {
  protected:
    // How many requests the service gets meanwhile, of those whose line in its log has this text.
    size_t requests(const std::function<void()> &meanwhile, const std::string &text = "request ") {
        const size_t before = count(service_log(), text);
        meanwhile();
        return count(service_log(), text) - before;
    }

    void start_service_with(const std::string &features) {
        std::string peers;
        for (int i = 1; i <= 100; i++) peers += (i > 1 ? ", \"10.1.0." : "\"10.1.0.") + std::to_string(i) + "\"";
        std::ofstream(folder + "/fabric.json") << "{\"features\": [" + features + "], \"peers\": [" + peers + "]}";
        start_service(folder + "/fabric.json");
    }

    static std::string features(int number) {
        std::string text;
        for (int i = 1; i <= number; i++)
            text += (i > 1 ? ", " : "") + feature("f-" + std::to_string(10'000 + i), ", \"scopes\": [\"physical\"]");
        return text;
    }

    static std::string times(int number, const std::string &object) {
        std::string text;
        while (number-- > 0) text += object + " ";
        return text;
    }
};

TEST_F(agent_budget, slow_service_costs_one_budget) {
    environment["VYN_TIMEOUT_MS"] = "1000";
    environment["VYN_BUDGET_MS"] = "1"; // is never less than the timeout: there is time for three replies
    start_service_with(features(60));
    start_agent();
    EXPECT_EQ(get("1.4.1.0"), enabled);
    control("fault delay 300");
    const struct {
        std::string tool, who, what;
    } cases[] = {
        {"snmpgetnext", watcher, "{}.1.1.3.1.3"}, // no feature has a merge: asks for each
        {"snmpbulkget -Cn0 -Cr100", watcher, "{}.1.1.5.1.1"},
        {"snmpget -Cf", "-v1 -c watcher", times(8, "{}.1.4.1.0")},
        {"snmpset", oper, times(8, "{}.1.4.1.0 i 2")}, // each is read before it is written
        {"snmpset", oper, times(3, "{}.1.4.1.0 i 1")}, // the first change is sent, and the others are not
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.tool);
        std::string answer;
        EXPECT_LE(requests([&] { answer = manager(each.tool, each.who + " -r 0", each.what); }), 4u);
        EXPECT_TRUE(has(answer, gen_err));
        // Who asks for little gets it, and not the reply that the other one has not waited for.
        EXPECT_EQ(get("1.3.2.0"), "INTEGER: 1");
        EXPECT_TRUE(has(manager("snmpbulkget -Cn0 -Cr2", watcher + " -r 0", "{}.1.1.5.1.1"), "0A 01 00 02"));
    }
    EXPECT_LE(count(service_log(), " set query"), 1u);
    control("fault off");
    EXPECT_EQ(get("1.4.1.0"), enabled);
    EXPECT_EQ(count(agent_log(), "vyn: service at " + folder + "/vynd.sock is slow: "), 1u) << agent_log();
    EXPECT_EQ(count(agent_log(), "available"), 0u) << agent_log();
}

// Twelve pages of features, of which a budget is enough for three.
TEST_F(agent_budget, slow_registry_costs_one_budget_and_then_a_pause) {
    environment["VYN_TIMEOUT_MS"] = environment["VYN_BUDGET_MS"] = "600";
    const std::string page = "registry from", row = "1.1.1.1.3.7.102.45.49.48.48.48.49"; // f-10001
    start_service_with(features(6000));
    control("fault delay 200");
    EXPECT_LE(requests([&] { start_agent(); }, page), 4u);
    EXPECT_EQ(requests([&] { EXPECT_TRUE(has(get(row), gen_err)) << "not that there is none"; }, page), 0u);
    EXPECT_EQ(get("1.4.1.0"), enabled) << "needs no feature";
    control("fault off");
    EXPECT_TRUE(wait_until([&] { return get(row) == enabled; })) << agent_log();

    // It returns and is slow: one request fails to read the registry, the next ones use the old one.
    stop_service(SIGTERM);
    start_service(folder + "/fabric.json");
    EXPECT_EQ(get("1.4.1.0"), enabled) << "on a new connection";
    control("fault delay 200");
    EXPECT_LE(requests([&] { EXPECT_TRUE(has(get(row), gen_err)); }, page), 4u);
    EXPECT_EQ(requests([&] { EXPECT_EQ(get(row), enabled); }, page), 0u);
    EXPECT_EQ(count(agent_log(), "is slow: "), 1u) << agent_log();
}

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
