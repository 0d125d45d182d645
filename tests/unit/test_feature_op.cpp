// The feature operation table: rows and values, indexes that name none, and the phases of its four
// writable columns.

#include "fake_platform.h"
#include "vyn_index.h"

namespace {

constexpr oid huge = 4294967295;

fake_state told(u32 last_action, u32 scope, u32 vsan, u32 result, u32 error = 0, int answer = 0) {
    return {answer, {{}, last_action, scope, vsan, result, error, 0, 0, 0}};
}

class feature_op : public platform_test {
  protected:
    static sub_ids row(oid column, const std::string &name) { return row_of(1, column, name_index(name)); }

    read_result next(const sub_ids &requested) { return read_object(VYNFEATUREOPACTION, requested, false); }
    read_result get(const sub_ids &requested) { return read_object(VYNFEATUREOPACTION, requested, true); }

    // The names that a walk of the first column finds.
    lines walk() {
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

TEST_F(feature_op, reads_what_entry_and_state_say) {
    vyn_feature_entry *ntp = platform.add_feature("ntp");
    // clang-format off
    const struct {
        u32 scope_type, scope_value, flags, flags2;
        octets scope, bits;
    } entries[] = {{2, 0, 0, 3, {}, {0}}, {1, 5, 2, 1, {}, {0x80}}, {2, 1, 2, 2, {0, 0, 0, 1}, {0x40}},
        {0, 1, 6, 3, {}, {0x20}}, {2, 255, 4, 0, {0, 0, 0, 255}, {0x20}}, {2, 0x01020304, 2, 3, {1, 2, 3, 4}, {0xC0}}};
    for (const auto &[scope_type, scope_value, flags, flags2, scope, bits] : entries) {
        *ntp = {{3, 'n', 't', 'p'}, 2, 77, 0, scope_type, scope_value, flags, flags2, nullptr};
        EXPECT_EQ(read_object(VYNFEATUREOPSCOPEVAL, row(4, "ntp"), true).value, scope);
        EXPECT_EQ(read_object(VYNFEATUREOPFLAGS, row(12, "ntp"), true).value, bits);
    }
    platform.take_log();
    const fake_state states[] = {told(4, 2, 10, 3, 300), told(4, 1, 10, 5, 8), told(4, 2, 10, 4, 8),
                                 told(4, 2, 10, 3, 0, -1)};
    const octets vsan = {0, 0, 0, 10}, own = {1, 2, 3, 4}, one = integer(1), two = integer(2),
                 four = integer(4), attr = integer(77);
    const struct {
        oid column; // of the table; the identifier is two more
        octets values[4]; // failed, failed partly, running, and the state not told
        WriteMethod *write;
    } cases[] = {
        {2, {one, one, one, one}, set_vynFeatureOpAction}, {3, {two, two, two, two}, set_vynFeatureOpScopeType},
        {4, {own, own, own, own}, set_vynFeatureOpScopeVal}, {10, {two, two, two, two}, set_vynFeatureOpShowCfgOption},
        {5, {four, four, four, one}, nullptr}, {6, {two, one, two, one}, nullptr}, {7, {vsan, {}, vsan, vsan}, nullptr},
        {8, {integer(3), integer(5), four, one}, nullptr}, {9, {octets(255, 'x'), text("reason 8"), {}, {}}, nullptr},
        {11, {attr, attr, attr, attr}, nullptr},
    };
    // clang-format on
    for (const auto &test : cases)
        for (int i = 0; i < 8; i++) {
            SCOPED_TRACE(testing::Message() << test.column << " state " << i / 2);
            const bool exact = i % 2;
            platform.states = {states[i / 2]};
            const sub_ids requested = row_of(1, test.column, exact ? name_index("ntp") : sub_ids{});
            const auto result = read_object(static_cast<int>(test.column + 2), requested, exact);
            EXPECT_EQ(result.value, test.values[i / 2]);
            EXPECT_EQ(result.name, row(test.column, "ntp"));
            EXPECT_EQ(result.write_method, test.write);
            const std::string trace = "trace 100 ret code from get_vyn_entry: ";
            EXPECT_EQ(platform.take_log(), (lines{"state ntp op=1 scope=0 vsan=0", trace + (i < 6 ? "0\n" : "-1\n")}));
        }
}

TEST_F(feature_op, walks_the_registry_in_its_order) {
    EXPECT_EQ(walk(), lines{});
    const lines names = {"a", "ntp", "ntq", "role", std::string(3, '\x7f') + "\xff", std::string(81, 'z')};
    for (const std::string &name : names) platform.add_feature(name);
    EXPECT_EQ(walk(), names);
    const std::string longest(82, 'a');
    platform.add_feature(longest);
    EXPECT_EQ(walk().back(), longest) << "found, but nothing goes on from it";
    EXPECT_TRUE(get(row(2, longest)).value);

    // The first greater one in scan order is the answer, greater ones before smaller ones or not.
    platform.features.clear();
    for (const std::string name : {"role", "ntp", "zone"}) platform.add_feature(name);
    EXPECT_EQ(walk(), (lines{"role", "zone"}));
    for (const sub_ids &other : {sub_ids{1, 3, 6}, row_of(1, 1, {9}), row_of(1, 3, {200}), sub_ids(128, 5)})
        EXPECT_EQ(next(other).name, row(2, "role")) << "a walk starts at the column";
    platform.features.clear();
    EXPECT_EQ(next({1, 3, 6}).name, row_of(1, 2, {})) << "which stays without a row";
    EXPECT_EQ(get({1, 3, 6}).name, row_of(1, 2, {}));
}

TEST_F(feature_op, takes_no_row_from_a_hostile_index) {
    platform.add_feature("ntp");
    platform.add_feature("zone");
    // clang-format off
    const sub_ids longest(114, 'n'), too_long(84, 'n'), hostile[] = {
        {}, {3}, {3, 'n', 't'}, {3, 'n', 't', 'p', 'x'}, {3, 'n', 't', 'p' + 256}, {3, huge, huge, huge}, longest,
        too_long};
    // clang-format on
    for (oid length : {oid{3}, oid{0}, huge}) // which an exact read passes over
        EXPECT_EQ(get(row_of(1, 2, {length, 'n', 't', 'p'})).name, row(2, "ntp"));
    for (const sub_ids &index : hostile) {
        const sub_ids name = row_of(1, 2, index);
        EXPECT_FALSE(get(name).value) << index.size();
        EXPECT_EQ(get(name).name, name);
        EXPECT_EQ(vyn_parse_FeatureEntry(name.data(), name.size()), nullptr);
    }
    for (const sub_ids &index : {sub_ids{huge}, {3, 256}, {5}, {4, 'z', 'o', 'n', 'e'}, longest, too_long})
        EXPECT_FALSE(next(row_of(1, 2, index)).value) << index.size();
    for (const sub_ids &index : {sub_ids{3}, {0, 'x'}, {2, 255}, {3, 'n', 't', 'o', 255}})
        EXPECT_EQ(next(row_of(1, 2, index)).name, row(2, "ntp"));
}

TEST_F(feature_op, parses_a_name_that_agrees_with_its_length) {
    const auto parse = [](const sub_ids &index) {
        char *name = nullptr;
        size_t length = 0;
        if (vynFeature_parse_oid(index.data(), index.size(), &name, &length) != 0) return std::string("refused");
        const std::string result(name, length + 1);
        free(name);
        return result;
    };
    EXPECT_EQ(parse({3, 'n', 't', 'p'}), std::string("ntp\0", 4));
    EXPECT_EQ(parse({0}), std::string(1, '\0'));
    EXPECT_EQ(parse({1, 255}), std::string("\xff\0", 2));
    for (const sub_ids &index : {sub_ids{}, {3}, {3, 'n', 't'}, {3, 'n', 't', 'p', 0}, {3, 'n', 256, 'p'}, {huge, 'n'}})
        EXPECT_EQ(parse(index), "refused");
    char *name;
    size_t length;
    EXPECT_EQ(vynFeature_parse_oid(nullptr, 3, &name, &length), 1);
    EXPECT_EQ(vynFeature_parse_oid(name_index("a").data(), 2, nullptr, &length), 1);
}

TEST_F(feature_op, runs_an_action_in_commit) {
    const std::string any = "state ntp op=1 scope=0 vsan=0", vsan = "state ntp op=1 scope=2 vsan=10",
                      unsupported = "set_error 1085472821 1432", busy = "set_error 1085472826 1432",
                      in_progress = "trace 100 set_vynFeatureOpAction : Set operation failed as the feature's current "
                                    "VYNFEATUREOPLASTACTIONRESULT is IN_PROGRESS  ";
    const fake_state idle = told(4, 1, 0, 2), running = told(4, 2, 10, 4), none = {-1, {}}, enabling = told(2, 1, 0, 4),
                     disabling = told(3, 1, 0, 4);
    // clang-format off
    const struct {
        u32 scope_type, scope_value, flags, value;
        std::deque<fake_state> states;
        int error;
        lines log;
    } cases[] = {
        {1, 0, 2, 4, {idle}, 0, {any, "run ntp 4"}}, {1, 0, 2, 4, {none}, 0, {any, "run ntp 4"}},
        {1, 0, 2, 5, {running}, 12, {any, in_progress, busy}}, {1, 0, 2, 6, {}, 0, {"run ntp 6"}},
        {2, 0, 4, 6, {}, 12, {}}, {2, 0, 4, 2, {}, 12, {}}, {1, 0, 4, 3, {idle}, 0, {any, "run ntp 3"}},
        {2, 10, 4, 4, {idle, running}, 12, {any, vsan, in_progress, busy}},
        {2, 10, 4, 4, {running}, 0, {any, vsan, "run ntp 4"}}, {2, 10, 0, 2, {idle, idle}, 0, {any, vsan, "run ntp 2"}},
        {2, 10, 4, 4, {disabling}, 12, {any, in_progress, busy}},
        {2, 10, 4, 4, {enabling}, 12, {any, in_progress, busy}}, {1, 0, 4, 4, {}, 12, {unsupported}},
        {2, 10, 2, 6, {}, 12, {unsupported}},
    };
    // clang-format on
    vyn_feature_entry *ntp = platform.add_feature("ntp");
    for (const auto &test : cases) {
        SCOPED_TRACE(testing::Message() << test.scope_type << " " << test.flags << " " << test.value);
        ntp->scope_type = test.scope_type, ntp->scope_value = test.scope_value, ntp->flags = test.flags;
        for (int quiet : {reserve1, reserve2, action, free_phase, undo})
            set(set_vynFeatureOpAction, row(2, "ntp"), {{quiet, {test.value, 4}, 0}});
        set(set_vynFeatureOpAction, row(2, "ntp"), {{commit, test.value, test.error, test.log, {}, test.states}});
    }
    platform.library_result = 5;
    ntp->flags = 4;
    set(set_vynFeatureOpAction, row(2, "ntp"),
        {{action, 6, 0}, {commit, 6, 5, {"run ntp 6", "trace 100 -- Returning Generr -- "}}});
}

TEST_F(feature_op, keeps_role_for_network_administrators) {
    platform.add_feature("role");
    platform.add_feature("role2");
    const std::string asked = "vacm_is_user_network_admin",
                      refused = "trace 100 set_vynFeatureOpAction : syserr_snmp_err_not_sufficient_access_right\n";
    set(set_vynFeatureOpAction, row(2, "role"), {{reserve1, 4, 5, {asked, refused}}});
    set(set_vynFeatureOpAction, row(2, "role2"), {{reserve1, 4, 0}});
    platform.is_admin = true;
    set(set_vynFeatureOpAction, row(2, "role"), {{reserve1, 4, 0, {asked}}});
}

TEST_F(feature_op, stores_scope_and_option_in_action) {
    vyn_feature_entry *ntp = platform.add_feature("ntp");
    const sub_ids name = row(4, "ntp");
    const std::string store = "store ntp scope=2/";
    set(set_vynFeatureOpScopeType, name, {{action, {2, 4}, 0, {store + "0 option=0"}}});
    set(set_vynFeatureOpShowCfgOption, name, {{action, 1, 0, {store + "0 option=1"}}});
    // clang-format off
    for (const auto &[value, kept, error] : // what is refused is kept all the same, and not stored
         {std::tuple{octets{0, 0, 0x0f, 0xfd}, 4093u, 0}, {{0, 0, 0x0f, 0xfe}, 4094, 10}, {{0, 0, 0, 1, 9, 9}, 1, 0},
          {{0, 0, 0, 0}, 0, 10}, {{0, 0, 1}, 256, 0}, {{1}, 0x01000000, 10}, {{}, 0, 10}}) {
        // clang-format on
        const lines stored = {store + std::to_string(kept) + " option=1"};
        set(set_vynFeatureOpScopeVal, name, {{action, value, error, error ? lines{} : stored}});
        EXPECT_EQ(ntp->scope_value, kept);
    }
    set(set_vynFeatureOpScopeType, name, {{action, 1, 0, {"store ntp scope=1/0 option=1"}}});
    platform.library_result = 1; // only a logical scope needs a VSAN
    set(set_vynFeatureOpScopeVal, name, {{action, octets{}, 5, {"store ntp scope=1/0 option=1"}}});
    set(set_vynFeatureOpScopeType, name, {{action, 1, 5, {"store ntp scope=1/0 option=1"}}});
}

TEST_F(feature_op, checks_writes_in_order) {
    platform.add_feature("ntp");
    const std::string write = "trace 100 write to ", vsan = write + "vynFeatureOpScopeVal";
    const sub_ids ntp = row(2, "ntp"), none = row(2, "none");
    const struct {
        WriteMethod *write;
        std::string column, bad_length;
        long low, high;
    } columns[] = {
        {set_vynFeatureOpAction, "vynFeatureOpAction", write, 2, 6},
        {set_vynFeatureOpScopeType, "vynFeatureOpScopeType", write, 1, 2},
        {set_vynFeatureOpShowCfgOption, "vynFeatureOpShowCfgOption", "trace 100 wwrite to ", 1, 2},
    };
    for (const auto &[function, column, bad_length, low, high] : columns) {
        const std::string range = "trace 100 set_" + column + " : Wrong range : ";
        set(function, ntp,
            {{reserve1, {0, 5, ASN_UNSIGNED}, 7, {write + column + " not ASN_INTEGER\n"}},
             {reserve1, {0, 5}, 8, {bad_length + column + ": bad length\n"}},
             {reserve1, high + 1, 10, {range + std::to_string(high + 1)}},
             {reserve1, {high, 0}, 0}});
        set(function, none,
            {{reserve1, {low - 1, 4}, 10, {range + std::to_string(low - 1)}},
             {reserve1, {low, 0}, 129},
             {action, low, 129},
             {commit, low, 0}});
    }
    set(set_vynFeatureOpAction, none, {{reserve2, 4, 129}});
    set(set_vynFeatureOpScopeVal, none,
        {{reserve1, octets(4), 129}, {reserve2, octets(4), 129}, {action, octets(4), 129}});
    set(set_vynFeatureOpScopeVal, ntp,
        {{reserve1, {1, 256}, 7, {vsan + " not ASN_OCTET_STR\n"}},
         {reserve1, octets(256), 8, {vsan + ": bad length\n"}},
         {reserve1, octets(255), 0}});
}

} // namespace
