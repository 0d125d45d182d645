// Regions and the assignment of features to them: what an index asks for, the rows, and every path
// of a SET with the rows that it leaves in the caches.

#include "fake_platform.h"

namespace {

constexpr uint32_t PHYSICAL = 2, LOGICAL = 1; // as the service has them
constexpr oid huge = 4294967295;
const sub_ids ntp = name_index("ntp"), ntp_physical = ntp + sub_ids{1}, ntp_vsan_10 = ntp + sub_ids{2, 4, 0, 0, 0, 10};
const fake_answer null_reply = {.error = 0, .reply = {}}, failed = {.error = 77, .reply = octets(8)};
const std::string region_query = "user=alice session=7 0=0000003b 4=00000001",
                  assignment_query = "user=alice session=7 0=0000003c 4=00000001",
                  get_assignment = "request 8463/1 " + assignment_query,
                  set_assignment = "request 8477/3 " + assignment_query, set_region = "request 8477/3 " + region_query;

fake_answer region(uint32_t id, uint32_t scope, uint32_t vsan = 0) {
    return {.error = 0, .reply = reply_of(360, {{0, 59}, {4, id}, {8, scope}, {12, vsan}})};
}

fake_answer assignment(const std::string &name, uint32_t scope, uint32_t vsan = 0, uint32_t region_id = 9) {
    octets bytes = reply_of(108, {{0, 60}, {4, region_id}, {8, scope}, {12, vsan}, {96, ~0u}, {104, ~0u}});
    std::copy(name.begin(), name.end(), bytes.begin() + 16);
    return {.error = 0, .reply = bytes};
}

class regions : public platform_test {
  protected:
    regions() {
        platform.history = false;
        init_vyn_mib();
        platform.take_log();
    }
    ~regions() override { deinit_vyn_mib(); } // and what it does not free is a leak

    read_result read(const sub_ids &index, bool exact, int column = VYNREGIONSTATUS) {
        return read_object(column, row_of(9, static_cast<oid>(column - 56), index), exact);
    }
    read_result read_assignment(const sub_ids &index, bool exact, int column = VYNFEATUREREGIONID) {
        return read_object(column, row_of(10, static_cast<oid>(column - 63), index), exact);
    }

    // One phase of a write; its result.
    int phase(WriteMethod *write, int which, const sub_ids &name, long value, u_char type = ASN_INTEGER,
              std::deque<fake_answer> answers = {}) {
        set_value copy(value, sizeof(long), type);
        sub_ids row = name;
        platform.answers = std::move(answers);
        return write(which, copy.bytes.data(), type, copy.length, nullptr, row.data(), row.size());
    }
};

TEST_F(regions, are_read_by_the_last_and_the_second_of_the_index) {
    sub_ids run_on = {9, 2, 4, 1, 2, 3, 4, 5, 6}, longest = {9, 2, 4};
    longest.resize(MAX_OID_LEN - 14, 0xFF);
    // clang-format off
    const std::tuple<bool, sub_ids, std::string> cases[] = {
        {true, {1, 5}, " 12=00000005"}, {true, {1, 1}, " 12=00000001 16=00000002"}, {true, {1, 2}, " 12=00000002 16=00000001"},
        {true, {9, 1, huge}, " 12=ffffffff 16=00000002"}, {true, {1, 257}, " 12=00000101"}, {true, {9, 2, 4}, " 12=00000004 16=00000001"},
        {true, {9, 2, 4, 1, 2, 3, 260}, " 12=00000104 16=00000001 20=01020304"},
        {true, run_on, " 12=00000006 16=00000001 20=01020304 24=05060000"},
        {false, {}, ""}, {false, {7}, " 12=00000007"}, {false, {1, 5}, " 12=00000005"}, {false, {1, 1}, " 12=00000001 16=00000002"},
    };
    // clang-format on
    for (const auto &[exact, index, words] : cases) {
        platform.answers = {region(7, PHYSICAL)};
        const auto result = read(index, exact);
        EXPECT_EQ(result.value, integer(1));
        EXPECT_EQ(result.name, row_of(9, 5, {1, 7}));
        EXPECT_EQ(platform.take_log(),
                  lines{std::string("request 8463/") + (exact ? "1 " : "2 ") + region_query + words});
    }
    for (const sub_ids &index : {sub_ids{}, sub_ids{1}}) EXPECT_EQ(read(index, true).write_method, set_vynRegionStatus);
    EXPECT_EQ(platform.take_log(), lines());
    platform.answers = {region(7, PHYSICAL)};
    read(longest, true); // as far as the record goes, and not over what follows it
    EXPECT_TRUE(platform.take_log().back().ends_with(" 112=ffffffff"));

    // A logical region's index ends where the number would be, with what was asked for there.
    platform.answers = {region(7, LOGICAL, 10), region(7, 0, 10), region(huge, PHYSICAL), null_reply, failed};
    EXPECT_EQ(read({}, false).name, row_of(9, 5, {2, 4, 0, 0, 0, 10, 0}));
    EXPECT_EQ(read({1, 2, 3, 4, 5, 6, 42, 8}, true).name, row_of(9, 5, {2, 4, 0, 0, 0, 10, 42}));
    const auto storage = read({1, 5}, true, VYNREGIONSTORAGE);
    EXPECT_EQ(storage.value, integer(3));
    EXPECT_EQ(storage.name, row_of(9, 4, {1, huge}));
    EXPECT_EQ(storage.write_method, set_vynRegionStorage);
    EXPECT_FALSE(read({1, 5}, true).value) << "a null reply is no row";
    platform.history = true;
    EXPECT_FALSE(read({1, 5}, true).value);
    EXPECT_EQ(platform.take_log().back(), "trace 100 header_vynRegionEntry : vyn_mgmt_req_resp Get failed : E77");
    read({}, true);
    EXPECT_EQ(platform.take_log(), (lines{"trace 100 At get_vynRegionEntry_ins..\n",
                                          "trace 100 get_vynRegionEntry_instance : return match -failed \n"}));
    for (size_t size = 1; size < 16; size++) {
        platform.answers = {{.error = 0, .reply = octets(size, 1)}};
        EXPECT_TRUE(read({}, false).value) << size;
    }
}

TEST_F(regions, row_statuses_are_written) {
    platform.history = true;
    const std::string own = "trace 101 set_vynRegionStatus : ",
                      wrong = "trace 100 write to vynRegionStatus:wrong value\n", in2 = own + "entrying RESERVE2",
                      done2 = own + "RESERVE2 -- done", acting = own + "entrying ACTION";
    const lines done1 = {own + "RESERVE1 -- done"};
    const auto sent = [&](const std::string &words) { return lines{acting, set_region + words, own + "ACTION done"}; };
    // clang-format off
    set(set_vynRegionStatus, row_of(9, 5, {1, 5}), {
        {reserve1, {octets{0, 0, 0, 4}}, 7, {"trace 100 write to vyn_RegionStatus not ASN_INTEGER\n"}},
        {reserve1, {4, 5}, 8, {"trace 100 write tovyn_RegionStatus: bad length\n"}},
        {reserve1, {0}, 10, {wrong}}, {reserve1, {2}, 10, {wrong}}, {reserve1, {3}, 10, {wrong}}, {reserve1, {5}, 10, {wrong}},
        {reserve1, {7}, 10, {wrong}}, {reserve2, {4}, 5, {in2}}, {action, {4}, 5, {acting}},
        {reserve1, {6, 1}, 0, done1}, {reserve2, {6}, 0, {in2, done2}},
        {action, {6}, 0, sent(" 8=00000001 12=00000005"), {null_reply}}, {commit, {6}, 0, {own + "COMMIT -- done"}},
        {reserve1, {4, 0}, 0, done1}, {reserve1, {1}, 0, done1}, {reserve2, {1}, 0, {in2, done2}},
        {action, {4}, 0, sent(" 12=00000005"), {null_reply}}, {action, {1}, 0, sent(" 12=00000005"), {null_reply}},
        {action, {4}, 5, {acting, set_region + " 12=00000005", "trace 100 set_vynRegionStatus : vyn_req_resp Set failed:E77",
                          "set_error 77 1432"}, {failed}},
        {undo, {4}, 0, {own + "UNDO -- done"}}, {free_phase, {4}, 0, {own + "FREE -- done"}}, {6, {4}, 0}});
    set(set_vynRegionStatus, row_of(9, 5, {1}), {
        {reserve1, {4}, 12, {"trace 100 set_vynRegionStatus : RESERVE1 instance parse fail \n"}},
        {free_phase, {4}, 0, {own + "FREE -- done"}}});
    set(set_vynRegionStatus, row_of(9, 5, {1, 2}), {
        {reserve1, {4}, 0, done1}, {action, {4}, 0, sent(" 12=00000002 16=00000001"), {null_reply}}, {commit, {4}, 0, {own + "COMMIT -- done"}}});
    // clang-format on
    platform.history = false;
    const sub_ids row = row_of(9, 5, {1, 5}), other = row_of(9, 5, {1, 6});
    for (int end : {commit, free_phase, undo}) { // the rows that wait, and that none is left
        const auto count = [&](const sub_ids &name, int which, size_t rows) {
            phase(set_vynRegionStatus, which, name, 4);
            EXPECT_EQ(rows_in(vyn_regions), rows);
        };
        count(row, reserve1, 1), count(row, reserve1, 1), count(other, reserve1, 2), count(row, reserve2, 2);
        count(row, end, 1), count(row, end, 1), count(other, end, 0);
    }
    u_char stored = 9;
    set_value six(6);
    set_vynRegionStatus(reserve2, six.bytes.data(), ASN_INTEGER, six.length, &stored, sub_ids(row).data(), row.size());
    EXPECT_EQ(stored, 1);
    platform.add_result = 0;
    EXPECT_EQ(phase(set_vynRegionStatus, reserve1, row, 4), 5) << "and the row is freed";
}

TEST_F(regions, writes_without_caches_fail) {
    platform.container_result = platform.add_result = 0;
    deinit_vyn_mib();
    init_vyn_mib();
    const sub_ids row = row_of(9, 5, {1, 5}), assigned = row_of(10, 6, ntp_physical);
    for (int which : {reserve1, reserve2, action}) {
        EXPECT_EQ(phase(set_vynRegionStatus, which, row, 4), 5);
        EXPECT_EQ(phase(set_vynFeatureRegionStatus, which, assigned, 4), 5);
        EXPECT_EQ(phase(set_vynFeatureRegionId, which, assigned, 9, ASN_UNSIGNED), 5);
    }
    for (int which : {commit, free_phase, undo})
        for (WriteMethod *write : {set_vynRegionStatus, set_vynFeatureRegionStatus, set_vynFeatureRegionId})
            EXPECT_EQ(phase(write, which, write == set_vynRegionStatus ? row : assigned, 4), 0);
}

TEST_F(regions, assignments_are_read) {
    const std::string is_ntp = " 28=6e747000", first_is_2 = " 28=02000000";
    // clang-format off
    const std::tuple<bool, sub_ids, std::string> cases[] = {
        {true, ntp_physical, is_ntp}, {true, ntp_vsan_10, is_ntp}, {true, ntp + sub_ids{7, 7}, is_ntp}, // in no scope
        {true, {1, 1, 9}, " 16=00000002 28=01000000"}, {true, {1, 2, 9}, " 16=00000001" + first_is_2},
        {true, {1, 2, 9, 1, 2, 3, 4}, " 16=00000001 20=01020304" + first_is_2},
        {true, {3, 'n' + 256, 't', 'p', 1}, is_ntp},
        {false, {}, ""}, {false, {3}, " 28=20202000"}, {false, {3, 'n'}, " 28=6e202000"}, {false, ntp, is_ntp}, {false, {0, 1}, " 16=00000002"},
        {false, ntp_physical, " 16=00000002" + is_ntp}, {false, ntp + sub_ids{3}, is_ntp}, {false, ntp + sub_ids{2, 4}, " 16=00000001" + is_ntp},
        {false, ntp_vsan_10, " 16=00000001 20=0000000a" + is_ntp},
        {false, ntp + sub_ids{2, 4, 1, 2, 3, 4, 5, 6, 7, 8, 'x', 'y'}, " 16=00000001 20=01020304 24=05060708 28=78797000"},
    };
    const sub_ids refused[] = {{}, {0}, {0, 1}, ntp, {4, 'n', 't', 'p', 1}, {huge, 'n', 1}, name_index(std::string(81, 'a')) + sub_ids{1}};
    const std::tuple<fake_answer, std::string, sub_ids> rows[] = {
        {assignment("ntp", PHYSICAL), "ntp", {1}}, {assignment("role", LOGICAL, 10), "role", {2, 4, 0, 0, 0, 10}},
        {assignment("", 0, 10), "", {2, 4, 0, 0, 0, 10}}, {assignment(std::string(92, 'n'), PHYSICAL), std::string(81, 'n'), {1}}};
    // clang-format on
    for (const auto &[exact, index, words] : cases) {
        platform.answers = {assignment("ntp", PHYSICAL)};
        EXPECT_TRUE(read_assignment(index, exact).value);
        EXPECT_EQ(platform.take_log(),
                  lines{std::string("request 8463/") + (exact ? "1 " : "2 ") + assignment_query + words});
    }
    for (const sub_ids &index : refused) EXPECT_FALSE(read_assignment(index, true).value);
    EXPECT_EQ(platform.take_log(), lines());
    for (const auto &[answer, name, scope] : rows) {
        platform.answers = {answer};
        const auto result = read_assignment(ntp_physical, true);
        EXPECT_EQ(result.value, integer(9));
        EXPECT_EQ(result.name, row_of(10, 4, name_index(name) + scope));
    }
    const std::tuple<int, int, WriteMethod *> columns[] = {{VYNFEATUREREGIONID, 9, set_vynFeatureRegionId},
                                                           {VYNFEATUREREGIONSTORAGE, 3, set_vynFeatureRegionStorage},
                                                           {VYNFEATUREREGIONSTATUS, 1, set_vynFeatureRegionStatus}};
    for (const auto &[column, value, write] : columns) {
        platform.answers = {assignment("ntp", PHYSICAL), null_reply};
        EXPECT_EQ(read_assignment(ntp_physical, true, column).value, integer(value));
        const auto none = read_assignment(ntp_physical, true, column);
        EXPECT_FALSE(none.value);
        EXPECT_EQ(none.write_method, write);
    }
    platform.history = true;
    platform.take_log();
    const std::string entry = "trace 100 At get_vynFeatureRegionEntry_ins..\n",
                      own = "trace 100 get_vynFeatureRegionEntry_instance : ",
                      get_failed = "trace 100 header_vynFeatureRegionEntry : vyn_mgmt_req_resp Get failed : E77";
    const std::tuple<bool, sub_ids, lines> traces[] = {
        {true, {}, {entry, own + "return match -failed \n"}},
        {true, {0, 1}, {entry, own + "app name - return match failed \n"}},
        {true, ntp_physical, {entry, get_assignment + is_ntp, get_failed}},
        {false, {}, {entry, "request 8463/2 " + assignment_query, get_failed}},
        {false, {300, 'n'}, {entry, "trace 100 appname_len:300, remaining_len:1"}}};
    for (const auto &[exact, index, log] : traces) {
        platform.answers = {failed};
        read_assignment(index, exact);
        lines got = platform.take_log();
        got.resize(log.size());
        EXPECT_EQ(got, log);
    }
    platform.answers = {failed}; // from elsewhere in the tree
    read_object(VYNFEATUREREGIONID, row_of(9, 5, {7, 7, 7}), false);
    EXPECT_EQ(platform.take_log(), (lines{entry, "trace 100 appname_len:7, remaining_len:2",
                                          "request 8463/2 " + assignment_query, get_failed}));
}

// The phases of one SET: the status's and the region's, with their logs.
TEST_F(regions, assignments_are_written) {
    platform.history = true;
    const std::string status = "set_vynFeatureRegionStatus", id = "set_vynFeatureRegionId", flow = "trace 101 ",
                      no = "trace 100 ", is_ntp = " 28=6e747000", entry = no + "At get_vynFeatureRegionEntry_ins..\n",
                      from = flow + "from get_vynFeatureRegionEntry_instance app_name: ntp ",
                      get_failed = no + "header_vynFeatureRegionEntry : vyn_mgmt_req_resp Get failed : E77",
                      added = flow + "app_name: ntp is added in to indxobj",
                      wrong = no + "write to vynFeatureRegionStatus:wrong value\n",
                      wrong_id = no + "write to vynFeatureRegionId:wrong value\n",
                      failed_set = " : vyn_req_resp Set failed:E77",
                      lost = no + status + " is depenedent on RegionId. Unable to find indx_objfor ntp application";
    const auto of = [&](const std::string &name, const std::string &what) { return flow + name + " : " + what; };
    const lines done1 = {of(status, "RESERVE1 -- done")}, missing = {entry, get_assignment + is_ntp, get_failed};
    const sub_ids row = row_of(10, 6, ntp_physical), id_row = row_of(10, 4, ntp_physical);
    const auto unsigned_of = [](long value, size_t length = sizeof(long)) {
        return set_value(value, length, ASN_UNSIGNED);
    };
    // clang-format off
    set(set_vynFeatureRegionStatus, row, {
        {reserve1, {octets{4, 0, 0, 0}}, 7, {no + "write to vyn_FeatureRegionStatus not ASN_INTEGER\n"}},
        {reserve1, {4, 5}, 8, {no + "write tovyn_FeatureRegionStatus: bad length\n"}},
        {reserve1, {0}, 10, {wrong}}, {reserve1, {2}, 10, {wrong}}, {reserve1, {3}, 10, {wrong}}, {reserve1, {5}, 10, {wrong}}, {reserve1, {7}, 10, {wrong}},
        {reserve1, {1}, 0, {from, done1[0]}}, {reserve1, {6, 0}, 0, {from, done1[0]}},
        {reserve1, {4}, 12, {from, entry, get_assignment + is_ntp, no + "Feature region already presented in VYN for this application ntp "}, {assignment("x", PHYSICAL)}},
        {reserve2, {4}, 5, {of(status, "entrying RESERVE2"), lost}}, {action, {4}, 5, {of(status, "entrying ACTION")}},
        {reserve2, {1}, 0, {of(status, "entrying RESERVE2"), of(status, "RESERVE2 -- done")}}, {action, {1}, 0, {of(status, "entrying ACTION")}},
        {action, {6}, 0, {of(status, "entrying ACTION"), set_assignment + " 8=00000001" + is_ntp, of(status, "ACTION done")}, {null_reply}},
        {action, {6}, 5, {of(status, "entrying ACTION"), set_assignment + " 8=00000001" + is_ntp, no + status + failed_set, "set_error 77 1432"}, {failed}},
        {reserve1, {4}, 0, {from, missing[0], missing[1], missing[2], added, done1[0]}, {failed}},
        {reserve1, {4}, 0, {from, missing[0], missing[1], missing[2], done1[0]}, {failed}},
        {reserve2, {4}, 0, {of(status, "entrying RESERVE2"), of(status, "RESERVE2 -- done")}}});
    set(set_vynFeatureRegionId, id_row, {
        {reserve1, {9}, 7, {no + "write to vyn_FeatureRegionId not ASN_UNSIGNED\n"}},
        {reserve1, unsigned_of(9, 5), 8, {no + "write tovyn_FeatureRegionId: bad length\n"}},
        {reserve1, unsigned_of(0), 10, {wrong_id}}, {reserve1, unsigned_of(256), 10, {wrong_id}}, {reserve1, unsigned_of(~0u), 10, {wrong_id}},
        {reserve1, unsigned_of(255), 0, {of(id, "RESERVE1 -- done")}}, {reserve1, unsigned_of(1, 4), 0, {of(id, "RESERVE1 -- done")}},
        {reserve2, unsigned_of(9), 0, {of(id, "entrying RESERVE2"), of(id, "RESERVE2 -- done")}},
        {action, unsigned_of(9), 0, {of(id, "entrying ACTION")}}}); // which leaves the sending to the status
    const std::string create = set_assignment + " 12=00000009" + is_ntp + " 112=00000004";
    set(set_vynFeatureRegionStatus, row, {
        {action, {4}, 0, {of(status, "entrying ACTION"), create, of(status, "ACTION done")}, {null_reply}},
        {action, {4}, 5, {of(status, "entrying ACTION"), create, no + status + failed_set, "set_error 77 1432"}, {failed}},
        {commit, {4}, 0, {of(status, "COMMIT -- done")}}, {undo, {4}, 0, {of(status, "UNDO -- done")}}, {6, {4}, 0}});
    EXPECT_EQ(rows_in(vyn_app_regions), 1u) << "which the region's COMMIT takes out";
    set(set_vynFeatureRegionId, id_row, {
        {commit, unsigned_of(9), 0, {of(id, "COMMIT -- done")}},
        {reserve2, unsigned_of(9), 5, {of(id, "entrying RESERVE2"), no + "unable to find app_name: ntp"}}, {action, unsigned_of(9), 5, {of(id, "entrying ACTION")}},
        {reserve1, unsigned_of(7), 0, {added, of(id, "RESERVE1 -- done")}},
        {reserve2, unsigned_of(7), 12, {of(id, "entrying RESERVE2"), missing[0], missing[1], missing[2],
                                        no + "No feature region presented in VYN for this application ntp ", "set_error 1085472865 1432"}, {failed}},
        {reserve2, unsigned_of(7), 12, {of(id, "entrying RESERVE2"), missing[0], missing[1],
                                        no + "No feature region presented in VYN for this application ntp ", "set_error 1085472865 1432"}, {null_reply}},
        {reserve2, unsigned_of(7), 0, {of(id, "entrying RESERVE2"), missing[0], missing[1], of(id, "RESERVE2 -- done")}, {assignment("ntp", PHYSICAL)}},
        {action, unsigned_of(7), 0, {of(id, "entrying ACTION"), set_assignment + " 12=00000007" + is_ntp, of(id, "ACTION done")}, {null_reply}},
        {action, unsigned_of(7), 5, {of(id, "entrying ACTION"), set_assignment + " 12=00000007" + is_ntp, no + id + failed_set, "set_error 77 1432"}, {failed}},
        {undo, unsigned_of(7), 0, {of(id, "UNDO -- done")}}, {free_phase, unsigned_of(7), 0, {of(id, "FREE -- done")}}, {6, unsigned_of(7), 0}});
    const std::string match = no + "get_vynFeatureRegionEntry_instance : return match -failed \n";
    set(set_vynFeatureRegionStatus, row_of(10, 6, {}), {{reserve1, {4}, 12, {match, no + status + " : RESERVE1 instance parse fail \n"}}});
    set(set_vynFeatureRegionId, row_of(10, 4, ntp), {{reserve1, unsigned_of(9), 12, {no + id + " : RESERVE1 instance parse fail \n"}}});
    // clang-format on
}

// Every way that a SET of both columns can go, and the rows that it leaves: none, but for a status without a region.
TEST_F(regions, sets_leave_the_rows_that_they_should) {
    const sub_ids row = row_of(10, 6, ntp_physical);
    const auto status = [&](int which, std::deque<fake_answer> answers = {}) {
        return phase(set_vynFeatureRegionStatus, which, row, 4, ASN_INTEGER, std::move(answers));
    };
    const auto id = [&](int which, std::deque<fake_answer> answers = {}) {
        return phase(set_vynFeatureRegionId, which, row, 9, ASN_UNSIGNED, std::move(answers));
    };
    const auto left = [&] { return std::pair(rows_in(vyn_regions), rows_in(vyn_app_regions)); };
    const std::pair<size_t, size_t> none = {0, 0}, one = {0, 1};
    for (int end : {commit, undo, free_phase}) {
        EXPECT_EQ(status(reserve1, {failed}) + id(reserve1) + status(reserve2) + id(reserve2), 0);
        EXPECT_EQ(left(), one);
        if (end != free_phase) {
            EXPECT_EQ(status(action, {null_reply}) + id(action), 0);
        }
        status(end);
        EXPECT_EQ(left(), end == free_phase ? none : one);
        id(end);
        EXPECT_EQ(left(), none);
        // A region alone, and a region in front of the status, which is refused.
        EXPECT_EQ(id(reserve1) + id(reserve2, {assignment("ntp", PHYSICAL)}), 0);
        id(end);
        EXPECT_EQ(left(), none);
        EXPECT_EQ(id(reserve1) + status(reserve1, {failed}) + id(reserve2, {failed}), 12);
        id(free_phase), status(free_phase);
        EXPECT_EQ(left(), none);
    }
    // A createAndGo without a region stays, takes the next one's region as its own, and goes with that.
    for (int end : {commit, undo}) {
        EXPECT_EQ(status(reserve1, {failed}) + status(reserve2) + status(action, {null_reply}) + status(end), 0);
        EXPECT_EQ(left(), one);
    }
    EXPECT_EQ(id(reserve1) + id(reserve2) + id(action), 0) << "its mark says that it is to be created";
    id(commit);
    EXPECT_EQ(left(), none);
    status(reserve1, {failed}); // what waits at a stop is freed by it
    // The end of a status takes a region 0 out of the other cache.
    phase(set_vynRegionStatus, reserve1, row_of(9, 5, {1, 0}), 4);
    EXPECT_EQ(left(), (std::pair<size_t, size_t>{1, 1}));
    status(commit);
    EXPECT_EQ(left(), one);
    platform.add_result = 0;
    status(free_phase);
    EXPECT_EQ(status(reserve1, {failed}), 0) << "whether the cache has taken it shows later";
    EXPECT_EQ(status(reserve2), 5);
}

TEST_F(regions, storage_types_are_checked_and_ignored) {
    const std::pair<WriteMethod *, std::string> columns[] = {
        {set_vynRegionStorage, "write to vyn_setRegionStorage"},
        {set_vynFeatureRegionStorage, "write to vyn_setFeatureRegionStorage"}};
    for (const auto &[write, message] : columns)
        for (const auto &[value, error, end] : {std::tuple{set_value(99), 0, ""},
                                                {set_value(octets{3}), 7, "ASN_INTEGER\n"},
                                                {set_value(3, 5), 8, " bad length\n"}}) {
            testing::internal::CaptureStderr();
            set(write, row_of(9, 4, {1, 5}), {{reserve1, value, error}, {action, value, 0}});
            EXPECT_EQ(testing::internal::GetCapturedStderr(), *end != '\0' ? message + end : "");
        }
}

} // namespace
