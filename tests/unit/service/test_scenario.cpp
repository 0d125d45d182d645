// Scenario documents: what is refused and with which words, and that what is read is what is meant.
//
// The messages are tested whole: the place is what makes them useful. Files are tested for what
// only files have, the name in front and the line of a syntax error.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "scenario.h"

namespace vynd {
namespace {

std::string error_of(const std::string &text)
{
    try {
        state_from_json(json::parse(text));
        return "no error";
    } catch (const scenario_error &error) {
        return error.what();
    }
}

std::string feature_of(const std::string &fields)
{
    return R"({"features":[{"name":"ntp"},{)" + fields + "}]}";
}

std::string states_of(const std::string &states)
{
    return feature_of(R"("name":"a","states":[)" + states + "]");
}

TEST(Scenario, RefusesWhatItDoesNotMeanAndSaysWhere)
{
    const std::string number = "expected a number from 0 to ";
    const std::string long_name(83, 'n');
    const struct {
        std::string text;
        std::string error;
    } cases[] = {
        {"[]", "/: expected an object"},
        {R"({"feature":[]})", "/feature: unknown key"},
        {R"({"discovery":{"status":"done"}})",
         "/discovery/status: expected one of idle, running, completed, failed"},
        {R"({"discovery":{"status":256}})", "/discovery/status: " + number + R"(255, or "0x...")"},
        {R"({"discovery":{"failure_reason":-1}})",
         "/discovery/failure_reason: " + number + R"(4294967295, or "0x...")"},
        {R"({"discovery":{"failure_reason":"0x100000000"}})",
         "/discovery/failure_reason: " + number + R"(4294967295, or "0x...")"},
        {R"({"discovery":{"failure_reason":18446744073709551615}})",
         "/discovery/failure_reason: " + number + R"(4294967295, or "0x...")"},
        {R"({"discovery":{"next":{"after_ms":1.5}}})",
         "/discovery/next/after_ms: " + number + R"(86400000, or "0x...")"},
        {R"({"discovery":{"next":{"status":"running"}}})",
         "/discovery/next/status: expected one of completed, failed"},
        {R"({"distribution":{"enabled":1}})", "/distribution/enabled: expected true or false"},
        {R"({"features":{}})", "/features: expected an array"},
        {feature_of(R"("scopes":["physical"])"), "/features/1: a feature needs a name"},
        {feature_of(R"("name":"a","scopes":["both"])"),
         "/features/1/scopes/0: expected one of physical, logical"},
        {feature_of(R"("name":"ntp")"), "/features/1/name: another feature has this name"},
        {feature_of(R"("name":"")"), "/features/1: a feature needs a name"},
        {feature_of(R"("name":")" + long_name + '"'),
         "/features/1/name: expected at most 82 characters"},
        {feature_of(R"("name":"a\u0000b")"), "/features/1/name: a NUL cannot be part of a name"},
        {feature_of(R"("name":"\u0100")"), "/features/1/name: expected characters up to \\u00ff, "
                                           "which stand for one byte each"},
        {states_of(R"({"scope":"physical","vsan":1})"),
         R"(/features/1/states/0: expected either "scope": "physical" or a "vsan")"},
        {states_of(R"({"vsan":0})"), "/features/1/states/0/vsan: VSANs count from 1"},
        {states_of(R"({"vsan":4094})"),
         "/features/1/states/0/vsan: " + number + R"(4093, or "0x...")"},
        {states_of(R"({"vsan":9},{"vsan":9})"),
         "/features/1/states/1: another one has this place: vsan 9"},
        {states_of(R"({"vsan":8,"last":true},{"vsan":9,"last":true})"),
         "/features/1/states/1/last: another state is the last one"},
        {feature_of(R"("name":"a","locks":[{"vsan":8,"kind":"merge","user":"b"}])"),
         "/features/1/locks/0: a lock of a kind has no user"},
        {feature_of(R"("name":"a","locks":[{"vsan":8,"marked":true,"user":")" + long_name +
                    std::string(44, 'u') + "\"}]"),
         "/features/1/locks/0/user: expected at most 126 characters"},
        {feature_of(R"("locks":[{"vsan":8}],"name":")" + long_name.substr(2) + '"'),
         "/features/1/locks/0: a feature with locks has a name of at most 80 characters"},
    };
    for (const auto &[text, error] : cases)
        EXPECT_EQ(error_of(text), error) << text;
}

TEST(Scenario, KeepsNamesAsBytesInRegistryOrder)
{
    const std::string text =
        R"({"features":[{"name":"bb"},{"name":"ÿ"},{"name":"z","scopes":["physical","logical"],
            "flags":"0x10","scope_value":7},{"name":"\u0080"},{"name":"aaa"},{"name":"ba"}]})";
    const fabric_state state = state_from_json(json::parse(text));
    std::vector<std::string> names;
    for (const feature &entry : state.features)
        names.push_back(entry.name);
    EXPECT_EQ(names, (std::vector<std::string>{"z", "\x80", "\xff", "ba", "bb", "aaa"}));
    EXPECT_EQ(state.features[0].flags, 0x16u);
    EXPECT_EQ(state.features[0].scope_value, 7u);
}

TEST(Scenario, WritesWhatItReads)
{
    fabric_state state;
    state.discovery = {77, 0x40B30042, {std::chrono::milliseconds(5), 4, 9}};
    state.distribution_enabled = false;
    state.features = {{"\xe9", 1, 2, 3, 4, 5, 0x16, 7}, {std::string(82, 'x')}};
    state.features[0].next_action = {std::chrono::milliseconds(1), result_partly, 2};
    state.features[0].states = {{{}, {99, 98, 3, 4, 5, 6}}, {{2, 7}, {4, 4, 0, 1, 2, 0}}};
    state.features[0].last = {2, 7};
    state.features[0].locks = {
        {{}, {"\xF9 \"é", "::1"}}, {{2, 4093}, {merge_user, ""}}, {{2, 1}, {"b", "\xFF"}}};
    const json document = state_to_json(state);
    EXPECT_EQ(state_to_json(state_from_json(document)), document);

    const feature read = state_from_json(document).features.at(0);
    EXPECT_EQ(read.name, "\xe9");
    EXPECT_EQ(read.flags, 0x16u);
    EXPECT_EQ(read.flags2, 7u);
    EXPECT_EQ(read.last, (place{2, 7}));
    EXPECT_EQ(read.locks, state.features[0].locks);
    EXPECT_EQ(state_from_json(document).discovery.next.failure_reason, 9u);
}

TEST(Scenario, FilesAreNamedInErrors)
{
    for (const char *shipped : {"default.json", "minimal.json"})
        EXPECT_NO_THROW(read_scenario(std::string(SCENARIOS) + shipped)) << shipped;

    char folder[] = "/tmp/vynd-test-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string file = std::string(folder) + "/broken.json";
    const auto error = [&] {
        try {
            read_scenario(file);
            return std::string("no error");
        } catch (const scenario_error &caught) {
            return std::string(caught.what());
        }
    };
    EXPECT_EQ(error(), file + ": cannot be read");
    std::ofstream(file) << "{\n  \"features\": [,]\n}\n";
    EXPECT_EQ(error().find(file + ": parse error at line 2, column 16: "), 0u) << error();
    std::ofstream(file) << R"({"features":7})";
    EXPECT_EQ(error(), file + ": /features: expected an array");
    unlink(file.c_str());
    rmdir(folder);
}

} // namespace
} // namespace vynd
