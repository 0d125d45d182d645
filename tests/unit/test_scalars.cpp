// The four scalars: what each read and each phase of a SET asks the service, traces and answers.

#include <gtest/gtest.h>

#include "fake_platform.h"

namespace {

class scalars : public platform_test {};

const std::string ask_discovery = "request 8469/1 user=alice session=7 0=00000019 4=00000001";
const std::string ask_distribution = "request 8463/1 user=alice session=7 0=0000001e 4=00000001";
const std::string start = "request 8469/3 user=alice session=7 0=00000018 4=00000001";
const std::string enable = "request 8477/3 user=alice session=7 0=0000001f 4=00000001";
const std::string disable = enable + " 8=00000001";
const std::string discovery_texts = "trace 100 get_vyn_discovery_result : VYN ";
const std::string null_discovery =
    discovery_texts + "returned Null response for Peers Discovery status query \n";
const std::string failed_discovery =
    discovery_texts + "failed to return response for Peers  Discovery status query: E77 \n";
const std::string distribution_texts = "trace 100 get_vyn_distribution_status : VYN ";
const std::string null_distribution =
    distribution_texts + "returned Null response for VYN distribution status query \n";
const std::string failed_distribution =
    distribution_texts + "failed to return response for VYN distribution status query: E77 \n";
const std::string already_running = "trace 100 write to vynStartPeersDiscovery: An instance of "
                                    "discovery already running\n";

const fake_answer failed = {.error = 77, .reply = octets(8)};
const fake_answer done = {.error = 0, .reply = octets(8)};
const fake_answer nothing = {.error = 0, .reply = {}};

fake_answer discovery(uint32_t status, uint32_t reason = 0, size_t size = 360)
{
    return {.error = 0, .reply = reply_of(size, {{0, 25}, {4, status << 24}, {8, reason}})};
}

fake_answer distribution(uint32_t word, size_t size = 360)
{
    return {.error = 0, .reply = reply_of(size, {{0, 30}, {4, word}})};
}

const std::string longest(255, 'x');

struct scalar_read {
    vyn_column column;
    std::deque<fake_answer> answers;
    std::optional<octets> value;
    lines log;
};

// clang-format off
const scalar_read reads[] = {
    {VYNSTARTPEERSDISCOVERY, {}, integer(2), {}},
    {VYNPEERSDISCOVERYSTATUS, {discovery(2)}, integer(2), {ask_discovery}},
    {VYNPEERSDISCOVERYSTATUS, {discovery(255)}, integer(255), {ask_discovery}},
    {VYNPEERSDISCOVERYSTATUS, {discovery(9, 0, 4)}, integer(0), {ask_discovery}},
    {VYNPEERSDISCOVERYSTATUS, {failed}, {}, {ask_discovery, failed_discovery}},
    {VYNPEERSDISCOVERYFAILUREREASON, {discovery(3, 5)}, text(""), {ask_discovery}},
    {VYNPEERSDISCOVERYFAILUREREASON, {discovery(4, 5)}, text("reason 5"), {ask_discovery}},
    {VYNPEERSDISCOVERYFAILUREREASON, {discovery(4, 300)}, text(longest), {ask_discovery}},
    {VYNPEERSDISCOVERYFAILUREREASON, {discovery(4, ~0u, 9)}, text("reason 4278190080"), {ask_discovery}},
    {VYNPEERSDISCOVERYFAILUREREASON, {failed}, {}, {ask_discovery, failed_discovery}},
    {VYNDISTENABLE, {distribution(0)}, integer(1), {ask_distribution}},
    {VYNDISTENABLE, {distribution(1)}, integer(2), {ask_distribution}},
    {VYNDISTENABLE, {distribution(0x100)}, integer(2), {ask_distribution}},
    {VYNDISTENABLE, {distribution(1, 3)}, integer(1), {ask_distribution}},
    {VYNDISTENABLE, {failed}, {}, {ask_distribution, failed_distribution}},
    {VYNDISTENABLE, {nothing}, {}, {ask_distribution, null_distribution}},
};
// clang-format on

sub_ids object(vyn_column column)
{
    return column == VYNDISTENABLE
               ? vyn_oid({1, 4, 1})
               : vyn_oid({1, 3, static_cast<oid>(column - VYNSTARTPEERSDISCOVERY + 1)});
}

WriteMethod *writer(vyn_column column)
{
    return column == VYNSTARTPEERSDISCOVERY ? set_vynStartPeersDiscovery
           : column == VYNDISTENABLE        ? set_vynDistCtrl
                                            : nullptr;
}

TEST_F(scalars, are_read_with_one_query)
{
    for (const scalar_read &test : reads) {
        sub_ids instance = object(test.column);
        instance.push_back(0);
        for (bool exact : {true, false}) {
            SCOPED_TRACE(testing::Message() << int{test.column} << " exact " << exact);
            platform.answers = test.answers;
            const sub_ids requested = exact ? instance : object(test.column);
            const read_result result = read_object(test.column, requested, exact);
            EXPECT_EQ(result.value, test.value);
            EXPECT_EQ(result.name, test.value ? instance : requested);
            EXPECT_EQ(result.write_method, writer(test.column));
            EXPECT_EQ(platform.take_log(), test.log);
        }
    }
}

TEST_F(scalars, have_one_instance)
{
    const sub_ids below = vyn_oid({1, 3, 3}), above = vyn_oid({1, 5});
    const struct {
        sub_ids requested;
        bool exact;
    } cases[] = {{vyn_oid({1, 4, 1}), true},
                 {vyn_oid({1, 4, 1, 1}), true},
                 {vyn_oid({1, 4, 1, 0, 0}), true},
                 {vyn_oid({1, 4, 1, 4294967295}), true},
                 {{}, true},
                 {sub_ids(MAX_OID_LEN, 1), true},
                 {vyn_oid({1, 4, 1, 0}), false},
                 {vyn_oid({1, 4, 1, 0, 0}), false},
                 {above, false}};
    for (const auto &test : cases) {
        const read_result result = read_object(VYNDISTENABLE, test.requested, test.exact);
        EXPECT_FALSE(result.value);
        EXPECT_EQ(result.name, test.requested);
        EXPECT_EQ(platform.take_log(), lines{});
    }
    platform.answers = {distribution(0)};
    EXPECT_EQ(read_object(VYNDISTENABLE, below, false).name, vyn_oid({1, 4, 1, 0}));
}

TEST_F(scalars, discovery_keeps_its_result_over_a_null_reply)
{
    platform.answers = {discovery(4, 6), nothing, {.error = 0, .reply = octets()}};
    const sub_ids status = vyn_oid({1, 3, 2, 0}), reason = vyn_oid({1, 3, 3, 0});
    EXPECT_EQ(read_object(VYNPEERSDISCOVERYSTATUS, status, true).value, integer(4));
    EXPECT_EQ(read_object(VYNPEERSDISCOVERYSTATUS, status, true).value, integer(4));
    EXPECT_EQ(read_object(VYNPEERSDISCOVERYFAILUREREASON, reason, true).value, text("reason 6"));
    EXPECT_EQ(platform.take_log(),
              (lines{ask_discovery, ask_discovery, null_discovery, ask_discovery, null_discovery}));
}

TEST_F(scalars, unknown_identifier_has_no_value)
{
    struct variable vp = {};
    vp.magic = 81;
    oid name[MAX_OID_LEN] = {0};
    size_t length = 1, value_length;
    WriteMethod *write_method = nullptr;
    EXPECT_EQ(get_vyn_mib(&vp, name, &length, 1, &value_length, &write_method), nullptr);
    EXPECT_EQ(platform.take_log(), lines{"snmp_set_detail ''"});
}

struct scalar_phase {
    WriteMethod *write;
    int phase;
    long value;
    std::deque<fake_answer> answers;
    int error;
    lines log;
};

// clang-format off
const scalar_phase phases[] = {
    {set_vynStartPeersDiscovery, reserve1, 1, {discovery(3)}, 0, {ask_discovery}},
    {set_vynStartPeersDiscovery, reserve1, 1, {discovery(4)}, 0, {ask_discovery}},
    {set_vynStartPeersDiscovery, reserve1, 1, {discovery(2)}, 12, {ask_discovery, already_running}},
    {set_vynStartPeersDiscovery, reserve1, 1, {nothing}, 12, {ask_discovery, null_discovery, already_running}},
    {set_vynStartPeersDiscovery, reserve1, 1, {failed}, 5, {ask_discovery, failed_discovery, "set_error 77 1432"}},
    {set_vynStartPeersDiscovery, reserve1, 2, {}, 0, {}},
    {set_vynStartPeersDiscovery, reserve1, 3, {}, 10, {"trace 100 write to vynStartPeersDiscovery:wrong value\n"}},
    {set_vynStartPeersDiscovery, action, 1, {done}, 0, {start}},
    {set_vynStartPeersDiscovery, action, 1, {failed}, 0, {start, "set_error 77 1432"}},
    {set_vynStartPeersDiscovery, action, 2, {}, 0, {}},
    {set_vynDistCtrl, reserve1, 1, {}, 0, {}},
    {set_vynDistCtrl, reserve1, 0, {}, 10, {"trace 100 write to set_vynDistCtrl:wrong value\n"}},
    {set_vynDistCtrl, action, 1, {done}, 0, {enable}},
    {set_vynDistCtrl, action, 2, {nothing}, 0, {disable}},
    {set_vynDistCtrl, action, 2, {failed}, 0, {disable, "set_error 77 1432"}},
};
// clang-format on

TEST_F(scalars, are_written_phase_by_phase)
{
    for (const scalar_phase &test : phases) {
        SCOPED_TRACE(testing::Message() << "phase " << test.phase << " value " << test.value);
        for (size_t length : {sizeof(long), sizeof(int32_t)}) { // as an agent hands it over
            platform.answers = test.answers;
            EXPECT_EQ(write_integer(test.write, test.phase, test.value, length), test.error);
            EXPECT_EQ(platform.take_log(), test.log);
        }
    }
    for (WriteMethod *write : {set_vynStartPeersDiscovery, set_vynDistCtrl})
        for (int quiet : {reserve2, commit, free_phase, undo, 6})
            EXPECT_EQ(write_integer(write, quiet, 1), 0) << quiet;
    EXPECT_EQ(platform.take_log(), lines{});
}

TEST_F(scalars, refuse_type_and_length_in_their_own_words)
{
    const struct {
        WriteMethod *write;
        std::string type, length;
    } cases[] = {
        {set_vynStartPeersDiscovery, "vynStartPeersDiscoverynot ASN_INTEGER\n",
         "vynStartPeersDiscovery:bad length\n"},
        {set_vynDistCtrl, "set_vynDistCtrlnot ASN_INTEGER\n", "set_vynDistCtrl:bad length\n"},
    };
    for (const auto &test : cases) {
        EXPECT_EQ(write_integer(test.write, reserve1, 1, 4, ASN_UNSIGNED), SNMP_ERR_WRONGTYPE);
        for (size_t length : {size_t{0}, size_t{5}})
            EXPECT_EQ(write_integer(test.write, reserve1, 1, length), SNMP_ERR_WRONGLENGTH);
        const std::string trace = "trace 100 write to ";
        EXPECT_EQ(platform.take_log(),
                  (lines{trace + test.type, trace + test.length, trace + test.length}));
    }
}

} // namespace
