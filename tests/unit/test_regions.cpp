// Regions and the assignment of features to them: what an index asks for, rows, and SETs with the rows that they leave.

#include "fake_platform.h"

namespace {

const std::string get_assignment = "request 8463/1 0=3c", set_assignment = "change 8477/3 0=3c",
                  set_region = "change 8477/3 0=3b", is_ntp = " 28=6e747000",
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
    const sub_ids longest = sub_ids{9, 2, 4} + sub_ids(MAX_OID_LEN - 17, 0xFF);
    // clang-format off
    asks(VYNREGIONSTATUS, 8463, "3b", region(7, PHYSICAL), {
        {true, {1, 5}, " 12=5"}, {true, {1, 2}, " 12=2 16=1"}, {true, {9, 1, huge}, " 12=ffffffff 16=2"},
        {true, {1, 257}, " 12=101"}, {true, {9, 2, 4, 1, 2, 3, 260, 5, 6}, " 12=6 16=1 20=1020304 24=5060000"},
        {true, longest, " 12=ff 16=1" + words_from(20, 112, "ffffffff")}, // as far as the record goes, not over what follows
        {false, {}, ""}, {false, {7}, " 12=7"}, {false, {1, 1}, " 12=1 16=2"}});
    shows({1, 2, 3, 4, 5, 6, 42, 8}, {
        {VYNREGIONSTATUS, region(7, PHYSICAL), integer(1), {1, 7}, set_vynRegionStatus},
        {VYNREGIONSTORAGE, region(huge, PHYSICAL), integer(3), {1, huge}, set_vynRegionStorage},
        {VYNREGIONSTATUS, null_reply, {}, {1, 2, 3, 4, 5, 6, 42, 8}, set_vynRegionStatus}});
    reads(VYNREGIONSTATUS, true, {{1, 5}}, {}, {"...", "request 8463/1 0=3b 12=5"}, {null_reply}); // without a trace
    // clang-format on
    // The index of a region in a VSAN ends where its number would be: with the number that a GET or SET asks for, and
    // in a walk with what is there already.
    const std::tuple<sub_ids, bool, oid> logical[] = {
        {{2, 4, 0, 0, 0, 10, 11}, true, 11},  {{2, 2, 4, 0, 0, 0, 10, 11}, true, 11}, {{9, 7}, true, 7},
        {{1, 2, 3, 4, 5, 6, 42, 8}, true, 8}, {{1, 2, 3, 4, 5, 6, 42, 8}, false, 42}, {{}, false, 0}};
    for (const auto &[index, exact, last] : logical)
        EXPECT_EQ(answered(region(7, exact ? 0 : LOGICAL, 10), VYNREGIONSTATUS, index, exact).name,
                  row_of(VYNREGIONSTATUS, {2, 4, 0, 0, 0, 10, last}));
    const std::string entry = "trace 100 At get_vynRegionEntry_ins..\n";
    reads(VYNREGIONSTATUS, true, {{}}, {}, {entry, "trace 100 get_vynRegionEntry_instance : return match -failed \n"});
    reads(VYNREGIONSTATUS, true, {{1}}, {}, {entry});
    reads(VYNREGIONSTATUS, true, {{1, 5}}, {},
          {"...", "trace 100 header_vynRegionEntry : vyn_mgmt_req_resp Get failed : E77"}, {failed});
}

TEST_F(regions, row_statuses_are_written) {
    const std::string own = "trace 101 set_vynRegionStatus : ", in2 = own + "entrying RESERVE2",
                      done1 = own + "RESERVE1 -- done", done2 = own + "RESERVE2 -- done",
                      acting = own + "entrying ACTION", free_done = own + "FREE -- done",
                      refused = "trace 100 set_vynRegionStatus : ", in = "region rows 1", out = "region rows 0";
    const auto sent = [&](const std::string &words) { return lines{acting, set_region + words, own + "ACTION done"}; };
    // clang-format off
    set(set_vynRegionStatus, region_row, {
        {reserve2, {4}, 5, {in2}}, {action, {4}, 5, {acting}}, {reserve1, {6, 1}, 0, {done1}},
        {reserve2, {6}, 0, {in2, done2}}, {action, {6}, 0, sent(" 8=1 12=5"), {null_reply}},
        {reserve1, {4, 0}, 0, {in, done1}}, {reserve1, {1}, 0, {done1}}, {reserve2, {1}, 0, {in2, done2}},
        {action, {4}, 0, sent(" 12=5"), {null_reply}}, {action, {1}, 0, sent(" 12=5"), {null_reply}},
        {action, {4}, 5, {acting, set_region + " 12=5", refused + "vyn_req_resp Set failed:E77", error_77}, {failed}},
        {reserve2, {0}, 0, {in2, done2}}, {action, {0}, 0, {acting}}, {action, {3}, 0, {acting}},
        {undo, {4}, 0, {out, own + "UNDO -- done"}}, {reserve1, {1}, 0, {in, done1}},
        {free_phase, {1}, 0, {out, free_done}}, {free_phase, {4}, 0, {free_done}}});
    set(set_vynRegionStatus, row_of(VYNREGIONSTATUS, {1}), {
        {reserve1, {4}, 12, {refused + "RESERVE1 instance parse fail \n"}}, {free_phase, {4}, 0, {free_done}}});
    // A phase traces that it begins before it looks at the index, which a destroy's RESERVE2 does not.
    const std::string no_index = "trace 100 get_vynRegionEntry_instance : return match -failed \n";
    set(set_vynRegionStatus, row_of(VYNREGIONSTATUS), {
        {reserve2, {4}, 5, {in2, no_index}}, {reserve2, {6}, 0, {in2, done2}}, {action, {4}, 5, {acting, no_index}},
        {commit, {4}, 0, {no_index, own + "COMMIT -- done"}}, {99, {4}, 0}});
    set(set_vynRegionStatus, row_of(VYNREGIONSTATUS, {1, 2}), {
        {reserve1, {4}, 0, {in, done1}}, {action, {4}, 0, sent(" 12=2 16=1"), {null_reply}}});
    // Of two indexes of one region, the row that waits is the first one's, and is what is sent.
    set(set_vynRegionStatus, row_of(VYNREGIONSTATUS, {9, 1, 2}), {
        {reserve1, {4}, 0, {done1}}, {action, {4}, 0, sent(" 12=2 16=1"), {null_reply}},
        {commit, {4}, 0, {out, own + "COMMIT -- done"}}});
    // clang-format on
    platform.add_result = 0; // and the row is freed
    set(set_vynRegionStatus, region_row, {{reserve1, {4}, 5}});
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
    const std::string own = "trace 100 get_vynFeatureRegionEntry_instance : ", walk = "request 8463/2 0=3c";
    // clang-format off
    asks(VYNFEATUREREGIONID, 8463, "3c", is_assigned, {
        {true, ntp_vsan_10, is_ntp}, {true, {3, 'n' + 256, 't', 'p', 7}, is_ntp}, // in no scope
        {true, {1, 1, 9}, " 16=2 28=1000000"}, {true, {1, 2, 9, 1, 2, 3, 4}, " 16=1 20=1020304 28=2000000"},
        {false, {}, ""}, {false, {3, 'n'}, " 28=6e202000"}, {false, {0, 1}, " 16=2"}, {false, ntp + sub_ids{3}, is_ntp},
        {false, ntp_physical, " 16=2" + is_ntp}, {false, ntp + sub_ids{2, 4}, " 16=1" + is_ntp},
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
    refuses(VYNFEATUREREGIONID, {ntp, {4, 'n', 't', 'p'}, {huge, 'n', 1}, name_index(filled) + sub_ids{1}});
    // clang-format on
    reads(VYNFEATUREREGIONID, true, {{}}, {}, {entry, own + "return match -failed \n"});
    reads(VYNFEATUREREGIONID, true, {{0, 1}}, {}, {entry, own + "app name - return match failed \n"});
    reads(VYNFEATUREREGIONID, true, {ntp_physical}, {}, {entry, get_assignment + is_ntp, get_failed}, {failed});
    reads(VYNFEATUREREGIONID, false, {{}}, {}, {entry, walk, get_failed}, {failed});
    platform.answers = {failed};
    read_object(VYNFEATUREREGIONID, row_of(VYNREGIONSTATUS, {7, 7, 7}), false); // a walk from elsewhere in the tree
    EXPECT_EQ(platform.take_log(), (lines{entry, "trace 100 appname_len:7, remaining_len:2", walk, get_failed}));
}

// The phases of SETs of both columns, with the rows that they make and take out.
TEST_F(regions, assignments_are_written) {
    const std::string own = "trace 101 set_vynFeatureRegionStatus : ", no = "trace 100 set_vynFeatureRegionStatus",
                      own_id = "trace 101 set_vynFeatureRegionId : ", no_id = "trace 100 set_vynFeatureRegionId",
                      done1 = own + "RESERVE1 -- done", in2 = own + "entrying RESERVE2",
                      done2 = own + "RESERVE2 -- done", acting = own + "entrying ACTION", acted = own + "ACTION done",
                      commit_done = own + "COMMIT -- done", undo_done = own + "UNDO -- done",
                      free_done = own + "FREE -- done", id_done1 = own_id + "RESERVE1 -- done",
                      id_in2 = own_id + "entrying RESERVE2", id_done2 = own_id + "RESERVE2 -- done",
                      id_acting = own_id + "entrying ACTION", in = "app_region rows 1", out = "app_region rows 0",
                      from = "trace 101 from get_vynFeatureRegionEntry_instance app_name: ntp ",
                      added = "trace 101 app_name: ntp is added in to indxobj", ask = get_assignment + is_ntp,
                      remove = set_assignment + " 8=1" + is_ntp, create = set_assignment + " 12=9" + is_ntp + " 112=4",
                      change = set_assignment + " 12=7" + is_ntp, missing_error = "set_error 1085472865 1432",
                      missing = "trace 100 No feature region presented in VYN for this application ntp ",
                      set_failed = " : vyn_req_resp Set failed:E77",
                      parse_failed = " : RESERVE1 instance parse fail \n";
    WriteMethod *const status = set_vynFeatureRegionStatus, *const id = set_vynFeatureRegionId;
    const set_value seven(7, sizeof(long), ASN_UNSIGNED), nine(9, 4, ASN_UNSIGNED);
    // clang-format off
    const set_phase status_waits = {reserve1, {4}, 0, {from, entry, ask, get_failed, added, in, done1}, {failed}},
                    it_waits_already = {reserve1, {4}, 0, {from, entry, ask, get_failed, done1}, {failed}},
                    region_waits = {reserve1, seven, 0, {added, in, id_done1}};
    set(status, status_row, {
        {reserve1, {1}, 0, {from, done1}}, {reserve1, {6, 0}, 0, {from, done1}},
        {reserve1, {4}, 12, {from, entry, ask, "trace 100 Feature region already presented in VYN for this application ntp "},
         {assignment("x", PHYSICAL)}},
        {reserve2, {4}, 5, {in2, no + " is depenedent on RegionId. Unable to find indx_objfor ntp application"}},
        {action, {0}, 0, {acting}}, {action, {3}, 0, {acting}},
        {action, {4}, 5, {acting}}, {reserve2, {1}, 0, {in2, done2}}, {action, {1}, 0, {acting}},
        {action, {6}, 0, {acting, remove, acted}, {null_reply}},
        {action, {6}, 5, {acting, remove, no + set_failed, error_77}, {failed}},
        status_waits, it_waits_already, {reserve2, {4}, 0, {in2, done2}}});
    set(id, id_row, {
        {reserve1, nine, 0, {id_done1}}, {reserve2, nine, 0, {id_in2, id_done2}},
        {action, nine, 0, {id_acting}}}); // which leaves the sending to the status
    set(status, status_row, {
        {action, {4}, 0, {acting, create, acted}, {null_reply}},
        {action, {4}, 5, {acting, create, no + set_failed, error_77}, {failed}},
        {commit, {4}, 0, {commit_done}}, {undo, {4}, 0, {undo_done}}});
    static_cast<vyn_feature_region_rec *>(indxobj_find(vyn_app_regions, "ntp"))->op = VYN_OP_REMOVE;
    set(status, status_row, {{action, {4}, 0, {acting, create, acted}, {null_reply}}}); // whatever the row has there
    // The row stays for the next region, which takes it for its own and out in COMMIT.
    set(id, id_row, {
        {reserve1, seven, 0, {id_done1}}, {reserve2, seven, 0, {id_in2, id_done2}}, {action, seven, 0, {id_acting}},
        {commit, nine, 0, {out, own_id + "COMMIT -- done"}},
        {reserve2, nine, 5, {id_in2, "trace 100 unable to find app_name: ntp"}}, {action, nine, 5, {id_acting}},
        region_waits, {reserve2, seven, 12, {id_in2, entry, ask, get_failed, missing, missing_error}, {failed}},
        {reserve2, seven, 12, {id_in2, entry, ask, missing, missing_error}, {null_reply}},
        {reserve2, seven, 0, {id_in2, entry, ask, id_done2}, {is_assigned}},
        {action, seven, 0, {id_acting, change, own_id + "ACTION done"}, {null_reply}},
        {action, seven, 5, {id_acting, change, no_id + set_failed, error_77}, {failed}},
        {undo, seven, 0, {out, own_id + "UNDO -- done"}},
        region_waits, {free_phase, seven, 0, {out, own_id + "FREE -- done"}}, region_waits});
    // In front of the status, the region's row is one that has to exist.
    set(status, status_row, {it_waits_already});
    set(id, id_row, {{reserve2, seven, 12, {id_in2, entry, ask, get_failed, missing, missing_error}, {failed}}});
    set(status, status_row, {{free_phase, {4}, 0, {out, free_done}}, {free_phase, {4}, 0, {free_done}}});
    // The end of a status takes a region 0 out of the other cache.
    for (int end : {commit, undo}) {
        phase(set_vynRegionStatus, reserve1, row_of(VYNREGIONSTATUS, {1, 0}));
        set(status, status_row, {{end, {4}, 0, {"region rows 0", end == commit ? commit_done : undo_done}}});
    }
    platform.add_result = 0; // whether the cache has taken it shows later
    set(status, status_row, {
        {reserve1, {4}, 0, {from, entry, ask, get_failed, added, done1}, {failed}}});
    EXPECT_EQ(phase(status, reserve2, status_row), 5);
    platform.add_result = INDXOBJ_SUCCESS;
    set(status, status_row, {status_waits}); // which a stop frees
    set(status, row_of(VYNFEATUREREGIONSTATUS), {
        {reserve1, {4}, 12, {"trace 100 get_vynFeatureRegionEntry_instance : return match -failed \n", no + parse_failed}}});
    set(id, row_of(VYNFEATUREREGIONID, ntp), {{reserve1, nine, 12, {no_id + parse_failed}}});
    // A phase traces that it begins before it looks at the index, which only a createAndGo's RESERVE2 does.
    const std::string no_index = "trace 100 get_vynFeatureRegionEntry_instance : return match -failed \n";
    set(status, row_of(VYNFEATUREREGIONSTATUS), {
        {reserve2, {6}, 0, {in2, done2}}, {action, {1}, 0, {acting, no_index}},
        {commit, {1}, 0, {no_index, commit_done}}, {99, {1}, 0}});
    set(id, row_of(VYNFEATUREREGIONID), {
        {reserve2, nine, 5, {id_in2, no_index, "trace 100 unable to find app_name: "}},
        {action, nine, 5, {id_acting, no_index}}, {99, nine, 0}});
    // clang-format on
}

// What runs on over a name and its mark ends the one and does not become the other.
TEST_F(regions, octets_that_run_on_make_no_row_that_is_lost) {
    const sub_ids row = row_of(VYNFEATUREREGIONID, sub_ids{80, 2} + sub_ids(MAX_OID_LEN - 16, 'z'));
    for (int each : {reserve1, reserve2, action, commit})
        EXPECT_EQ(phase(set_vynFeatureRegionId, each, row, {each == reserve2 ? is_assigned : null_reply}), 0);
    EXPECT_EQ(platform.log.end()[-2], "app_region rows 0");
    // The octets are sent as far as the record goes, over the last one of the name; the mark is the row's own.
    EXPECT_EQ(platform.log.end()[-4],
              set_assignment + " 12=9 16=1" + words_from(20, 104, "7a7a7a7a") + " 108=7a7a7a7a");
}

} // namespace
