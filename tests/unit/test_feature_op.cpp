// The feature operation table: rows and values, indexes that name none, and the phases of its writable columns.

#include "fake_platform.h"

namespace {

fake_state told(u32 last_action, u32 scope, u32 vsan, u32 result, u32 error = 0, int answer = 0) {
    return {answer, {{}, last_action, scope, vsan, result, error, 0, 0, 0}};
}

sub_ids row(const std::string &name) { return row_of(VYNFEATUREOPACTION, name_index(name)); }

class feature_op : public platform_test {};

TEST_F(feature_op, reads_what_entry_and_state_say) {
    vyn_feature_entry *entry = platform.add_feature("ntp");
    // clang-format off
    const std::tuple<u32, u32, u32, u32, octets, octets> entries[] = {
        {2, 0, 0, 3, {}, {0}}, {1, 5, 2, 1, {}, {0x80}}, {2, 1, 2, 2, {0, 0, 0, 1}, {0x40}},
        {0, 1, 6, 3, {}, {0x20}}, {2, 255, 4, 0, {0, 0, 0, 255}, {0x20}}, {2, 0x01020304, 2, 3, {1, 2, 3, 4}, {0xC0}}};
    for (const auto &[scope_type, scope_value, flags, flags2, scope, bits] : entries) {
        *entry = {{3, 'n', 't', 'p'}, 2, 77, 0, scope_type, scope_value, flags, flags2, nullptr};
        EXPECT_EQ(read_row(VYNFEATUREOPSCOPEVAL, ntp, true).value, scope);
        EXPECT_EQ(read_row(VYNFEATUREOPFLAGS, ntp, true).value, bits);
    }
    const fake_state states[] = {
        told(4, 2, 10, 3, 300), told(4, 1, 10, 5, 8), told(4, 2, 10, 4, 8), told(4, 2, 10, 3, 0, -1)};
    const octets vsan = {0, 0, 0, 10}, own = {1, 2, 3, 4}, one = integer(1), two = integer(2), four = integer(4);
    // Of each column, the values of a state that failed, failed partly, is running and is not told, or one for all.
    const std::tuple<int, std::vector<octets>, WriteMethod *> cases[] = {
        {VYNFEATUREOPACTION, {one}, set_vynFeatureOpAction}, {VYNFEATUREOPSCOPETYPE, {two}, set_vynFeatureOpScopeType},
        {VYNFEATUREOPSCOPEVAL, {own}, set_vynFeatureOpScopeVal}, {VYNFEATUREOPENTRYATTR, {integer(77)}, nullptr},
        {VYNFEATUREOPSHOWCFGOPTION, {two}, set_vynFeatureOpShowCfgOption},
        {VYNFEATUREOPLASTACTION, {four, four, four, one}, nullptr},
        {VYNFEATUREOPLASTSCOPETYPE, {two, one, two, one}, nullptr},
        {VYNFEATUREOPLASTSCOPEVAL, {vsan, {}, vsan, vsan}, nullptr},
        {VYNFEATUREOPLASTACTIONRESULT, {integer(3), integer(5), four, one}, nullptr},
        {VYNFEATUREOPLASTFAILUREREASON, {octets(255, 'x'), text("reason 8"), {}, {}}, nullptr}};
    // clang-format on
    for (const auto &[column, values, write] : cases)
        for (size_t i = 0; i < std::size(states); i++) {
            platform.states = {states[i]};
            const read_result result = read_row(column, ntp, true);
            EXPECT_EQ(result.value, values[values.size() == 1 ? 0 : i]) << column << " state " << i;
            EXPECT_EQ(result.write_method, write);
        }
    const std::string asked = "state ntp op=1 scope=0 vsan=0", trace = "trace 100 ret code from get_vyn_entry: ";
    reads(VYNFEATUREOPACTION, true, {ntp}, ntp, {asked, trace + "-1\n"}, {}, {states[3]});
    reads(VYNFEATUREOPACTION, false, {{}}, ntp, {asked, trace + "0\n"}, {}, {states[0]});
}

TEST_F(feature_op, walks_the_registry_in_its_order) {
    const auto next = [](const sub_ids &index) { return read_row(VYNFEATUREOPACTION, index, false); };
    for (bool exact : {true, false}) // which stays without a row
        EXPECT_EQ(read_object(VYNFEATUREOPACTION, {1, 3, 6}, exact).name, row_of(VYNFEATUREOPACTION));
    const std::string longest(82, 'a');
    const lines names = {"a", "ntp", "ntq", "role", std::string(3, '\x7f') + "\xff", std::string(81, 'z'), longest};
    const std::string after_longest(82, 'b');
    for (const std::string &name : names) platform.add_feature(name);
    sub_ids from;
    for (const std::string &name : names) {
        EXPECT_EQ(next(from).name, row(name));
        from = name_index(name);
    }
    platform.add_feature(after_longest);
    EXPECT_FALSE(next(from).value) << "nothing goes on from the longest";
    EXPECT_TRUE(read_row(VYNFEATUREOPACTION, from, true).value);
    // The first greater one in scan order is the answer, greater ones before smaller ones or not.
    platform.features.clear();
    for (const std::string name : {"role", "ntp", "zone"}) platform.add_feature(name);
    EXPECT_EQ(next(name_index("role")).name, row("zone"));
    for (const sub_ids &other : {sub_ids{1, 3, 6}, vyn_oid({1, 1, 1, 1, 1, 9}), vyn_oid({1, 1, 1, 1, 3, 200}), row("")})
        EXPECT_EQ(read_object(VYNFEATUREOPACTION, other, false).name, row("role")) << "a walk starts at the column";
}

TEST_F(feature_op, takes_no_row_from_a_hostile_index) {
    for (const std::string name : {"ntp", "zone", "\xff"}) platform.add_feature(name);
    const sub_ids too_long = sub_ids{3} + sub_ids(83, 'n'), longest = sub_ids{3} + sub_ids(113, 'n');
    platform.add_feature(std::string(83, 'n'));
    for (oid length : {oid{3}, oid{0}, huge}) // which an exact read passes over
        EXPECT_EQ(read_row(VYNFEATUREOPACTION, {length, 'n', 't', 'p'}, true).name, row("ntp"));
    refuses(VYNFEATUREOPACTION,
            {{}, {3}, {3, 'n', 't'}, {3, 'n', 't', 'p', 'x'}, {3, 'n', 't', 'p' + 256}, longest, too_long});
    for (const sub_ids &index : {sub_ids{3, huge}, {3, 256}, {84}, {4, 'z', 'o', 'n', 'e'}, longest, too_long})
        EXPECT_FALSE(read_row(VYNFEATUREOPACTION, index, false).value) << index.size();
    EXPECT_EQ(read_row(VYNFEATUREOPACTION, {3, 'n', 't', 'o', 255}, false).name, row("ntp"));
    // A write insists on the length.
    set(set_vynFeatureOpAction, row("\xff"), {{reserve2, 4, 0}});
    for (const sub_ids &index : {sub_ids{}, {3}, {3, 'n', 't'}, {3, 'n', 't', 'p', 0}, {3, 'n', 256, 'p'}, {huge, 'n'}})
        set(set_vynFeatureOpAction, row_of(VYNFEATUREOPACTION, index), {{reserve2, 4, 129}});
}

TEST_F(feature_op, runs_an_action_in_commit) {
    const std::string any = "state ntp op=1 scope=0 vsan=0", vsan = "state ntp op=1 scope=2 vsan=10",
                      unsupported = "set_error 1085472821 1432", busy = "set_error 1085472826 1432",
                      in_progress = "trace 100 set_vynFeatureOpAction : Set operation failed as the feature's current "
                                    "VYNFEATUREOPLASTACTIONRESULT is IN_PROGRESS  ";
    const fake_state idle = told(4, 1, 0, 2), running = told(4, 2, 10, 4), none = {-1, {}};
    // clang-format off
    // The entry's scope type and value and its flags, the action, the states told, the error and the log.
    const std::tuple<u32, u32, u32, u32, std::deque<fake_state>, int, lines> cases[] = {
        {1, 0, 2, 4, {idle}, 0, {any, "run ntp 4"}}, {1, 0, 2, 4, {none}, 0, {any, "run ntp 4"}},
        {1, 0, 2, 5, {running}, 12, {any, in_progress, busy}}, {1, 0, 2, 6, {}, 0, {"run ntp 6"}},
        {2, 0, 4, 6, {}, 12, {}}, {2, 0, 4, 2, {}, 12, {}}, {1, 0, 4, 3, {idle}, 0, {any, "run ntp 3"}},
        {2, 10, 4, 4, {idle, running}, 12, {any, vsan, in_progress, busy}},
        {2, 10, 4, 4, {running}, 0, {any, vsan, "run ntp 4"}}, {2, 10, 0, 2, {idle, idle}, 0, {any, vsan, "run ntp 2"}},
        {2, 10, 4, 4, {told(3, 1, 0, 4)}, 12, {any, in_progress, busy}}, {1, 0, 4, 4, {}, 12, {unsupported}},
        {2, 10, 4, 4, {told(2, 1, 0, 4)}, 12, {any, in_progress, busy}}, {2, 10, 2, 6, {}, 12, {unsupported}}};
    // clang-format on
    vyn_feature_entry *entry = platform.add_feature("ntp");
    const sub_ids name = row("ntp");
    for (const auto &[scope_type, scope_value, flags, value, states, result, log] : cases) {
        SCOPED_TRACE(testing::Message() << scope_type << " " << flags << " " << value);
        entry->scope_type = scope_type, entry->scope_value = scope_value, entry->flags = flags;
        for (int quiet : {reserve1, reserve2, action, free_phase, undo})
            set(set_vynFeatureOpAction, name, {{quiet, set_value(value, 4), 0}});
        set(set_vynFeatureOpAction, name, {{commit, value, result, log, {}, states}});
    }
    platform.library_result = 5;
    entry->scope_type = 1, entry->action = 6;
    set(set_vynFeatureOpAction, name, {{commit, 6, 5, {"run ntp 6", "trace 100 -- Returning Generr -- "}}});
}

TEST_F(feature_op, stores_scope_and_option_in_action) {
    vyn_feature_entry *entry = platform.add_feature("ntp");
    const sub_ids name = row("ntp");
    const lines in_physical = {"store ntp scope=1/0 option=1"};
    set(set_vynFeatureOpScopeType, name, {{action, {2, 4}, 0, {"store ntp scope=2/0 option=0"}}});
    set(set_vynFeatureOpShowCfgOption, name, {{action, 1, 0, {"store ntp scope=2/0 option=1"}}});
    const std::tuple<octets, u32, int> values[] = {// what is refused is kept all the same, and not stored
                                                   {{0, 0, 0x0f, 0xfd}, 4093, 0}, {{0, 0, 0x0f, 0xfe}, 4094, 10},
                                                   {{0, 0, 0, 1, 9, 9}, 1, 0},    {{0, 0, 0, 0}, 0, 10},
                                                   {{0, 0, 1}, 256, 0},           {{}, 0, 10}};
    for (const auto &[value, kept, result] : values) {
        const std::string stored = "store ntp scope=2/" + std::to_string(kept) + " option=1";
        set(set_vynFeatureOpScopeVal, name, {{action, value, result, result ? lines{} : lines{stored}}});
        EXPECT_EQ(entry->scope_value, kept);
    }
    set(set_vynFeatureOpScopeType, name, {{action, 1, 0, in_physical}});
    platform.library_result = 1; // only a logical scope needs a VSAN
    set(set_vynFeatureOpScopeVal, name, {{action, octets{}, 5, in_physical}});
    set(set_vynFeatureOpScopeType, name, {{action, 1, 5, in_physical}});
}

TEST_F(feature_op, writes_need_a_feature_and_role_an_administrator) {
    for (const std::string name : {"ntp", "role", "role2"}) platform.add_feature(name);
    const std::string scope = "trace 100 write to vynFeatureOpScopeVal", asked = "vacm_is_user_network_admin",
                      refused = "trace 100 set_vynFeatureOpAction : syserr_snmp_err_not_sufficient_access_right\n";
    const sub_ids name = row("ntp"), none = row("none");
    set(set_vynFeatureOpAction, row("role"), {{reserve1, 4, 5, {asked, refused}}});
    set(set_vynFeatureOpAction, row("role2"), {{reserve1, 4, 0}});
    platform.is_admin = true;
    set(set_vynFeatureOpAction, row("role"), {{reserve1, 4, 0, {asked}}});
    set(set_vynFeatureOpAction, none, {{reserve1, 4, 129}, {reserve2, 4, 129}, {action, 4, 129}, {commit, 4, 0}});
    for (WriteMethod *write : {set_vynFeatureOpScopeType, set_vynFeatureOpShowCfgOption}) {
        set(write, none, {{reserve1, 1, 129}, {reserve2, 1, 0}, {action, 1, 129}});
        set(write, name, {{reserve1, 1, 0}});
    }
    set(set_vynFeatureOpScopeVal, none,
        {{reserve1, octets(4), 129}, {reserve2, octets(4), 129}, {action, octets(4), 129}, {commit, octets(4), 0}});
    set(set_vynFeatureOpScopeVal, none, {{reserve1, {1, 256}, 7, {scope + " not ASN_OCTET_STR\n"}}});
    set(set_vynFeatureOpScopeVal, none, {{reserve1, octets(256), 8, {scope + ": bad length\n"}}});
    set(set_vynFeatureOpScopeVal, name, {{reserve1, octets(255), 0}});
}

} // namespace
