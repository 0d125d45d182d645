// The feature operation extension table: the row behind each index, what it reads as, and its writable column's phases.

#include "fake_platform.h"

namespace {

const sub_ids physical = {1, 0};

sub_ids logical(oid vsan) { return {2, 4, vsan >> 24 & 255, vsan >> 16 & 255, vsan >> 8 & 255, vsan & 255}; }

fake_state found(uint32_t scope, uint32_t vsan, uint32_t result = 2, uint32_t seconds = 0, uint32_t microseconds = 0) {
    return {0, {{}, 4, scope, vsan, result, 300, seconds, microseconds, 2}};
}

const fake_state none = {1, found(2, 99).state}, broken = {-1, {}};
const sub_ids log = name_index("log"), zone = name_index("zone"), idle = name_index("idle");

class feature_op_ext : public platform_test {
  protected:
    feature_op_ext() {
        constexpr u32 physical = 2, logical = 4;
        platform.add_feature("ntp", physical | logical)->show_cfg_option = 1;
        platform.add_feature("log", physical); // behind ntp in the registry, before it by name
        platform.add_feature("zone", logical);
        platform.add_feature("idle", 0);
    }
};

TEST_F(feature_op_ext, finds_the_row_that_an_index_leads_to) {
    constexpr int status = VYNFEATUREOPEXTSTATUS;
    const lines end = {"trace 100  header_vynFeatureOpExtEntry : fp is NULL...\n"},
                malformed = {"trace 100  header_vynFeatureOpExtEntry : ret_code = -1 \n"};
    const std::string ntp_physical = "state ntp op=2 scope=1 vsan=0", log_physical = "state log op=2 scope=1 vsan=0",
                      zone_vsan = "state zone op=2 scope=2 vsan=", ntp_vsan = "state ntp op=2 scope=2 vsan=";
    const auto walk = [&](const std::vector<sub_ids> &from, const sub_ids &row, const lines &log,
                          const std::deque<fake_state> &states = {}) {
        reads(status, false, from, row, log, {}, states);
    };
    // clang-format off
    walk({{}, ntp, ntp + sub_ids{0}, ntp + sub_ids{3}, {1, 3}}, ntp + physical, {ntp_physical}, {found(1, 0)});
    walk({ntp + physical, ntp + sub_ids{2}, ntp + sub_ids{2, 3, 0, 0, 9}}, ntp + logical(10),
         {ntp_vsan + "0"}, {found(2, 10)});
    walk({{5}, {5, 'n', 't', 'p'}, {257, 'n'}, {3, 'n', 't', 'p' + 256}, {huge, 'n'},
          name_index(std::string(81, 'a'))}, {}, malformed);
    // From part of a VSAN to the first one that is greater: its octets filled up with zeros are that, too.
    walk({ntp + sub_ids{2, 4}, ntp + sub_ids{2, 4, 0, 0, 0}}, ntp + logical(10), {ntp_vsan + "0"}, {found(2, 10)});
    walk({ntp + sub_ids{2, 4, 0, 0, 1}}, ntp + logical(256), {ntp_vsan + "255"}, {found(2, 256)});
    walk({ntp + sub_ids{2, 4, 0, 1}}, ntp + logical(65536), {ntp_vsan + "65535"}, {found(2, 65536)});
    walk({ntp + sub_ids{2, 4, 0, 266}}, ntp + logical(1 << 24), {ntp_vsan + "16777215"}, {found(2, 1 << 24)});
    walk({ntp + sub_ids{2, 4, 0, 0, 266, 1}}, ntp + logical(65536), {ntp_vsan + "65535"}, {found(2, 65536)});
    walk({ntp + sub_ids{2, 9, 0}}, {}, {ntp_vsan + "4294967295", log_physical}, {none, broken});
    walk({ntp + logical(0x01020304)}, ntp + logical(0xFFFFFFFF), {ntp_vsan + "16909060"}, {found(2, 0xFFFFFFFF)});
    walk({{4, 'n', 't', 'p', 0}}, ntp + physical, {ntp_physical}, {found(1, 0)}); // a name ends at its first NUL
    walk({ntp}, log + physical, {ntp_physical, ntp_vsan + "0", log_physical}, {none, none, found(1, 0)});
    walk({log + physical}, zone + logical(7), {zone_vsan + "0"}, {found(2, 7)});
    walk({zone + logical(7)}, {}, {zone_vsan + "7", "state idle op=2 scope=0 vsan=0"}, {none, none});
    walk({log}, {}, {log_physical}, {none}); // physical only, and no row: the walk ends
    walk({ntp}, {}, {ntp_physical}, {broken});
    walk({idle + physical, name_index("ntq")}, {}, end); // no such feature, a letter in front
    platform.states = {found(1, 0)};
    EXPECT_EQ(read_object(status, {1, 3, 6, 1}, false).name, row_of(status, ntp + physical));
    reads(status, true, {ntp + physical, ntp + sub_ids{1}}, ntp + physical,
          {"state ntp op=1 scope=1 vsan=0"}, {}, {found(1, 0)});
    for (const auto &[row, state] : {std::pair(ntp + logical(10), found(2, 10)), {{}, none}})
        reads(status, true, {ntp + logical(10)}, row, {"state ntp op=1 scope=2 vsan=10"}, {}, {state});
    refuses(status, {
        {}, {3, 'n', 't', 'p' + 256, 1, 0}, name_index("none") + physical,
        ntp, ntp + sub_ids{3, 0}, ntp + sub_ids{huge}, ntp + sub_ids{1, 7}, ntp + sub_ids{1, 0, 0}, ntp + sub_ids{2},
        ntp + sub_ids{2, 4, 0, 0, 1}, ntp + sub_ids{2, 4, 0, 0, 0, 266}, ntp + sub_ids{2, 9, 0, 0, 0, 10},
        ntp + sub_ids{2, 0, 0, 0, 0, 1}, ntp + logical(10) + sub_ids{5}, name_index(std::string(81, 'a')) + physical});
    // clang-format on
}

TEST_F(feature_op_ext, reads_a_row) {
    // clang-format off
    // The option is that of the row, in the physical scope that of the feature.
    const std::tuple<int, fake_state, octets> cases[] = {
        {VYNFEATUREOPEXTSTATUS, found(1, 0), integer(4)}, {VYNFEATUREOPEXTRESULT, found(2, 10, 5), integer(5)},
        {VYNFEATUREOPEXTFAILUREREASON, found(2, 10, 3), octets(254, 'x')},
        {VYNFEATUREOPEXTFAILUREREASON, found(2, 10, 4), {}}, {VYNFEATUREOPEXTSHOWCFGOPTION, found(2, 10), integer(2)},
        {VYNFEATUREOPEXTSHOWCFGOPTION, found(1, 0), integer(1)}};
    // clang-format on
    for (const auto &[column, state, value] : cases) {
        platform.states = {state};
        const read_result result = read_row(column, ntp + physical, true);
        EXPECT_EQ(result.value, value) << column;
        EXPECT_EQ(result.write_method,
                  column == VYNFEATUREOPEXTSHOWCFGOPTION ? set_vynFeatureOpExtShowCfgOption : nullptr);
    }
    EXPECT_EQ(read_row(VYNFEATUREOPEXTSHOWCFGOPTION, ntp + physical, true).write_method, nullptr) << "without a row";
    // The agent says how long it had been up at a time; before its start, whatever the time, that is less than nothing.
    for (const long uptime : {-1L, -500L, 0L, 500L}) {
        platform.uptime = uptime;
        platform.states = {found(2, 10, 2, 4000000000, 70)};
        EXPECT_EQ(read_row(VYNFEATUREOPEXTTIMESTAMP, ntp + physical, true).value, integer(std::max(0L, uptime)));
        EXPECT_TRUE(platform.take_log().back().ends_with(".000070"));
    }
}

TEST_F(feature_op_ext, writes_the_option_of_the_row) {
    const auto write = set_vynFeatureOpExtShowCfgOption;
    const sub_ids row = row_of(VYNFEATUREOPEXTSHOWCFGOPTION, ntp + physical),
                  vsan = row_of(VYNFEATUREOPEXTSHOWCFGOPTION, ntp + logical(10));
    const lines stored = {"store ntp scope=0/0 option=2"}, set_option = {"option ntp 7 2 10 1"};
    // clang-format off
    set(write, row, {
        {reserve1, 2, 0, {"state ntp op=1 scope=1 vsan=0"}, {}, {found(1, 0)}},
        {reserve2, 2, 0}, {commit, 2, 0}, {free_phase, 2, 0}, {undo, 2, 0}, {action, {2, 4}, 0, stored}});
    // clang-format on
    set(write, vsan, {{reserve1, 2, 129, {"state ntp op=1 scope=2 vsan=10"}, {}, {none}}, {action, 1, 0, set_option}});
    set(write, row_of(VYNFEATUREOPEXTSHOWCFGOPTION, name_index("none") + physical), {{action, 1, 129}});
    set(write, {1, 3}, {{action, 1, 129}});
    platform.library_result = 1;
    set(write, row, {{action, 2, 5, stored}});
    set(write, vsan, {{action, 1, 5, set_option}});
}

} // namespace
