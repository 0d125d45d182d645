// Static peers: what is asked, the rows, and every phase of the write, in and out of NPV mode.

#include "fake_platform.h"

#include <fcntl.h>

namespace {

const sub_ids ipv6 = {2, 16, 0xfe, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

fake_answer reply(uint32_t addr_type, const octets &addr) {
    return {0, reply_of(280, {{0, 66}, {4, addr_type}, {264, ~0u}, {272, 3}, {276, ~0u}}, {{8, addr}})};
}

class static_peers : public platform_test {};

TEST_F(static_peers, reads_the_row_of_its_index) {
    const fake_answer of_ipv4 = reply(1, {10, 0, 0, 1}), of_ipv6 = reply(2, octets(ipv6.begin() + 2, ipv6.end()));
    // clang-format off
    asks(VYNSTATPEERSTATUS, 8477, "42", of_ipv4, {
        {true, ipv4, " 12=1 16=a000001"}, {true, ipv4 + sub_ids{9}, " 12=1 16=a000001"},
        {true, ipv6, " 12=2 16=fe010203 20=4050607 24=8090a0b 28=c0d0e0f"},
        {false, {}, ""}, {false, {1, 0, 10}, " 12=1"}, {false, {1, 4, 10, 1}, " 12=1 16=a010000"}});
    refuses(VYNSTATPEERSTATUS, {{16, 3, 's', 'w', '1'}, {1, 5, 10, 0, 0, 1}, {16, huge, 1, 1, 1, 1}});
    shows({1, 4, 1, 1, 1, 1}, { // to be written without a row as well
        {VYNSTATPEERSTATUS, of_ipv4, integer(3), ipv4}, {VYNSTATPEERSTATUS, of_ipv6, integer(3), ipv6},
        {VYNSTATPEERSTATUS, reply(9, text("core")), integer(3), {16, 4, 'c', 'o', 'r', 'e'}},
        {VYNSTATPEERSTATUS, reply(0, {}), integer(3), {16, 0}},
        {VYNSTATPEERSTATUS, reply(16, octets(256, 'x')), {}, {1, 4, 1, 1, 1, 1}}, // its OID is too long
        {VYNSTATPEERADDRSTORAGETYPE, of_ipv4, integer(3), ipv4, set_vynStatPeerAddrStorageType},
        {VYNSTATPEERADDRROWSTATUS, of_ipv4, integer(1), ipv4, set_vynStatPeerAddrRowStatus},
        {VYNSTATPEERADDRROWSTATUS, failed, {}, {1, 4, 1, 1, 1, 1}, set_vynStatPeerAddrRowStatus}});
    // clang-format on
    const std::string own = " header_vynStatPeersEntry : ", parse = "get_vynStatPeersEntry_instance";
    const sub_ids sw_1 = {16, 4, 's', 'w', '-', '1'}, sw_2 = {16, 4, 's', 'w', '-', '2'};
    const std::tuple<fake_answer, sub_ids, std::string> ends[] = {
        {reply(16, text("sw-2")), sw_2,
         "trace 101 resp_p->resp_static_peer.addr_type = 16, resp_p->resp_static_peer.addr = sw-2 "},
        {null_reply, sw_1, "trace 100" + own + "VYN returned Null response for Static Peers query \n"},
        {failed, {}, "trace 100" + own + "VYN failed to return response for Peers query: E77 \n"}};
    for (const auto &[answer, row, end] : ends)
        reads(VYNSTATPEERSTATUS, true, {sw_1}, row,
              {exact_read(parse, 20),
               "trace 101 " + own + "Sending cmi_req_respfor MTS_OPC_VYN_CONFIG_REQ : msg_type = 66 ",
               "trace 101 request.static_peer.addr_type = 16, request.static_peer.addr = sw-1 ",
               "request 8477/1 0=42 12=10 16=73772d31", end},
              {answer});
    reads(VYNSTATPEERSTATUS, true, {{}}, {}, {"...", "trace 100 " + parse + " : return match -failed \n"});
}

TEST_F(static_peers, row_status_is_written_in_npv_mode) {
    const std::string own = "trace 101 set_vynStatPeerAddrRowStatus : ",
                      no = "trace 100 set_vynStatPeerAddrRowStatus : ", entrying = own + "entrying RESERVE2",
                      done1 = own + "RESERVE1 -- done", done2 = own + "RESERVE2 -- done",
                      acting = own + "entrying ACTION", done = own + "ACTION done",
                      flags = std::to_string(128 | O_NONBLOCK | O_CLOEXEC), tmp = "open /tmp/fc_nport_mux " + flags,
                      mnt = "open /mnt/pss/fc_nport_mux " + flags, change = "change 8477/3 0=42",
                      peer = " 12=1 16=a000001";
    const auto parse = [](int length) { return exact_read("get_vynStatPeersEntry_instance", length); };
    const sub_ids row = row_of(VYNSTATPEERADDRROWSTATUS, ipv4), ipv6_row = row_of(VYNSTATPEERADDRROWSTATUS, ipv6),
                  short_row = row_of(VYNSTATPEERADDRROWSTATUS, {1, 4, 10, 0, 0}),
                  wide_one = sub_ids{oid{huge} + 2} + sub_ids(ipv4.begin() + 1, ipv4.end());
    // clang-format off
    set(set_vynStatPeerAddrRowStatus, row, {
        {reserve2, {6}, 5, {entrying, tmp, mnt, no + "Operation failed: NPV mode is not enabled\n",
                            "set_error 1085472881 1432"}}});
    platform.files = {"/mnt/pss/fc_nport_mux"};
    set(set_vynStatPeerAddrRowStatus, row, {{reserve2, {6}, 0, {entrying, tmp, mnt, "close 0", parse(20), done2}}});
    platform.files.insert("/tmp/fc_nport_mux");
    set(set_vynStatPeerAddrRowStatus, ipv6_row, {
        {reserve2, {6}, 12, {entrying, tmp, "close 0", parse(32), no + "Address type is not IPV4\n",
                             "set_error 1085472880 1432"}}});
    // An address type is compared before it is cut to 32 bits, as far as the agent's have more.
    EXPECT_EQ(call(set_vynStatPeerAddrRowStatus, reserve2, row_of(VYNSTATPEERADDRROWSTATUS, wide_one), 6),
              sizeof(oid) > 4 ? 12 : 0);
    set(set_vynStatPeerAddrRowStatus, short_row, {
        {reserve1, {6}, 12, {parse(19), no + "RESERVE1 instance parse fail \n"}},
        {reserve2, {6}, 12, {entrying, tmp, "close 0", parse(19), no + "RESERVE2 instance parse fail \n"}}});
    set(set_vynStatPeerAddrRowStatus, row, {
        {reserve1, {4}, 0, {parse(20), done1}}, {reserve1, {6, 1}, 0, {parse(20), done1}},
        {action, {4}, 0, {acting, parse(20), change + peer, done}, {null_reply}},
        {action, {6, 1}, 0, {acting, parse(20), change + " 8=1" + peer, done}, {null_reply}},
        {action, {1}, 0, {acting, parse(20)}}, {action, {0}, 0, {acting, parse(20)}},
        {action, {3}, 0, {acting, parse(20)}},
        {action, {4}, 5, {acting, parse(20), change + peer, no + "vyn_req_resp Set failed:E77", error_77}, {failed}},
        {commit, {4}, 0}, {free_phase, {4}, 0}, {undo, {4}, 0}});
    // clang-format on
}

} // namespace
