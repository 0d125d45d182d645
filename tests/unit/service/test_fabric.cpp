// The fabric without sockets: what requests are refused and what odd keys get, the order of walks, what happens
// as time passes on a clock that the test turns, and the scenario files that it comes from.
//
// Records are written as text: words, of which an offset with a colon may be in front, and 'characters. Offsets are
// spelled out here, so that a field that moves is seen. Refusals are their codes, without what is common to all.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "commands.h"
#include "queries.h"
#include "scenario.h"
#include "vynd_protocol.h"

namespace vynd {
namespace {

using text = const std::string &;
using pairs = std::vector<std::pair<std::string, std::string>>;

const std::string bad = "!3", nobody = "!4", no_row = "!1c", endless(81, 'n');

// The words that are not 0.
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
    "peers": ["ÿ", "zz", {"address": "10.1.1.1", "type": 7}, "", "0:0::1", "10.0.0.9", "9.9.9.9"],
    "static_peers": [{"address": "ab", "type": 0}, {"address": "::2"}, {"address": "10.1.0.2", "status": 9}],
    "features": [
    {"name": "ÿ", "locks": [{"vsan": 256, "user": "a"}]}, {"name": "z", "locks": [{"vsan": 1}]},
    {"name": "b\u0080", "locks": [{"scope": "physical", "address": "1.2.3.4"}]},
    {"name": "zz", "locks": [{"vsan": 99, "user": "b", "marked": true, "address": "::1"}, {"vsan": 2},
        {"scope": "physical", "kind": "merge", "address": "A-1"}], "merges": [{"scope": "physical"}],
     "regions": [{"vsan": 2, "region": 300}], "peers": [{"scope": "physical", "peers": ["10.1.1.3"]}]},
    {"name": "ntp", "scopes": ["physical", "logical"], "next_action": {"after_ms": 100, "result": "partly",
     "failure": 9}, "states": [{"vsan": 20, "action": "abort", "result": "failed", "failure": "0x40B30051",
     "seconds": 5, "microseconds": 6, "show_cfg_option": 2, "last": true}, {"scope": "physical", "action": 77,
     "seconds": 8}], "peers": [{"vsan": 300, "peers": ["core"]}, {"vsan": 9, "peers": ["10.1.1.1", "9.1.1.1"]},
        {"scope": "physical", "peers": ["b", "aa", {"address": "c", "type": 7}]}],
     "merges": [{"vsan": 20, "status": 77}, {"scope": "physical", "status": "failed", "failure": 258,
        "members": [{"address": "aa", "attr1": 255}, {"address": "1.1.1.1", "attr1": 1, "attr2": 2}]},
        {"vsan": 10, "members": [{"address": "b", "type": 0}]}],
     "regions": [{"vsan": 300, "region": 2}, {"vsan": 20, "region": 300}, {"scope": "physical", "region": 2}]},
    {"name": "zone", "scopes": ["logical"], "entry_attr": 3, "action": 4, "flags": 16, "flags2": 7,
     "regions": [{"vsan": 5, "region": 7}],
     "states": [{"vsan": 20, "result": "in-progress"}], "peers": [{"vsan": 1, "peers": ["::1"]}], "merges": [
        {"vsan": 20, "status": "failed"}, {"vsan": 5, "status": "in-progress"}]}]})";

struct Queries : testing::Test {
    // "8469 get 6 12:'zz 96:2": the opcode, the operation, and the record, of a size with #. The first argument of
    // a query is 1 where nothing else is said.
    outcome ask(text asked) {
        static const std::map<uint32_t, size_t> sizes = {
            {100001, 4}, {100002, 128}, {100003, 112}, {100004, 112}, {100005, 100}};
        static const std::map<std::string, uint32_t> operations = {{"get", 1}, {"getnext", 2}, {"set", 3}};
        std::istringstream parts(asked);
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
        described = describe({opcode, operation, record});
        return answer(model, {opcode, operation, record, "alice"}, now);
    }

    std::string reply_to(text asked) {
        const outcome result = ask(asked);
        std::ostringstream refusal;
        refusal << "!" << std::hex << (result.status ^ 0x40B30000);
        return result.status ? refusal.str() : words_of(result.reply);
    }

    // What is asked has a common front; so have replies, and with one, what is behind a row's own is not compared.
    void expect(text front, const pairs &exchanges, text reply_front = "") {
        for (const auto &[asked, reply] : exchanges) {
            const std::string found = reply_to(front + " " + asked);
            const std::string expected = reply[0] == '!' ? reply : reply_front + reply;
            EXPECT_EQ(reply_front.empty() ? found : found.substr(0, expected.size()), expected) << described;
        }
    }

    std::string command(text words) { return run_command(words, {model, faults, now, {}}).text; }

    // Who holds the lock of a place of the fifth feature.
    std::string holder(const place &where) {
        const auto &locks = model.state().features[4].locks;
        return locks.contains(where) ? locks.at(where).user : "";
    }

    // Read, written and read again: what is lost on the way is missed below.
    fabric model{state_from_json(state_to_json(state_from_json(json::parse(document)))),
                 [] { return std::chrono::microseconds(7'000'000'009); }};
    fault_board faults;
    time_point now{};
    std::string described;
};

// clang-format off
TEST_F(Queries, RequestsOfTheClientLibrary) {
    const std::string vsan_20 = "12:5 2 20 3 0x40b30051 5 6 ", physical = "12:77 1 24:1 32:8 40:1";
    expect("100002 get", {{"'\3ntp", vsan_20 + "2"}, {"'\3ntp 100:1 99", physical}, {"'\3ntp 100:2 19", no_row},
        {"'\3ntp 100:3 1", bad}, {"'\3ntq 100:1", nobody}, {"0xff616161 100:1", nobody}, {"#127", bad}});
    expect("100002 getnext", {{"'\3ntp 100:1", physical}, {"'\3ntp 100:2", vsan_20 + "2"}, {"'\3ntp", no_row},
        {"'\3ntp 100:2 20", no_row}});
    expect("100003 set", {{"'\4zone 92:4 1", "!35"}, {"'\4zone 92:6", "!35"}, {"'\4zone 92:5 2 20", "!3a"},
        {"'\3ntp 92:4 2 4094", bad}, {"'\3ntp 92:1 1", bad}, {"'\3ntp 92:7 1", bad}});
    expect("100004 set", {{"'\4zone 84:2 96:2 9", ""}, {"'\4zone 96:3 8", bad}});
    expect("100001 get", {{"5", "0x47a6f6e 'e 84:2 3 4 2 9 20 7"}, {"0xffffffff", ""}, {"#8", bad}});
    expect("100005 set", {{"'\3ntp 84:7 2 20 1", ""}, {"'\3ntp 84:7 2 21 1", no_row}, {"'\3ntp 84:6 2 20 2", bad},
        {"'\3ntp 84:7 2 20 3", bad}});
    EXPECT_EQ(reply_to("100002 get '\3ntp 100:2 20"), vsan_20 + "1");

    fabric_state many; // its registry comes in pages of as many whole entries as a frame takes
    for (int number = 0; number < 800; ++number) many.features.push_back({std::to_string(1000 + number)});
    model.replace(many);
    const bytes page = ask("100001 get 0").reply, rest = ask("100001 get 582").reply;
    ASSERT_TRUE(page.size() == 582 * 112 && rest.size() == 218 * 112);
    EXPECT_TRUE(page[581 * 112 + 4] == '1' && rest[4] == '2');
}

TEST_F(Queries, LocksAreFoundAndWalkedInTheOrderOfTheIndex) {
    expect("8469 get 6", {
        {"12:'b\x80 96:2", "6 'LOCK 12:0x62800000 96:2 104:0x1000000 120:0x1020304 1 0x1020304"},
        {"12:'zz 96:2 9", "6 'LOCK 12:'zz 96:2 104:0x1000000 120:0x7f000001 16 'A-1 384:'$VYN '$Mer 'ge"},
        {"12:'zz 96:1 99", "6 'LOCK 12:'zz 96:1 99 0x1000000 120:0x7f000001 2 140:1 384:0xf9620000"},
        {"12:'zz 96:1 3", "6 'LOCK 12:'zz 96:1 3"}, {"12:'zz", bad}, {"12:'zzz 96:2", nobody},
        {"96:2 12:'" + endless, bad}});
    expect("8469 getnext 6", {{"", "'z 96:1 1 "}, {"12:'z 96:1 1", "0xff000000 96:1 256 "},
        {"12:'\xFF 96:1 256", "0x62800000 96:2 104"}, {"12:'zz 96:1 2", "'zz 96:1 99 "}, {"12:'zz 96:1 99", no_row},
        {"12:'zz 96:0 9", "'zz 96:2 104"}, {"12:'zz 96:2 4093", "'zz 96:1 2 "}, {"12:'!! 96:2", "0x62800000 96:2 104"},
        {"12:'\x7F", "0xff000000 96:1 256 "}, {"12:'zz 96:3", bad}}, "6 'LOCK 12:");
}

TEST_F(Queries, PeersAreFoundAndWalkedInTheOrderOfTheIndex) {
    expect("8469 get 26", {{"104:16 '10.1.1.1", "26 'PEER 92:1 100:7 '10.1 '.1.1"}, {"104:7 '10.1.1.1", no_row},
        {"12:'a 104:1 0x0a000009", bad}, {"96:1 104:1 0x0a000009", bad}});
    expect("8469 getnext 26", {{"", "1 0x9090909"}, {"104:1 0x0a090000", "2 116:1"}, {"104:2 0x1000000", "16"},
        {"104:16 'zz", "7 '10.1 '.1.1"}, {"104:16 '10.1.1.1", no_row}, {"104:3 'zzz", "16"},
        {"104:0xffffffff", no_row}}, "26 'PEER 92:1 100:");
    expect("8469 get 28", {{"12:'ntp 96:2 9 1 0x0a010101", "28 'PEER 'ntp 92:2 9 1 0xa010101"}, {"12:'" + endless, bad},
        {"12:'ntp 96:2 8 1 0x0a010101", no_row}});
    expect("8469 getnext 28", {{"12:'ntp 96:0 7 1 'z", "'ntp 92:1 100:16 'b"}, {"12:'zone 96:2 1 2 120:1", no_row},
        {"12:'ntp 96:1 0 7 'zz", "'ntp 92:1 100:16 'b"}, {"12:'n!! 96:9 9 9 'z", "'ntp 92:1 100:16 'b"},
        {"12:'ntp 96:1 0 16 'b", "'ntp 92:1 100:7 'c"}, {"12:'ntp 96:1 0 16 'c", "'ntp 92:1 100:16 'aa"},
        {"12:'ntp 96:1 0 17", "'ntp 92:2 9 1 0x9010101"}, {"12:'ntp 96:1 5", "'ntp 92:2 9 1 0x9010101"},
        {"12:'ntp 96:2 9 1 0x09010101 0x1000000", "'ntp 92:2 9 1 0xa010101"}, {"12:'ntp 96:3", "'zone 92:2 1 2 116:1"},
        {"12:'\xFF 96:9 9 9", "'zz 92:1 100:1 0xa010103"}}, "28 'PEER ");
    expect("8469 get 29", {{"12:'ntp 96:1 0 1 0x01010101", "29 'PEER 'ntp 92:1 100:1 0x1010101 360:0x1020000"}});
    EXPECT_EQ(described, R"(8469 get query 29 "ntp" scope 1 vsan 0 addr 1 01010101)");
    expect("8477 getnext 66", {{"", "66 1 0xa010002 272:9"}, {"12:1 0x0a020000", "66 2 20:2 272:1"},
        {"12:16 'ab", no_row}});
    expect("8477 get 66", {{"12:16 'ab", "66 8:'ab 272:1"}, {"8:1 1 0x0a010002", bad}, {"12:9 0x610a0000", no_row}});
    EXPECT_EQ(described, R"(8477 get query 66 addr 9 "a\x0a")");
    expect("8477 set 66", {{"12:1 0x0a010002", "!44"}, {"12:1 0x0a010003", "66"}, {"8:1 1 0x0a010002", "66"},
        {"8:1 1 0x0a010002", "!43"}, {"8:2 1 0x0a010002", bad}, {"12:2 0x01010101", "!70"}, {"8:1 16 'ab", "!70"}});
    EXPECT_EQ(reply_to("8477 get 66 12:1 0x0a010003"), "66 1 0xa010003 272:1");
}

TEST_F(Queries, MergesAreWalkedWithinTheirFeatureAndResolved) {
    const std::string failed = "14 258 'ntp 92:1 3 2 136:0x1000000", in_10 = "14 8:'ntp 92:1 1 1 10";
    expect("8474 get 14", {{"12:'ntp 100:4096 2", failed}, {"12:'zone 96:20 4096 1", "14 8:'zone 92:1 3 1 20"},
        {"12:'zone 100:4096 2", "14"}, {"12:'no 100:4096 2", nobody}, {"12:'ntp 100:4096", bad},
        {"12:'ntp 104:2", bad}, {"100:4096 2 12:'" + endless, bad}});
    expect("8474 getnext 14", {{"12:'ntp 100:4096 1", failed}, {"12:'ntp 100:4096 2", in_10},
        {"12:'ntp 96:9 4096 1", in_10}, {"12:'ntp 96:10 4096 1", "14 8:'ntp 92:1 77 1 20"},
        {"12:'ntp 96:20 4096 1", failed}, {"12:'zone 96:9 4096", "14 8:'zone 92:1 2 1 5"}, {"12:'ntp 100:4096 3", bad},
        {"12:'zone 100:4096 1", "14 8:'zone 92:1 2 1 5"}, {"12:'zone 96:20 4096 1", "14"},
        {"12:'no 100:4096 2", no_row}, {"12:'zz 96:9 4096 1", "14 8:'zz 92:1 1 2"}});
    expect("8474 set 58", {{"12:'ntp 100:4096 2", bad}, {"12:'ntp", bad}, {"12:'no 104:2", nobody},
        {"12:'ntp 96:10 0 1", "!45"}, {"12:'ntp 96:11 0 1", "!45"}, {"12:'ntp 104:2", "58"}, {"12:'ntp 104:2", "!45"},
        {"12:'zone 96:20 0 1", "58"}});
    EXPECT_EQ(reply_to("8474 get 14 12:'ntp 100:4096 2"), "14 8:'ntp 92:1 1 2");
}

TEST_F(Queries, RegionsAndAssignmentsAreWalkedMadeAndEnded) {
    const std::string first = "60 2 2 16:'ntp", none = "!61";
    expect("8463 getnext 59", {{"", "59 2 2"}, {"12:6 1 99", "59 7 2"}, {"12:7", "59 300 1 10"}, {"12:300", no_row}});
    expect("8463 get 59", {{"12:300 2", "59 300 1 10"}, {"12:6", no_row}, {"8:1 7 2", bad}});
    expect("8477 set 59", {{"12:7", "!62"}, {"16:2", bad}, {"12:256 2", bad}, {"12:9 1 4094", bad}, {"12:9 3", bad},
        {"8:2 9 2", bad}, {"12:255 1 4093", "59"}, {"12:3 1", "59"}, {"12:1 0 77", "59"}});
    expect("8463 get 59", {{"12:255", "59 255 1 4093"}, {"12:3", "59 3 2"}, {"12:1", "59 1 2"}});
    expect("8477 set 59", {{"8:1 255 2", "59"}, {"8:1 255 1 4093", "!60"}});
    expect("8463 getnext 60", {{"", "60 300 1 2 'zz"}, {"16:1 2 28:'zz", first}, {"16:1 300 28:'ntp", "60 7 1 5 'zone"},
        {"16:1 5 28:'zone", no_row}, {"20:99 28:'ntp", first}, {"16:1 9 28:'n!!", first}, {"28:'" + endless, bad}});
    expect("8463 get 60", {{"20:9 28:'ntp", first}, {"16:1 20 28:'ntp", "60 300 1 20 'ntp"}, {"16:3 28:'ntp", bad},
        {"8:1 28:'ntp", bad}, {"16:2 28:'zz", none}, {"28:'z", none}});
    expect("8477 set 60", {{"12:7 28:'no", nobody}, {"28:'ntp", "!60"}, {"12:7 1 28:'ntp", bad}, {"8:2 7 28:'ntp", bad},
        {"12:7 1 4094 28:'ntp", bad}, {"12:7 3 28:'ntp", bad}, {"12:7 28:'" + endless, bad}, {"8:1 28:'no", none}});
    // Without a scope: the first one, or a physical one where there is none.
    expect("8477 set 60", {{"12:7 28:'zz", "60"}});
    expect("8463 get 60", {{"28:'zz", "60 7 1 2 'zz"}});
    expect("8477 set", {{"60 12:2 2 28:'zz", "60"}, {"59 8:1 2", "!63"}, {"60 8:1 28:'zz", "60"},
        {"60 8:1 16:2 28:'zz", none}, {"60 8:1 9 1 2 28:'zz", "60"}, {"60 8:1 28:'zz", none},
        {"60 12:2 28:'zz", "60"}});
    expect("8463 get 60", {{"28:'zz", "60 2 2 16:'zz"}});
}

TEST_F(Queries, DiscoveryDistributionAndWhatIsNoRequest) {
    expect("8469", {{"get 25", "25 0xc8000000 0x40b30042"}, {"set 24", "24"}, {"get 25", "25 0x2000000"},
        {"set 31", "!2"}});
    expect("8477", {{"set 31 4:0", bad}, {"set 31 8:2", bad}, {"get 31", bad}, {"set 31 #363", bad}, {"set #3", "!2"}});
    expect("8463", {{"set 31", "!2"}, {"get 30", "30 1"}}); // refusals have changed nothing
    expect("8469 getnext 40", {{"", "40 1 0xefff4653"}, {"8:1", "40 2 0xff080000 20:9 264:1"}, {"8:2", no_row}});
    expect("8469 get 40", {{"", no_row}, {"8:3", no_row}});
    expect("8463 set 35", {{"8:1 1", "!74"}, {"8:1 2", "35"}, {"8:0 1", "35"}, {"8:2 2", bad}, {"8:0 3", bad},
        {"8:0 2", "35"}, {"8:1 1", "35"}, {"8:1 2", "!74"}});
    expect("8463 set 37", {{"8:1 0xdf010101", bad}, {"8:1 0xf0010101", bad}, {"8:2 0xfe150000", bad},
        {"8:3 0xef000000", bad}, {"8:1 0xe0010102", "37"}, {"8:2 0xff15007a 24:7", "37"}});
    expect("8469 get 40", {{"8:1", "40 1 0xe0010102 264:1"}, {"8:2", "40 2 0xff15007a 20:7"}});
}
// clang-format on

// Each row at its time: what has ended until then, a command, and what is asked; then the user with the physical lock
// and the last state.
TEST_F(Queries, DiscoveriesAndActionsRunAndEndOnTheClock) {
    const std::string act = "100003 set '\3ntp 92:", start = "8469 set 24";
    const std::string since = " 24:4 32:7000 9 1", disabled = "12:3 2 20 4 32:7000 9 2";
    // clang-format off
    const struct { int at; std::string events, asked, reply, holder, last, command = {}; } rows[] = {
        {0, "", start, "24", "", "12:5 2 20 3 0x40b30051 5 6 2"},
        {0, "", act + "4 1", "", "alice", "12:4 1" + since}, // a commit locks while it runs
        {50, "", act + "2 1", "!3a", "alice", "12:4 1" + since},
        {50, "", act + "3 2 20", "", "alice", disabled, "set distribution.enabled true"}, // ends nothing
        {69, "", start, "!42", "alice", disabled},
        {70, "8475  27 0x4000000 0x40b30071", start, "24", "alice", disabled},
        {99, "", "", "", "alice", disabled, "set discovery.status idle"}, // has no event
        {100, "8470 ntp 4 1 12:5", "", "", "", disabled},
        {169, "8470 ntp 3 2 20 5", act + "2 1", "", "", "12:2 1" + since},
        {200, "", "", "", "", "12:2 1 24:2 32:7000 9 1", "set features.4.states.0.result success"}, // no event
        {400, "", act + "5 1", "", "bob", "12:5 1" + since,
            R"(set features.4.locks [{"scope":"physical","user":"bob"}])"},
        {500, "8470 ntp 5 1 12:5", act + "5 1", "", "bob", "12:5 1" + since}, // the lock of another stays
        {550, "", act + "6 1", "", "", "12:6 1" + since}, // a clear takes it, and ends what runs first
        {649, "8470 ntp 5 1 12:3", "", "", "", "12:6 1" + since},
        {650, "8470 ntp 6 1 12:5", start, "24", "", "12:6 1 24:5 9 7000 9 1"},
    };
    // clang-format on
    for (const auto &row : rows) {
        SCOPED_TRACE(std::to_string(row.at) + " ms, " + row.asked);
        now = time_point() + std::chrono::milliseconds(row.at);
        EXPECT_EQ(model.next_change().value_or(time_point::max()) <= now, !row.events.empty());
        std::string events;
        for (const auto &[opcode, payload, log] : model.advance(now))
            events += std::to_string(opcode) + " " + reinterpret_cast<const char *>(payload.data()) + " " +
                      words_of(std::span(payload).subspan(opcode == 8470 ? 81 : 0));
        EXPECT_EQ(events, row.events);
        EXPECT_EQ(row.command.empty() ? "" : command(row.command), "");
        EXPECT_EQ(row.asked.empty() ? "" : reply_to(row.asked), row.reply);
        EXPECT_EQ(holder({}), row.holder);
        EXPECT_EQ(reply_to("100002 get '\3ntp"), row.last);
    }
}

TEST_F(Queries, MergesRunAndHoldTheLockAndLeaveTheirResult) {
    const std::string in_10 = "14 8:'ntp 92:1 1 1 10", in_30 = "12:'ntp 96:30 4096 1", in_20 = "12:'zone 96:20 4096 1";
    const struct {
        std::string words, answer, key, during, after;
    } merges[] = {
        {"none 30 5", "no such feature", "12:'ntp 96:10 4096 1", in_10, in_10},
        {"ntp 7/10 5", "expected physical or a VSAN", "12:'ntp 96:10 4096 1", in_10, in_10},
        {"ntp 10 5 0", "codes count from 1", "12:'ntp 96:10 4096 1", in_10, in_10},
        {"ntp 30 5 they differ", "", in_30, "14 8:'ntp 92:1 2 1 30", "14 1 'ntp 92:1 3 1 30 136:0x1000000"},
        {"zone 20 5", "", in_20, "14 8:'zone 92:1 2 1 20", "14 8:'zone 92:1 1 1 20"},
        {"ntp physical 5 300 so there", "", "12:'ntp 100:4096 2", "14 8:'ntp 92:1 2 2",
         "14 300 'ntp 92:1 3 2 136:0x1000000"},
    };
    for (const auto &row : merges) {
        EXPECT_EQ(command("merge " + row.words), row.answer);
        EXPECT_EQ(reply_to("8474 get 14 " + row.key), row.during) << row.words;
    }
    EXPECT_EQ(reply_to("8474 set 58 12:'ntp 104:2"), "!45") << "it has not failed yet";
    EXPECT_EQ(holder({2, 30}), merge_user);
    EXPECT_TRUE(model.advance(now + std::chrono::milliseconds(4)).empty());
    const auto events = model.advance(now + std::chrono::milliseconds(5));
    ASSERT_EQ(events.size(), 2u) << "two have failed, one has not";
    EXPECT_EQ(words_of(events[0].payload), "22 'ntp 88:1 30 'they ' dif 'fer");
    EXPECT_TRUE(holder({2, 30}).empty() && !model.next_change());
    for (const auto &row : merges) EXPECT_EQ(reply_to("8474 get 14 " + row.key), row.after) << row.words;
    EXPECT_EQ(ask("8469 get 29 12:'ntp 96:1 0 16 'aa").status, 0u) << "members stay";
}

TEST_F(Queries, StatesThatMeanNothingAreRefusedAndSayWhere) {
    const std::string number = "expected a number from 0 to ", user(127, 'u');
    pairs changes = {
        {"discovery []", "/discovery: expected an object"},
        {"feature []", "/feature: unknown key"},
        {"distribution.enabled 1", "/distribution/enabled: expected true or false"},
        {"discovery.status done", "/discovery/status: expected one of idle, running, completed, failed"},
        {"discovery.status 256", "/discovery/status: " + number + "255, or \"0x...\""},
        {"discovery.failure_reason -1", "/discovery/failure_reason: " + number + "4294967295, or"},
        {"features.0.name \"\"", "/features/0: a feature needs a name"},
        {"features.5.name ntp", "/features/5/name: another feature has this name"},
        {"features.0.name " + endless + "nn", "/features/0/name: expected at most 82 characters"},
        {"features.0.name \"a\\u0000b\"", "/features/0/name: a NUL"},
        {"features.0.name \"\\u0100\"", "/features/0/name: expected characters up to \\u00ff"},
        {"features.4.states.0.vsan 1", "/features/4/states/0: expected either \"scope\": "},
        {"features.4.states.1.vsan 0", "/features/4/states/1/vsan: VSANs count from 1"},
        {"features.4.states.1.vsan 4094", "/features/4/states/1/vsan: " + number + "4093, or"},
        {"features.4.peers.1.vsan 300", "/features/4/peers/2: another one has this place: vsan 300"},
        {"features.3.locks.0.user b", "/features/3/locks/0: a lock of a kind has no user"},
        {"features.3.locks.2.user " + user, "/features/3/locks/2/user: expected at most 126 characters"},
        {"peers.- {\"address\": \"zz\", \"type\": 7}", "/peers/7: another one has this address"},
        {"peers.0 {\"address\": \"a\", \"type\": 2}", "/peers/0/type: the types 1 and 2 are not those of texts"},
        {"static_peers.0 {\"status\": 1}", "/static_peers/0: expected an \"address\""},
        {"regions.0 {\"vsan\": 1}", "/regions/0: expected the id of a region as \"id\", from 1"},
        {"regions.0.id 300", "/regions/2: another one has this id"},
        {"features.5.regions.0.region 5", "/features/5/regions/0: there is no region 5"},
        {"distribution.ipv4.enabled true", "/distribution: distribution runs over one"},
        {"distribution.ipv4.address ff15::1", "/distribution/ipv4/address: expected a multicast"},
        {"distribution.ipv6.address fe15::1", "/distribution/ipv6/address: expected a multicast"}};
    for (const std::string rows : {"locks", "peers", "merges", "regions"})
        changes.push_back({"features.0 {\"name\": \"" + endless + "\", \"" + rows + "\": [{\"vsan\": 8}]}",
                           "/features/0/" + rows + "/0: a feature with " + rows + " has a name of at most 80"});
    for (const auto &[change, error] : changes)
        EXPECT_EQ(command("set " + change).substr(0, error.size()), error) << change;
    EXPECT_THROW(read_scenario("/dev/null"), scenario_error) << "it is no document";
}

} // namespace
} // namespace vynd
