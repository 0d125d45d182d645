// The four scalars: what each read and each phase of a SET asks the service, traces and answers.

#include "fake_platform.h"

namespace {

class scalars : public platform_test {};

const std::string ask_discovery = "request 8469/1 user=alice session=7 0=00000019 4=00000001";
const std::string ask_distribution = "request 8463/1 user=alice session=7 0=0000001e 4=00000001";
const std::string start = "request 8469/3 user=alice session=7 0=00000018 4=00000001";
const std::string enable = "request 8477/3 user=alice session=7 0=0000001f 4=00000001";
const std::string disable = enable + " 8=00000001";
const std::string texts[] = {"trace 100 get_vyn_discovery_result : VYN ",
                             "trace 100 get_vyn_distribution_status : VYN "};
const std::string null_discovery = texts[0] + "returned Null response for Peers Discovery status query \n";
const std::string failed_discovery = texts[0] + "failed to return response for Peers  Discovery status query: E77 \n";
const std::string null_distribution = texts[1] + "returned Null response for VYN distribution status query \n";
const std::string failed_distribution =
    texts[1] + "failed to return response for VYN distribution status query: E77 \n";
const std::string running = "trace 100 write to vynStartPeersDiscovery: An instance of discovery already running\n";

const fake_answer failed = {.error = 77, .reply = octets(8)};
const fake_answer done = {.error = 0, .reply = octets(8)};
const fake_answer nothing = {.error = 0, .reply = {}};

fake_answer discovery(uint32_t status, uint32_t reason = 0, size_t size = 360) {
    return {.error = 0, .reply = reply_of(size, {{0, 25}, {4, status << 24}, {8, reason}})};
}

fake_answer distribution(uint32_t word, size_t size = 360) {
    return {.error = 0, .reply = reply_of(size, {{0, 30}, {4, word}})};
}

struct scalar_read {
    fake_answer answer;
    std::optional<octets> value;
    lines log;
};

// clang-format off
const struct {
    vyn_column column;
    sub_ids object;
    WriteMethod *write;
    std::vector<scalar_read> reads;
} objects[] = {
    {VYNSTARTPEERSDISCOVERY, vyn_oid({1, 3, 1}), set_vynStartPeersDiscovery, {{failed, integer(2), {}}}},
    {VYNPEERSDISCOVERYSTATUS, vyn_oid({1, 3, 2}), nullptr, {
        {discovery(2), integer(2), {ask_discovery}}, {discovery(255), integer(255), {ask_discovery}},
        {discovery(9, 0, 4), integer(0), {ask_discovery}}, {failed, {}, {ask_discovery, failed_discovery}}}},
    {VYNPEERSDISCOVERYFAILUREREASON, vyn_oid({1, 3, 3}), nullptr, {
        {discovery(3, 5), text(""), {ask_discovery}}, {discovery(4, 5), text("reason 5"), {ask_discovery}},
        {discovery(4, 300), octets(255, 'x'), {ask_discovery}},
        {discovery(4, ~0u, 9), text("reason 4278190080"), {ask_discovery}},
        {failed, {}, {ask_discovery, failed_discovery}}}},
    {VYNDISTENABLE, vyn_oid({1, 4, 1}), set_vynDistCtrl, {
        {distribution(0), integer(1), {ask_distribution}}, {distribution(1), integer(2), {ask_distribution}},
        {distribution(0x100), integer(2), {ask_distribution}}, {distribution(1, 3), integer(1), {ask_distribution}},
        {failed, {}, {ask_distribution, failed_distribution}}, {nothing, {}, {ask_distribution, null_distribution}}}},
};
// clang-format on

TEST_F(scalars, are_read_with_one_query) {
    for (const auto &[column, object, write, reads] : objects)
        for (const scalar_read &test : reads)
            for (bool exact : {true, false}) {
                SCOPED_TRACE(testing::Message() << int{column} << " exact " << exact);
                platform.answers = {test.answer};
                const sub_ids instance = object + sub_ids{0}, &requested = exact ? instance : object;
                const read_result result = read_object(column, requested, exact);
                EXPECT_EQ(result.value, test.value);
                EXPECT_EQ(result.name, test.value ? instance : requested);
                EXPECT_EQ(result.write_method, write);
                EXPECT_EQ(platform.take_log(), test.log);
            }
}

TEST_F(scalars, have_one_instance) {
    const auto refuse = [&](const sub_ids &requested, bool exact) {
        const read_result result = read_object(VYNDISTENABLE, requested, exact);
        EXPECT_FALSE(result.value);
        EXPECT_EQ(result.name, requested);
        EXPECT_EQ(platform.take_log(), lines{});
    };
    const sub_ids object = vyn_oid({1, 4, 1});
    for (const sub_ids &tail : {sub_ids{}, {1}, {0, 0}, {4294967295}}) refuse(object + tail, true);
    for (const sub_ids &name : {sub_ids{}, sub_ids(MAX_OID_LEN, 1)}) refuse(name, true);
    for (const sub_ids &name : {vyn_oid({1, 4, 1, 0}), vyn_oid({1, 4, 1, 0, 0}), vyn_oid({1, 5})}) refuse(name, false);
    platform.answers = {distribution(0)};
    EXPECT_EQ(read_object(VYNDISTENABLE, vyn_oid({1, 3, 3}), false).name, object + sub_ids{0});
}

TEST_F(scalars, discovery_keeps_its_result_over_a_null_reply) {
    platform.answers = {discovery(4, 6), nothing, {.error = 0, .reply = octets()}};
    const sub_ids status = vyn_oid({1, 3, 2, 0}), reason = vyn_oid({1, 3, 3, 0});
    EXPECT_EQ(read_object(VYNPEERSDISCOVERYSTATUS, status, true).value, integer(4));
    EXPECT_EQ(read_object(VYNPEERSDISCOVERYSTATUS, status, true).value, integer(4));
    EXPECT_EQ(read_object(VYNPEERSDISCOVERYFAILUREREASON, reason, true).value, text("reason 6"));
    const lines log = {ask_discovery, ask_discovery, null_discovery, ask_discovery, null_discovery};
    EXPECT_EQ(platform.take_log(), log);
}

TEST_F(scalars, are_written_phase_by_phase) {
    const std::string write = "trace 100 write to ", failure = "set_error 77 1432",
                      wrong_value[] = {write + "vynStartPeersDiscovery:wrong value\n",
                                       write + "set_vynDistCtrl:wrong value\n"};
    // clang-format off
    set(set_vynStartPeersDiscovery, {}, {
        {reserve1, {1, 4, ASN_UNSIGNED}, 7, {write + "vynStartPeersDiscoverynot ASN_INTEGER\n"}},
        {reserve1, {1, 0}, 8, {write + "vynStartPeersDiscovery:bad length\n"}},
        {reserve1, 3, 10, {wrong_value[0]}}, {reserve1, 0, 10, {wrong_value[0]}},
        {reserve1, 1, 0, {ask_discovery}, {discovery(3)}},
        {reserve1, {1, 4}, 0, {ask_discovery}, {discovery(4)}},
        {reserve1, 1, 12, {ask_discovery, running}, {discovery(2)}},
        {reserve1, 1, 12, {ask_discovery, null_discovery, running}, {nothing}}, // it ran before
        {reserve1, 1, 5, {ask_discovery, failed_discovery, failure}, {failed}},
        {reserve1, 2, 0}, {reserve2, 1, 0}, {action, 2, 0}, {commit, 1, 0}, {free_phase, 1, 0}, {undo, 1, 0}, {6, 1, 0},
        {action, 1, 0, {start}, {done}}, {action, {1, 4}, 0, {start, failure}, {failed}},
    });
    set(set_vynDistCtrl, {}, {
        {reserve1, {1, 4, ASN_UNSIGNED}, 7, {write + "set_vynDistCtrlnot ASN_INTEGER\n"}},
        {reserve1, {1, 0}, 8, {write + "set_vynDistCtrl:bad length\n"}},
        {reserve1, 3, 10, {wrong_value[1]}}, {reserve1, 0, 10, {wrong_value[1]}},
        {reserve1, 1, 0}, {reserve1, 2, 0}, {reserve2, 1, 0}, {commit, 1, 0}, {free_phase, 1, 0}, {undo, 1, 0},
        {6, 1, 0}, {action, 1, 0, {enable}, {done}}, {action, {2, 4}, 0, {disable}, {nothing}},
        {action, 2, 0, {disable, failure}, {failed}},
    });
    // clang-format on
}

} // namespace
