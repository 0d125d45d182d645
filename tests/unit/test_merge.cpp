// The merge table: which index asks for what, walks through scopes and features, failures and their resolution.

#include "fake_platform.h"

namespace {

struct merge {
    std::string app = "ntp";
    uint32_t scope = PHYSICAL, vsan = 0, status = 2, entries = 1, code = 0;
    uint8_t failed = 0;
};

fake_answer reply(const merge &row) {
    const octets code = {uint8_t(row.code >> 8), uint8_t(row.code)};
    return {0, reply_of(137, {{4, ~0u}, {92, row.entries}, {96, row.status}, {100, row.scope}, {104, row.vsan}},
                        {{6, code}, {8, text(row.app)}, {136, {row.failed}}})};
}

const fake_answer end = {.error = 0x40B3001C, .reply = {}}, none = reply({.scope = 0, .entries = 0});

// What a walk asks for: the merge of a feature, in a scope and behind a VSAN.
std::string ask(const std::string &name, uint32_t scope, const std::string &vsan = "") {
    return "request 8474/2 0=e" + name + (vsan.empty() ? "" : " 96=" + vsan) + " 100=1000 104=" + std::to_string(scope);
}

const std::string is_ntp = " 12=6e747000", is_role = " 12=726f6c65", is_alerts = " 12=616c6572 16=74730000";

const std::string entry = "trace 100 At get_vynMergeEntry_ins..\n", look = "trace 100 Trying to extract name\n",
                  null = "trace 100 Null payload\n", result = "trace 100 Return value for MTS_OPC_VYN_MERGE_QUERY ";

class merges : public platform_test {
  protected:
    merges() {
        for (const char *name : {"ntp", "role", "alerts"}) platform.add_feature(name);
    }
};

TEST_F(merges, gets_a_row_by_its_whole_index) {
    // clang-format off
    asks(VYNMERGESTATUS, 8474, "e", reply({}), {
        {true, ntp_physical, is_ntp + " 100=1000 104=2"}, {true, ntp_vsan_10, is_ntp + " 96=a 100=1000 104=1"},
        {true, ntp + sub_ids{2, 9, 1, 2, 3, 260, 5}, is_ntp + " 96=1020304 100=1000 104=1"}});
    refuses(VYNMERGESTATUS, {
        {4, 'n', 't', 'p'}, {5, 'n', 't', 'p', 0, 0, 1}, {huge, 'n', 1}, name_index("none") + sub_ids{1}, ntp,
        name_index(std::string(81, 'a')) + sub_ids{1}, ntp + sub_ids{1, 0}, ntp + sub_ids{3, 4, 0, 0, 0, 10}});
    // clang-format on
    shows(ntp_physical, {{VYNMERGESTATUS, reply({.scope = LOGICAL, .vsan = 10}), integer(2), ntp_vsan_10},
                         {VYNMERGESTATUS, reply({.scope = 0, .vsan = 10}), integer(2), ntp_vsan_10}});
    const std::string get_ntp = "request 8474/1 0=e" + is_ntp + " 100=1000 104=2";
    reads(VYNMERGESTATUS, true, {ntp_physical}, {}, {entry, look, get_ntp, "trace 100 Num resp is 0\n"}, {none});
    reads(VYNMERGESTATUS, true, {ntp_physical}, {}, {entry, look, get_ntp, result + "GET is 77 \n"}, {failed});
    reads(VYNMERGESTATUS, true, {ntp_physical}, ntp_physical, {entry, look, get_ntp, null}, {null_reply});
}

// Where a walk goes on from, the answers that it gets, what it asked for them, and where it ends.
TEST_F(merges, walks_scopes_and_features) {
    const std::string ask_ntp = ask(is_ntp, LOGICAL), ask_role = ask(is_role, LOGICAL),
                      ask_alerts = ask(is_alerts, LOGICAL), ask_behind = ask(is_ntp, PHYSICAL),
                      ask_ntp_10 = ask(is_ntp, LOGICAL, "a"), ask_role_10 = ask(is_role, LOGICAL, "a");
    const sub_ids role_physical = name_index("role") + sub_ids{1},
                  alerts_vsan = name_index("alerts") + sub_ids{2, 4, 0, 0, 0, 9};
    const fake_answer of_role = reply({.app = "role"}), of_ntp = reply({}),
                      of_alerts = reply({.app = "alerts", .scope = LOGICAL, .vsan = 9}),
                      of_ntp_10 = reply({.scope = LOGICAL, .vsan = 10});
    platform.history = false;
    constexpr int status = VYNMERGESTATUS;
    // Blanks come before what names are made of.
    reads(status, false, {{}, {3}, {0, huge}, {3, 'n'}, ntp, ntp + sub_ids{9}}, ntp_physical, {ask_ntp}, {of_ntp});
    reads(status, false, {{3, 'n', 'u'}, {3, 'p', 'a', 'x'}}, role_physical, {ask_role}, {of_role});
    reads(status, false, {{}}, alerts_vsan, {ask_ntp, ask_role, ask_alerts}, {end, none, of_alerts});
    reads(status, false, {{3, 'p', 'a', 'x', 2, 4, 0, 0, 0, 10}}, role_physical, {ask_role_10}, {of_role});
    reads(status, false, {{6, 'z'}}, {}, {ask(" 12=7a202020 16=20200000", LOGICAL)}, {none});
    // Behind the physical row come the logical ones, and a physical one again means that there are none.
    reads(status, false, {ntp_physical}, ntp_vsan_10, {ask_behind}, {of_ntp_10});
    reads(status, false, {ntp_physical}, ntp_vsan_10, {ask_behind, ask_ntp}, {none, of_ntp_10});
    reads(status, false, {ntp_physical}, role_physical, {ask_behind, ask_ntp, ask_role}, {none, of_ntp, of_role});
    reads(status, false, {ntp_physical}, ntp_physical, {ask_behind}, {of_ntp, of_role});
    // The VSAN is kept for the features behind, and their physical rows are rows.
    reads(status, false, {ntp_vsan_10}, role_physical, {ask_ntp_10, ask_role_10}, {end, of_role});
    reads(status, false, {ntp_vsan_10}, role_physical, {ask_ntp_10, ask_role_10}, {of_ntp, of_role});
    reads(status, false, {ntp_vsan_10}, {}, {ask_ntp_10}, {failed, of_role});
    reads(status, false, {ntp + sub_ids{2}, ntp + sub_ids{2, 4}}, ntp_vsan_10, {ask_ntp}, {of_ntp_10});
    reads(status, false, {ntp + sub_ids{2, 4, 1}}, ntp_vsan_10, {ask(is_ntp, LOGICAL, "1000000")}, {of_ntp_10});
    // More than four octets of a VSAN run on: over the mark, which is set again, and over the scope.
    reads(status, false, {ntp_vsan_10 + sub_ids{1, 1, 1, 1, 0, 0, 0, 2}}, ntp_vsan_10, {ask(is_ntp, PHYSICAL, "a")},
          {of_ntp_10});
    reads(status, false, {alerts_vsan}, {}, {ask(is_alerts, LOGICAL, "9")}, {end});
    platform.answers = {of_ntp};
    EXPECT_EQ(read_object(VYNMERGESTATUS, row_of(VYNPENDINGCONFOWNERADDRTYPE, ntp_vsan_10), false).name,
              row_of(VYNMERGESTATUS, ntp_physical));
    const std::string walk = "trace 100 header_vynMergeEntry : ",
                      no_more = " : Num resp = 0 for GETNEXT,Got physical scope resp \n";
    platform.history = true;
    reads(status, false, {ntp_physical}, {},
          {entry, ask_behind, walk + "ntp" + no_more, ask_ntp,
           walk + "ntp : For Logical scope request,Got physical scope resp\n", ask_role, null, walk + "role" + no_more,
           ask_alerts, result + "GETNEXT is 77 \n"},
          {none, of_ntp, end, failed});
}

TEST_F(merges, walk_ends_for_every_registry) {
    const std::string x(80, 'x'), y(81, 'y'), z(82, 'z'), ask_x = ask(words_from(12, 88, "78787878"), LOGICAL);
    platform.history = false;
    platform.features.clear();
    reads(VYNMERGESTATUS, false, {{}}, {}, {}, {none}); // without features there is nothing to ask for
    // Out of order, which hides some.
    for (const std::string &name : lines{z, y, "bb", "c", x, "aa"}) platform.add_feature(name);
    reads(VYNMERGESTATUS, false, {{}}, {}, {ask(" 12=62620000", LOGICAL), ask_x}, std::deque<fake_answer>(20, end));
    platform.features.clear();
    platform.add_feature("ab")->name[0] = 4; // a length that is wrong
    reads(VYNMERGESTATUS, false, {{}}, {}, {ask(" 12=61620000", LOGICAL)}, {end, end});
}

TEST_F(merges, shows_what_became_of_a_merge) {
    const fake_answer of_failure = reply({.code = 0xFFF2, .failed = 3}), of_success = reply({.status = 7, .code = 5});
    const auto reason = [&](const std::string &format, const std::string &result) {
        platform.error_text = format;
        shows(ntp_physical, {{VYNMERGEFAILREASON, of_failure, text(result), ntp_physical}});
    };
    const std::string longest(255, 'x');
    for (const std::string same : {"%", "50 %", "%s%n", "%% %d", "%5%"}) reason(same, same);
    for (const std::string end : {"y", "%d%%"}) reason(longest + end, longest);
    reason(std::string(510, '%'), std::string(255, '%'));
    reason("100%% of %%s", "100% of %s");
    reason("", "E262130"); // 3 << 16 | 0xFFF2
    shows(ntp_physical, {{VYNMERGESTATUS, of_success, integer(7), ntp_physical},
                         {VYNMERGEFAILREASON, of_success, octets(), ntp_physical},
                         {VYNMERGEFAILRESOLVACTION, of_success, integer(1), ntp_physical, set_vynMergeFailResolvAction},
                         {VYNMERGEFAILRESOLVACTION, null_reply, integer(1), ntp_physical, set_vynMergeFailResolvAction},
                         {VYNMERGEFAILRESOLVACTION, failed, {}, ntp_physical}}); // no row, no write
    reads(VYNMERGEFAILREASON, true, {ntp_physical}, ntp_physical,
          {"...", "trace 101 get_vynMergeTable : app 65522 status = 3 \n"}, {of_failure});
}

TEST_F(merges, failures_are_resolved) {
    const std::string refused = "trace 100 set_vynMergeFailResolvAction : ", gone = "trace 100 Could not get name\n",
                      change = "change 8474/3 0=3a", own = "trace 101 get_vynMergeEntry_instance : ";
    const auto row = [](const sub_ids &index) { return row_of(VYNMERGEFAILRESOLVACTION, index); };
    // clang-format off
    set(set_vynMergeFailResolvAction, row(ntp_vsan_10), {
        {reserve1, {1}, 0}, {reserve1, {2, 1}, 0}, {reserve2, {2}, 0, {look}}, {action, {1}, 0},
        {action, {2}, 0, {look, change + is_ntp + " 96=a 104=1"}, {null_reply}},
        {action, {2}, 5, {look, change + is_ntp + " 96=a 104=1", refused + "Operation Failed: E77", error_77},
         {failed}},
        {commit, {2}, 0}, {free_phase, {2}, 0}, {undo, {2}, 0}});
    set(set_vynMergeFailResolvAction, row(ntp_physical),
        {{action, {2, 1}, 0, {look, change + is_ntp + " 104=2"}, {null_reply}}});
    set(set_vynMergeFailResolvAction, row(name_index("gone") + sub_ids{1}), // since RESERVE2
        {{action, {2}, 0, {look, gone, change}, {null_reply}}});
    const std::pair<sub_ids, lines> none[] = {
        {{}, {own + "return match -failed \n"}}, {{0, 1}, {own + "app name - return match failed \n"}}, {{9, 1}, {}},
        {name_index("x") + sub_ids{1}, {look, gone}}, {ntp, {look, "trace 100 Len problem\n"}},
        {ntp + sub_ids{1, 0}, {look}}};
    // clang-format on
    for (auto [index, log] : none) {
        log.push_back(refused + "Parsing merge instance failed \n");
        set(set_vynMergeFailResolvAction, row(index), {{reserve2, {2}, 5, log}});
    }
}

} // namespace
