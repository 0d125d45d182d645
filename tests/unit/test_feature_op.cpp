// The feature operation table: rows and values, indexes that name none, and the phases of its four
// writable columns.

#include <gtest/gtest.h>

#include "fake_platform.h"
#include "vyn_index.h"

namespace {

vyn_feature_state state_of(uint32_t action, uint32_t scope, uint32_t vsan, uint32_t result,
                           uint32_t error = 0)
{
    vyn_feature_state state{};
    state.last_action = action;
    state.scope = scope;
    state.vsan = vsan;
    state.result = result;
    state.error_code = error;
    return state;
}

class feature_op : public platform_test {
  protected:
    static sub_ids row(oid column, const std::string &name)
    {
        return row_of(1, column, name_index(name));
    }

    read_result next(const sub_ids &requested)
    {
        return read_object(VYNFEATUREOPACTION, requested, false);
    }
    read_result get(const sub_ids &requested)
    {
        return read_object(VYNFEATUREOPACTION, requested, true);
    }

    // The names that a walk of the first column finds.
    lines walk()
    {
        lines names;
        sub_ids at = row_of(1, 2, {});
        for (read_result found = next(at); found.value; found = next(at)) {
            at = found.name;
            names.emplace_back(at.begin() + 15, at.end());
            EXPECT_EQ(at[14], names.back().size());
        }
        return names;
    }
};

TEST_F(feature_op, reads_what_entry_and_state_say)
{
    vyn_feature_entry *ntp = platform.add_feature("ntp", 2);
    ntp->scope_type = 2;
    ntp->scope_value = 0x01020304;
    ntp->show_cfg_option = 2;
    ntp->entry_attr = 77;
    ntp->flags2 = 3;
    const fake_state good = {0, state_of(4, 2, 10, 3, 300)}, partly = {0, state_of(4, 1, 10, 5, 8)},
                     running = {0, state_of(4, 2, 10, 4, 8)}, bad = {-1, {}};
    const std::string longest(255, 'x');
    const struct {
        uint8_t column; // of the table; the identifier is two more
        fake_state state;
        octets value;
        WriteMethod *write;
    } cases[] = {
        {2, good, integer(1), set_vynFeatureOpAction},
        {3, bad, integer(2), set_vynFeatureOpScopeType},
        {4, bad, {1, 2, 3, 4}, set_vynFeatureOpScopeVal},
        {5, good, integer(4), nullptr},
        {5, bad, integer(1), nullptr},
        {6, good, integer(2), nullptr},
        {6, bad, integer(1), nullptr},
        {7, good, {0, 0, 0, 10}, nullptr},
        {7, partly, {}, nullptr},
        {7, bad, {}, nullptr},
        {8, good, integer(3), nullptr},
        {8, bad, integer(1), nullptr},
        {9, good, text(longest), nullptr},
        {9, partly, text("reason 8"), nullptr},
        {9, running, {}, nullptr},
        {9, bad, {}, nullptr},
        {10, bad, integer(2), set_vynFeatureOpShowCfgOption},
        {11, bad, integer(77), nullptr},
        {12, bad, {0xC0}, nullptr},
    };
    for (const auto &test : cases)
        for (bool exact : {true, false}) {
            SCOPED_TRACE(int{test.column});
            platform.states = {test.state};
            const auto result =
                read_object(test.column + 2,
                            row_of(1, test.column, exact ? name_index("ntp") : sub_ids{}), exact);
            EXPECT_EQ(result.value, test.value);
            EXPECT_EQ(result.name, row(test.column, "ntp"));
            EXPECT_EQ(result.write_method, test.write);
            EXPECT_EQ(platform.take_log(), (lines{"state ntp op=1 scope=0 vsan=0",
                                                  "trace 100 ret code from get_vyn_entry: " +
                                                      std::to_string(test.state.result) + "\n"}));
        }

    const struct {
        u32 scope_type, scope_value, flags, flags2;
        octets scope, bits;
    } entries[] = {{2, 0, 0, 3, {}, {0}},
                   {1, 5, 2, 1, {}, {0x80}},
                   {2, 1, 2, 2, {0, 0, 0, 1}, {0x40}},
                   {0, 1, 6, 3, {}, {0x20}},
                   {2, 255, 4, 0, {0, 0, 0, 255}, {0x20}}};
    for (const auto &test : entries) {
        ntp->scope_type = test.scope_type;
        ntp->scope_value = test.scope_value;
        ntp->flags = test.flags;
        ntp->flags2 = test.flags2;
        EXPECT_EQ(read_object(VYNFEATUREOPSCOPEVAL, row(4, "ntp"), true).value, test.scope);
        EXPECT_EQ(read_object(VYNFEATUREOPFLAGS, row(12, "ntp"), true).value, test.bits);
    }
}

TEST_F(feature_op, walks_the_registry_in_its_order)
{
    EXPECT_EQ(walk(), lines{});
    const lines names = {
        "a", "ntp", "ntq", "role", std::string(3, '\x7f') + "\xff", std::string(81, 'z')};
    for (const std::string &name : names)
        platform.add_feature(name);
    EXPECT_EQ(walk(), names);
    platform.add_feature(std::string(82, 'a'));
    EXPECT_EQ(walk().back(), std::string(82, 'a')) << "found, but nothing goes on from it";
    EXPECT_FALSE(next(row(2, std::string(82, 'a'))).value);
    EXPECT_TRUE(get(row(2, std::string(82, 'a'))).value);

    // The first greater one in scan order is the answer, greater ones before smaller ones or not.
    platform.features.clear();
    for (const std::string name : {"role", "ntp", "zone"})
        platform.add_feature(name);
    EXPECT_EQ(walk(), (lines{"role", "zone"}));
}

TEST_F(feature_op, starts_a_walk_at_the_column)
{
    platform.add_feature("ntp");
    for (const sub_ids &other : {sub_ids{1, 3, 6}, vyn_oid({1, 1, 1, 1, 1, 9}),
                                 vyn_oid({1, 1, 1, 1, 3, 200}), sub_ids(128, 5)})
        EXPECT_EQ(next(other).name, row(2, "ntp"));
    platform.features.clear();
    EXPECT_EQ(next({1, 3, 6}).name, row_of(1, 2, {})) << "without a row, the column stays";
    EXPECT_EQ(get({1, 3, 6}).name, row_of(1, 2, {}));
}

TEST_F(feature_op, takes_no_row_from_a_hostile_index)
{
    platform.add_feature("ntp");
    platform.add_feature("zone");
    const oid huge = 4294967295;
    // The length of the name is passed over by an exact read.
    for (const sub_ids &index :
         {sub_ids{3, 'n', 't', 'p'}, {0, 'n', 't', 'p'}, {huge, 'n', 't', 'p'}}) {
        const read_result found = get(row_of(1, 2, index));
        EXPECT_TRUE(found.value);
        EXPECT_EQ(found.name, row(2, "ntp"));
    }
    sub_ids longest(114, 'n'), too_long(84, 'n');
    const sub_ids hostile[] = {{},
                               {3},
                               {3, 'n', 't'},
                               {3, 'n', 't', 'p', 'x'},
                               {3, 'n', 't', 'p' + 256},
                               {3, huge, huge, huge},
                               longest,
                               too_long};
    for (const sub_ids &index : hostile) {
        EXPECT_FALSE(get(row_of(1, 2, index)).value) << index.size();
        EXPECT_EQ(get(row_of(1, 2, index)).name, row_of(1, 2, index));
        oid rest[MAX_OID_LEN];
        std::copy(index.begin(), index.end(), rest);
        EXPECT_EQ(vyn_parse_FeatureEntry(row_of(1, 2, index).data(), 14 + index.size()), nullptr);
    }
    for (const sub_ids &index :
         {sub_ids{huge}, {3, 256}, {5}, {4, 'z', 'o', 'n', 'e'}, longest, too_long})
        EXPECT_FALSE(next(row_of(1, 2, index)).value) << index.size();
    for (const sub_ids &index : {sub_ids{3}, {0, 'x'}, {2, 255}, {3, 'n', 't', 'o', 255}})
        EXPECT_EQ(next(row_of(1, 2, index)).name, row(2, "ntp"));
}

TEST_F(feature_op, parses_a_name_that_agrees_with_its_length)
{
    const struct {
        sub_ids index;
        std::optional<std::string> name;
    } cases[] = {{{3, 'n', 't', 'p'}, "ntp"},
                 {{0}, ""},
                 {{1, 255}, "\xff"},
                 {{}, {}},
                 {{3}, {}},
                 {{3, 'n', 't'}, {}},
                 {{3, 'n', 't', 'p', 0}, {}},
                 {{3, 'n', 256, 'p'}, {}},
                 {{4294967295, 'n'}, {}}};
    for (const auto &test : cases) {
        char *name = nullptr;
        size_t length = 0;
        EXPECT_EQ(vynFeature_parse_oid(test.index.data(), test.index.size(), &name, &length),
                  test.name ? 0 : 1);
        if (test.name) {
            EXPECT_EQ(std::string(name, length + 1), *test.name + '\0');
        }
        free(name);
    }
    char *name = nullptr;
    size_t length;
    EXPECT_EQ(vynFeature_parse_oid(nullptr, 3, &name, &length), 1);
    EXPECT_EQ(vynFeature_parse_oid(cases[0].index.data(), 4, nullptr, &length), 1);
}

// --- Writes ---

const std::string in_progress =
    "trace 100 set_vynFeatureOpAction : Set operation failed as the feature's current "
    "VYNFEATUREOPLASTACTIONRESULT is IN_PROGRESS  ";
const std::string unsupported = "set_error 1085472821 1432", busy = "set_error 1085472826 1432";

TEST_F(feature_op, runs_an_action_in_commit)
{
    const std::string any = "state ntp op=1 scope=0 vsan=0",
                      vsan = "state ntp op=1 scope=2 vsan=10";
    const fake_state idle = {0, state_of(4, 1, 0, 2)}, running = {0, state_of(4, 2, 10, 4)},
                     enabling = {0, state_of(2, 1, 0, 4)}, none = {-1, {}};
    const struct {
        u32 scope_type, scope_value, flags, value;
        std::deque<fake_state> states;
        int error;
        lines log;
    } cases[] = {
        {1, 0, 2, 4, {idle}, 0, {any, "run ntp 4"}},
        {1, 0, 2, 4, {none}, 0, {any, "run ntp 4"}},
        {1, 0, 2, 5, {running}, 12, {any, in_progress, busy}},
        {1, 0, 2, 6, {}, 0, {"run ntp 6"}},
        {2, 0, 4, 6, {}, 12, {}},
        {2, 0, 4, 2, {}, 12, {}},
        {2, 10, 4, 4, {idle, running}, 12, {any, vsan, in_progress, busy}},
        {2, 10, 4, 4, {running, idle}, 0, {any, vsan, "run ntp 4"}},
        {2, 10, 4, 4, {idle, none}, 0, {any, vsan, "run ntp 4"}},
        {2, 10, 4, 4, {enabling}, 12, {any, in_progress, busy}},
        {1, 0, 4, 4, {}, 12, {unsupported}},
        {2, 10, 2, 6, {}, 12, {unsupported}},
        {1, 0, 4, 3, {idle}, 0, {any, "run ntp 3"}},
        {2, 10, 0, 2, {idle, idle}, 0, {any, vsan, "run ntp 2"}},
    };
    const sub_ids name = row(2, "ntp");
    vyn_feature_entry *ntp = platform.add_feature("ntp");
    for (const auto &test : cases) {
        SCOPED_TRACE(testing::Message()
                     << test.scope_type << " " << test.flags << " " << test.value);
        ntp->scope_type = test.scope_type;
        ntp->scope_value = test.scope_value;
        ntp->flags = test.flags;
        platform.states = test.states;
        for (int quiet : {reserve1, reserve2, action, free_phase, undo})
            EXPECT_EQ(
                write_integer(set_vynFeatureOpAction, quiet, test.value, 4, ASN_INTEGER, name), 0);
        EXPECT_EQ(platform.take_log(), lines{});
        EXPECT_EQ(write_integer(set_vynFeatureOpAction, commit, test.value, 8, ASN_INTEGER, name),
                  test.error);
        EXPECT_EQ(platform.take_log(), test.log);
    }
    platform.library_result = 5;
    ntp->action = 6;
    ntp->flags = 4;
    EXPECT_EQ(write_integer(set_vynFeatureOpAction, commit, 6, 4, ASN_INTEGER, name), 5);
    EXPECT_EQ(platform.take_log(), (lines{"run ntp 6", "trace 100 -- Returning Generr -- "}));
}

TEST_F(feature_op, keeps_role_for_network_administrators)
{
    platform.add_feature("role");
    const auto reserve = [&] {
        return write_integer(set_vynFeatureOpAction, reserve1, 4, 4, ASN_INTEGER, row(2, "role"));
    };
    EXPECT_EQ(reserve(), 5);
    EXPECT_EQ(platform.take_log(), (lines{"vacm_is_user_network_admin",
                                          "trace 100 set_vynFeatureOpAction : "
                                          "syserr_snmp_err_not_sufficient_access_right\n"}));
    platform.is_admin = true;
    EXPECT_EQ(reserve(), 0);
}

TEST_F(feature_op, stores_scope_and_option_in_action)
{
    vyn_feature_entry *ntp = platform.add_feature("ntp");
    const sub_ids name = row(4, "ntp");
    const auto write_scope = [&](const octets &value) {
        octets copy = value;
        copy.reserve(1);
        return set_vynFeatureOpScopeVal(action, copy.data(), ASN_OCTET_STR, copy.size(), nullptr,
                                        const_cast<oid *>(name.data()), name.size());
    };
    EXPECT_EQ(write_integer(set_vynFeatureOpScopeType, action, 2, 4, ASN_INTEGER, name), 0);
    EXPECT_EQ(write_integer(set_vynFeatureOpShowCfgOption, action, 1, 8, ASN_INTEGER, name), 0);
    EXPECT_EQ(platform.take_log(),
              (lines{"store ntp scope=2/0 option=0", "store ntp scope=2/0 option=1"}));
    const struct {
        octets value;
        u32 stored;
        int error;
    } cases[] = {{{0, 0, 0x0f, 0xfd}, 4093, 0},
                 {{0, 0, 0x0f, 0xfe}, 4094, 10},
                 {{0, 0, 0, 1, 9, 9}, 1, 0},
                 {{0, 0, 0, 0}, 0, 10},
                 {{}, 0, 10},
                 {{0, 0, 1}, 256, 0},
                 {{1}, 0x01000000, 10}};
    for (const auto &test : cases) {
        EXPECT_EQ(write_scope(test.value), test.error);
        EXPECT_EQ(ntp->scope_value, test.stored);
        EXPECT_EQ(platform.take_log().size(), test.error ? 0u : 1u);
    }
    ntp->scope_type = 1;
    EXPECT_EQ(write_scope({}), 0) << "only a logical scope needs a VSAN";
    platform.library_result = 1;
    EXPECT_EQ(write_scope({}), 5);
    EXPECT_EQ(write_integer(set_vynFeatureOpScopeType, action, 1, 4, ASN_INTEGER, name), 5);
}

TEST_F(feature_op, checks_writes_in_order)
{
    platform.add_feature("ntp");
    const std::string range = " : Wrong range : ";
    const struct {
        WriteMethod *write;
        std::string column, bad_length;
        long low, high;
    } columns[] = {
        {set_vynFeatureOpAction, "vynFeatureOpAction", "write to vynFeatureOpAction: bad length\n",
         2, 6},
        {set_vynFeatureOpScopeType, "vynFeatureOpScopeType",
         "write to vynFeatureOpScopeType: bad length\n", 1, 2},
        {set_vynFeatureOpShowCfgOption, "vynFeatureOpShowCfgOption",
         "wwrite to vynFeatureOpShowCfgOption: bad length\n", 1, 2},
    };
    for (const auto &test : columns) {
        const auto reserve = [&](long value, size_t length, u_char type,
                                 const std::string &feature) {
            return write_integer(test.write, reserve1, value, length, type, row(2, feature));
        };
        EXPECT_EQ(reserve(0, 5, ASN_UNSIGNED, "ntp"), 7);
        EXPECT_EQ(reserve(0, 5, ASN_INTEGER, "ntp"), 8);
        EXPECT_EQ(reserve(test.low - 1, 4, ASN_INTEGER, "none"), 10);
        EXPECT_EQ(reserve(test.high + 1, 8, ASN_INTEGER, "ntp"), 10);
        EXPECT_EQ(platform.take_log(),
                  (lines{"trace 100 write to " + test.column + " not ASN_INTEGER\n",
                         "trace 100 " + test.bad_length,
                         "trace 100 set_" + test.column + range + std::to_string(test.low - 1),
                         "trace 100 set_" + test.column + range + std::to_string(test.high + 1)}));
        EXPECT_EQ(reserve(test.low, 0, ASN_INTEGER, "none"), 129);
        EXPECT_EQ(reserve(test.high, 0, ASN_INTEGER, "ntp"), 0);
        EXPECT_EQ(write_integer(test.write, action, test.low, 4, ASN_INTEGER, row(2, "none")), 129);
        EXPECT_EQ(write_integer(test.write, commit, test.low, 4, ASN_INTEGER, row(2, "none")), 0);
    }
    EXPECT_EQ(write_integer(set_vynFeatureOpAction, reserve2, 4, 4, ASN_INTEGER, row(2, "none")),
              129);
    EXPECT_EQ(
        write_integer(set_vynFeatureOpScopeVal, reserve2, 4, 4, ASN_OCTET_STR, row(4, "none")),
        129);
    platform.take_log();
    for (auto [length, type, error] : {std::tuple{size_t{256}, ASN_INTEGER, 7},
                                       {256, ASN_OCTET_STR, 8},
                                       {255, ASN_OCTET_STR, 0}})
        EXPECT_EQ(write_integer(set_vynFeatureOpScopeVal, reserve1, 1, length, type, row(4, "ntp")),
                  error);
    EXPECT_EQ(
        write_integer(set_vynFeatureOpScopeVal, reserve1, 1, 4, ASN_OCTET_STR, row(4, "none")),
        129);
    EXPECT_EQ(platform.take_log(),
              (lines{"trace 100 write to vynFeatureOpScopeVal not ASN_OCTET_STR\n",
                     "trace 100 write to vynFeatureOpScopeVal: bad length\n"}));
}

} // namespace
