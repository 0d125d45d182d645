// States, actions and locks of features: replies byte for byte, the order of walks, and actions on
// a clock that the test turns. Records are built here from offsets, not from the service's structs.
#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "queries.h"
#include "scenario.h"
#include "vynd_protocol.h"

namespace vynd {
namespace {

using std::chrono::milliseconds;
using layout = std::map<size_t, uint32_t>; // words by their offsets

bytes record_of(size_t size, const layout &words, const std::map<size_t, std::string> &texts = {})
{
    bytes record(size);
    for (const auto &[offset, word] : words)
        for (int byte = 0; byte < 4; ++byte)
            record.at(offset + byte) = static_cast<uint8_t>(word >> (24 - 8 * byte));
    for (const auto &[offset, text] : texts)
        std::copy(text.begin(), text.end(), record.begin() + static_cast<ptrdiff_t>(offset));
    return record;
}

// A name as the registry has it: its length in front.
std::string prefixed(const std::string &name)
{
    return static_cast<char>(name.size()) + name;
}

bytes lock_request(const std::string &name, uint32_t scope, uint32_t vsan)
{
    return record_of(364, {{0, 6}, {4, 1}, {96, scope}, {100, vsan}, {104, 0xABCD}}, {{12, name}});
}

bytes state_record(const std::string &name, uint32_t scope, uint32_t vsan)
{
    return record_of(128, {{100, scope}, {104, vsan}}, {{0, prefixed(name)}});
}

bytes entry_record(const std::string &name, uint32_t action, uint32_t scope, uint32_t vsan)
{
    return record_of(112, {{84, 2}, {92, action}, {96, scope}, {100, vsan}}, {{0, prefixed(name)}});
}

fabric model_of(const char *text)
{
    return fabric(state_from_json({{"features", json::parse(text)}}),
                  [] { return std::chrono::microseconds(7'000'000'000'009); });
}

outcome ask(fabric &model, uint32_t opcode, uint32_t msg_type, const bytes &record,
            time_point now = {})
{
    return answer(model, {opcode, msg_type, record, "alice"}, now);
}

constexpr char features[] = R"([
    {"name": "ÿ", "locks": [{"vsan": 256, "user": "a"}]},
    {"name": "z", "locks": [{"vsan": 1}]},
    {"name": "b\u0080", "locks": [{"scope": "physical", "address": "1.2.3.4"}]},
    {"name": "zz", "locks": [{"vsan": 99, "user": "b", "marked": true, "address": "::1"},
        {"vsan": 2}, {"scope": "physical", "kind": "merge", "address": "A-1"}]},
    {"name": "ntp", "scopes": ["physical", "logical"],
     "next_action": {"after_ms": 100, "result": "partly", "failure": 9}, "states": [
        {"vsan": 20, "action": "abort", "result": "failed", "failure": "0x40B30051", "seconds": 5,
         "microseconds": 6, "show_cfg_option": 2, "last": true},
        {"scope": "physical", "action": 77, "seconds": 8}]},
    {"name": "zone", "scopes": ["logical"], "states": [{"vsan": 20, "result": "in-progress"}]}])";

TEST(Features, RepliesByteForByteAndTheirLogLines)
{
    fabric model = model_of(features);
    const auto state = state_record;
    const auto entry = entry_record;
    const auto lock = lock_request;
    const auto locked = [](layout words, const std::map<size_t, std::string> &texts) {
        words.insert({{0, 6}, {4, 0x4C4F434B}});
        return record_of(512, words, texts);
    };
    const auto option = [](uint32_t number, uint32_t scope, uint32_t vsan, uint32_t value) {
        return record_of(100, {{84, number}, {88, scope}, {92, vsan}, {96, value}},
                         {{0, prefixed("ntp")}});
    };
    const bytes physical = record_of(44, {{12, 77}, {16, 1}, {24, 1}, {32, 8}, {40, 1}});
    const bytes logical = record_of(
        44, {{12, 5}, {16, 2}, {20, 20}, {24, 3}, {28, 0x40B30051}, {32, 5}, {36, 6}, {40, 2}});
    const bytes overlong = record_of(128, {{0, 0x53616161}, {100, 1}}); // 83 characters
    const uint32_t bad = 0x40B30003, unknown = 0x40B30004, no_row = 0x40B3001C;
    const uint32_t no_way = 0x40B30035, busy = 0x40B3003A;
    const uint32_t taken = 1u << 24, local = 0x7F000001;
    const struct {
        uint32_t opcode, msg_type;
        bytes record;
        uint32_t status;
        bytes reply;
        std::string text;
    } cases[] = {
        // clang-format off
        {100002, 1, state("ntp", 0, 0), 0, logical, R"(get state of "ntp" last)"},
        {100002, 1, state("ntp", 1, 99), 0, physical, R"(get state of "ntp" physical)"},
        {100002, 1, state("ntp", 2, 20), 0, logical, R"(get state of "ntp" vsan 20)"},
        {100002, 1, state("ntp", 2, 19), no_row, {}, R"(get state of "ntp" vsan 19)"},
        {100002, 2, state("ntp", 2, 0), 0, logical, R"(getnext state of "ntp" vsan 0)"},
        {100002, 2, state("ntp", 2, 20), no_row, {}, R"(getnext state of "ntp" vsan 20)"},
        {100002, 2, state("zone", 1, 0), no_row, {}, R"(getnext state of "zone" physical)"},
        {100002, 1, state("ntq", 1, 0), unknown, {}, R"(get state of "ntq" physical)"},
        {100002, 1, overlong, unknown, {}, R"(get state of "" physical)"},
        {100002, 2, state("ntp", 0, 0), no_row, {}, R"(getnext state of "ntp" last)"},
        {100002, 1, state("ntp", 3, 1), bad, {}, R"(get state of "ntp" scope 3 vsan 1)"},
        {100002, 1, bytes(127), bad, {}, "get 127 bytes"},
        {100003, 3, entry("zone", 4, 1, 0), no_way, {}, R"(set action commit of "zone" physical)"},
        {100003, 3, entry("zone", 6, 0, 0), no_way, {}, R"(set action clear of "zone" physical)"},
        {100003, 3, entry("zone", 5, 2, 20), busy, {}, R"(set action abort of "zone" vsan 20)"},
        {100003, 3, entry("ntp", 1, 1, 0), bad, {}, R"(set action none of "ntp" physical)"},
        {100003, 3, entry("ntp", 7, 1, 0), bad, {}, R"(set action 7 of "ntp" physical)"},
        {100003, 3, entry("ntp", 4, 2, 4094), bad, {}, R"(set action commit of "ntp" vsan 4094)"},
        {100004, 3, entry("zz", 0, 2, 9), 0, {}, R"(set entry of "zz" option 2 scope 2 value 9)"},
        {100004, 3, entry("zz", 0, 3, 9), bad, {}, R"(set entry of "zz" option 2 scope 3 value 9)"},
        {100005, 3, option(7, 2, 20, 1), 0, {}, R"(set option 7 of "ntp" vsan 20 value 1)"},
        {100005, 3, option(7, 2, 21, 1), no_row, {}, R"(set option 7 of "ntp" vsan 21 value 1)"},
        {100005, 3, option(6, 2, 20, 1), bad, {}, R"(set option 6 of "ntp" vsan 20 value 1)"},
        {100005, 3, option(7, 1, 0, 1), bad, {}, R"(set option 7 of "ntp" physical value 1)"},
        {100005, 3, option(7, 2, 20, 3), bad, {}, R"(set option 7 of "ntp" vsan 20 value 3)"},
        {8469, 1, lock("b\x80", 2, 0), 0, locked({{96, 2}, {104, taken}, {120, 0x01020304},
            {124, 1}, {128, 0x01020304}}, {{12, "b\x80"}}),
            R"(get query 6 "b\x80" scope 2 vsan 0)"},
        {8469, 1, lock("zz", 2, 9), 0, locked({{96, 2}, {104, taken}, {120, local}, {124, 16}},
            {{12, "zz"}, {128, "A-1"}, {384, "$VYN$Merge"}}), R"(get query 6 "zz" scope 2 vsan 9)"},
        {8469, 1, lock("zz", 1, 99), 0, locked({{96, 1}, {100, 99}, {104, taken}, {120, local},
            {124, 2}, {140, 1}}, {{12, "zz"}, {384, "\xF9" "b"}}),
            R"(get query 6 "zz" scope 1 vsan 99)"},
        {8469, 1, lock("zz", 1, 3), 0, locked({{96, 1}, {100, 3}}, {{12, "zz"}}),
            R"(get query 6 "zz" scope 1 vsan 3)"},
        {8469, 1, lock("zzz", 2, 0), unknown, {}, R"(get query 6 "zzz" scope 2 vsan 0)"},
        {8469, 1, lock("zz", 0, 0), bad, {}, R"(get query 6 "zz" scope 0 vsan 0)"},
        {8469, 1, lock(std::string(81, 'z'), 2, 0), bad, {},
            "get query 6 \"" + std::string(81, 'z') + "\" scope 2 vsan 0"},
        {8469, 2, lock("zz", 3, 0), bad, {}, R"(getnext query 6 "zz" scope 3 vsan 0)"},
        {8469, 3, lock("zz", 2, 0), bad, {}, R"(set query 6 "zz" scope 2 vsan 0)"},
        // clang-format on
    };
    for (const auto &[opcode, msg_type, record, status, reply, text] : cases) {
        const outcome result = ask(model, opcode, msg_type, record);
        EXPECT_EQ(result.status, status) << text;
        EXPECT_EQ(to_hex(result.reply), to_hex(reply)) << text;
        EXPECT_EQ(describe({opcode, msg_type, record}), std::to_string(opcode) + " " + text);
    }
    const feature &stored = *find_feature(model.state().features, "zz");
    EXPECT_EQ(stored.show_cfg_option + 10 * stored.scope_type + 100 * stored.scope_value, 922u);
    EXPECT_EQ(ask(model, 100002, 1, state_record("ntp", 2, 20)).reply[43], 1);
}

TEST(Features, LocksAreWalkedInTheOrderOfTheIndex)
{
    fabric model = model_of(features);
    const struct {
        std::string name;
        uint32_t scope, vsan;
        std::string next; // name, scope, VSAN; empty: no more
    } cases[] = {
        // A walk: each key is the row before.
        {"", 0, 0, "z 1 1"},
        {"z", 1, 1, "\xFF 1 256"},
        {"\xFF", 1, 256, "b\x80 2 0"},
        {"b\x80", 2, 0, "zz 2 0"},
        {"zz", 2, 0, "zz 1 2"},
        {"zz", 1, 2, "zz 1 99"},
        {"zz", 1, 99, ""},
        // Keys between the rows.
        {"zz", 0, 9, "zz 2 0"},
        {"zz", 2, 4093, "zz 1 2"},
        {"b\x80", 1, 0, "zz 2 0"},
        {"  ", 0, 0, "b\x80 2 0"},
        {"\x7F", 0, 0, "\xFF 1 256"},
    };
    for (const auto &[name, scope, vsan, next] : cases) {
        const outcome found = ask(model, 8469, 2, lock_request(name, scope, vsan));
        ASSERT_EQ(found.status, next.empty() ? 0x40B3001C : 0) << name << scope << " " << vsan;
        if (next.empty())
            continue;
        const auto *owner = reinterpret_cast<const char *>(&found.reply[12]);
        EXPECT_EQ(owner + (" " + std::to_string(found.reply[99])) + " " +
                      std::to_string(found.reply[102] << 8 | found.reply[103]),
                  next);
    }
}

TEST(Features, ActionsRunEndAndLockOnTheClock)
{
    fabric model = model_of(features);
    const time_point start;
    const auto act = [&](uint32_t action, uint32_t scope, uint32_t vsan, int at) {
        const bytes record = entry_record("ntp", action, scope, vsan);
        return ask(model, 100003, 3, record, start + milliseconds(at)).status;
    };
    // Action, scope, VSAN and result of the events until then.
    const auto ended = [&](int at) {
        std::string all;
        for (const event &posted : model.advance(start + milliseconds(at))) {
            EXPECT_EQ(posted.opcode, 8470u);
            EXPECT_EQ(posted.payload.size(), 101u);
            EXPECT_STREQ(reinterpret_cast<const char *>(posted.payload.data()), "ntp");
            for (size_t word = 81; word < posted.payload.size(); word += 4)
                all += std::to_string(posted.payload[word + 3]) + " ";
        }
        return all;
    };
    const auto state = [&](uint32_t scope) {
        return ask(model, 100002, 1, state_record("ntp", scope, 0)).reply;
    };
    const auto locks = [&] { return state_to_json(model.state())["features"][4]["locks"].dump(); };
    layout shown = {{12, 4}, {16, 1}, {24, 4}, {32, 7'000'000}, {36, 9}, {40, 1}};

    // A commit holds the lock while it runs; another action waits for its end, other scopes do not.
    EXPECT_EQ(act(4, 1, 0, 0), 0u);
    EXPECT_EQ(locks(), R"([{"scope":"physical","user":"alice","address":"127.0.0.1"}])");
    EXPECT_EQ(act(2, 1, 0, 50), VYN_ERR_ACTION_IN_PROGRESS);
    EXPECT_EQ(state(0), record_of(44, shown)) << "the last action of all";
    EXPECT_EQ(act(3, 2, 20, 50), 0u);
    EXPECT_EQ(model.next_change(), start + milliseconds(100));
    EXPECT_EQ(ended(99), "");
    EXPECT_EQ(ended(100), "4 1 0 5 0 ");
    shown[24] = 5;
    shown[28] = 9;
    EXPECT_EQ(state(1), record_of(44, shown));
    EXPECT_EQ(locks(), "[]");

    // Edits of anything else let an action run on; one that is declared ended has no event.
    model.replace(state_from_json(state_to_json(model.state())));
    EXPECT_EQ(ended(150), "3 2 20 5 0 ");
    EXPECT_EQ(act(2, 1, 0, 200), 0u);
    fabric_state edited = model.state();
    edited.features[4].states.at({}).result = result_success;
    edited.features[4].locks[{}] = {"bob", ""};
    model.replace(edited);
    EXPECT_EQ(ended(400), "");

    // A lock that somebody else holds stays; a clear takes it, and ends what runs first.
    EXPECT_EQ(act(5, 1, 0, 400), 0u);
    EXPECT_EQ(ended(500), "5 1 0 5 0 ");
    EXPECT_EQ(act(5, 1, 0, 500), 0u);
    EXPECT_EQ(locks(), R"([{"scope":"physical","user":"bob"}])");
    EXPECT_EQ(act(6, 1, 0, 550), 0u);
    EXPECT_EQ(locks(), "[]");
    EXPECT_LE(*model.next_change(), start);
    EXPECT_EQ(ended(649), "5 1 0 3 0 ");
    EXPECT_EQ(ended(650), "6 1 0 5 0 ");
    EXPECT_FALSE(model.next_change());
}

} // namespace
} // namespace vynd
