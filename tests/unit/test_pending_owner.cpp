// The table of lock owners: request bytes for every kind of index, the rows of replies, and what
// the retained row shows when nothing new has come.

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
    sub_ids long_name(115, 'a');
    long_name[0] = huge;
    // A name of 80 characters and no more, no scope, for 97 is none, and a VSAN.
    const std::string cut = words_from(12, 88, "61616161") + words_from(100, 128, "61616161");
    // clang-format off
    asks(VYNPENDINGCONFOWNERUSERNAME, 8469, "6", reply({}), {
        {true, ntp_physical, " 12=6e747000 96=2"},
        {true, {3, 'n', 't', 'p' + 256, 1}, " 12=6e747000 96=2"}, // octets are all there is of it
        {true, ntp_vsan_10, " 12=6e747000 96=1 100=a"},
        {true, ntp + sub_ids{2, 9, 1, 2, 3, 4, 5}, " 12=6e747000 96=1 100=1020304"},
        {false, {}, ""}, {false, {3}, " 12=20202000"}, {false, {3, 'n'}, " 12=6e202000"}, {false, {0, 1}, " 96=2"},
        {false, ntp, " 12=6e747000"}, {false, ntp + sub_ids{7}, " 12=6e747000"},
        {false, ntp + sub_ids{1, 0}, " 12=6e747000 96=2"}, {false, ntp + sub_ids{2, 4}, " 12=6e747000 96=1"},
        {false, ntp + sub_ids{2, 4, 1, 2}, " 12=6e747000 96=1 100=1020000"},
        {false, {1, 'a', 2, 12, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0x10c},
         " 12=61000000 96=1 100=1020304 104=5060708 108=90a0b0c"},
        {false, long_name, cut}});
    refuses(VYNPENDINGCONFOWNERUSERNAME, {
        {}, {0, 1}, {1, 0, 1}, {4, 'n', 't', 'p'}, {huge, 'n', 1}, long_name, ntp, ntp + sub_ids{1, 0},
        ntp + sub_ids{3, 4, 0, 0, 0, 10}, ntp + sub_ids{257}, ntp + sub_ids{2}, ntp + sub_ids{2, 0, 0, 0, 0, 10},
        ntp + sub_ids{2, 4, 0, 0, 10}});
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
    shows(ntp_physical, {{VYNPENDINGCONFOWNERUSERNAME, null_reply, text(longest), ntp_physical}});
    EXPECT_TRUE(answered(free, VYNPENDINGCONFOWNERUSERNAME, {}, false).value);
    // Read once, the merge process's name is another one in the retained row.
    shows(ntp_physical, {{VYNPENDINGCONFOWNERUSERTYPE, reply({.user = "$VYN$Merge"}), octets{0x80}, ntp_physical},
                         {VYNPENDINGCONFOWNERUSERTYPE, null_reply, octets{0x80}, ntp_physical},
                         {VYNPENDINGCONFOWNERUSERNAME, null_reply, text("VYN"), ntp_physical},
                         {VYNPENDINGCONFOWNERUSERTYPE, null_reply, octets{0x30}, ntp_physical}});
}

TEST_F(pending_owner, traces_what_it_does) {
    const std::string own = "get_vynPendingConfOwnerEntry_instance", no = "trace 100 " + own,
                      query = " for Pending config owner query";
    const int column = VYNPENDINGCONFOWNERUSERNAME;
    traces(column, ntp_vsan_10, reply({.scope = LOGICAL, .vsan = 10}),
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
            "resp_p->resp_app_lock_state.lock_info[0].ip_address = a000001 \n"});
    traces(column, ntp_physical, reply({.taken = false}),
           {"...", "trace 100  " + own + " : VYN returned response - lock is not taken for the app \n"});
    traces(column, ntp_physical, failed, {"...", no + " : VYN failed to return response" + query + ": E77 \n"});
    traces(column, ntp_physical, null_reply, {"...", no + " : VYN returned Null response" + query + " \n"});
    traces(column, {}, failed, {exact_read(own, 14), no + " : return match -failed \n"});
    traces(column, {0, 1}, failed, {exact_read(own, 16), no + " : app name - return match failed \n"});
}

} // namespace
