// The fabric without sockets: replies byte for byte, the order of walks, what happens as time passes
// on a clock that the test turns, and the scenario files that it comes from. Records are built from
// offsets, not from the service's structs, so that a field that moves is seen.
#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <map>
#include <sstream>

#include "commands.h"
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
bytes peer(word type, text name, word scope, word vsan, word addr_type, text addr) {
    return record_of(364, {{0, type}, {4, 1}, {96, scope}, {100, vsan}, {104, addr_type}}, {{12, name}, {108, addr}});
}
bytes static_peer(word op, word addr_type, text addr) {
    return record_of(364, {{0, 66}, {4, 1}, {8, op}, {12, addr_type}}, {{16, addr}});
}
bytes merge(word type, text name, word scope, word vsan, word mark) {
    return record_of(364, {{0, type}, {4, 1}, {96, vsan}, {100, mark}, {104, scope}}, {{12, name}});
}
bytes region(word op, word id, word scope, word vsan, word type = 59, text name = "") {
    return record_of(364, {{0, type}, {4, 1}, {8, op}, {12, id}, {16, scope}, {20, vsan}}, {{28, name}});
}
bytes assigned(word op, text name, word id, word scope, word vsan) { return region(op, id, scope, vsan, 60, name); }
bytes family(word type, word first, word second, text addr = "") {
    return record_of(364, {{0, type}, {4, 1}, {8, first}, {12, second}}, {{12, addr}});
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
    R"({"distribution": {"enabled": false, "ipv6": {"enabled": true, "address": "ff08::9"}}, "regions": [
        {"id": 7, "scope": "physical"}, {"id": 300, "vsan": 10}, {"id": 2, "scope": "physical"}],
    "discovery": {"status": 77, "failure_reason": "0x40B30042", "next":
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

struct exchange {
    word opcode, msg_type;
    bytes record;
    word status;
    bytes reply = {};
};

// Read, written and read again: what is lost on the way is missed below.
struct Queries : testing::Test {
    void expect(const std::vector<exchange> &exchanges) {
        for (const auto &[opcode, msg_type, record, status, reply] : exchanges) {
            SCOPED_TRACE(describe({opcode, msg_type, record}));
            const outcome result = ask(opcode, msg_type, record);
            EXPECT_EQ(result.status, status);
            EXPECT_EQ(to_hex(result.reply), to_hex(reply));
        }
    }

    // Of a merge: whether there is one, its status, scope, VSAN, failure code and whether it has failed.
    std::string merge_row(word msg_type, text name, word scope, word vsan) {
        const bytes found = ask(8474, msg_type, merge(14, name, scope, vsan, 4096)).reply;
        if (found.size() != 360) return std::to_string(found.size()) + " bytes";
        return words_of(std::span(found).subspan(92, 16)) + " " + words_of(std::span(found).subspan(4, 4)) + " " +
               std::to_string(found[136]);
    }

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
    expect({
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
    });
    // clang-format on
}

TEST_F(Queries, PeersAndMergesByteForByte) {
    const std::string nine("\n\0\0\x09", 4), two("\n\1\0\2", 4), three("\n\1\0\3", 4), one("\1\1\1\1");
    const std::string endless(81, 'n');
    const word bad = 0x40B30003, nobody = 0x40B30004, no_row = 0x40B3001C, gone = 0x40B30043, there = 0x40B30044;
    const word not_failed = 0x40B30045, not_ipv4 = 0x40B30070, header = 0x50454552;
    const bytes changed = record_of(8, {{0, 66}}), resolved = record_of(8, {{0, 58}});
    const auto merged = [](words values, text name) {
        values.insert({{0, 14}, {92, 1}});
        return record_of(360, values, {{8, name}});
    };
    // clang-format off
    expect({
        {8469, 1, peer(26, "", 0, 0, 1, nine), 0,
            record_of(360, {{0, 26}, {4, header}, {92, 1}, {100, 1}}, {{104, nine}})},
        {8469, 1, peer(26, "", 0, 0, 16, "10.1.1.1"), 0,
            record_of(360, {{0, 26}, {4, header}, {92, 1}, {100, 7}}, {{104, "10.1.1.1"}})},
        {8469, 1, peer(26, "", 0, 0, 7, "10.1.1.1"), no_row}, {8469, 1, peer(26, "", 0, 0, 1, "\n\1\1\1"), no_row},
        {8469, 1, peer(26, "a", 0, 0, 1, nine), bad}, {8469, 2, peer(26, "", 1, 0, 1, nine), bad},
        {8469, 1, peer(28, "ntp", 2, 9, 1, "\n\1\1\1"), 0, record_of(360, {{0, 28}, {4, header}, {92, 2}, {96, 9},
            {100, 1}}, {{8, "ntp"}, {104, "\n\1\1\1"}})},
        {8469, 1, peer(28, "ntp", 2, 8, 1, "\n\1\1\1"), no_row}, {8469, 1, peer(28, "no", 1, 0, 1, one), no_row},
        {8469, 1, peer(28, endless, 1, 0, 1, one), bad}, {8469, 3, peer(28, "ntp", 1, 0, 16, "b"), bad},
        {8469, 1, peer(29, "ntp", 1, 0, 1, one), 0, record_of(364, {{0, 29}, {4, header}, {92, 1}, {100, 1},
            {360, 0x01020000}}, {{8, "ntp"}, {104, one}})},
        {8477, 1, static_peer(0, 1, two), 0, record_of(360, {{0, 66}, {4, 1}, {272, 9}}, {{8, two}})},
        {8477, 1, static_peer(0, 16, "ab"), 0, record_of(360, {{0, 66}, {272, 1}}, {{8, "ab"}})},
        {8477, 1, static_peer(1, 1, two), bad}, {8477, 1, static_peer(0, 1, three), no_row},
        {8477, 3, static_peer(0, 1, two), there}, {8477, 3, static_peer(0, 1, three), 0, changed},
        {8477, 1, static_peer(0, 1, three), 0, record_of(360, {{0, 66}, {4, 1}, {272, 1}}, {{8, three}})},
        {8477, 3, static_peer(1, 1, two), 0, changed}, {8477, 3, static_peer(1, 1, two), gone},
        {8477, 3, static_peer(2, 1, two), bad}, {8477, 3, static_peer(0, 2, one), not_ipv4},
        {8477, 3, static_peer(1, 16, "ab"), not_ipv4}, {8477, 2, static_peer(0, 1, two), 0,
            record_of(360, {{0, 66}, {4, 1}, {272, 1}}, {{8, three}})},
        {8474, 1, merge(14, "ntp", 2, 0, 4096), 0, merged({{4, 258}, {96, 3}, {100, 2}, {136, 1u << 24}}, "ntp")},
        {8474, 1, merge(14, "zone", 1, 20, 4096), 0, merged({{96, 3}, {100, 1}, {104, 20}}, "zone")},
        {8474, 1, merge(14, "zone", 2, 0, 4096), 0, record_of(360, {{0, 14}})},
        {8474, 1, merge(14, "no", 2, 0, 4096), nobody}, {8474, 2, merge(14, "no", 2, 0, 4096), no_row},
        {8474, 1, merge(14, "ntp", 0, 0, 4096), bad}, {8474, 2, merge(14, "ntp", 3, 0, 4096), bad},
        {8474, 2, merge(14, "ntp", 2, 0, 0), bad}, {8474, 1, merge(14, endless, 2, 0, 4096), bad},
        {8474, 3, merge(58, "ntp", 2, 0, 4096), bad}, {8474, 3, merge(58, "ntp", 0, 0, 0), bad},
        {8474, 3, merge(58, "no", 2, 0, 0), nobody}, {8474, 3, merge(58, "ntp", 1, 10, 0), not_failed},
        {8474, 3, merge(58, "ntp", 1, 11, 0), not_failed}, {8474, 3, merge(58, "ntp", 2, 0, 0), 0, resolved},
        {8474, 3, merge(58, "ntp", 2, 0, 0), not_failed}, {8474, 3, merge(58, "zone", 1, 20, 0), 0, resolved},
        {8474, 1, merge(14, "ntp", 2, 0, 4096), 0, merged({{96, 1}, {100, 2}}, "ntp")},
    });
    // clang-format on
    EXPECT_EQ(describe({8469, 2, peer(28, "ntp", 1, 0, 1, nine)}),
              R"(8469 getnext query 28 "ntp" scope 1 vsan 0 addr 1 0a000009)");
    EXPECT_EQ(describe({8477, 3, static_peer(1, 1, two)}), "8477 set query 66 remove 10.1.0.2");
    EXPECT_EQ(describe({8477, 1, static_peer(0, 9, "a\n")}), R"(8477 get query 66 addr 9 "a\x0a")");
}

TEST_F(Queries, RegionsAndAssignmentsByteForByte) {
    const std::string endless(81, 'n');
    const word bad = 0x40B30003, nobody = 0x40B30004, no_row = 0x40B3001C, none = 0x40B30061;
    const word unknown = 0x40B30060, there = 0x40B30062, used = 0x40B30063;
    const bytes made = record_of(8, {{0, 59}}), changed = record_of(8, {{0, 60}});
    const auto in = [](word id, word scope, word vsan, text name, word type = 60) {
        return record_of(360, {{0, type}, {4, id}, {8, scope}, {12, vsan}}, {{16, name}});
    };
    const auto is = [&](word id, word scope, word vsan) { return in(id, scope, vsan, "", 59); };
    // clang-format off
    expect({
        {8463, 2, region(0, 0, 0, 0), 0, is(2, 2, 0)}, {8463, 2, region(0, 2, 1, 0), 0, is(7, 2, 0)}, // a walk
        {8463, 2, region(0, 7, 0, 0), 0, is(300, 1, 10)}, {8463, 2, region(0, 300, 0, 0), no_row},
        {8463, 2, region(0, 6, 1, 99), 0, is(7, 2, 0)}, {8463, 1, region(0, 300, 2, 0), 0, is(300, 1, 10)},
        {8463, 1, region(0, 6, 0, 0), no_row}, {8463, 1, region(1, 7, 2, 0), bad},
        {8477, 3, region(0, 7, 0, 0), there}, {8477, 3, region(0, 0, 2, 0), bad}, {8477, 3, region(0, 256, 2, 0), bad},
        {8477, 3, region(0, 9, 1, 4094), bad}, {8477, 3, region(0, 9, 3, 0), bad}, {8477, 3, region(2, 9, 2, 0), bad},
        {8477, 3, region(0, 255, 1, 4093), 0, made}, {8463, 1, region(0, 255, 0, 0), 0, is(255, 1, 4093)},
        {8477, 3, region(0, 3, 1, 0), 0, made}, {8463, 1, region(0, 3, 0, 0), 0, is(3, 2, 0)},
        {8477, 3, region(0, 1, 0, 77), 0, made}, {8463, 1, region(0, 1, 0, 0), 0, is(1, 2, 0)},
        {8477, 3, region(1, 255, 2, 0), 0, made}, {8477, 3, region(1, 255, 1, 4093), unknown},
        {8463, 2, assigned(0, "", 0, 0, 0), 0, in(300, 1, 2, "zz")}, // a walk
        {8463, 2, assigned(0, "zz", 0, 1, 2), 0, in(2, 2, 0, "ntp")},
        {8463, 2, assigned(0, "ntp", 0, 2, 0), 0, in(300, 1, 20, "ntp")},
        {8463, 2, assigned(0, "ntp", 0, 1, 20), 0, in(2, 1, 300, "ntp")},
        {8463, 2, assigned(0, "ntp", 0, 1, 300), 0, in(7, 1, 5, "zone")},
        {8463, 2, assigned(0, "zone", 0, 1, 5), no_row}, {8463, 2, assigned(0, "zonf", 0, 0, 0), no_row},
        {8463, 2, assigned(0, "ntp", 0, 0, 99), 0, in(2, 2, 0, "ntp")}, // keys between
        {8463, 2, assigned(0, "n  ", 0, 1, 9), 0, in(2, 2, 0, "ntp")}, {8463, 2, assigned(0, endless, 0, 0, 0), bad},
        {8463, 2, assigned(0, "ntp", 0, 1, 0), 0, in(300, 1, 20, "ntp")}, {8463, 1, assigned(0, "ntp", 0, 3, 0), bad},
        {8463, 1, assigned(0, "ntp", 0, 0, 9), 0, in(2, 2, 0, "ntp")}, {8463, 1, assigned(1, "ntp", 0, 0, 0), bad},
        {8463, 1, assigned(0, "ntp", 0, 1, 20), 0, in(300, 1, 20, "ntp")}, {8463, 1, assigned(0, "zz", 0, 2, 0), none},
        {8463, 1, assigned(0, "z", 0, 0, 0), none}, {8477, 3, assigned(0, "no", 7, 0, 0), nobody},
        {8477, 3, assigned(0, "ntp", 0, 0, 0), unknown}, {8477, 3, assigned(0, "ntp", 7, 1, 0), bad},
        {8477, 3, assigned(0, "ntp", 7, 1, 4094), bad}, {8477, 3, assigned(0, "ntp", 7, 3, 0), bad},
        {8477, 3, assigned(2, "ntp", 7, 0, 0), bad}, {8477, 3, assigned(0, endless, 7, 0, 0), bad},
        {8477, 3, assigned(0, "zz", 7, 0, 0), 0, changed}, // without a scope: the first one
        {8463, 1, assigned(0, "zz", 0, 0, 0), 0, in(7, 1, 2, "zz")}, {8477, 3, assigned(0, "zz", 3, 2, 0), 0, changed},
        {8463, 1, assigned(0, "zz", 0, 0, 0), 0, in(3, 2, 0, "zz")}, {8477, 3, region(1, 3, 0, 0), used},
        {8477, 3, assigned(1, "zz", 0, 0, 0), 0, changed}, {8477, 3, region(1, 3, 0, 0), 0, made},
        {8477, 3, assigned(1, "zz", 0, 2, 0), none}, {8477, 3, assigned(1, "zz", 9, 1, 2), 0, changed},
        {8477, 3, assigned(1, "zz", 0, 0, 0), none}, {8477, 3, assigned(0, "zz", 2, 0, 0), 0, changed},
        {8463, 1, assigned(0, "zz", 0, 0, 0), 0, in(2, 2, 0, "zz")}, {8477, 3, assigned(1, "no", 0, 0, 0), none},
    });
    // clang-format on
    EXPECT_EQ(describe({8463, 2, region(0, 3, 0, 9)}), "8463 getnext query 59 region 3 scope 0");
    EXPECT_EQ(describe({8477, 3, region(0, 5, 1, 9)}), "8477 set query 59 add region 5 scope 1 vsan 9");
    EXPECT_EQ(describe({8477, 3, assigned(1, "ntp", 5, 0, 0)}), R"(8477 set query 60 remove "ntp" region 5 scope 0)");
}

TEST_F(Queries, DistributionRunsOverOneFamily) {
    const std::string ff08(std::string("\xFF\x08") + std::string(13, 0) + "\x09"), six("\xFF\x15zyxwvutsrqponm");
    const word bad = 0x40B30003, no_row = 0x40B3001C, both = 0x40B30074;
    const bytes done = record_of(8, {{0, 35}}), stored = record_of(8, {{0, 37}});
    const auto is = [](word type, word enabled, text addr) {
        return record_of(360, {{0, 40}, {4, type}, {264, enabled}}, {{8, addr}});
    };
    // clang-format off
    expect({
        {8469, 2, query(40, 0), 0, is(1, 0, "\xEF\xFF" "FS")}, {8469, 2, query(40, 1), 0, is(2, 1, ff08)},
        {8469, 2, query(40, 2), no_row}, {8469, 1, query(40, 0), no_row}, {8469, 1, query(40, 3), no_row},
        {8463, 3, family(35, 1, 1), both}, {8463, 3, family(35, 1, 2), 0, done}, {8463, 3, family(35, 0, 1), 0, done},
        {8463, 3, family(35, 2, 2), bad}, {8463, 3, family(35, 0, 3), bad}, {8469, 1, query(40, 2), 0, is(2, 1, ff08)},
        {8463, 3, family(35, 0, 2), 0, done}, {8463, 3, family(35, 1, 1), 0, done}, {8463, 3, family(35, 1, 2), both},
        {8463, 3, family(37, 1, 0, "\xDF\1\1\1"), bad}, {8463, 3, family(37, 1, 0, "\xF0\1\1\1"), bad},
        {8463, 3, family(37, 2, 0, "\xFE\x15"), bad}, {8463, 3, family(37, 3, 0, "\xEF"), bad},
        {8463, 3, family(37, 1, 0, "\xE0\1\1\2"), 0, stored}, {8463, 3, family(37, 2, 0, six), 0, stored},
        {8469, 1, query(40, 1), 0, is(1, 1, "\xE0\1\1\2")}, {8469, 1, query(40, 2), 0, is(2, 0, six)},
    });
    // clang-format on
    EXPECT_EQ(describe({8463, 3, family(35, 1, 2)}), "8463 set query 35 enable family 2");
    EXPECT_EQ(describe({8463, 3, family(37, 1, 0, "\xE0\1\1\2")}), "8463 set query 37 family 1 224.1.1.2");
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

TEST_F(Queries, PeersAreWalkedInTheOrderOfTheIndex) {
    // clang-format off
    // The next name, scope, VSAN, type and the first octets.
    const struct { word type; std::string name; word scope, vsan, addr_type; std::string addr, next; } cases[] = {
        {26, "", 0, 0, 0, "", " 1 0 1 9090909"}, {26, "", 0, 0, 1, "\t\t\t\t", " 1 0 1 a000009"}, // a walk
        {26, "", 0, 0, 1, "\n\t", " 1 0 2 0"}, {26, "", 0, 0, 2, "\1", " 1 0 10 0"},
        {26, "", 0, 0, 16, "", " 1 0 10 ff000000"}, {26, "", 0, 0, 16, "\xFF", " 1 0 10 7a7a0000"},
        {26, "", 0, 0, 16, "zz", " 1 0 7 31302e31"}, {26, "", 0, 0, 16, "10.1.1.1", ""},
        {26, "", 0, 0, 3, "zzz", " 1 0 10 0"}, {26, "", 0, 0, UINT32_MAX, "", ""}, // keys between
        {28, "", 0, 0, 0, "", "zz 1 0 1 a010103"}, {28, "zz", 1, 0, 1, "\n\1\1\3", "ntp 1 0 10 62000000"},
        {28, "ntp", 1, 0, 16, "b", "ntp 1 0 7 63000000"}, {28, "ntp", 1, 0, 16, "c", "ntp 1 0 10 61610000"},
        {28, "ntp", 1, 0, 16, "aa", "ntp 2 9 1 9010101"}, {28, "ntp", 2, 9, 1, "\t\1\1\1", "ntp 2 9 1 a010101"},
        {28, "ntp", 2, 9, 1, "\n\1\1\1", "ntp 2 12c 10 636f7265"}, {28, "ntp", 2, 300, 16, "core", "zone 2 1 2 0"},
        {28, "zone", 2, 1, 2, "\1", ""},
        {28, "ntp", 0, 7, 1, "z", "ntp 1 0 10 62000000"}, {28, "ntp", 1, 0, 7, "zz", "ntp 1 0 10 62000000"},
        {28, "ntp", 1, 0, 17, "", "ntp 2 9 1 9010101"}, {28, "ntp", 1, 5, 0, "", "ntp 2 9 1 9010101"},
        {28, "ntp", 2, 9, 1, "\t\1\1\1\1", "ntp 2 9 1 a010101"}, {28, "ntp", 3, 0, 0, "", "zone 2 1 2 0"},
        {28, "n  ", 9, 9, 9, "z", "ntp 1 0 10 62000000"}, {28, "\xFF", 9, 9, 9, "z", "zz 1 0 1 a010103"},
        {29, "", 0, 0, 0, "", "ntp 1 0 1 1010101"}, {29, "ntp", 1, 0, 1, "\1\1\1\1", "ntp 1 0 10 61610000"},
        {29, "ntp", 1, 0, 16, "aa", "ntp 2 a 0 62000000"}, {29, "ntp", 2, 10, 16, "b", ""},
        {66, "", 0, 0, 0, "", "1 a010002"}, {66, "", 0, 0, 1, "\n\2", "2 0"}, {66, "", 0, 0, 2, "\1", "0 61620000"},
        {66, "", 0, 0, 16, "ab", ""},
    };
    // clang-format on
    for (const auto &[type, name, scope, vsan, addr_type, addr, next] : cases) {
        const bool fixed = type == 66;
        const bytes key = fixed ? static_peer(0, addr_type, addr) : peer(type, name, scope, vsan, addr_type, addr);
        const outcome found = ask(fixed ? 8477 : 8469, 2, key);
        EXPECT_EQ(found.status, next.empty() ? 0x40B3001C : 0) << addr;
        if (found.status != 0) continue;
        const std::string owner = fixed ? "" : reinterpret_cast<const char *>(&found.reply[8]) + std::string(" ");
        EXPECT_EQ(owner + words_of(std::span(found.reply).subspan(fixed ? 4 : 92, fixed ? 8 : 16)), next) << addr;
    }
}

TEST_F(Queries, MergesAreWalkedWithinTheirFeature) {
    const std::string physical = "1 3 2 0 102 1", none = "0 0 0 0 0 0";
    // clang-format off
    const struct { std::string name; word scope, vsan; std::string next; } cases[] = {
        {"ntp", 1, 0, physical}, {"ntp", 2, 0, "1 1 1 a 0 0"}, {"ntp", 1, 10, "1 4d 1 14 0 0"},
        {"ntp", 1, 9, "1 1 1 a 0 0"}, {"ntp", 1, 20, physical}, {"ntp", 0, 99, physical}, {"ntp", 2, 99, "1 1 1 a 0 0"},
        {"zone", 1, 0, "1 2 1 5 0 0"}, {"zone", 1, 5, "1 3 1 14 0 0"}, {"zone", 1, 20, none},
        {"zone", 0, 9, "1 2 1 5 0 0"}, {"zz", 1, 9, "1 1 2 0 0 0"}, {"zz", 2, 0, none}, {"z", 0, 0, none}, {"z", 1, 0, none},
    };
    // clang-format on
    for (const auto &[name, scope, vsan, next] : cases)
        EXPECT_EQ(merge_row(2, name, scope, vsan), next) << name << " " << scope << " " << vsan;
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

TEST_F(Queries, MergesRunAndHoldTheLockAndLeaveTheirResult) {
    const auto at = [](int ms) { return time_point() + std::chrono::milliseconds(ms); };
    const std::string in_10 = "1 1 1 a 0 0", running = "1 2 1 ";
    // clang-format off
    const struct { std::string words, answer, name; word scope, vsan; std::string during, after; } merges[] = {
        {"none 30 5", "no such feature", "ntp", 1, 10, in_10, in_10},
        {"ntp 7/10 5", "expected physical or a VSAN", "ntp", 1, 10, in_10, in_10},
        {"ntp 10 5 0", "codes count from 1", "ntp", 1, 10, in_10, in_10},
        {"ntp 30 5 they differ", "", "ntp", 1, 30, running + "1e 0 0", "1 3 1 1e 1 1"},
        {"zone 20 5", "", "zone", 1, 20, running + "14 0 0", "1 1 1 14 0 0"},
        {"ntp physical 5 300 so there", "", "ntp", 2, 0, "1 2 2 0 0 0", "1 3 2 0 12c 1"},
    };
    // clang-format on
    fault_board faults;
    for (const auto &row : merges) {
        EXPECT_EQ(run_command("merge " + row.words, {model, faults, at(0), {}}).text, row.answer);
        EXPECT_EQ(merge_row(1, row.name, row.scope, row.vsan), row.during) << row.words;
    }
    EXPECT_EQ(ask(8474, 3, merge(58, "ntp", 2, 0, 0)).status, 0x40B30045u) << "it has not failed yet";
    const place vsan{2, 30};
    const auto &locks = model.state().features[4].locks;
    EXPECT_EQ(locks.contains(vsan) ? locks.at(vsan).user : "", merge_user);
    EXPECT_TRUE(model.advance(at(4)).empty());
    const auto events = model.advance(at(5));
    ASSERT_EQ(events.size(), 2u) << "two have failed, one has not";
    EXPECT_EQ(words_of(std::span(events[0].payload).subspan(0, 4)), "16");
    EXPECT_EQ(words_of(std::span(events[0].payload).subspan(88, 12)), "1 1e 74686579");
    EXPECT_FALSE(locks.contains(vsan) || model.next_change());
    for (const auto &row : merges) EXPECT_EQ(merge_row(1, row.name, row.scope, row.vsan), row.after) << row.words;
    EXPECT_EQ(ask(8469, 1, peer(29, "ntp", 1, 0, 16, "aa")).status, 0u) << "members stay";
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
        {with(long_name + R"(","peers":[{"vsan":8}])"), "/features/1/peers/0: a feature with peers has a name of at"},
        {with(long_name + R"(","merges":[{"vsan":8}])"), "/features/1/merges/0: a feature with merges has a name of"},
        {with(R"(a","peers":[{"vsan":8},{"vsan":8}])"), "/features/1/peers/1: another one has this place: vsan 8"},
        {with(R"(a","merges":[{"vsan":8,"failure":65536}])"), "/features/1/merges/0/failure: " + number + "65535"},
        {R"({"peers":["a",{"address":"a","type":7}]})", "/peers/1: another one has this address"},
        {R"({"peers":[{"address":"a","type":2}]})", "/peers/0/type: the types 1 and 2 are not those of texts"},
        {R"({"static_peers":[{"status":1}]})", "/static_peers/0: expected an \"address\""},
        {R"({"regions":[{"vsan":1}]})", "/regions/0: expected the id of a region as \"id\", from 1"},
        {R"({"regions":[{"id":4,"vsan":1},{"id":4,"scope":"physical"}]})", "/regions/1: another one has this id"},
        {with(R"(a","regions":[{"vsan":8,"region":5}])"), "/features/1/regions/0: there is no region 5"},
        {with(long_name + R"(","regions":[{"vsan":8}])"), "/features/1/regions/0: a feature with regions has a name"},
        {R"({"distribution":{"ipv4":{"enabled":true},"ipv6":{"enabled":true}}})", "/distribution: distribution runs"},
        {R"({"distribution":{"ipv4":{"address":"ff15::1"}}})", "/distribution/ipv4/address: expected a multicast"},
        {R"({"distribution":{"ipv6":{"address":"fe15::1"}}})", "/distribution/ipv6/address: expected a multicast"},
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
