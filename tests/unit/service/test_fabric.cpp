// The fabric without sockets: the records of a scenario, invalid keys, refusals, and changes on a clock that the test
// sets. The end-to-end tests cover walks and the changes of a manager.
//
// Records are written as text: words, each after an optional offset and a colon, and 'characters. The offsets are
// literals, so that a moved field fails. A refusal is "!" and its code without the common part.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "commands.h"
#include "dispatcher.h"
#include "scenario.h"
#include "vynd_protocol.h"

namespace vynd {
namespace {

using text = const std::string &;
using pairs = std::vector<std::pair<std::string, std::string>>;

const std::string bad = "!3", no_feature = "!4", no_row = "!1c", endless(81, 'n');

// Returns the words that are not 0.
std::string words_of(std::span<const uint8_t> record) {
    std::ostringstream words;
    size_t next = 0;
    for (size_t at = 0; at + 4 <= record.size(); at += 4) {
        const std::string word(record.begin() + at, record.begin() + at + 4);
        const unsigned long value = std::stoul(to_hex(record.subspan(at, 4)), nullptr, 16);
        if (value == 0) continue;
        words << (words.tellp() > 0 ? " " : "") << (at == next ? "" : std::to_string(at) + ":");
        next = at + 4;
        if (value > 0x20000000 && escaped(word.c_str()) == word.c_str())
            words << "'" << word.c_str();
        else
            words << (value < 0x10000 ? std::dec : std::hex) << std::showbase << value;
    }
    return words.str();
}

constexpr char document[] =
    R"({"distribution": {"enabled": false, "ipv6": {"enabled": true, "address": "ff08::9"}}, "regions": [
        {"id": 7, "scope": "physical"}, {"id": 300, "vsan": 10}, {"id": 2, "scope": "physical"}],
    "discovery": {"status": 200, "failure_reason": "0x40B30042", "next":
        {"after_ms": 70, "status": "failed", "failure_reason": "0x40B30071"}},
    "peers": ["zz", {"address": "10.1.1.1", "type": 7}, "10.0.0.9"],
    "static_peers": [{"address": "ab", "type": 0}, {"address": "10.1.0.2", "status": 9}], "features": [
    {"name": "ÿ", "locks": [{"vsan": 256, "user": "a"}]},
    {"name": "b\u0080", "locks": [{"scope": "physical", "address": "1.2.3.4"}]},
    {"name": "zz", "locks": [{"vsan": 99, "user": "b", "marked": true, "address": "::1"}, {"vsan": 2},
        {"scope": "physical", "kind": "merge", "address": "A-1"}], "regions": [{"vsan": 2, "region": 300}]},
    {"name": "ntp", "scopes": ["physical", "logical"], "next_action": {"after_ms": 100, "result": "partly",
     "failure": 9}, "states": [{"vsan": 20, "action": "abort", "result": "failed", "failure": "0x40B30051",
     "seconds": 5, "microseconds": 6, "show_cfg_option": 2, "last": true}, {"scope": "physical", "action": 77,
     "seconds": 8}], "peers": [{"vsan": 9, "peers": ["10.1.1.1"]},
        {"scope": "physical", "peers": ["b", "aa", {"address": "c", "type": 7}]}],
     "merges": [{"vsan": 20, "status": 77}, {"scope": "physical", "status": "failed", "failure": 258,
        "members": [{"address": "aa", "attr1": 255}, {"address": "1.1.1.1", "attr1": 1, "attr2": 2}]}],
     "regions": [{"vsan": 300, "region": 2}, {"vsan": 20, "region": 300}, {"scope": "physical", "region": 2}]},
    {"name": "zone", "scopes": ["logical"], "entry_attr": 3, "action": 4, "flags": 16, "flags2": 7,
     "merges": [{"vsan": 20, "status": "failed"}, {"vsan": 5, "status": "in-progress"}]}]})";

struct Queries : testing::Test {
    // Sends "8469 get 6 12:'zz 96:2": the opcode, the operation, and the record; #N sets its size. The first argument
    // of a query is 1 by default.
    outcome send(text request) {
        static const std::map<uint32_t, size_t> sizes = {
            {100001, 4}, {100002, 128}, {100003, 112}, {100004, 112}, {100005, 100}};
        static const std::map<std::string, uint32_t> operations = {{"get", 1}, {"getnext", 2}, {"set", 3}};
        std::istringstream parts(request);
        uint32_t opcode;
        std::string part;
        parts >> opcode >> part;
        bytes record(sizes.contains(opcode) ? sizes.at(opcode) : 364);
        if (record.size() == 364) record[7] = 1;
        const uint32_t operation = operations.at(part);
        for (size_t at = 0; parts >> part;) {
            if (const size_t colon = part.find(':'); colon != part.npos) {
                at = std::stoul(part);
                part.erase(0, colon + 1);
            }
            if (part[0] == '#')
                record.resize(std::stoul(part.substr(1)));
            else if (part[0] == '\'')
                for (const char character : part.substr(1)) record.at(at++) = static_cast<uint8_t>(character);
            else
                for (int shift = 24; shift >= 0; shift -= 8)
                    record.at(at++) = static_cast<uint8_t>(std::stoul(part, nullptr, 0) >> shift);
        }
        return answer(model, {opcode, operation, record, "alice"}, now);
    }

    // All requests begin with `prefix`.
    void expect(text prefix, const pairs &exchanges) {
        for (const auto &[request, reply] : exchanges) {
            const outcome result = send(prefix + " " + request);
            std::ostringstream refusal;
            refusal << "!" << std::hex << (result.status ^ 0x40B30000);
            EXPECT_EQ(result.status ? refusal.str() : words_of(result.reply), reply) << prefix << " " << request;
        }
    }

    std::string command(text words) { return run_command(words, {model, faults, now, {}}).text; }

    // Returns the events until then.
    std::string events_until(int ms) {
        now = time_point() + std::chrono::milliseconds(ms);
        std::string events;
        for (const auto &[opcode, payload, log] : model.advance(now))
            events += std::to_string(opcode) + " " + reinterpret_cast<const char *>(payload.data()) + " " +
                      words_of(std::span(payload).subspan(opcode == 8470 ? 81 : 0)) + ";";
        return events;
    }

    // Read, written and read again, so that the tests also fail on a field that is lost in between.
    fabric model{state_from_json(state_to_json(state_from_json(json::parse(document)))),
                 [] { return std::chrono::microseconds(7'000'000'009); }};
    fault_board faults;
    time_point now{};
};

// clang-format off
TEST_F(Queries, ReplyWithTheScenario) {
    expect("", {
        {"100001 get 4", "0x47a6f6e 'e 84:1 3 4 1 104:20 7"}, {"100001 get 0xffffffff", ""},
        {"100002 get '\3ntp", "12:5 2 20 3 0x40b30051 5 6 2"}, {"100002 get '\3ntp 100:1 99", "12:77 1 24:1 32:8 40:1"},
        {"8463 get 30", "30 1"}, {"8463 get 59 12:300 2", "59 300 1 10"},
        {"8463 get 60 16:1 20 28:'ntp", "60 300 1 20 'ntp"}, {"8463 get 60 20:9 28:'ntp", "60 2 2 16:'ntp"},
        {"8469 get 6 12:'b\x80 96:2", "6 'LOCK 12:0x62800000 96:2 104:0x1000000 120:0x1020304 1 0x1020304"},
        {"8469 get 6 12:'zz 96:2 9", "6 'LOCK 12:'zz 96:2 104:0x1000000 120:0x7f000001 16 'A-1 384:'$VYN '$Mer 'ge"},
        {"8469 get 6 12:'zz 96:1 99", "6 'LOCK 12:'zz 96:1 99 0x1000000 120:0x7f000001 2 140:1 384:0xf9620000"},
        {"8469 get 6 12:'zz 96:1 3", "6 'LOCK 12:'zz 96:1 3"}, {"8469 get 25", "25 0xc8000000 0x40b30042"},
        {"8469 get 26 104:16 '10.1.1.1", "26 'PEER 92:1 100:7 '10.1 '.1.1"}, {"8469 get 26 104:7 '10.1.1.1", no_row},
        {"8469 get 28 12:'ntp 96:2 9 1 0x0a010101", "28 'PEER 'ntp 92:2 9 1 0xa010101"},
        {"8469 get 29 12:'ntp 96:1 0 1 0x01010101", "29 'PEER 'ntp 92:1 100:1 0x1010101 360:0x1020000"},
        {"8469 get 40 8:1", "40 1 0xefff4653"}, {"8469 get 40 8:2", "40 2 0xff080000 20:9 264:1"},
        {"8474 get 14 12:'ntp 100:4096 2", "14 258 'ntp 92:1 3 2 136:0x1000000"},
        {"8474 get 14 12:'zone 96:20 4096 1", "14 8:'zone 92:1 3 1 20"}, {"8474 get 14 12:'zone 100:4096 2", "14"},
        {"8477 get 66 12:16 'ab", "66 8:'ab 272:1"}, {"8477 get 66 12:1 0x0a010002", "66 1 0xa010002 272:9"}});
}

TEST_F(Queries, ContinueAfterKeysWithoutARow) {
    expect("100002 getnext '\3ntp", {{"", no_row}, {"100:1", "12:77 1 24:1 32:8 40:1"}, {"100:2 20", no_row}});
    expect("8463 getnext", {{"60 16:3 28:'ntp", bad},
        {"60 20:99 28:'ntp", "60 2 2 16:'ntp"}});
    expect("8469 getnext 6", {{"12:'zz 96:3", bad},
        {"12:'\x7F", "6 'LOCK 12:0xff000000 96:1 256 0x1000000 120:0x7f000001 16 384:'a"}});
    expect("8469 getnext", {{"26 104:3 'zzz", "26 'PEER 92:1 100:16 'zz"}, {"26 104:0xffffffff", no_row},
        {"28 12:'n!! 96:9 9 9 'z", "28 'PEER 'ntp 92:1 100:16 'b"}, {"40 8:2", no_row}});
    expect("8474 getnext 14", {{"12:'ntp 96:20 4096 1", "14 258 'ntp 92:1 3 2 136:0x1000000"},
        {"12:'zone 96:9 4096", "14 8:'zone 92:1 2 1 5"}, {"12:'zone 96:20 4096 1", "14"}, {"12:'ntp 100:4096 3", bad}});
}

TEST_F(Queries, RefuseInvalidRequests) {
    expect("", {{"8477 get 31", bad}, {"8477 set #3", "!2"}, {"8463 set 31", "!2"}, {"8477 set 31 #363", bad},
        {"8477 set 31 4:0", bad}, {"8477 set 31 8:2", bad}, {"8469 get 26 12:'a 104:1 1", bad}, {"100001 get #8", bad},
        {"100002 get 0xff616161 100:1", no_feature}, {"100005 set '\3ntp 84:7 2 21 1", no_row},
        {"8469 get 6 12:'zz", bad}, {"8469 get 6 96:2 12:'" + endless, bad}, {"8469 get 6 12:'zzz 96:2", no_feature},
        {"8474 get 14 12:'ntp 104:2", bad}, {"8474 get 14 100:4096 2 12:'" + endless, bad}});
    expect("8463 set", {{"35 8:2 2", bad}, {"35 8:0 3", bad}, {"37 8:1 0xdf010101", bad}, {"37 8:1 0xf0010101", bad},
        {"37 8:2 0xfe150000", bad}, {"37 8:3 0xef000000", bad}});
    expect("8477 set", {{"59 12:256 2", bad}, {"59 12:9 1 4094", bad}, {"60 12:7 28:'no", no_feature},
        {"60 12:7 1 28:'ntp", bad}, {"60 8:1 16:2 28:'zz", "!61"}, {"60 12:7 28:'" + endless, bad},
        {"66 8:2 1 0x0a010002", bad}, {"66 12:2 0x01010101", "!70"}});
}

// A region's number is the last sub-identifier of an index, and its scope the second one.
TEST_F(Queries, RegionsAreInTheOrderOfTheirOids) {
    EXPECT_EQ(command(R"(set regions.- {"id": 1, "vsan": 300})") + command(R"(set regions.- {"id": 9, "vsan": 20})"), "");
    const struct { std::string index, key, next; } cases[] = {
        {"none", "", "59 2 2"}, {"1", "12:1", "59 2 2"}, {"1.1", "12:1 2", "59 2 2"}, {"1.2", "12:2 1", "59 7 2"},
        {"1.6", "12:6", "59 7 2"}, {"1.7", "12:7", "59 300 1 10"}, {"1.8", "12:8", "59 300 1 10"},
        {"2", "12:2", "59 300 1 10"}, {"2.4.0.0.0.10.300", "12:300", "59 9 1 20"},
        {"2.2.4.0.0.0.10.300", "12:300 1 10 0x2c000000", "59 9 1 20"}, {"2.4.0.0.0.20.9", "12:9", "59 1 1 300"},
        {"2.2.4.0.0.0.15.1", "12:1 1 15 0x1000000", "59 9 1 20"}, {"2.2.4.0.0.1.44.1", "12:1 1 300 0x1000000", no_row}};
    for (const auto &[index, key, next] : cases) {
        SCOPED_TRACE(index);
        expect("8463 getnext 59", {{key, next}});
    }
    expect("8463 get 59", {{"12:300", "59 300 1 10"}, {"12:300 1 10 0x2c000000", "59 300 1 10"}, {"12:1 2", "59 1 1 300"}});
}

// Scopes of regions that come from an index, and assignments without one: the first, or a physical one.
TEST_F(Queries, ChangesApplyToTheScopeOfTheIndex) {
    expect("8477 set 59", {{"12:255 1 4093", "59"}, {"12:3 1", "59"}, {"12:1 0 77", "59"}, {"8:1 2", "!63"}});
    expect("8463 get 59", {{"12:255", "59 255 1 4093"}, {"12:3", "59 3 2"}, {"12:1", "59 1 2"}});
    expect("", {{"8477 set 60 12:7 28:'zz", "60"}, {"8463 get 60 28:'zz", "60 7 1 2 'zz"},
        {"8477 set 60 8:1 28:'zz", "60"}, {"8477 set 60 12:2 28:'zz", "60"}, {"8463 get 60 28:'zz", "60 2 2 16:'zz"}});
}

// 0 is not the default of the option and the scope type.
TEST_F(Queries, EditsKeepAnEntryOfZeros) {
    expect("", {{"100004 set '\3ntp", ""}});
    EXPECT_EQ(command("set discovery.status idle"), "");
    expect("", {{"100001 get 3", "0x36e7470 104:6 112:0x47a6f6e 'e 196:1 3 4 1 216:20 7"}});
}

TEST_F(Queries, ActionsRunAndEndOnTheClock) {
    const std::string act = "100003 set '\3ntp 92:", last = "100002 get '\3ntp", lock = "8469 get 6 12:'ntp 96:2",
                      free = "6 'LOCK 12:'ntp 96:2", since = " 24:4 32:7000 9 1",
                      held = free + " 104:0x1000000 120:0x7f000001 1 0x7f000001 384:'alic 'e";
    expect("", {{"8469 set 24", "24"}, {act + "4 1", ""}, {act + "2 1", "!3a"},
        {last, "12:4 1" + since}, {act + "3 2 20", ""}, {last, "12:3 2 20 4 32:7000 9 2"}, {lock, held}});
    EXPECT_EQ(command("set distribution.enabled true"), "") << "the actions continue";
    EXPECT_EQ(command("set discovery.status idle"), "") << "the discovery ends without an event";
    EXPECT_EQ(events_until(99), "");
    EXPECT_EQ(events_until(100), "8470 ntp 4 1 12:5;8470 ntp 3 2 20 5;");
    expect("", {{lock, free}, {act + "5 1", ""}});
    EXPECT_EQ(command(R"(set features.3.locks [{"scope": "physical", "user": "bob"}])"), "");
    EXPECT_EQ(events_until(200), "8470 ntp 5 1 12:5;");
    expect("", {{lock, free + " 104:0x1000000 120:0x7f000001 16 384:'bob"}, {act + "5 1", ""},
        {act + "6 1", ""}, {lock, free}});
    EXPECT_EQ(events_until(299), "8470 ntp 5 1 12:3;") << "a clear removes any lock, and ends the action first";
    EXPECT_EQ(events_until(300), "8470 ntp 6 1 12:5;");
    expect("", {{last, "12:6 1 24:5 9 7000 9 1"}});
}

TEST_F(Queries, MergesHoldTheLockAndKeepTheirResult) {
    const std::string lock = "8469 get 6 12:'ntp 96:1 30", in_30 = "8474 get 14 12:'ntp 96:30 4096 1";
    EXPECT_EQ(command("merge ntp 30 5 they differ") + command("merge zone 20 4"), "");
    expect("", {{in_30, "14 8:'ntp 92:1 2 1 30"}, {"8474 set 58 12:'ntp 96:30 0 1", "!45"},
        {lock, "6 'LOCK 12:'ntp 96:1 30 0x1000000 120:0x7f000001 1 0x7f000001 384:'$VYN '$Mer 'ge"}});
    EXPECT_EQ(events_until(4), "") << "one succeeds, the other runs";
    EXPECT_EQ(events_until(5), "8475  22 'ntp 88:1 30 'they ' dif 'fer;");
    expect("", {{in_30, "14 1 'ntp 92:1 3 1 30 136:0x1000000"}, {lock, "6 'LOCK 12:'ntp 96:1 30"},
        {"8474 get 14 12:'zone 96:20 4096 1", "14 8:'zone 92:1 1 1 20"}});
    EXPECT_EQ(command("merge ntp physical 0 300"), "");
    EXPECT_EQ(events_until(5), "8475  22 'ntp 88:2;");
    expect("", {{"8474 get 14 12:'ntp 100:4096 2", "14 300 'ntp 92:1 3 2 136:0x1000000"},
        {"8469 get 29 12:'ntp 96:1 0 16 'aa", "29 'PEER 'ntp 92:1 100:16 'aa 360:0xff000000"}}); // members stay
}
// clang-format on

TEST_F(Queries, RefusedCommandsSayWhy) {
    pairs commands = {
        {"merge none 30 5", "no such feature"},
        {"merge ntp 10 5 0", "codes start at 1"},
        {"set discovery []", "/discovery: expected an object"},
        {"set feature []", "/feature: unknown key"},
        {"set distribution.enabled 1", "/distribution/enabled: expected true or false"},
        {"set discovery.status done", "/discovery/status: expected one of idle, running, completed, failed"},
        {"set discovery.failure_reason -1", "/discovery/failure_reason: expected a number from 0 to 4294967295, or"},
        {"set features.0.name \"\"", "/features/0: a feature needs a name"},
        {"set features.0.name ntp", "/features/3/name: another feature has this name"},
        {"set features.0.name " + endless + "nn", "/features/0/name: expected at most 82 characters"},
        {"set features.0.name \"a\\u0000b\"", "/features/0/name: a NUL"},
        {"set features.0.name \"\\u0100\"", "/features/0/name: expected characters up to \\u00ff"},
        {"set features.3.states.0.vsan 1", "/features/3/states/0: expected either \"scope\": "},
        {"set features.3.states.1.vsan 0", "/features/3/states/1/vsan: VSANs start at 1"},
        {"set features.3.regions.1.vsan 300", "/features/3/regions/2: another one has this scope"},
        {"set features.2.locks.0.user b", "/features/2/locks/0: kind excludes user and marked"},
        {"set features.2.locks.2.user " + endless + endless, "/features/2/locks/2/user: expected at most 126 "},
        {"set peers.- {\"address\": \"zz\", \"type\": 7}", "/peers/3: another one has this address"},
        {"set peers.0 {\"address\": \"a\", \"type\": 2}", "/peers/0/type: types 1 and 2 are IP addresses"},
        {"set static_peers.0 {\"status\": 1}", "/static_peers/0: expected an \"address\""},
        {"set regions.0 {\"vsan\": 1}", "/regions/0: expected the id of a region as \"id\", from 1"},
        {"set features.4.regions.- {\"vsan\": 1, \"region\": 5}", "/features/4/regions/0: no such region: 5"},
        {"set distribution.ipv4.enabled true", "/distribution: distribution runs over one"},
        {"set distribution.ipv4.address ff15::1", "/distribution/ipv4/address: expected a multicast"}};
    for (const std::string rows : {"locks", "peers", "merges", "regions"})
        commands.push_back({"set features.0 {\"name\": \"" + endless + "\", \"" + rows + "\": [{\"vsan\": 8}]}",
                            "/features/0/" + rows + "/0: a feature with " + rows + " has a name of at most 80"});
    for (const auto &[words, error] : commands) EXPECT_EQ(command(words).substr(0, error.size()), error) << words;
    EXPECT_THROW(read_scenario("/dev/null"), scenario_error) << "not a document";
}

} // namespace
} // namespace vynd
