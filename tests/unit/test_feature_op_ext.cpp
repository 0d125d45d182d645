// The feature operation extension table: which row a walk reaches from where, with which questions
// to the client library, what a row reads as, and the phases of its writable column.

#include "fake_platform.h"

namespace {

const sub_ids physical = {1, 0};

sub_ids logical(oid vsan) { return {2, 4, vsan >> 24 & 255, vsan >> 16 & 255, vsan >> 8 & 255, vsan & 255}; }

fake_state found(uint32_t scope, uint32_t vsan, uint32_t result = 2, uint32_t seconds = 0, uint32_t microseconds = 0) {
    return {0, {{}, 4, scope, vsan, result, 300, seconds, microseconds, 2}};
}

const fake_state none = {1, found(2, 99).state}, broken = {-1, {}};
constexpr u32 PHYSICAL = 2, LOGICAL = 4, BOTH = 6;
constexpr oid huge = 4294967295;
const sub_ids ntp = name_index("ntp"), log = name_index("log"), zone = name_index("zone"), idle = name_index("idle");

class feature_op_ext : public platform_test {
  protected:
    feature_op_ext() {
        platform.add_feature("ntp", BOTH)->show_cfg_option = 1;
        platform.add_feature("log", PHYSICAL); // behind ntp in the registry, before it by name
        platform.add_feature("zone", LOGICAL);
        platform.add_feature("idle", 0);
    }

    read_result get(const sub_ids &index, int column = VYNFEATUREOPEXTSTATUS) {
        return read_object(column, row_of(7, static_cast<oid>(column - 47), index), true);
    }
};

TEST_F(feature_op_ext, walks_on_from_every_kind_of_index) {
    const std::string end = "trace 100  header_vynFeatureOpExtEntry : fp is NULL...\n",
                      malformed = "trace 100  header_vynFeatureOpExtEntry : ret_code = -1 \n",
                      ntp_physical = "state ntp op=2 scope=1 vsan=0", log_physical = "state log op=2 scope=1 vsan=0",
                      zone_vsan = "state zone op=2 scope=2 vsan=", ntp_vsan = "state ntp op=2 scope=2 vsan=";
    // clang-format off
    const struct {
        sub_ids from;
        std::deque<fake_state> states;
        sub_ids row; // empty: none
        lines log;
    } cases[] = {
        {{}, {found(1, 0)}, ntp + physical, {ntp_physical}},
        {ntp, {found(1, 0)}, ntp + physical, {ntp_physical}},
        {ntp + sub_ids{0}, {found(1, 0)}, ntp + physical, {ntp_physical}},
        {ntp + sub_ids{3}, {found(1, 0)}, ntp + physical, {ntp_physical}},
        {name_index("\x03"), {found(1, 0)}, ntp + physical, {ntp_physical}},
        {ntp + physical, {found(2, 10)}, ntp + logical(10), {ntp_vsan + "0"}},
        {ntp + sub_ids{2}, {found(2, 10)}, ntp + logical(10), {ntp_vsan + "0"}},
        {ntp + sub_ids{2, 3, 0, 0, 9}, {found(2, 10)}, ntp + logical(10), {ntp_vsan + "0"}},
        {ntp + sub_ids{2, 4, 0, 1}, {found(2, 65537)}, ntp + logical(65537), {ntp_vsan + "65536"}},
        {ntp + sub_ids{2, 4, 0, 0, 266, 1}, {found(2, 65536)}, ntp + logical(65536), {ntp_vsan + "65535"}},
        {ntp + sub_ids{2, 9, 0}, {none, broken}, {}, {ntp_vsan + "4294967295", log_physical}},
        {ntp + logical(0x01020304), {found(2, 0xFFFFFFFF)}, ntp + logical(0xFFFFFFFF), {ntp_vsan + "16909060"}},
        {ntp + logical(10), {none, found(1, 0)}, log + physical, {ntp_vsan + "10", log_physical}},
        {ntp, {none, none, found(1, 0)}, log + physical, {ntp_physical, ntp_vsan + "0", log_physical}},
        {log + physical, {found(2, 7)}, zone + logical(7), {zone_vsan + "0"}},
        {zone + logical(7), {none, none}, {}, {zone_vsan + "7", "state idle op=2 scope=0 vsan=0"}},
        {log, {none}, {}, {log_physical}}, // physical only, and no row: the walk ends
        {ntp, {broken}, {}, {ntp_physical}},
        {idle + physical, {}, {}, {end}}, {name_index("ntq"), {}, {}, {end}}, // no such feature, a letter in front
        {{5}, {}, {}, {malformed}}, {{5, 'n', 't', 'p'}, {}, {}, {malformed}}, {{257, 'n'}, {}, {}, {malformed}},
        {{4, 'n', 't', 'p', 0, 1, 0}, {}, {}, {malformed}}, {{3, 'n', 't', 'p' + 256}, {}, {}, {malformed}},
        {{huge, 'n'}, {}, {}, {malformed}}, {name_index(std::string(81, 'a')), {}, {}, {malformed}},
    };
    // clang-format on
    for (const auto &test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.from));
        platform.states = test.states;
        const sub_ids requested = row_of(7, 3, test.from);
        const auto result = read_object(VYNFEATUREOPEXTSTATUS, requested, false);
        EXPECT_EQ(result.value.has_value(), !test.row.empty());
        EXPECT_EQ(result.name, test.row.empty() ? requested : row_of(7, 3, test.row));
        EXPECT_EQ(platform.take_log(), test.log);
    }
    platform.states = {found(1, 0)};
    EXPECT_EQ(read_object(VYNFEATUREOPEXTSTATUS, {1, 3, 6, 1}, false).name, row_of(7, 3, ntp + physical));
}

TEST_F(feature_op_ext, gets_a_row_by_its_whole_index) {
    const std::string key[] = {"state ntp op=1 scope=1 vsan=0", "state ntp op=1 scope=2 vsan=10"};
    platform.states = {found(1, 0), found(2, 10), none, found(1, 0)};
    EXPECT_EQ(get(ntp + physical).name, row_of(7, 3, ntp + physical));
    EXPECT_EQ(get(ntp + logical(10)).name, row_of(7, 3, ntp + logical(10)));
    EXPECT_FALSE(get(ntp + logical(10)).value);
    EXPECT_TRUE(get(ntp + sub_ids{1}).value) << "the 0 of the physical scope may be missing";
    EXPECT_EQ(platform.take_log(), (lines{key[0], key[1], key[1], key[0]}));

    // clang-format off
    const sub_ids refused[] = {
        {}, {3}, {0, 1, 0}, {huge, 'n', 't', 'p', 1, 0}, {4, 'n', 't', 'p', 0, 1, 0}, {3, 'n', 't', 'p' + 256, 1, 0},
        ntp, ntp + sub_ids{0}, ntp + sub_ids{3, 0}, ntp + sub_ids{huge}, ntp + sub_ids{1, 7}, ntp + sub_ids{1, 0, 0},
        ntp + sub_ids{2}, ntp + sub_ids{2, 4, 0, 0, 1}, ntp + sub_ids{2, 4, 0, 0, 0, 266},
        ntp + sub_ids{2, 9, 0, 0, 0, 10}, ntp + logical(10) + sub_ids{5}, ntp + sub_ids{2, 0, 0, 0, 0, 1},
        name_index("none") + physical, name_index(std::string(81, 'a')) + physical};
    // clang-format on
    for (const sub_ids &index : refused) {
        platform.states = {found(1, 0)};
        EXPECT_FALSE(get(index).value) << testing::PrintToString(index);
        EXPECT_EQ(platform.take_log().size(), 1u) << "a trace, and no question";
    }
}

TEST_F(feature_op_ext, reads_a_row) {
    const sub_ids index = ntp + physical;
    timeval now;
    gettimeofday(&now, nullptr);
    netsnmp_set_agent_starttime(&now);
    const auto after = [&](int seconds) {
        return found(2, 10, 2, static_cast<uint32_t>(now.tv_sec + seconds), static_cast<uint32_t>(now.tv_usec));
    };
    // clang-format off
    const struct {
        int column;
        fake_state state;
        octets value;
    } cases[] = { // the option is that of the row, in the physical scope that of the feature
        {VYNFEATUREOPEXTSTATUS, found(1, 0), integer(4)}, {VYNFEATUREOPEXTRESULT, found(2, 10, 5), integer(5)},
        {VYNFEATUREOPEXTFAILUREREASON, found(2, 10, 3), octets(254, 'x')},
        {VYNFEATUREOPEXTFAILUREREASON, found(2, 10, 4), {}}, {VYNFEATUREOPEXTSHOWCFGOPTION, found(2, 10), integer(2)},
        {VYNFEATUREOPEXTSHOWCFGOPTION, found(1, 0), integer(1)}, {VYNFEATUREOPEXTTIMESTAMP, after(5), integer(500)},
        {VYNFEATUREOPEXTTIMESTAMP, after(-5), integer(0)}, {VYNFEATUREOPEXTTIMESTAMP, found(2, 10), integer(0)}};
    // clang-format on
    for (const auto &test : cases) {
        platform.states = {test.state};
        EXPECT_EQ(get(index, test.column).value, test.value) << test.column;
    }
    EXPECT_EQ(get(index, VYNFEATUREOPEXTSHOWCFGOPTION).write_method, nullptr) << "no row, no writer";
    platform.states = {found(1, 0)};
    EXPECT_EQ(get(index, VYNFEATUREOPEXTSHOWCFGOPTION).write_method, set_vynFeatureOpExtShowCfgOption);
}

TEST_F(feature_op_ext, writes_the_option_of_the_row) {
    const auto write = set_vynFeatureOpExtShowCfgOption;
    const sub_ids row = row_of(7, 6, ntp + physical), vsan = row_of(7, 6, ntp + logical(10));
    const lines stored = {"store ntp scope=0/0 option=2"}, set_option = {"option ntp 7 2 10 1"};
    // clang-format off
    set(write, row, {
        {reserve1, octets(5), 7, {"trace 100 write to vynFeatureOpExtShowCfgOption not ASN_INTEGER\n"}},
        {reserve1, {1, 5}, 8, {"trace 100 write to vynFeatureOpExtShowCfgOption: bad length\n"}},
        {reserve1, 3, 10, {"trace 100 set_vynFeatureOpExtShowCfgOption : Wrong range : 3"}},
        {reserve1, 2, 0, {"state ntp op=1 scope=1 vsan=0"}, {}, {found(1, 0)}},
        {reserve2, 2, 0}, {commit, 2, 0}, {free_phase, 2, 0}, {undo, 2, 0}, {action, {2, 4}, 0, stored}});
    // clang-format on
    set(write, vsan, {{reserve1, 2, 129, {"state ntp op=1 scope=2 vsan=10"}, {}, {none}}, {action, 1, 0, set_option}});
    for (const sub_ids &name : {sub_ids{1, 3}, row_of(7, 6, {}), row_of(7, 6, name_index("none") + physical)})
        set(write, name, {{action, 1, 129}});
    platform.library_result = 1;
    set(write, row, {{action, 2, 5, stored}});
    set(write, vsan, {{action, 1, 5, set_option}});
}

} // namespace
