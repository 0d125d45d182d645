// The merge table: which index asks for what, the walk through scopes and features, the text of a
// failure, and the resolution.

#include "fake_platform.h"

namespace {

constexpr uint32_t PHYSICAL = 2, LOGICAL = 1; // as the service has them
constexpr oid huge = 4294967295;
const sub_ids ntp = name_index("ntp"), ntp_physical = ntp + sub_ids{1}, ntp_vsan_10 = ntp + sub_ids{2, 4, 0, 0, 0, 10};

struct merge {
    std::string app = "ntp";
    uint32_t scope = PHYSICAL, vsan = 0, status = 2, entries = 1, code = 0, failed = 0;
};

fake_answer reply(const merge &row, size_t size = 137) {
    octets bytes = reply_of(140, {{4, 0xFFFF0000 | row.code},
                                  {92, row.entries},
                                  {96, row.status},
                                  {100, row.scope},
                                  {104, row.vsan},
                                  {136, row.failed << 24}});
    std::copy(row.app.begin(), row.app.end(), bytes.begin() + 8);
    bytes.resize(size);
    return {.error = 0, .reply = bytes};
}

const fake_answer null_reply = {.error = 0, .reply = {}}, failed = {.error = 77, .reply = octets(8)},
                  end = {.error = 0x40B3001C, .reply = {}}, none = reply({.scope = 0, .entries = 0});

// A query for the merge of a feature: msg_type, name, scope, VSAN.
std::string query(int type, const std::string &words, uint32_t scope, uint32_t vsan = 0) {
    std::string line = "request 8474/" + std::to_string(type) + " user=alice session=7 0=0000000e 4=00000001" + words;
    char number[16];
    snprintf(number, sizeof(number), " 96=%08x", vsan);
    if (vsan != 0) line += number;
    snprintf(number, sizeof(number), "%08x", scope);
    return line + " 100=00001000 104=" + number;
}

const std::string is_ntp = " 12=6e747000", is_role = " 12=726f6c65", is_alerts = " 12=616c6572 16=74730000";

class merges : public platform_test {
  protected:
    merges() {
        platform.history = false;
        for (const char *name : {"ntp", "role", "alerts"}) platform.add_feature(name);
    }

    read_result read(const sub_ids &index, bool exact, int column = VYNMERGESTATUS) {
        return read_object(column, row_of(3, static_cast<oid>(column - 24), index), exact);
    }
};

TEST_F(merges, gets_a_row_by_its_whole_index) {
    // clang-format off
    const std::tuple<sub_ids, merge, std::string, sub_ids> cases[] = {
        {ntp_physical, {}, query(1, is_ntp, PHYSICAL), ntp_physical},
        {ntp_vsan_10, {.scope = LOGICAL, .vsan = 10}, query(1, is_ntp, LOGICAL, 10), ntp_vsan_10},
        {ntp + sub_ids{2, 9, 1, 2, 3, 260, 5}, {.scope = 0, .vsan = 10}, query(1, is_ntp, LOGICAL, 0x01020304), ntp_vsan_10},
        {{3, 'n' + 256, 't', 'p', 1}, {}, query(1, is_ntp, PHYSICAL), ntp_physical}};
    const sub_ids refused[] = {
        {}, {0}, {0, 1}, {4, 'n', 't', 'p'}, {5, 'n', 't', 'p', 0, 0, 1}, {huge, 'n', 1}, name_index("none") + sub_ids{1},
        name_index(std::string(81, 'a')) + sub_ids{1}, ntp, ntp + sub_ids{1, 0}, ntp + sub_ids{3, 4, 0, 0, 0, 10},
        ntp + sub_ids{257}, ntp + sub_ids{2}, ntp + sub_ids{2, 0, 0, 0, 0, 10}, ntp + sub_ids{2, 4, 0, 0, 10}};
    // clang-format on
    for (const auto &[index, row, request, found] : cases) {
        platform.answers = {reply(row)};
        const auto result = read(index, true);
        EXPECT_EQ(result.value, integer(2));
        EXPECT_EQ(result.name, row_of(3, 3, found));
        EXPECT_EQ(platform.take_log(), lines{request});
    }
    for (const sub_ids &index : refused) {
        platform.answers = {reply({})};
        EXPECT_FALSE(read(index, true).value) << testing::PrintToString(index);
        EXPECT_EQ(platform.take_log(), lines());
    }
    for (const fake_answer &answer : {none, failed, end}) {
        platform.answers = {answer};
        EXPECT_FALSE(read(ntp_physical, true).value);
    }
}

// Where a walk goes on from, the answers that it gets, what it asked for them, and where it ends.
TEST_F(merges, walks_scopes_and_features) {
    const std::string ask_ntp = query(2, is_ntp, LOGICAL), ask_role = query(2, is_role, LOGICAL),
                      ask_alerts = query(2, is_alerts, LOGICAL);
    const sub_ids role_physical = name_index("role") + sub_ids{1},
                  alerts_vsan = name_index("alerts") + sub_ids{2, 4, 0, 0, 0, 9};
    const fake_answer of_role = reply({.app = "role"}),
                      of_alerts = reply({.app = "alerts", .scope = LOGICAL, .vsan = 9}),
                      of_ntp_10 = reply({.scope = LOGICAL, .vsan = 10});
    // clang-format off
    const struct {
        sub_ids from;
        std::deque<fake_answer> answers;
        lines log;
        sub_ids row;
    } cases[] = {
        {{}, {reply({})}, {ask_ntp}, ntp_physical},
        {{}, {end, none, of_alerts}, {ask_ntp, ask_role, ask_alerts}, alerts_vsan},
        {{}, {end, none, end}, {ask_ntp, ask_role, ask_alerts}, {}},
        {{3}, {reply({})}, {ask_ntp}, ntp_physical}, {{0, huge}, {reply({})}, {ask_ntp}, ntp_physical}, // blanks come before what names are made of
        {{3, 'n'}, {reply({})}, {ask_ntp}, ntp_physical}, {{3, 'n', 'u'}, {of_role}, {ask_role}, role_physical},
        {{3, 'p', 'a', 'x'}, {of_role}, {ask_role}, role_physical},
        {{3, 'p', 'a', 'x', 2, 4, 0, 0, 0, 7}, {of_role}, {query(2, is_role, LOGICAL, 7)}, role_physical},
        {{6, 'z'}, {none}, {query(2, " 12=7a202020 16=20200000", LOGICAL)}, {}},
        {ntp, {reply({})}, {ask_ntp}, ntp_physical}, {ntp + sub_ids{9}, {reply({})}, {ask_ntp}, ntp_physical},
        // Behind the physical row come the logical ones, and a physical one again means that there are none.
        {ntp_physical, {of_ntp_10}, {query(2, is_ntp, PHYSICAL)}, ntp_vsan_10},
        {ntp_physical, {none, of_ntp_10}, {query(2, is_ntp, PHYSICAL), ask_ntp}, ntp_vsan_10},
        {ntp_physical, {none, reply({}), of_role}, {query(2, is_ntp, PHYSICAL), ask_ntp, ask_role}, role_physical},
        {ntp_physical, {reply({}), of_role}, {query(2, is_ntp, PHYSICAL)}, ntp_physical},
        // The VSAN is kept for the features behind, and their physical rows are rows.
        {ntp_vsan_10, {end, of_role}, {query(2, is_ntp, LOGICAL, 10), query(2, is_role, LOGICAL, 10)}, role_physical},
        {ntp_vsan_10, {reply({}), of_role}, {query(2, is_ntp, LOGICAL, 10), query(2, is_role, LOGICAL, 10)}, role_physical},
        {ntp_vsan_10, {failed, of_role}, {query(2, is_ntp, LOGICAL, 10)}, {}},
        {ntp + sub_ids{2}, {of_ntp_10}, {ask_ntp}, ntp_vsan_10}, {ntp + sub_ids{2, 4}, {of_ntp_10}, {ask_ntp}, ntp_vsan_10},
        {ntp + sub_ids{2, 4, 1}, {of_ntp_10}, {query(2, is_ntp, LOGICAL, 0x01000000)}, ntp_vsan_10},
        // More than four octets of a VSAN run on: over the mark, which is set again, and over the scope.
        {ntp + sub_ids{2, 4, 0, 0, 0, 10, 1, 1, 1, 1, 0, 0, 0, 2}, {of_ntp_10}, {query(2, is_ntp, PHYSICAL, 10)}, ntp_vsan_10},
        {name_index("alerts") + sub_ids{2, 4, 0, 0, 0, 9}, {end}, {query(2, is_alerts, LOGICAL, 9)}, {}},
    };
    // clang-format on
    for (const auto &test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.from));
        platform.answers = test.answers;
        const auto result = read(test.from, false);
        EXPECT_EQ(result.value.has_value(), !test.row.empty());
        EXPECT_EQ(result.name, row_of(3, 3, test.row.empty() ? test.from : test.row));
        EXPECT_EQ(platform.take_log(), test.log);
    }
    platform.answers = {reply({})};
    EXPECT_EQ(read_object(VYNMERGESTATUS, row_of(2, 3, ntp_vsan_10), false).name, row_of(3, 3, ntp_physical));
}

TEST_F(merges, walk_ends_for_every_registry) {
    platform.features.clear();
    for (const std::string &name : {std::string(82, 'z'), std::string(81, 'y'), std::string("bb"), std::string("c"),
                                    std::string(80, 'x'), std::string("aa")})
        platform.add_feature(name); // out of order, which hides some: only the first greater one is taken
    platform.answers.assign(20, end);
    EXPECT_FALSE(read({}, false).value);
    lines log = platform.take_log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0], query(2, " 12=62620000", LOGICAL));
    EXPECT_TRUE(log[1].find(" 88=78787878 100=") != std::string::npos) << log[1];
    platform.features.clear();
    platform.add_feature("ab")->name[0] = 4; // a length that is wrong
    EXPECT_FALSE(read({}, false).value);
    EXPECT_EQ(platform.take_log(), lines{query(2, " 12=61620000", LOGICAL)});
    platform.features.clear();
    EXPECT_FALSE(read({}, false).value);
    EXPECT_EQ(platform.take_log(), lines()) << "without features there is nothing to ask for";
}

TEST_F(merges, shows_what_became_of_a_merge) {
    const auto reason = [&](const std::string &text) {
        platform.error_text = text;
        platform.answers = {reply({.code = 0xFFF2, .failed = 3})};
        return read(ntp_physical, true, VYNMERGEFAILREASON).value;
    };
    EXPECT_EQ(reason(""), text("E262130")) << "3 << 16 | 0xFFF2";
    const std::string longest(255, 'x');
    const std::pair<std::string, std::string> formats[] = {{"100%% of %%s", "100% of %s"},
                                                           {"%", "%"},
                                                           {"50 %", "50 %"},
                                                           {"%s%n", "%s%n"},
                                                           {"%% %d", "%% %d"},
                                                           {"%5%", "%5%"},
                                                           {longest + "y", longest},
                                                           {longest + "%d%%", longest},
                                                           {std::string(510, '%'), std::string(255, '%')}};
    for (const auto &[format, result] : formats) EXPECT_EQ(reason(format), text(result)) << format;

    for (int round = 0; round < 2; round++) { // the second one has no reply: the row is kept
        const fake_answer answer = round == 0 ? reply({.status = 7, .code = 5}) : null_reply;
        platform.answers.assign(3, answer);
        EXPECT_EQ(read(ntp_vsan_10, true).value, integer(7));
        EXPECT_EQ(read(ntp_vsan_10, true, VYNMERGEFAILREASON).value, octets());
        const auto resolve = read(ntp_vsan_10, true, VYNMERGEFAILRESOLVACTION);
        EXPECT_EQ(resolve.value, integer(1));
        EXPECT_EQ(resolve.write_method, set_vynMergeFailResolvAction);
        EXPECT_EQ(resolve.name, row_of(3, 5, round == 0 ? ntp_physical : ntp_vsan_10));
    }
    EXPECT_EQ(read(ntp_vsan_10, true, VYNMERGEFAILRESOLVACTION).write_method, nullptr) << "no row, no write";
    for (size_t size = 1; size <= 137; size++) {
        platform.answers = {reply({.app = std::string(81, 'n'), .status = 0x01020304}, size)};
        const auto result = read(ntp_physical, true);
        const uint32_t shown = 0x01020304u & (size < 97 ? 0 : size < 100 ? ~0u << (100 - size) * 8 : ~0u);
        EXPECT_EQ(result.value, size < 96 ? std::nullopt : std::optional(integer(static_cast<int32_t>(shown)))) << size;
        const sub_ids scope = size >= 104 ? sub_ids{1} : sub_ids{2, 4, 0, 0, 0, 0};
        EXPECT_EQ(result.name, row_of(3, 3, size < 96 ? ntp_physical : name_index(std::string(81, 'n')) + scope));
    }
}

TEST_F(merges, failures_are_resolved) {
    platform.history = true;
    const std::string refused = "trace 100 set_vynMergeFailResolvAction : ",
                      look = "trace 100 Trying to extract name\n",
                      write = "trace 100 write to vynMergeFailResolvAction", wrong = write + ":wrong value\n",
                      change = "request 8474/3 user=alice session=7 0=0000003a 4=00000001" + is_ntp;
    // clang-format off
    set(set_vynMergeFailResolvAction, row_of(3, 5, ntp_vsan_10), {
        {reserve1, {octets{0, 0, 0, 2}}, 7, {write + "not ASN_INTEGER\n"}},
        {reserve1, {2, 0}, 8, {write + " bad length\n"}}, {reserve1, {2, 5}, 8, {write + " bad length\n"}},
        {reserve1, {0}, 10, {wrong}}, {reserve1, {3}, 10, {wrong}}, {reserve1, {1}, 0}, {reserve1, {2, 1}, 0},
        {reserve2, {2}, 0, {look}}, {action, {1}, 0},
        {action, {2}, 0, {look, change + " 96=0000000a 104=00000001"}, {null_reply}},
        {action, {2}, 5, {look, change + " 96=0000000a 104=00000001", refused + "Operation Failed: E77", "set_error 77 1432"},
         {failed}},
        {commit, {2}, 0}, {free_phase, {2}, 0}, {undo, {2}, 0}});
    set(set_vynMergeFailResolvAction, row_of(3, 5, ntp_physical),
        {{action, {2, 1}, 0, {look, change + " 104=00000002"}, {null_reply}}});
    set(set_vynMergeFailResolvAction, row_of(3, 5, name_index("gone") + sub_ids{1}), // since RESERVE2
        {{action, {2}, 0, {look, "trace 100 Could not get name\n", change.substr(0, change.find(is_ntp))}, {null_reply}}});
    const std::string parsing = refused + "Parsing merge instance failed \n", own = "trace 101 get_vynMergeEntry_instance : ";
    const std::pair<sub_ids, lines> none[] = {
        {{}, {own + "return match -failed \n"}}, {{0, 1}, {own + "app name - return match failed \n"}}, {{9, 1}, {}},
        {name_index("x") + sub_ids{1}, {look, "trace 100 Could not get name\n"}}, {ntp, {look, "trace 100 Len problem\n"}},
        {ntp + sub_ids{1, 0}, {look}}};
    // clang-format on
    for (auto [index, log] : none) {
        log.push_back(parsing);
        set(set_vynMergeFailResolvAction, row_of(3, 5, index), {{reserve2, {2}, 5, log}});
    }
}

TEST_F(merges, traces_what_it_reads) {
    platform.history = true;
    const std::string entry = "trace 100 At get_vynMergeEntry_ins..\n", look = "trace 100 Trying to extract name\n",
                      asked = "trace 100 Return value for MTS_OPC_VYN_MERGE_QUERY ", null = "trace 100 Null payload\n",
                      no_more = " : Num resp = 0 for GETNEXT,Got physical scope resp \n",
                      walk = "trace 100 header_vynMergeEntry : ";
    platform.answers = {none, failed, null_reply};
    for (const std::string &last : {std::string("trace 100 Num resp is 0\n"), asked + "GET is 77 \n", null}) {
        read(ntp_physical, true);
        EXPECT_EQ(platform.take_log(), (lines{entry, look, query(1, is_ntp, PHYSICAL), last}));
    }
    platform.answers = {none, reply({}), end, failed};
    read(ntp_physical, false);
    EXPECT_EQ(platform.take_log(),
              (lines{entry, query(2, is_ntp, PHYSICAL), walk + "ntp" + no_more, query(2, is_ntp, LOGICAL),
                     walk + "ntp : For Logical scope request,Got physical scope resp\n", query(2, is_role, LOGICAL),
                     null, walk + "role" + no_more, query(2, is_alerts, LOGICAL), asked + "GETNEXT is 77 \n"}));
    platform.answers = {reply({.code = 4, .failed = 1})};
    read(ntp_physical, true, VYNMERGEFAILREASON);
    EXPECT_EQ(platform.take_log().back(), "trace 101 get_vynMergeTable : app 4 status = 1 \n");
}

} // namespace
