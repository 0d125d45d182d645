// The feature operation extension table: which row a walk reaches from where, with which questions
// to the client library, what a row reads as, and the phases of its writable column.

#include <gtest/gtest.h>

#include "fake_platform.h"

namespace {

const sub_ids physical = {1, 0};

sub_ids logical(oid vsan)
{
    return {2, 4, vsan >> 24 & 255, vsan >> 16 & 255, vsan >> 8 & 255, vsan & 255};
}

sub_ids operator+(sub_ids left, const sub_ids &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

fake_state found(uint32_t scope, uint32_t vsan, uint32_t result = 2)
{
    vyn_feature_state state{};
    state.last_action = 4;
    state.scope = scope;
    state.vsan = vsan;
    state.result = result;
    state.error_code = 300;
    state.show_cfg_option = 2;
    return {0, state};
}

const fake_state none = {1, {}}, broken = {-1, {}};
constexpr u32 PHYSICAL = 2, LOGICAL = 4, BOTH = 6;

class feature_op_ext : public platform_test {
  protected:
    feature_op_ext()
    {
        platform.add_feature("ntp", BOTH)->show_cfg_option = 1;
        platform.add_feature("log", PHYSICAL); // behind ntp in the registry, before it by name
        platform.add_feature("zone", LOGICAL);
        platform.add_feature("idle", 0);
    }

    read_result get(const sub_ids &index, uint8_t column = VYNFEATUREOPEXTSTATUS)
    {
        return read_object(column, row_of(7, column - 47, index), true);
    }
};

TEST_F(feature_op_ext, walks_on_from_every_kind_of_index)
{
    const sub_ids ntp = name_index("ntp"), log = name_index("log"), zone = name_index("zone");
    const std::string end = "trace 100  header_vynFeatureOpExtEntry : fp is NULL...\n",
                      malformed = "trace 100  header_vynFeatureOpExtEntry : ret_code = -1 \n";
    const auto ask = [](const std::string &what) { return "state " + what; };
    const struct {
        sub_ids from;
        std::deque<fake_state> states;
        sub_ids row; // empty: none
        lines log;
    } cases[] = {
        {{}, {found(1, 0)}, ntp + physical, {ask("ntp op=2 scope=1 vsan=0")}},
        {ntp, {found(1, 0)}, ntp + physical, {ask("ntp op=2 scope=1 vsan=0")}},
        {ntp + sub_ids{0}, {found(1, 0)}, ntp + physical, {ask("ntp op=2 scope=1 vsan=0")}},
        {ntp + physical, {found(2, 10)}, ntp + logical(10), {ask("ntp op=2 scope=2 vsan=0")}},
        {ntp + sub_ids{2}, {found(2, 10)}, ntp + logical(10), {ask("ntp op=2 scope=2 vsan=0")}},
        {ntp + sub_ids{2, 4, 0, 0, 1},
         {found(2, 10)},
         ntp + logical(10),
         {ask("ntp op=2 scope=2 vsan=0")}},
        {ntp + logical(0x01020304),
         {found(2, 0xFFFFFFFF)},
         ntp + logical(0xFFFFFFFF),
         {ask("ntp op=2 scope=2 vsan=16909060")}},
        {ntp + logical(10),
         {none, found(1, 0)},
         log + physical,
         {ask("ntp op=2 scope=2 vsan=10"), ask("log op=2 scope=1 vsan=0")}},
        {ntp,
         {none, none, found(1, 0)},
         log + physical,
         {ask("ntp op=2 scope=1 vsan=0"), ask("ntp op=2 scope=2 vsan=0"),
          ask("log op=2 scope=1 vsan=0")}},
        {log + physical, {found(2, 7)}, zone + logical(7), {ask("zone op=2 scope=2 vsan=0")}},
        {zone + logical(7),
         {none, none},
         {},
         {ask("zone op=2 scope=2 vsan=7"), ask("idle op=2 scope=0 vsan=0")}},
        {log,
         {none},
         {},
         {ask("log op=2 scope=1 vsan=0")}}, // physical only, and no row: the walk ends
        {ntp, {broken}, {}, {ask("ntp op=2 scope=1 vsan=0")}},
        {name_index("idle") + physical, {}, {}, {end}},
        {name_index("ntq"), {}, {}, {end}}, // no such feature, a letter in front
        {name_index(std::string(1, '\x03')),
         {found(1, 0)},
         ntp + physical,
         {ask("ntp op=2 scope=1 vsan=0")}},
        {{81}, {}, {}, {malformed}},
        {name_index(std::string(82, 'a')), {}, {}, {malformed}},
        {{3, 'n', 't', 'p' + 256}, {}, {}, {malformed}},
        {{4294967295, 'n'}, {}, {}, {malformed}},
    };
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
    EXPECT_EQ(read_object(VYNFEATUREOPEXTSTATUS, {1, 3, 6, 1}, false).name,
              row_of(7, 3, ntp + physical));
}

TEST_F(feature_op_ext, gets_a_row_by_its_whole_index)
{
    const sub_ids ntp = name_index("ntp");
    const std::string key[] = {"state ntp op=1 scope=1 vsan=0", "state ntp op=1 scope=2 vsan=10"};
    platform.states = {found(1, 0), found(2, 10), none};
    EXPECT_EQ(get(ntp + physical).name, row_of(7, 3, ntp + physical));
    EXPECT_EQ(get(ntp + logical(10)).name, row_of(7, 3, ntp + logical(10)));
    EXPECT_FALSE(get(ntp + logical(10)).value);
    EXPECT_EQ(platform.take_log(), (lines{key[0], key[1], key[1]}));

    const oid huge = 4294967295;
    const sub_ids refused[] = {{},
                               {3},
                               ntp,
                               ntp + sub_ids{0},
                               ntp + sub_ids{3, 0},
                               ntp + sub_ids{huge},
                               ntp + sub_ids{2},
                               ntp + sub_ids{2, 4, 0, 0, 1},
                               ntp + sub_ids{2, 0, 0, 0, 0, 1},
                               {0, 1, 0},
                               {huge, 'n', 't', 'p', 1, 0},
                               {3, 'n', 't', 'p' + 256, 1, 0},
                               name_index("none") + physical,
                               name_index(std::string(81, 'a')) + physical};
    for (const sub_ids &index : refused) {
        platform.states = {found(1, 0)};
        EXPECT_FALSE(get(index).value) << testing::PrintToString(index);
        EXPECT_EQ(platform.take_log().size(), 1u) << "a trace, and no question";
    }
}

TEST_F(feature_op_ext, reads_a_row)
{
    const sub_ids index = name_index("ntp") + physical, vsan = name_index("ntp") + logical(10);
    const auto value = [&](uint8_t column, const fake_state &state) {
        platform.states = {state};
        return get(state.state.scope == 1 ? index : vsan, column).value;
    };
    EXPECT_EQ(value(VYNFEATUREOPEXTSTATUS, found(1, 0)), integer(4));
    EXPECT_EQ(value(VYNFEATUREOPEXTRESULT, found(2, 10, 5)), integer(5));
    EXPECT_EQ(value(VYNFEATUREOPEXTFAILUREREASON, found(2, 10, 3)), text(std::string(254, 'x')));
    EXPECT_EQ(value(VYNFEATUREOPEXTFAILUREREASON, found(2, 10, 5)), text(std::string(254, 'x')));
    EXPECT_EQ(value(VYNFEATUREOPEXTFAILUREREASON, found(2, 10, 4)), text(""));
    EXPECT_EQ(value(VYNFEATUREOPEXTSHOWCFGOPTION, found(2, 10)), integer(2)) << "of the row";
    EXPECT_EQ(value(VYNFEATUREOPEXTSHOWCFGOPTION, found(1, 0)), integer(1)) << "of the feature";
    EXPECT_EQ(get(index, VYNFEATUREOPEXTSHOWCFGOPTION).write_method, nullptr)
        << "no row, no writer";

    timeval start;
    gettimeofday(&start, nullptr);
    netsnmp_set_agent_starttime(&start);
    fake_state timed = found(2, 10);
    timed.state.microseconds = static_cast<uint32_t>(start.tv_usec);
    for (int seconds : {5, -5}) {
        timed.state.seconds = static_cast<uint32_t>(start.tv_sec + seconds);
        EXPECT_EQ(value(VYNFEATUREOPEXTTIMESTAMP, timed), integer(std::max(seconds * 100, 0)));
    }
    timed.state.seconds = 0;
    EXPECT_EQ(value(VYNFEATUREOPEXTTIMESTAMP, timed), integer(0)) << "no operation yet";
}

TEST_F(feature_op_ext, writes_the_option_of_the_row)
{
    const sub_ids ntp = row_of(7, 6, name_index("ntp") + physical),
                  vsan = row_of(7, 6, name_index("ntp") + logical(10));
    const auto write = [](int phase, long value, const sub_ids &name, size_t length = 4,
                          u_char type = ASN_INTEGER) {
        return write_integer(set_vynFeatureOpExtShowCfgOption, phase, value, length, type, name);
    };
    EXPECT_EQ(write(reserve1, 1, ntp, 5, ASN_OCTET_STR), 7);
    EXPECT_EQ(write(reserve1, 1, ntp, 5), 8);
    EXPECT_EQ(write(reserve1, 3, ntp), 10);
    EXPECT_EQ(platform.take_log(),
              (lines{"trace 100 write to vynFeatureOpExtShowCfgOption not ASN_INTEGER\n",
                     "trace 100 write to vynFeatureOpExtShowCfgOption: bad length\n",
                     "trace 100 set_vynFeatureOpExtShowCfgOption : Wrong range : 3"}));
    platform.states = {found(1, 0), none};
    EXPECT_EQ(write(reserve1, 2, ntp, 0 + 8), 0);
    EXPECT_EQ(write(reserve1, 2, vsan), 129);
    EXPECT_EQ(platform.take_log(),
              (lines{"state ntp op=1 scope=1 vsan=0", "state ntp op=1 scope=2 vsan=10"}));
    for (int quiet : {reserve2, commit, free_phase, undo})
        EXPECT_EQ(write(quiet, 2, ntp), 0);
    EXPECT_EQ(write(action, 2, ntp), 0);
    EXPECT_EQ(write(action, 1, vsan), 0);
    EXPECT_EQ(platform.take_log(), (lines{"store ntp scope=0/0 option=2", "option ntp 7 2 10 1"}));
    platform.library_result = 1;
    EXPECT_EQ(write(action, 2, ntp), 5);
    EXPECT_EQ(write(action, 1, vsan), 5);
    for (const sub_ids &name :
         {sub_ids{1, 3}, row_of(7, 6, {}), row_of(7, 6, name_index("none") + physical)})
        EXPECT_EQ(write(action, 1, name), 129);
}

} // namespace
