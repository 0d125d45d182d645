// A campaign of faults: one after the other, while several managers walk, read, set and listen at the same time,
// through one agent that is never started again and that carries sanitizers where it can. Where values can differ they
// do, over the whole fabric, so an answer that was taken from another request's reply shows. What a fault leaves of a
// reply is what an answer may come from, and no more. Regions 11 to 18 are the ones that are made and destroyed.
//
// VYN_CAMPAIGN_LOAD multiplies what each manager does under each fault. In the table that is printed, a stall is that
// of an object of others, and includes the manager's own time, as recovery does.

#include "fabric_agent.h"

#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <random>
#include <set>
#include <sstream>
#include <thread>

namespace {

using steady = std::chrono::steady_clock;

enum replies { whole, missing, retained, cut };

// Faults in the words of vynctl, and what signals do to the service. The first request behind one is right, unless a
// reply is overdue then: it is waited for, or never comes.
const struct {
    replies left;
    bool next_is_right;
    std::vector<std::string> names;
} faults[] = {
    {whole, true, {"off", "delay 4", "delay 60 10", "wrong-query 7"}},
    {cut, true, {"short 6", "short 13", "short 106", "short 134"}},
    {retained, true, {"empty"}},
    {missing, true, {"error 0x40B3003A", "error 0x40B3001C", "oversize 60000", "oversize 200000", "disconnect"}},
    {missing, true, {"stall", "stopped", "terminated", "killed"}},
    {missing, false, {"delay 300", "delay 250 3", "drop 1", "drop"}},
};
const std::map<std::string, int> signals = {{"stopped", SIGSTOP}, {"terminated", SIGTERM}, {"killed", SIGKILL}};

// The merges are those of features in one scope each: a walk takes the VSAN along to the next feature.
const std::string feature_of_one = R"({"name": "app-#", "scopes": ["physical", "logical"], "scope_type": 2,
    "scope_value": 3#, "entry_attr": 1#, "show_cfg_option": 2#,
    "states": [{"scope": "physical", "action": 4#, "result": 5#, "show_cfg_option": 6#},
               {"vsan": 1#, "action": 7#, "result": 3, "failure": "0x5000000#", "show_cfg_option": 8#, "last": true}],
    "locks": [{"scope": "physical", "user": "user-#", "address": "10.1.1.#"},
              {"vsan": 1#, "user": "admin-#", "address": "2001:db8::#"}],
    "peers": [{"scope": "physical", "peers": ["10.2.1.#", "node-#"]}, {"vsan": 1#, "peers": ["10.3.1.#"]}],
    "merges": [{"vsan": 1#, "status": 10#, "failure": 2#, "members": [{"address": "10.5.1.#", "attr1": 3#}]}],
    "regions": [{"scope": "physical", "region": 20#}]}, {"name": "op-#", "merges": [{"scope": "physical",
    "status": 9#, "failure": 1#, "members": [{"address": "10.4.1.#", "attr1": 1#, "attr2": 2#}]}]})";

std::string eight_of(const std::string &one) {
    std::string text;
    for (int i = 1; i <= 8; i++) text += (i > 1 ? ", " : "") + replace_all(one, "#", std::to_string(i));
    return "[" + text + "]";
}

oid_name column_of(const oid_name &name) { return {name.begin(), name.begin() + std::min<size_t>(name.size(), 5)}; }
bool is_region(const oid_name &name) { return column_of(name) >= oid_name{1, 1, 9} && name < oid_name{1, 1, 10}; }
bool is_absent(const binding &answer) { return answer.value.find("No Such ") == 0; }
std::string name_of(const binding &row) { return row.line.substr(0, row.line.find('=')); }

// What a value reads as when its reply ends inside of it, or in front of it.
bool is_beginning_of(std::string value, const std::string &all) {
    const auto number = [](const std::string &text) { return strtoul(text.c_str() + text.find(' '), nullptr, 10); };
    if (value[0] == 'I' || value[0] == 'G') // INTEGER or Gauge32, from its most significant byte
        for (int shift = 0; shift <= 32; shift += 8)
            if (value[0] == all[0] && number(value) == number(all) >> shift << shift) return true;
    while (value.size() > 3 && value.substr(value.size() - 3) == "00 ") value.resize(value.size() - 3);
    return value == "\"\"" || value == all || (value[0] == 'H' && all.find(value) == 0);
}

class agent_faults : public fabric_agent {
  protected:
    std::map<oid_name, std::string> truth; // of the fabric without a fault
    std::vector<binding> lasting;          // the rows that nobody changes
    std::string rows, probe, probed;       // their lines; some of them to ask for, and the answer
    std::map<std::string, bool> regions;   // whether they are there, of those whose last SET was acknowledged
    std::map<std::string, size_t> set_to;  // "add region 11": how often that was acknowledged
    std::set<int> told;                    // the events that the service took
    std::mt19937 reads, changes;           // what two managers choose
    int events = 0, load = 1;
    replies left = whole;                                           // under the fault that is on
    std::atomic<int> wrong, restarts, gaps, checked, done, running; // gaps: answers that were not there
    std::atomic<long> stall_ms;
    const std::string once = oper + " -r 0"; // a SET that is sent again could be carried out twice

    // given: the value of what a GET has asked for. The operation table keeps its rows without the service, and has no
    // actions and results then. Of an empty reply comes the row before, and behind a column's end that of a later one,
    // under the OID that was asked for; distribution control has no row before, and shows zeros. A cut reply can have
    // an index of its own.
    bool is_right(const binding &answer, const std::string *given) {
        const oid_name column = column_of(answer.name);
        const auto known = truth.find(answer.name);
        const std::string *value = given || known == truth.end() ? given : &known->second;
        if (value && answer.value == *value) return true;
        if (column >= oid_name{1, 1, 1, 1, 5} && column <= oid_name{1, 1, 1, 1, 9} &&
            answer.value == (column[4] == 7 || column[4] == 9 ? "\"\"" : "INTEGER: 1"))
            return ++gaps;
        if (left == retained)
            return (column == oid_name{1, 4, 2, 1, 3} && answer.value == "INTEGER: 2") ||
                   std::any_of(truth.lower_bound(column), truth.end(), [&](const auto &row) {
                       return row.second == answer.value && (!given || column_of(row.first) == column);
                   });
        return left == cut && (!value || is_beginning_of(answer.value, *value));
    }

    void check(const binding &answer, const std::string *given = nullptr) {
        checked++;
        if (!is_right(answer, given) && wrong++ < 20) ADD_FAILURE() << answer.line << (given ? ", not " + *given : "");
    }

    // The managers.
    void walk(const std::string &tool) {
        const std::string subtree = done % 3 == 0 ? "{}" : "{}.1.1." + std::to_string(1 + done % 11);
        const std::string got = manager(tool + " -Ox", once, subtree);
        std::string text;
        for (const binding &row : parse(got)) {
            if (!is_absent(row)) check(row);
            if (!is_region(row.name)) text += row.line + "\n";
        }
        wrong += bool(has(got, "Timeout"));
        gaps += subtree == "{}" && text != rows;
    }
    void read() {
        std::vector<const binding *> asked;
        std::string names;
        for (int i = 0; i < 25; i++) names += name_of(*asked.emplace_back(&lasting[reads() % lasting.size()]));
        const std::vector<binding> answers = parse(manager("snmpget -Ox", once, names));
        wrong += answers.size() != asked.size();
        for (size_t i = 0; i < std::min(answers.size(), asked.size()); i++)
            is_absent(answers[i]) ? void(gaps++) : check(answers[i], &asked[i]->value);
    }
    void change() {
        const std::string id = std::to_string(11 + changes() % 8);
        const bool add = regions.contains(id) ? !regions[id] : changes() % 2 == 0;
        regions.erase(id);
        if (set("1.1.9.1.5.1." + id + (add ? " i 4" : " i 6"), once).find("INTEGER: ") != 0) return;
        regions[id] = add;
        set_to[(add ? "add region " : "remove region ") + id]++;
    }
    void post() {
        std::string commands;
        int number = events;
        for (int n = 0; n < 8; n++)
            commands += "event merge-failure app-1 physical #" + std::to_string(++events) + "\n";
        std::istringstream answers(run("printf '" + commands + "' | " VYN_CONTROL " --timeout 60000 -"));
        for (std::string line; std::getline(answers, line) && line.find("to 1 ") == 0;) told.insert(++number);
    }
    // For how long the agent has been up, which it says at any time.
    void look_at_others() {
        for (long up = 0, before = 0; running > 0 && lives(); before = up) {
            const auto asked = steady::now();
            up = counter("1.3.0");
            stall_ms = std::max(stall_ms.load(), ms_since(asked));
            wrong += up == 0;
            restarts += up != 0 && up < before;
        }
    }
    static long ms_since(steady::time_point then) { return (steady::now() - then) / std::chrono::milliseconds(1); }

    // Of the agent's own: 1.3.0 is how long it has been up, 11.1.0 how many requests it has got.
    long counter(const std::string &object) {
        return atol(manager("snmpget -Oqvt", watcher, ".1.3.6.1.2.1." + object).c_str());
    }

    bool lives() const {
        siginfo_t ended = {};
        return waitid(P_PID, agent, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid == 0;
    }

    // Managers at work while it comes and goes: how many requests it took from its end to a right answer, and ms.
    std::pair<int, long> run_under(const std::string &fault) {
        const std::pair<int, std::function<void()>> jobs[] = {{4, [&] { walk("snmpwalk"); }},
                                                              {4, [&] { walk("snmpbulkwalk -Cr25"); }},
                                                              {6, [&] { read(); }},
                                                              {6, [&] { change(); }},
                                                              {3, [&] { post(); }}};
        const int signal = signals.contains(fault) ? signals.at(fault) : 0;
        std::vector<std::thread> managers;
        running = std::size(jobs);
        std::pair<int, long> worst;
        for (bool over = false; !over;) {
            const int until = done + 8;
            signal == SIGSTOP ? void(kill(service, SIGSTOP))
            : signal          ? stop_service(signal)
                              : void(control("fault " + fault));
            if (managers.empty()) {
                for (const auto &[times, job] : jobs)
                    managers.emplace_back([&, times = times * load, job = &job] {
                        for (int i = 0; i < times && lives(); i++, done++) (*job)();
                        running--;
                    });
                managers.emplace_back([&] { look_at_others(); });
            }
            wait_until([&] { return done >= until || running <= 1; }); // one may be waiting for a stopped service
            over = running <= 1;
            signal == SIGSTOP ? void(kill(service, SIGCONT)) : signal ? start_service(folder + "/fabric.json") : void();
            control("fault off");
            const auto end = steady::now();
            int asked = 1;
            while (manager("snmpget -Ox", once, probe) != probed && lives() && asked < 1000) asked++;
            worst = {std::max(worst.first, asked), std::max(worst.second, ms_since(end))};
        }
        for (std::thread &manager : managers) manager.join();
        return worst;
    }

    // Everything that anybody was told has been done. A service that was ended keeps nothing but its log.
    void check_acknowledged(bool ended) {
        for (const auto &[what, times] : set_to) {
            const std::string line = "set query 59 " + what + " .* -> 0( |$)";
            EXPECT_GE(stoul(run("grep -cE '" + line + "' " + folder + "/vynd.log")), times) << what;
        }
        if (ended) regions.clear();
        for (const auto &[id, is_there] : regions)
            EXPECT_EQ(get("1.1.9.1.5.1." + id), is_there ? "INTEGER: 1" : no_instance) << id;
        std::vector<int> received;
        ASSERT_TRUE(wait_until([&] {
            const std::string traps = trap_log(), front = "STRING: \"#";
            received.clear();
            for (size_t at = 0; (at = traps.find(front, at)) != std::string::npos;)
                received.push_back(atoi(traps.c_str() + (at += front.size())));
            return std::includes(received.begin(), received.end(), told.begin(), told.end());
        })) << "events are lost";
        EXPECT_TRUE(std::is_sorted(received.begin(), received.end()));
    }
};

TEST_F(agent_faults, make_no_wrong_answers) {
    if (const char *given = getenv("VYN_CAMPAIGN_LOAD")) load = std::max(1, atoi(given));
    environment["VYN_TIMEOUT_MS"] = "200";
    transport = "tcp";
    use_sanitizers();
    start_with("{\"features\": " + eight_of(feature_of_one) +
               ", \"peers\": " + eight_of(R"("10.6.1.#", "fe80::#", "host-#")") +
               ", \"static_peers\": " + eight_of(R"({"address": "10.7.1.#", "status": 11#})") +
               ", \"regions\": " + eight_of(R"({"id": 20#, "scope": "physical"})") + "}");
    for (const binding &row : checked_walk("{}")) {
        truth[row.name] = row.value;
        if (!is_region(row.name)) lasting.push_back(row), rows += row.line + "\n";
    }
    for (unsigned long id = 11; id <= 18; id++) // as the other ones are
        truth[{1, 1, 9, 1, 4, 1, id}] = "INTEGER: 3", truth[{1, 1, 9, 1, 5, 1, id}] = "INTEGER: 1";
    for (size_t i = lasting.size() / 2; i < lasting.size(); i += 20)
        probe += name_of(lasting[i]), probed += lasting[i].line + "\n";
    const std::string in_time = "no answer in time";
    std::string table = "fault            | requests |  values | wrong | restarts | longest stall | recovery\n";
    for (const auto &group : faults)
        for (const std::string &fault : group.names) {
            SCOPED_TRACE(fault);
            wrong = restarts = gaps = checked = 0;
            stall_ms = 0;
            left = group.left;
            const long before = counter("11.1.0");
            const size_t overdue = count(agent_log(), in_time);
            const auto [asked, ms] = run_under(fault);
            ASSERT_TRUE(lives());
            char line[160];
            snprintf(line, sizeof(line), "%-16s | %8ld | %7d | %5d | %8d | %10ld ms | %d requests, %ld ms\n",
                     fault.c_str(), counter("11.1.0") - before, checked.load(), wrong.load(), restarts.load(),
                     stall_ms.load(), asked, ms);
            table += line;
            EXPECT_LT(asked, group.next_is_right ? 2 : 1000);
            if (group.left != whole || count(agent_log(), in_time) > overdue)
                gaps = 0; // on a machine that was too busy
            left = whole;
            done = 0;
            walk("snmpbulkwalk"); // of everything
            EXPECT_EQ(wrong + restarts + gaps, 0);
            ASSERT_NO_FATAL_FAILURE(check_acknowledged(signals.contains(fault) && fault != "stopped"));
        }
    std::cout << table;
    EXPECT_EQ(run("cat " + folder + "/snmpd.out"), "") << "from sanitizers";
}

} // namespace
