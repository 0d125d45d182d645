// The trace, replies that end early or are none, and the first checks of every SET.

#include "fake_platform.h"
#include "vyn_service.h"

namespace {

class service : public platform_test {};

TEST_F(service, trace_goes_to_each_sink_that_is_on) {
    const std::string text(600, 'x'), history = "trace 100 " + text.substr(0, 511), debug = "debug vyn " + text;
    const lines logs[] = {{}, {history}, {debug}, {history, debug}};
    for (int sinks = 0; sinks < 4; sinks++) {
        platform.history = sinks & 1;
        platform.debug = sinks & 2;
        EXPECT_EQ(vyn_trace(VYN_TRACE_FAILURE, "%s", text.c_str()), platform.debug ? 3 : 0);
        EXPECT_EQ(platform.take_log(), logs[sinks]);
    }
}

// What printf makes of it, for as much as the record takes.
TEST_F(service, history_is_formatted_as_the_debug_output_is) {
    platform.debug = true;
    const char unended[] = {'a', 'b', 'c'};
    for (size_t front = 0; front < 520; front++)
        for (int32_t number : {0, -1, 7, INT32_MIN, INT32_MAX}) {
            const std::string text(front, 'x');
            vyn_trace(VYN_TRACE_FLOW, "%s%d%%%x, %s|%s\n", text.c_str(), number, be32(number), vyn_field(unended), "");
            const lines log = platform.take_log();
            ASSERT_EQ(log[0].substr(10), log[1].substr(10).substr(0, 511));
        }
}

// Replies whose every word is 1, and whose every byte is.
TEST_F(service, replies_read_zero_where_they_end) {
    platform.add_feature("ntp");
    platform.history = false;
    for (const struct variable7 &object : vyn_mib_variables)
        for (uint8_t fill : {0, 1})
            for (size_t size = 1; size <= 512; size++) {
                if (object.magic == VYNDISTENABLE && size < 8) continue; // no value: zero would read as enabled
                octets reply(size, fill);
                for (size_t low = 3; low < size; low += 4) reply[low] = 1;
                const read_result cut = answered({0, reply}, object.magic, {}, false);
                reply.resize(512);
                const read_result whole = answered({0, reply}, object.magic, {}, false);
                ASSERT_EQ(std::pair(cut.value, cut.name), std::pair(whole.value, whole.name))
                    << int{object.magic} << " " << size;
            }
}

TEST_F(service, null_replies_serve_the_row_of_the_same_table_again) {
    platform.add_feature("ntp");
    const std::pair<int, octets> tables[] = {
        {VYNPEERSADDR, octets(256, 1)},        {VYNFEATUREPEERSADDR, octets(256, 2)},
        {VYNMERGEMEMBERATTR2, integer(3)},     {VYNPENDINGCONFOWNERUSERNAME, octets(128, 4)},
        {VYNMERGESTATUS, integer(0x05050505)}, {VYNSTATPEERSTATUS, integer(0x06060606)}};
    for (const auto &[column, value] : tables) // the OIDs of some are too long, and these are rows all the same
        answered({0, octets(512, value[0] | value[3])}, column, {}, false); // whichever end the integer begins at
    for (const auto &[column, value] : tables)
        for (const fake_answer &answer : {null_reply, {0, octets()}, failed, null_reply}) { // an error changes nothing
            const read_result result = answered(answer, column, {7, 7}, false);
            EXPECT_EQ(result.value, answer.error != 0 ? std::nullopt : std::optional(value));
            EXPECT_EQ(result.name, row_of(column, {7, 7})) << "as it was asked for";
        }
}

TEST_F(service, integers_are_checked_in_order) {
    // clang-format off
    const struct {
        WriteMethod *write;
        size_t shortest;
        octets values;
        std::string wrong_type, wrong_length, wrong_value; // the last with the value, where it ends in a blank
        u_char type = ASN_INTEGER;
    } writes[] = {
        {set_vynFeatureOpAction, 0, {2, 3, 4, 5, 6}, "write to vynFeatureOpAction not ASN_INTEGER\n",
         "write to vynFeatureOpAction: bad length\n", "set_vynFeatureOpAction : Wrong range : "},
        {set_vynFeatureOpScopeType, 0, {1, 2}, "write to vynFeatureOpScopeType not ASN_INTEGER\n",
         "write to vynFeatureOpScopeType: bad length\n", "set_vynFeatureOpScopeType : Wrong range : "},
        {set_vynFeatureOpShowCfgOption, 0, {1, 2}, "write to vynFeatureOpShowCfgOption not ASN_INTEGER\n",
         "wwrite to vynFeatureOpShowCfgOption: bad length\n", "set_vynFeatureOpShowCfgOption : Wrong range : "},
        {set_vynFeatureOpExtShowCfgOption, 0, {1, 2}, "write to vynFeatureOpExtShowCfgOption not ASN_INTEGER\n",
         "write to vynFeatureOpExtShowCfgOption: bad length\n", "set_vynFeatureOpExtShowCfgOption : Wrong range : "},
        {set_vynMergeFailResolvAction, 1, {1, 2}, "write to vynMergeFailResolvActionnot ASN_INTEGER\n",
         "write to vynMergeFailResolvAction bad length\n", "write to vynMergeFailResolvAction:wrong value\n"},
        {set_vynRegionStatus, 0, {1, 4, 6}, "write to vyn_RegionStatus not ASN_INTEGER\n",
         "write tovyn_RegionStatus: bad length\n", "write to vynRegionStatus:wrong value\n"},
        {set_vynFeatureRegionStatus, 0, {1, 4, 6}, "write to vyn_FeatureRegionStatus not ASN_INTEGER\n",
         "write tovyn_FeatureRegionStatus: bad length\n", "write to vynFeatureRegionStatus:wrong value\n"},
        {set_vynFeatureRegionId, 0, {1, 2, 3, 4, 5, 6, 7, 255}, "write to vyn_FeatureRegionId not ASN_UNSIGNED\n",
         "write tovyn_FeatureRegionId: bad length\n", "write to vynFeatureRegionId:wrong value\n", ASN_UNSIGNED},
        {set_vynStatPeerAddrRowStatus, 0, {1, 4, 6}, "write to set_vynStatPeerAddrRowStatus not ASN_INTEGER\n",
         "write toset_vynStatPeerAddrRowStatus: bad length\n", "write to vynStatPeerAddrRowStatus:wrong value\n"},
        {set_vynStartPeersDiscovery, 1, {1, 2}, "write to vynStartPeersDiscoverynot ASN_INTEGER\n",
         "write to vynStartPeersDiscovery:bad length\n", "write to vynStartPeersDiscovery:wrong value\n"},
        {set_vynDistCtrl, 1, {1, 2}, "write to set_vynDistCtrlnot ASN_INTEGER\n",
         "write to set_vynDistCtrl:bad length\n", "write to set_vynDistCtrl:wrong value\n"},
        {set_vynDistCtrlAction, 1, {1, 2}, "write to vynDistCtrlActionnot ASN_INTEGER\n",
         "write tovynDistCtrlAction:bad length\n", "write to vynDistCtrlAction:wrong value\n"}};
    // clang-format on
    constexpr long high = sizeof(long) > 4 ? 1L << (sizeof(long) * 4) : 1000; // above what fits 32 bits
    const sub_ids row = row_of(VYNREGIONSTATUS, {1, 5});
    for (const auto &test : writes) {
        const auto check = [&](u_char type, size_t length, long value) {
            const int32_t word = static_cast<int32_t>(value);
            const long taken = length == sizeof(long) ? value : word;
            const bool fits = std::count(test.values.begin(), test.values.end(), taken) != 0;
            std::string refusal = fits ? "" : "10 trace 100 " + test.wrong_value;
            if (refusal.ends_with(" ")) refusal += std::to_string(word);
            if ((length < test.shortest || length > 4) && length != sizeof(long))
                refusal = "8 trace 100 " + test.wrong_length;
            if (type != test.type) refusal = "7 trace 100 " + test.wrong_type;
            const int error = call(test.write, reserve1, row, {value, length, type});
            const bool refused = error == 7 || error == 8 || error == 10; // or for another reason
            EXPECT_EQ(refused ? std::to_string(error) + " " + platform.log.back() : "", refusal) << length;
        };
        for (u_char type : {ASN_INTEGER, ASN_UNSIGNED})
            for (size_t length :
                 {size_t{0}, size_t{1}, size_t{4}, size_t{5}, sizeof(long), sizeof(long) + 1, size_t{255}})
                for (long value : {-high, -1L, 0L, 1L, 2L, 3L, 4L, 5L, 6L, 7L, 255L, 256L, high + test.values[0]})
                    check(type, length, value);
        for (int phase : {free_phase, 6}) EXPECT_EQ(call(test.write, phase, row, 1), 0);
    }
}

// The refusals of storage types go to standard error, and nowhere else.
TEST_F(service, storage_types_are_checked_and_ignored) {
    const std::pair<WriteMethod *, std::string> writes[] = {
        {set_vynRegionStorage, "write to vyn_setRegionStorage"},
        {set_vynFeatureRegionStorage, "write to vyn_setFeatureRegionStorage"},
        {set_vynStatPeerAddrStorageType, "write to set_vynStatPeerAddrStorageType"}};
    for (const auto &[write, message] : writes) {
        testing::internal::CaptureStderr();
        set(write, {}, {{reserve1, 99, 0}, {reserve1, {3, 0}, 0}, {reserve1, octets{3}, 7}, {reserve1, {3, 5}, 8}});
        set(write, {}, {{reserve2, octets{3}, 0}});
        EXPECT_EQ(testing::internal::GetCapturedStderr(), message + "ASN_INTEGER\n" + message + " bad length\n");
    }
}

} // namespace
