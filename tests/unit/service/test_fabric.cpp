// The fabric without sockets: replies byte for byte, the order of walks, what happens as time passes
// on a clock that the test turns, and the scenario files that it comes from. Records are built from
// offsets, not from the service's structs, so that a field that moves is seen.
#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <map>
#include <sstream>

#include "queries.h"
#include "scenario.h"
#include "vynd_protocol.h"

namespace vynd {
namespace {

using word = uint32_t;
using words = std::map<size_t, word>; // by their offsets
using text = const std::string &;

bytes record_of(size_t size, const words &values, const std::map<size_t, std::string> &texts = {}) {
    bytes record(size);
    for (const auto &[offset, value] : values)
        for (int byte = 0; byte < 4; ++byte) record.at(offset + byte) = static_cast<uint8_t>(value >> (24 - 8 * byte));
    for (const auto &[at, chars] : texts) std::copy(chars.begin(), chars.end(), record.begin() + static_cast<int>(at));
    return record;
}

// With a name in front as the registry has it, behind its length.
bytes named(size_t size, text name, const words &values) {
    return record_of(size, values, {{0, static_cast<char>(name.size()) + name}});
}

bytes query(word type, word value = 0, word one = 1) { return record_of(364, {{0, type}, {4, one}, {8, value}}); }
bytes lock(text name, word scope, word vsan) {
    return record_of(364, {{0, 6}, {4, 1}, {96, scope}, {100, vsan}, {104, 0xABCD}}, {{12, name}});
}
bytes state(text name, word scope, word vsan) { return named(128, name, {{100, scope}, {104, vsan}}); }
bytes entry(text name, word action, word scope, word vsan) {
    return named(112, name, {{84, 2}, {92, action}, {96, scope}, {100, vsan}});
}
bytes option(word number, word scope, word vsan, word value) {
    return named(100, "ntp", {{84, number}, {88, scope}, {92, vsan}, {96, value}});
}

// Big-endian words in hexadecimal, with blanks between.
std::string words_of(std::span<const uint8_t> record) {
    std::ostringstream text;
    for (size_t at = 0; at + 4 <= record.size(); at += 4)
        text << (at ? " " : "") << std::hex << std::stoul(to_hex(record.subspan(at, 4)), nullptr, 16);
    return text.str();
}

constexpr char document[] =
    R"({"distribution": {"enabled": false}, "discovery": {"status": 77, "failure_reason": "0x40B30042",
        "next": {"after_ms": 70, "status": "failed", "failure_reason": "0x40B30071"}}, "features": [
    {"name": "ÿ", "locks": [{"vsan": 256, "user": "a"}]}, {"name": "z", "locks": [{"vsan": 1}]},
    {"name": "b\u0080", "locks": [{"scope": "physical", "address": "1.2.3.4"}]},
    {"name": "zz", "locks": [{"vsan": 99, "user": "b", "marked": true, "address": "::1"}, {"vsan": 2},
        {"scope": "physical", "kind": "merge", "address": "A-1"}]},
    {"name": "ntp", "scopes": ["physical", "logical"], "next_action": {"after_ms": 100, "result": "partly",
     "failure": 9}, "states": [{"vsan": 20, "action": "abort", "result": "failed", "failure": "0x40B30051",
     "seconds": 5, "microseconds": 6, "show_cfg_option": 2, "last": true}, {"scope": "physical", "action": 77,
     "seconds": 8}]}, {"name": "zone", "scopes": ["logical"], "entry_attr": 3, "action": 4, "flags": 16, "flags2": 7,
     "states": [{"vsan": 20, "result": "in-progress"}]}]})";

// Read, written and read again: what is lost on the way is missed below.
struct Queries : testing::Test {
    outcome ask(word opcode, word msg_type, const bytes &record, time_point now = {}) {
        return answer(model, {opcode, msg_type, record, "alice"}, now);
    }

    fabric model{state_from_json(state_to_json(state_from_json(json::parse(document)))),
                 [] { return std::chrono::microseconds(7'000'000'000'009); }};
};

TEST_F(Queries, RepliesByteForByte) {
    const auto vsan_20 = [](word show) {
        return record_of(44, {{12, 5}, {16, 2}, {20, 20}, {24, 3}, {28, 0x40B30051}, {32, 5}, {36, 6}, {40, show}});
    };
    const auto locked = [](words values, const std::map<size_t, std::string> &texts) {
        values.insert({{0, 6}, {4, 0x4C4F434B}});
        return record_of(512, values, texts);
    };
    const bytes physical = record_of(44, {{12, 77}, {16, 1}, {24, 1}, {32, 8}, {40, 1}});
    const word unknown = 0x40B30002, bad = 0x40B30003, nobody = 0x40B30004, no_row = 0x40B3001C;
    const word no_way = 0x40B30035, busy = 0x40B3003A, taken = 1u << 24, local = 0x7F000001;
    // clang-format off
    const struct { word opcode, msg_type; bytes record; word status; bytes reply = {}; } cases[] = {
        {8469, 1, query(25), 0, record_of(360, {{0, 25}, {4, 77u << 24}, {8, 0x40B30042}})},
        {8469, 3, query(24), 0, record_of(8, {{0, 24}})}, {8469, 3, query(24), 0x40B30042},
        {8469, 1, query(25), 0, record_of(360, {{0, 25}, {4, 2u << 24}})},
        {8477, 3, query(31, 0), 0, record_of(8, {{0, 31}})}, {8463, 1, query(30), 0, record_of(360, {{0, 30}})},
        {8477, 3, query(31, 1), 0, record_of(8, {{0, 31}})}, {8477, 3, query(31, 2), bad},
        {8477, 3, query(31, 0, 0), bad}, {8477, 1, query(31), bad}, {8477, 3, record_of(363, {{0, 31}, {4, 1}}), bad},
        {8477, 3, record_of(365, {{0, 31}, {4, 1}}), bad}, {8477, 3, {0, 0, 31}, unknown},
        {8469, 3, query(31), unknown}, {0, 3, query(31), unknown},
        {8463, 1, query(30), 0, record_of(360, {{0, 30}, {4, 1}})}, // refusals have changed nothing
        {100002, 1, state("ntp", 0, 0), 0, vsan_20(2)}, {100002, 1, state("ntp", 1, 99), 0, physical},
        {100002, 1, state("ntp", 2, 20), 0, vsan_20(2)}, {100002, 1, state("ntp", 2, 19), no_row},
        {100002, 2, state("ntp", 2, 0), 0, vsan_20(2)}, {100002, 2, state("ntp", 2, 20), no_row},
        {100002, 2, state("ntp", 1, 0), 0, physical}, {100002, 2, state("zone", 1, 0), no_row},
        {100002, 2, state("ntp", 0, 0), no_row}, {100002, 1, state("ntp", 3, 1), bad}, {100002, 1, bytes(127), bad},
        {100002, 1, state("ntq", 1, 0), nobody}, {100002, 1, record_of(128, {{0, 0xFF616161}, {100, 1}}), nobody},
        {100003, 3, entry("zone", 4, 1, 0), no_way}, {100003, 3, entry("zone", 6, 0, 0), no_way},
        {100003, 3, entry("zone", 5, 2, 20), busy}, {100003, 3, entry("ntp", 4, 2, 4094), bad},
        {100003, 3, entry("ntp", 1, 1, 0), bad}, {100003, 3, entry("ntp", 7, 1, 0), bad},
        {100004, 3, entry("zone", 0, 2, 9), 0}, {100004, 3, entry("zone", 0, 3, 8), bad},
        {100001, 1, record_of(4, {{0, 5}}), 0,
            named(112, "zone", {{84, 2}, {88, 3}, {92, 4}, {96, 2}, {100, 9}, {104, 0x14}, {108, 7}})},
        {100001, 1, record_of(4, {{0, UINT32_MAX}}), 0}, {100001, 1, bytes(8), bad},
        {100005, 3, option(7, 2, 20, 1), 0}, {100005, 3, option(7, 2, 21, 1), no_row},
        {100005, 3, option(6, 2, 20, 2), bad}, {100005, 3, option(7, 2, 20, 3), bad},
        {100002, 1, state("ntp", 2, 20), 0, vsan_20(1)}, {8469, 1, lock(std::string(81, 'z'), 2, 0), bad},
        {8469, 1, lock("b\x80", 2, 0), 0, locked({{96, 2}, {104, taken}, {120, 0x01020304}, {124, 1},
            {128, 0x01020304}}, {{12, "b\x80"}})},
        {8469, 1, lock("zz", 2, 9), 0, locked({{96, 2}, {104, taken}, {120, local}, {124, 16}},
            {{12, "zz"}, {128, "A-1"}, {384, "$VYN$Merge"}})},
        {8469, 1, lock("zz", 1, 99), 0, locked({{96, 1}, {100, 99}, {104, taken}, {120, local}, {124, 2}, {140, 1}},
            {{12, "zz"}, {384, "\xF9" "b"}})},
        {8469, 1, lock("zz", 1, 3), 0, locked({{96, 1}, {100, 3}}, {{12, "zz"}})}, {8469, 1, lock("zz", 0, 0), bad},
        {8469, 1, lock("zzz", 2, 0), nobody}, {8469, 2, lock("zz", 3, 0), bad}, {8469, 3, lock("zz", 2, 0), bad},
    };
    // clang-format on
    for (const auto &[opcode, msg_type, record, status, reply] : cases) {
        SCOPED_TRACE(describe({opcode, msg_type, record}));
        const outcome result = ask(opcode, msg_type, record);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(to_hex(result.reply), to_hex(reply));
    }
}

TEST_F(Queries, RegistryComesInPagesOfWholeEntries) {
    fabric_state many;
    for (word number = 0; number < 800; ++number) many.features.push_back({std::to_string(1000 + number)});
    model.replace(many);
    const bytes page = ask(100001, 1, record_of(4, {{0, 0}})).reply;
    const bytes rest = ask(100001, 1, record_of(4, {{0, 582}})).reply;
    ASSERT_EQ(page.size(), 582u * 112); // as many as a frame takes
    ASSERT_EQ(rest.size(), 218u * 112);
    EXPECT_EQ(page[581 * 112 + 4], '1');
    EXPECT_EQ(rest[4], '2');
}

TEST_F(Queries, LocksAreWalkedInTheOrderOfTheIndex) {
    // clang-format off
    const struct { std::string name; word scope, vsan; std::string next; } cases[] = { // the next name, scope, VSAN
        {"", 0, 0, "z 1 1"}, {"z", 1, 1, "\xFF 1 100"}, {"\xFF", 1, 256, "b\x80 2 0"}, // a walk
        {"b\x80", 2, 0, "zz 2 0"}, {"zz", 2, 0, "zz 1 2"}, {"zz", 1, 2, "zz 1 63"}, {"zz", 1, 99, ""},
        {"zz", 0, 9, "zz 2 0"}, {"zz", 2, 4093, "zz 1 2"}, {"b\x80", 1, 0, "zz 2 0"}, // keys between
        {"  ", 0, 0, "b\x80 2 0"}, {"\x7F", 0, 0, "\xFF 1 100"},
    };
    // clang-format on
    for (const auto &[name, scope, vsan, next] : cases) {
        const outcome found = ask(8469, 2, lock(name, scope, vsan));
        EXPECT_EQ(found.status, next.empty() ? 0x40B3001C : 0) << name << scope << " " << vsan;
        if (found.status != 0) continue;
        const auto *owner = reinterpret_cast<const char *>(&found.reply[12]);
        EXPECT_EQ(owner + (" " + words_of(std::span(found.reply).subspan(96, 8))), next);
    }
}

// Discoveries (24) and the actions of one feature, each row at its time: what has ended until then,
// an edit from outside, and what is asked; then the user with the physical lock and the last state.
TEST_F(Queries, DiscoveriesAndActionsRunAndEndOnTheClock) {
    // clang-format off
    const struct {
        int at; std::string events; word action, scope, vsan, status; std::string holder, last, path = {}, value = {};
    } rows[] = {
        {0, "", 24, 0, 0, 0, "", "5 2 14 3 40b30051 5 6 2"},
        {0, "", 4, 1, 0, 0, "alice", "4 1 0 4 0 6acfc0 9 1"}, // a commit locks while it runs
        {50, "", 2, 1, 0, 0x40B3003A, "alice", "4 1 0 4 0 6acfc0 9 1"},
        {50, "", 3, 2, 20, 0, "alice", "3 2 14 4 0 6acfc0 9 2", "/distribution/enabled", "true"}, // ends nothing
        {69, "", 24, 0, 0, 0x40B30042, "alice", "3 2 14 4 0 6acfc0 9 2"},
        {70, "8475  1b 4000000 40b30071", 24, 0, 0, 0, "alice", "3 2 14 4 0 6acfc0 9 2"},
        {99, "", 0, 0, 0, 0, "alice", "3 2 14 4 0 6acfc0 9 2", "/discovery/status", "\"idle\""}, // has no event
        {100, "8470 ntp 4 1 0 5 0", 0, 0, 0, 0, "", "3 2 14 4 0 6acfc0 9 2"},
        {169, "8470 ntp 3 2 14 5 0", 2, 1, 0, 0, "", "2 1 0 4 0 6acfc0 9 1"},
        {200, "", 0, 0, 0, 0, "", "2 1 0 2 0 6acfc0 9 1", "/features/4/states/0/result", "\"success\""}, // no event
        {400, "", 5, 1, 0, 0, "bob", "5 1 0 4 0 6acfc0 9 1", "/features/4/locks/0",
            R"({"scope":"physical","user":"bob"})"},
        {500, "8470 ntp 5 1 0 5 0", 5, 1, 0, 0, "bob", "5 1 0 4 0 6acfc0 9 1"}, // the lock of another stays
        {550, "", 6, 1, 0, 0, "", "6 1 0 4 0 6acfc0 9 1"}, // a clear takes it, and ends what runs first
        {649, "8470 ntp 5 1 0 3 0", 0, 0, 0, 0, "", "6 1 0 4 0 6acfc0 9 1"},
        {650, "8470 ntp 6 1 0 5 0", 24, 0, 0, 0, "", "6 1 0 5 9 6acfc0 9 1"},
    };
    // clang-format on
    for (const auto &row : rows) {
        SCOPED_TRACE(std::to_string(row.at) + " ms, action " + std::to_string(row.action));
        const time_point now = time_point() + std::chrono::milliseconds(row.at);
        EXPECT_EQ(model.next_change().value_or(time_point::max()) <= now, !row.events.empty());
        std::string events;
        for (const auto &[opcode, payload, log] : model.advance(now))
            events += (events.empty() ? "" : ", ") + std::to_string(opcode) + " " +
                      reinterpret_cast<const char *>(payload.data()) + " " +
                      words_of(std::span(payload).subspan(opcode == 8470 ? 81 : 0));
        EXPECT_EQ(events, row.events);
        if (!row.path.empty()) {
            json edited = state_to_json(model.state());
            edited[json::json_pointer(row.path)] = json::parse(row.value);
            model.replace(state_from_json(edited));
        }
        if (row.action) {
            const bytes record = row.action == 24 ? query(24) : entry("ntp", row.action, row.scope, row.vsan);
            EXPECT_EQ(ask(row.action == 24 ? 8469 : 100003, 3, record, now).status, row.status);
        }
        const auto &locks = model.state().features[4].locks;
        EXPECT_EQ(locks.contains({}) ? locks.at({}).user : "", row.holder);
        const bytes last = ask(100002, 1, state("ntp", 0, 0)).reply;
        EXPECT_EQ(words_of(std::span(last).subspan(12)), row.last);
    }
}

// With the second feature's name and what comes behind it.
std::string with(text rest) { return R"({"features":[{"name":"ntp"},{"name":")" + rest + "}]}"; }

TEST_F(Queries, MergesHoldTheLockAndTellOfTheirFailure) {
    const auto at = [](int ms) { return time_point() + std::chrono::milliseconds(ms); };
    const place vsan{2, 30};
    EXPECT_FALSE(model.start_merge("none", vsan, std::chrono::milliseconds(5), "", at(0)));
    EXPECT_TRUE(model.start_merge("ntp", vsan, std::chrono::milliseconds(5), "they differ", at(0)));
    EXPECT_TRUE(model.start_merge("zone", vsan, std::chrono::milliseconds(5), "", at(0)));
    const auto &locks = model.state().features[4].locks;
    EXPECT_EQ(locks.contains(vsan) ? locks.at(vsan).user : "", merge_user);
    EXPECT_TRUE(model.advance(at(4)).empty());
    const auto events = model.advance(at(5));
    ASSERT_EQ(events.size(), 1u) << "one has failed, one has not";
    EXPECT_EQ(words_of(std::span(events[0].payload).subspan(0, 4)), "16");
    EXPECT_EQ(words_of(std::span(events[0].payload).subspan(88, 12)), "1 1e 74686579");
    EXPECT_FALSE(locks.contains(vsan) || model.next_change());
}

TEST(Scenario, RefusesWhatItDoesNotMeanAndSaysWhere) {
    const std::string number = "expected a number from 0 to ", long_name(81, 'n'), locks = R"(","locks":[{"vsan":8)";
    // clang-format off
    const struct { std::string text, error; } cases[] = {
        {"{\n  \"features\": [,]\n}\n", "parse error at line 2, column 16: "},
        {"[]", "/: expected an object"}, {R"({"feature":[]})", "/feature: unknown key"},
        {R"({"distribution":{"enabled":1}})", "/distribution/enabled: expected true or false"},
        {R"({"discovery":{"status":"done"}})", "/discovery/status: expected one of idle, running, completed, failed"},
        {R"({"discovery":{"status":256}})", "/discovery/status: " + number + R"(255, or "0x...")"},
        {R"({"discovery":{"failure_reason":-1}})", "/discovery/failure_reason: " + number + "4294967295, or"},
        {with("\""), "/features/1: a feature needs a name"},
        {with("ntp\""), "/features/1/name: another feature has this name"},
        {with(long_name + "nn\""), "/features/1/name: expected at most 82 characters"},
        {with(R"(a\u0000b")"), "/features/1/name: a NUL cannot be part of a name"},
        {with(R"(\u0100")"), "/features/1/name: expected characters up to \\u00ff, which stand for one byte each"},
        {with(R"(a","states":[{"scope":"physical","vsan":1}])"), R"(/features/1/states/0: expected either "scope": )"},
        {with(R"(a","states":[{"vsan":0}])"), "/features/1/states/0/vsan: VSANs count from 1"},
        {with(R"(a","states":[{"vsan":4094}])"), "/features/1/states/0/vsan: " + number + "4093, or"},
        {with(R"(a","states":[{"vsan":9},{"vsan":9}])"), "/features/1/states/1: another one has this place: vsan 9"},
        {with("a" + locks + R"(,"kind":"merge","user":"b"}])"), "/features/1/locks/0: a lock of a kind has no user"},
        {with("a" + locks + R"(,"marked":true,"user":")" + std::string(127, 'u') + "\"}]"),
            "/features/1/locks/0/user: expected at most 126 characters"},
        {with(long_name + locks + "}]"), "/features/1/locks/0: a feature with locks has a name of at most 80"},
    };
    // clang-format on
    const std::string file = testing::TempDir() + "vynd-scenario-" + std::to_string(getpid());
    for (const auto &[text, error] : cases) {
        std::ofstream(file) << text;
        std::string found;
        try {
            read_scenario(file);
        } catch (const scenario_error &caught) {
            found = caught.what();
        }
        EXPECT_TRUE(found.starts_with(file + ": " + error)) << text << "\n" << found;
    }
    unlink(file.c_str());
}

} // namespace
} // namespace vynd
