// Regions and the assignment of features to them: what an index asks for, the rows, and every path
// of a SET with the rows that it leaves in the caches.

#include "fake_platform.h"

namespace {

const std::string get_assignment = "request 8463/1 0=3c", set_assignment = "request 8477/3 0=3c",
                  set_region = "request 8477/3 0=3b", is_ntp = " 28=6e747000",
                  entry = "trace 100 At get_vynFeatureRegionEntry_ins..\n",
                  get_failed = "trace 100 header_vynFeatureRegionEntry : vyn_mgmt_req_resp Get failed : E77";

fake_answer region(uint32_t id, uint32_t scope, uint32_t vsan = 0) {
    return {0, reply_of(360, {{0, 59}, {4, id}, {8, scope}, {12, vsan}})};
}

fake_answer assignment(const std::string &name, uint32_t scope, uint32_t vsan = 0) {
    return {0, reply_of(108, {{0, 60}, {4, 9}, {8, scope}, {12, vsan}, {104, ~0u}}, {{16, text(name)}})};
}

const fake_answer is_assigned = assignment("ntp", PHYSICAL);

class regions : public platform_test {
  protected:
    regions() { init_vyn_mib(); }
    ~regions() override { deinit_vyn_mib(); } // and what it does not free is a leak

    // One phase of a createAndGo, or of the SET of a region 9; its result.
    int phase(WriteMethod *write, int which, const sub_ids &row, std::deque<fake_answer> answers = {}) {
        platform.answers = std::move(answers);
        return call(write, which, row,
                    write == set_vynFeatureRegionId ? set_value(9, sizeof(long), ASN_UNSIGNED) : set_value(4));
    }
};

const sub_ids region_row = row_of(VYNREGIONSTATUS, {1, 5}), status_row = row_of(VYNFEATUREREGIONSTATUS, ntp_physical),
              id_row = row_of(VYNFEATUREREGIONID, ntp_physical);

TEST_F(regions, are_read_by_the_last_and_the_second_of_the_index) {
    sub_ids longest = {9, 2, 4};
    longest.resize(MAX_OID_LEN - 14, 0xFF);
    // clang-format off
    asks(VYNREGIONSTATUS, 8463, "3b", region(7, PHYSICAL), {
        {true, {1, 5}, " 12=5"}, {true, {1, 1}, " 12=1 16=2"}, {true, {1, 2}, " 12=2 16=1"},
        {true, {9, 1, huge}, " 12=ffffffff 16=2"}, {true, {1, 257}, " 12=101"}, {true, {9, 2, 4}, " 12=4 16=1"},
        {true, {9, 2, 4, 1, 2, 3, 260}, " 12=104 16=1 20=1020304"},
        {true, {9, 2, 4, 1, 2, 3, 4, 5, 6}, " 12=6 16=1 20=1020304 24=5060000"},
        {true, longest, " 12=ff 16=1" + words_from(20, 112, "ffffffff")}, // as far as the record goes, not over what follows
        {false, {}, ""}, {false, {7}, " 12=7"}, {false, {1, 5}, " 12=5"}, {false, {1, 1}, " 12=1 16=2"}});
    // A logical region's index ends where the number would be, with what was asked for there.
    shows({1, 2, 3, 4, 5, 6, 42, 8}, {
        {VYNREGIONSTATUS, region(7, PHYSICAL), integer(1), {1, 7}, set_vynRegionStatus},
        {VYNREGIONSTATUS, region(7, 0, 10), integer(1), {2, 4, 0, 0, 0, 10, 42}, set_vynRegionStatus},
        {VYNREGIONSTORAGE, region(huge, PHYSICAL), integer(3), {1, huge}, set_vynRegionStorage},
        {VYNREGIONSTATUS, null_reply, {}, {1, 2, 3, 4, 5, 6, 42, 8}, set_vynRegionStatus}});
    // clang-format on
    EXPECT_EQ(answered(region(7, LOGICAL, 10), VYNREGIONSTATUS, {}, false).name,
              row_of(VYNREGIONSTATUS, {2, 4, 0, 0, 0, 10, 0}));
    const std::string entry = "trace 100 At get_vynRegionEntry_ins..\n";
    traces(VYNREGIONSTATUS, {}, failed, {entry, "trace 100 get_vynRegionEntry_instance : return match -failed \n"});
    traces(VYNREGIONSTATUS, {1}, failed, {entry});
    traces(VYNREGIONSTATUS, {1, 5}, failed,
           {"...", "trace 100 header_vynRegionEntry : vyn_mgmt_req_resp Get failed : E77"});
}

TEST_F(regions, row_statuses_are_written) {
    const std::string own = "trace 101 set_vynRegionStatus : ", in2 = own + "entrying RESERVE2",
                      done1 = own + "RESERVE1 -- done", done2 = own + "RESERVE2 -- done",
                      acting = own + "entrying ACTION", free_done = own + "FREE -- done",
                      commit_done = own + "COMMIT -- done", refused = "trace 100 set_vynRegionStatus : ";
    const auto sent = [&](const std::string &words) { return lines{acting, set_region + words, own + "ACTION done"}; };
    // clang-format off
    set(set_vynRegionStatus, region_row, {
        {reserve2, {4}, 5, {in2}}, {action, {4}, 5, {acting}}, {reserve1, {6, 1}, 0, {done1}},
        {reserve2, {6}, 0, {in2, done2}}, {action, {6}, 0, sent(" 8=1 12=5"), {null_reply}}, {commit, {6}, 0, {commit_done}},
        {reserve1, {4, 0}, 0, {done1}}, {reserve1, {1}, 0, {done1}}, {reserve2, {1}, 0, {in2, done2}},
        {action, {4}, 0, sent(" 12=5"), {null_reply}}, {action, {1}, 0, sent(" 12=5"), {null_reply}},
        {action, {4}, 5, {acting, set_region + " 12=5", refused + "vyn_req_resp Set failed:E77", error_77}, {failed}},
        {undo, {4}, 0, {own + "UNDO -- done"}}, {free_phase, {4}, 0, {free_done}}});
    set(set_vynRegionStatus, row_of(VYNREGIONSTATUS, {1}), {
        {reserve1, {4}, 12, {refused + "RESERVE1 instance parse fail \n"}}, {free_phase, {4}, 0, {free_done}}});
    set(set_vynRegionStatus, row_of(VYNREGIONSTATUS, {1, 2}), {
        {reserve1, {4}, 0, {done1}}, {action, {4}, 0, sent(" 12=2 16=1"), {null_reply}}, {commit, {4}, 0, {commit_done}}});
    // clang-format on
    const sub_ids other = row_of(VYNREGIONSTATUS, {1, 6});
    for (int end : {commit, free_phase, undo}) { // the rows that wait, and that none is left
        const auto count = [&](const sub_ids &row, int which, size_t rows) {
            phase(set_vynRegionStatus, which, row);
            EXPECT_EQ(rows_in(vyn_regions), rows);
        };
        count(region_row, reserve1, 1), count(region_row, reserve1, 1), count(other, reserve1, 2);
        count(region_row, reserve2, 2), count(region_row, end, 1), count(region_row, end, 1), count(other, end, 0);
    }
    platform.add_result = 0;
    EXPECT_EQ(phase(set_vynRegionStatus, reserve1, region_row), 5) << "and the row is freed";
}

TEST_F(regions, writes_without_caches_fail) {
    platform.container_result = platform.add_result = 0;
    deinit_vyn_mib();
    init_vyn_mib();
    for (WriteMethod *write : {set_vynRegionStatus, set_vynFeatureRegionStatus, set_vynFeatureRegionId}) {
        const sub_ids &row = write == set_vynRegionStatus ? region_row : status_row;
        for (int which : {reserve1, reserve2, action}) EXPECT_EQ(phase(write, which, row), 5);
        for (int which : {commit, free_phase, undo}) EXPECT_EQ(phase(write, which, row), 0);
        u_char stored = 9; // what the agent has read, over which a status's RESERVE2 writes
        call(write, reserve2, row, 6, &stored);
        EXPECT_EQ(stored, write == set_vynFeatureRegionId ? 9 : 1);
    }
}

TEST_F(regions, assignments_are_read) {
    const std::string first_is_2 = " 28=2000000",
                      own = "trace 100 get_vynFeatureRegionEntry_instance : ", walk = "request 8463/2 0=3c";
    // clang-format off
    asks(VYNFEATUREREGIONID, 8463, "3c", is_assigned, {
        {true, ntp_physical, is_ntp}, {true, ntp_vsan_10, is_ntp}, {true, ntp + sub_ids{7, 7}, is_ntp}, // in no scope
        {true, {1, 1, 9}, " 16=2 28=1000000"}, {true, {1, 2, 9}, " 16=1" + first_is_2},
        {true, {1, 2, 9, 1, 2, 3, 4}, " 16=1 20=1020304" + first_is_2}, {true, {3, 'n' + 256, 't', 'p', 1}, is_ntp},
        {false, {}, ""}, {false, {3}, " 28=20202000"}, {false, {3, 'n'}, " 28=6e202000"}, {false, ntp, is_ntp},
        {false, {0, 1}, " 16=2"}, {false, ntp_physical, " 16=2" + is_ntp}, {false, ntp + sub_ids{3}, is_ntp},
        {false, ntp + sub_ids{2, 4}, " 16=1" + is_ntp}, {false, ntp_vsan_10, " 16=1 20=a" + is_ntp},
        {false, ntp + sub_ids{2, 4, 1, 2, 3, 4, 5, 6, 7, 8, 'x', 'y'}, " 16=1 20=1020304 24=5060708 28=78797000"}});
    const std::string filled(81, 'n');
    shows(ntp_physical, {
        {VYNFEATUREREGIONID, is_assigned, integer(9), ntp_physical, set_vynFeatureRegionId},
        {VYNFEATUREREGIONID, assignment("ntp", LOGICAL, 10), integer(9), ntp_vsan_10, set_vynFeatureRegionId},
        {VYNFEATUREREGIONID, assignment("", 0, 10), integer(9), {0, 2, 4, 0, 0, 0, 10}, set_vynFeatureRegionId},
        {VYNFEATUREREGIONID, assignment(filled + "x", PHYSICAL), integer(9), name_index(filled) + sub_ids{1}, set_vynFeatureRegionId},
        {VYNFEATUREREGIONSTORAGE, is_assigned, integer(3), ntp_physical, set_vynFeatureRegionStorage},
        {VYNFEATUREREGIONSTATUS, is_assigned, integer(1), ntp_physical, set_vynFeatureRegionStatus},
        {VYNFEATUREREGIONSTATUS, null_reply, {}, ntp_physical, set_vynFeatureRegionStatus}});
    refuses(VYNFEATUREREGIONID, {{}, {0, 1}, ntp, {4, 'n', 't', 'p', 1}, {huge, 'n', 1}, name_index(filled) + sub_ids{1}});
    // clang-format on
    traces(VYNFEATUREREGIONID, {}, failed, {entry, own + "return match -failed \n"});
    traces(VYNFEATUREREGIONID, {0, 1}, failed, {entry, own + "app name - return match failed \n"});
    traces(VYNFEATUREREGIONID, ntp_physical, failed, {entry, get_assignment + is_ntp, get_failed});
    reads(VYNFEATUREREGIONID, {{false, {}, {}, {entry, walk, get_failed}, {failed}}});
    platform.answers = {failed};
    read_object(VYNFEATUREREGIONID, row_of(VYNREGIONSTATUS, {7, 7, 7}), false); // a walk from elsewhere in the tree
    EXPECT_EQ(platform.take_log(), (lines{entry, "trace 100 appname_len:7, remaining_len:2", walk, get_failed}));
}

// The phases of one SET: the status's and the region's, with their logs.
TEST_F(regions, assignments_are_written) {
    const std::string own = "trace 101 set_vynFeatureRegionStatus : ", no = "trace 100 set_vynFeatureRegionStatus",
                      own_id = "trace 101 set_vynFeatureRegionId : ", no_id = "trace 100 set_vynFeatureRegionId",
                      done1 = own + "RESERVE1 -- done", in2 = own + "entrying RESERVE2",
                      done2 = own + "RESERVE2 -- done", acting = own + "entrying ACTION", acted = own + "ACTION done",
                      id_done1 = own_id + "RESERVE1 -- done", id_in2 = own_id + "entrying RESERVE2",
                      id_done2 = own_id + "RESERVE2 -- done", id_acting = own_id + "entrying ACTION",
                      from = "trace 101 from get_vynFeatureRegionEntry_instance app_name: ntp ",
                      added = "trace 101 app_name: ntp is added in to indxobj", ask = get_assignment + is_ntp,
                      remove = set_assignment + " 8=1" + is_ntp, create = set_assignment + " 12=9" + is_ntp + " 112=4",
                      change = set_assignment + " 12=7" + is_ntp, missing_error = "set_error 1085472865 1432",
                      missing = "trace 100 No feature region presented in VYN for this application ntp ",
                      set_failed = " : vyn_req_resp Set failed:E77",
                      parse_failed = " : RESERVE1 instance parse fail \n";
    const set_value seven(7, sizeof(long), ASN_UNSIGNED), nine(9, 4, ASN_UNSIGNED);
    // clang-format off
    set(set_vynFeatureRegionStatus, status_row, {
        {reserve1, {1}, 0, {from, done1}}, {reserve1, {6, 0}, 0, {from, done1}},
        {reserve1, {4}, 12, {from, entry, ask, "trace 100 Feature region already presented in VYN for this application ntp "},
         {assignment("x", PHYSICAL)}},
        {reserve2, {4}, 5, {in2, no + " is depenedent on RegionId. Unable to find indx_objfor ntp application"}},
        {action, {4}, 5, {acting}}, {reserve2, {1}, 0, {in2, done2}}, {action, {1}, 0, {acting}},
        {action, {6}, 0, {acting, remove, acted}, {null_reply}},
        {action, {6}, 5, {acting, remove, no + set_failed, error_77}, {failed}},
        {reserve1, {4}, 0, {from, entry, ask, get_failed, added, done1}, {failed}},
        {reserve1, {4}, 0, {from, entry, ask, get_failed, done1}, {failed}}, {reserve2, {4}, 0, {in2, done2}}});
    set(set_vynFeatureRegionId, id_row, {
        {reserve1, nine, 0, {id_done1}}, {reserve2, nine, 0, {id_in2, id_done2}},
        {action, nine, 0, {id_acting}}}); // which leaves the sending to the status
    set(set_vynFeatureRegionStatus, status_row, {
        {action, {4}, 0, {acting, create, acted}, {null_reply}},
        {action, {4}, 5, {acting, create, no + set_failed, error_77}, {failed}},
        {commit, {4}, 0, {own + "COMMIT -- done"}}, {undo, {4}, 0, {own + "UNDO -- done"}}});
    set(set_vynFeatureRegionId, id_row, { // whose COMMIT takes the row out
        {commit, nine, 0, {own_id + "COMMIT -- done"}},
        {reserve2, nine, 5, {id_in2, "trace 100 unable to find app_name: ntp"}}, {action, nine, 5, {id_acting}},
        {reserve1, seven, 0, {added, id_done1}},
        {reserve2, seven, 12, {id_in2, entry, ask, get_failed, missing, missing_error}, {failed}},
        {reserve2, seven, 12, {id_in2, entry, ask, missing, missing_error}, {null_reply}},
        {reserve2, seven, 0, {id_in2, entry, ask, id_done2}, {is_assigned}},
        {action, seven, 0, {id_acting, change, own_id + "ACTION done"}, {null_reply}},
        {action, seven, 5, {id_acting, change, no_id + set_failed, error_77}, {failed}},
        {undo, seven, 0, {own_id + "UNDO -- done"}}, {free_phase, seven, 0, {own_id + "FREE -- done"}}});
    set(set_vynFeatureRegionStatus, status_row, {{free_phase, {4}, 0, {own + "FREE -- done"}}});
    set(set_vynFeatureRegionStatus, row_of(VYNFEATUREREGIONSTATUS), {
        {reserve1, {4}, 12, {"trace 100 get_vynFeatureRegionEntry_instance : return match -failed \n", no + parse_failed}}});
    set(set_vynFeatureRegionId, row_of(VYNFEATUREREGIONID, ntp), {{reserve1, nine, 12, {no_id + parse_failed}}});
    // clang-format on
}

// What runs on over a name and its mark ends the one and does not become the other.
TEST_F(regions, octets_that_run_on_make_no_row_that_is_lost) {
    sub_ids index = {80, 2};
    index.resize(MAX_OID_LEN - 14, 'z');
    const sub_ids row = row_of(VYNFEATUREREGIONID, index);
    for (int each : {reserve1, reserve2, action})
        EXPECT_EQ(phase(set_vynFeatureRegionId, each, row, {each == reserve2 ? is_assigned : null_reply}), 0);
    EXPECT_TRUE(platform.log[platform.log.size() - 2].starts_with(set_assignment)) << "it is sent";
    phase(set_vynFeatureRegionId, commit, row);
    EXPECT_EQ(rows_in(vyn_app_regions), 0u);
    // Two indexes of one region: the row that waits is the first one's, and is what is sent.
    phase(set_vynRegionStatus, reserve1, region_row);
    platform.take_log();
    phase(set_vynRegionStatus, action, row_of(VYNREGIONSTATUS, {9, 1, 5}), {null_reply});
    EXPECT_EQ(platform.log[1], set_region + " 12=5");
    phase(set_vynRegionStatus, commit, region_row);
}

// Every way that a SET of both columns can go, and the rows that it leaves: none, but for a status without a region.
TEST_F(regions, sets_leave_the_rows_that_they_should) {
    struct step {
        WriteMethod *write;
        int phase;
        size_t left;
        std::deque<fake_answer> answers = {};
        int result = 0;
    };
    WriteMethod *const status = set_vynFeatureRegionStatus, *const id = set_vynFeatureRegionId;
    const auto run = [&](const std::vector<step> &steps) {
        for (const auto &[write, which, left, answers, result] : steps) {
            EXPECT_EQ(phase(write, which, write == status ? status_row : id_row, answers), result);
            EXPECT_EQ(rows_in(vyn_app_regions), left);
        }
    };
    // clang-format off
    for (int end : {commit, undo, free_phase}) {
        const size_t kept = end == free_phase ? 0 : 1;
        run({{status, reserve1, 1, {failed}}, {id, reserve1, 1}, {status, reserve2, 1}, {id, reserve2, 1},
             {status, end, kept}, {id, end, 0}});
        // A region alone, and a region in front of the status, which is refused.
        run({{id, reserve1, 1}, {id, reserve2, 1, {is_assigned}}, {id, end, 0}});
        run({{id, reserve1, 1}, {status, reserve1, 1, {failed}}, {id, reserve2, 1, {failed}, 12}, {id, free_phase, 0}});
    }
    // A createAndGo without a region stays, takes the next one's region as its own, and goes with that.
    for (int end : {commit, undo})
        run({{status, reserve1, 1, {failed}}, {status, reserve2, 1}, {status, action, 1, {null_reply}}, {status, end, 1}});
    run({{id, reserve1, 1}, {id, reserve2, 1}, {id, action, 1}, {id, commit, 0}});
    // The end of a status takes a region 0 out of the other cache. What waits at a stop is freed by that.
    phase(set_vynRegionStatus, reserve1, row_of(VYNREGIONSTATUS, {1, 0}));
    run({{status, reserve1, 1, {failed}}, {status, commit, 1}});
    EXPECT_EQ(rows_in(vyn_regions), 0u);
    platform.add_result = 0; // whether the cache has taken it shows later
    run({{status, free_phase, 0}, {status, reserve1, 0, {failed}}, {status, reserve2, 0, {}, 5}});
    // clang-format on
    platform.add_result = INDXOBJ_SUCCESS;
    run({{status, reserve1, 1, {failed}}});
}

} // namespace
