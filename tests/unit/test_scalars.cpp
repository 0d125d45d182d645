// The four scalars: what each read and each phase of a SET asks the service, traces and answers.

#include "fake_platform.h"

namespace {

class scalars : public platform_test {};

const std::string ask_discovery = "request 8469/1 0=19", told = "trace 100 get_vyn_discovery_result : VYN ",
                  null_discovery = told + "returned Null response for Peers Discovery status query \n",
                  failed_discovery = told + "failed to return response for Peers  Discovery status query: E77 \n";

fake_answer discovery(uint32_t status, uint32_t reason = 0) {
    return {0, reply_of(360, {{0, 25}, {4, status << 24}, {8, reason}})};
}

fake_answer distribution(uint32_t word) { return {0, reply_of(360, {{0, 30}, {4, word}})}; }

TEST_F(scalars, are_read_with_one_query) {
    const std::string told = "trace 100 get_vyn_distribution_status : VYN ", query = "VYN distribution status query",
                      ask_distribution = "request 8463/1 0=1e";
    // clang-format off
    const std::tuple<int, fake_answer, std::optional<octets>, lines, WriteMethod *> cases[] = {
        {VYNSTARTPEERSDISCOVERY, failed, integer(2), {}, set_vynStartPeersDiscovery},
        {VYNPEERSDISCOVERYSTATUS, discovery(255), integer(255), {ask_discovery}, nullptr},
        {VYNPEERSDISCOVERYSTATUS, failed, {}, {ask_discovery, failed_discovery}, nullptr},
        {VYNPEERSDISCOVERYFAILUREREASON, discovery(3, 5), text(""), {ask_discovery}, nullptr},
        {VYNPEERSDISCOVERYFAILUREREASON, discovery(4, 300), octets(255, 'x'), {ask_discovery}, nullptr},
        {VYNPEERSDISCOVERYFAILUREREASON, failed, {}, {ask_discovery, failed_discovery}, nullptr},
        {VYNPEERSDISCOVERYFAILUREREASON, null_reply, octets(255, 'x'), {ask_discovery, null_discovery}, nullptr},
        {VYNPEERSDISCOVERYSTATUS, null_reply, integer(4), {ask_discovery, null_discovery}, nullptr}, // as it was
        {VYNDISTENABLE, distribution(0), integer(1), {ask_distribution}, set_vynDistCtrl},
        {VYNDISTENABLE, distribution(0x100), integer(2), {ask_distribution}, set_vynDistCtrl},
        {VYNDISTENABLE, {0, octets(7)}, {}, {ask_distribution}, set_vynDistCtrl}, // ends inside the status
        {VYNDISTENABLE, {0, octets(8)}, integer(1), {ask_distribution}, set_vynDistCtrl},
        {VYNDISTENABLE, failed, {}, {ask_distribution, told + "failed to return response for " + query + ": E77 \n"}, set_vynDistCtrl},
        {VYNDISTENABLE, null_reply, {}, {ask_distribution, told + "returned Null response for " + query + " \n"}, set_vynDistCtrl}};
    // clang-format on
    for (const auto &[column, answer, value, log, write] : cases)
        for (bool exact : {true, false}) {
            SCOPED_TRACE(testing::Message() << column << " exact " << exact);
            platform.answers = {answer};
            const read_result result = read_row(column, exact ? sub_ids{0} : sub_ids{}, exact);
            EXPECT_EQ(result.value, value);
            EXPECT_EQ(result.name, row_of(column, value || exact ? sub_ids{0} : sub_ids{}));
            EXPECT_EQ(result.write_method, write);
            EXPECT_EQ(platform.take_log(), log);
        }
    refuses(VYNDISTENABLE, {{}, {1}, {0, 0}, {huge}, sub_ids(MAX_OID_LEN - 12, 1)});
    reads(VYNDISTENABLE, false, {{0}, {0, 0}}, {}, {});
    platform.answers = {distribution(0)};
    EXPECT_EQ(read_object(VYNDISTENABLE, vyn_oid({1, 3, 3}), false).name, row_of(VYNDISTENABLE, {0}));
}

TEST_F(scalars, are_written_phase_by_phase) {
    const std::string running = "trace 100 write to vynStartPeersDiscovery: An instance of discovery already running\n",
                      start = "request 8469/3 0=18", enable = "request 8477/3 0=1f", disable = enable + " 8=1";
    // clang-format off
    set(set_vynStartPeersDiscovery, {}, {
        {reserve1, 1, 0, {ask_discovery}, {discovery(3)}}, {reserve1, {1, 4}, 0, {ask_discovery}, {discovery(4)}},
        {reserve1, 1, 12, {ask_discovery, running}, {discovery(2)}},
        {reserve1, 1, 12, {ask_discovery, null_discovery, running}, {null_reply}}, // it ran before
        {reserve1, 1, 5, {ask_discovery, failed_discovery, error_77}, {failed}},
        {reserve1, 2, 0}, {reserve2, 1, 0}, {action, 2, 0}, {commit, 1, 0}, {free_phase, 1, 0}, {undo, 1, 0},
        {action, 1, 0, {start}, {null_reply}}, {action, {1, 4}, 0, {start, error_77}, {failed}}});
    set(set_vynDistCtrl, {}, {
        {reserve1, 1, 0}, {reserve1, 2, 0}, {reserve2, 1, 0}, {commit, 1, 0}, {free_phase, 1, 0}, {undo, 1, 0},
        {action, 1, 0, {enable}, {null_reply}}, {action, {2, 4}, 0, {disable}, {null_reply}},
        {action, 2, 0, {disable, error_77}, {failed}}, {action, 0, 0}, {action, 3, 0}});
    // clang-format on
}

} // namespace
