// The table of lock owners: what is asked for every kind of index, the rows of replies, and the retained row.

#include "fake_platform.h"

namespace {

struct lock {
    std::string user = "bob", app = "ntp";
    uint32_t scope = PHYSICAL, vsan = 0, addr_type = 1;
    octets addr = {10, 0, 0, 1};
    bool taken = true;
};

fake_answer reply(const lock &held) {
    return {0, reply_of(512, {{4, 7}, {96, held.scope}, {100, held.vsan}, {120, 0x0a000001}, {124, held.addr_type}},
                        {{12, text(held.app)}, {104, {held.taken}}, {128, held.addr}, {384, text(held.user)}})};
}

class pending_owner : public platform_test {};

TEST_F(pending_owner, asks_for_what_the_index_says) {
    const sub_ids long_name = sub_ids{huge} + sub_ids(114, 'a');
    // A name of 80 characters and no more, no scope, for 97 is none, and a VSAN.
    const std::string cut = words_from(12, 88, "61616161") + words_from(100, 128, "61616161");
    // clang-format off
    asks(VYNPENDINGCONFOWNERUSERNAME, 8469, "6", reply({}), {
        {true, {3, 'n', 't', 'p' + 256, 1}, " 12=6e747000 96=2"}, // octets are all there is of it
        {true, ntp + sub_ids{2, 9, 1, 2, 3, 4, 5}, " 12=6e747000 96=1 100=1020304"},
        {false, {}, ""}, {false, {0, 1}, " 96=2"}, {false, ntp + sub_ids{7}, " 12=6e747000"},
        {false, ntp + sub_ids{1, 0}, " 12=6e747000 96=2"}, {false, long_name, cut},
        {false, ntp + sub_ids{2, 4, 1, 2}, " 12=6e747000 96=1 100=1020000"},
        {false, {1, 'a', 2, 8, 1, 2, 3, 4, 5, 6, 7, 0x10c}, " 12=61000000 96=1 100=1020304 104=506070c"}});
    refuses(VYNPENDINGCONFOWNERUSERNAME, {
        {1, 0, 1}, {4, 'n', 't', 'p'}, long_name, ntp, ntp + sub_ids{1, 0}, ntp + sub_ids{3, 4, 0, 0, 0, 10},
        ntp + sub_ids{257}, ntp + sub_ids{2}, ntp + sub_ids{2, 0, 0, 0, 0, 10}, ntp + sub_ids{2, 4, 0, 0, 10}});
    // clang-format on
}

TEST_F(pending_owner, tells_who_holds_the_lock) {
    const octets v6 = {0xfd, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, full(256, 'x');
    const std::string longest(128, 'u'), filled(81, 'n'); // without an end
    // clang-format off
    const std::tuple<lock, sub_ids, octets, std::string> cases[] = { // the lock's index, type of user and user
        {{}, ntp_physical, {0x30}, "bob"}, {{.scope = LOGICAL, .vsan = 10}, ntp_vsan_10, {0x30}, "bob"},
        {{.user = "", .scope = 0, .vsan = 10}, ntp_vsan_10, {0x30}, ""}, {{.app = ""}, {0, 1}, {0x30}, "bob"},
        {{.user = "\xF9" "admin", .addr_type = 2, .addr = v6}, ntp_physical, {0x40}, "admin"},
        {{.user = "$VYN$Merge", .addr_type = 16, .addr = text("spine-1")}, ntp_physical, {0x80}, "VYN"},
        {{.user = "$VYN$Merge2", .addr_type = 0, .addr = {}}, ntp_physical, {0x30}, "$VYN$Merge2"},
        {{.user = "$VYN$Mergf", .app = filled}, name_index(filled) + sub_ids{1}, {0x30}, "$VYN$Mergf"},
        {{.user = longest, .addr_type = 16, .addr = full}, ntp_physical, {0x30}, longest}};
    // clang-format on
    for (const auto &[held, row, user_type, user_name] : cases)
        shows(ntp_physical, {{VYNPENDINGCONFOWNERADDRTYPE, reply(held), integer(static_cast<int>(held.addr_type)), row},
                             {VYNPENDINGCONFOWNERADDR, reply(held), held.addr, row},
                             {VYNPENDINGCONFOWNERUSERTYPE, reply(held), user_type, row},
                             {VYNPENDINGCONFOWNERUSERNAME, reply(held), text(user_name), row}});
    const fake_answer free = reply({.taken = false}); // is no row for a GET, and not kept, and one for a walk
    EXPECT_FALSE(answered(free, VYNPENDINGCONFOWNERUSERNAME, ntp_physical, true).value);
    EXPECT_EQ(answered(null_reply, VYNPENDINGCONFOWNERUSERNAME, ntp_physical, true).value, text(longest));
    EXPECT_TRUE(answered(free, VYNPENDINGCONFOWNERUSERNAME, {}, false).value);
    // Read once, the merge process's name is another one in the retained row.
    shows(ntp_physical, {{VYNPENDINGCONFOWNERUSERTYPE, reply({.user = "$VYN$Merge"}), octets{0x80}, ntp_physical},
                         {VYNPENDINGCONFOWNERUSERNAME, null_reply, text("VYN"), ntp_physical},
                         {VYNPENDINGCONFOWNERUSERTYPE, null_reply, octets{0x30}, ntp_physical}});
}

TEST_F(pending_owner, traces_what_it_does) {
    const std::string own = "get_vynPendingConfOwnerEntry_instance", no = "trace 100 " + own + " : ";
    const int column = VYNPENDINGCONFOWNERUSERNAME;
    reads(column, true, {ntp_vsan_10}, ntp_vsan_10,
          {exact_read(own, 24),
           "trace 101  header_vynPendingConfOwnerEntry : Sending cmi_req_resp for MTS_OPC_VYN_SNMP_QUERY :msg_type = 1"
           "request.req_app_lock_state.local_app.name = ntp, request.req_app_lock_state.scope = 1,"
           "request.req_app_lock_state.min_vsan = a",
           "request 8469/1 0=6 12=6e747000 96=1 100=a",
           "trace 101  " + own +
               " : Reply for cmi_req_resp MTS_OPC_VYN_SNMP_QUERY  from vyn:msg_type = 1 "
               "resp_p->resp_app_lock_state.lock_info[0].app.name = ntp,  resp_p->resp_app_lock_state.scope = 1, "
               "resp_p->resp_app_lock_state.lock_info[0].vsan = a \n",
           "trace 101  resp_p->resp_app_lock_state.lock_info[0].user_name = bob, "
           "resp_p->resp_app_lock_state.lock_info[0].ip_address = a000001 \n"},
          {reply({.scope = LOGICAL, .vsan = 10})});
    reads(column, true, {ntp_physical}, {},
          {"...", "trace 100  " + own + " : VYN returned response - lock is not taken for the app \n"},
          {reply({.taken = false})});
    reads(column, true, {ntp_physical}, {},
          {"...", no + "VYN failed to return response for Pending config owner query: E77 \n"}, {failed});
    reads(column, true, {ntp_physical}, ntp_physical,
          {"...", no + "VYN returned Null response for Pending config owner query \n"}, {null_reply});
    reads(column, true, {{}}, {}, {exact_read(own, 14), no + "return match -failed \n"});
    reads(column, true, {{0, 1}}, {}, {exact_read(own, 16), no + "app name - return match failed \n"});
}

} // namespace
