// Distribution control: the rows, SETs of one and of both families, and the multicast addresses at each bound.

#include <arpa/inet.h>

#include "fake_platform.h"

namespace {

fake_answer reply(uint32_t addr_type, uint32_t enabled) {
    return {0, reply_of(268, {{0, 40}, {4, addr_type}, {8, 0xEFFF4653}, {20, 0x01020304}, {24, ~0u}, {264, enabled}})};
}

// What is sent for a family, in this order in every SET that disables one and enables the other.
const std::string disable = "request 8463/3 0=23 12=", enable = "request 8463/3 0=23 8=1 12=";
const std::string send_failed = "trace 100 cmi_set_vynDistCtrlEntry SET failed : reason 77";

class dist_ctrl : public platform_test {};

TEST_F(dist_ctrl, reads_a_row_of_each_family) {
    reads(VYNDISTCTRLACTION, true, {{1}}, {},
          {"trace 101 get_vynDistCtrlEntry_instance : entrying", "request 8469/1 0=28 8=1",
           "trace 100 header_vynDistCtrlEntry :cmi_get_vynDistCtrlEntry call :cmi Get call to the module failed with "
           "reasoncode : E77"},
          {failed});
    refuses(VYNDISTCTRLACTION, {{0}, {1, 1}});
    reads(VYNDISTCTRLACTION, true, {{1}}, {0}, {"...", "request 8469/1 0=28 8=1"}, {null_reply}); // without a trace
    // clang-format off
    asks(VYNDISTCTRLACTION, 8469, "28", reply(2, 9), {
        {true, {1}, " 8=1"}, {true, {7}, " 8=7"}, {true, {}, " 8=3"}, // the column's own number
        {false, {}, ""}, {false, {1, 2}, " 8=1"}});
    const octets v4 = {0xEF, 0xFF, 0x46, 0x53}, v6 = {0xEF, 0xFF, 0x46, 0x53, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4};
    shows({1}, {
        {VYNDISTCTRLACTION, reply(2, 9), integer(1), {2}, set_vynDistCtrlAction},
        {VYNDISTCTRLACTION, null_reply, integer(2), {0}, set_vynDistCtrlAction}, // a row of zeros
        {VYNDISTCTRLADDR, reply(1, 0), v4, {1}, set_vynDistCtrlAddr},
        {VYNDISTCTRLADDR, reply(2, 0), v6, {2}, set_vynDistCtrlAddr},
        {VYNDISTCTRLADDR, reply(3, 0), {}, {3}, set_vynDistCtrlAddr}});
    // clang-format on
}

TEST_F(dist_ctrl, one_set_changes_both_families_disable_first) {
    platform.history = false;
    using families = std::vector<std::pair<oid, long>>;
    // The values of a SET, the answers to ACTION, its error, and what it sends.
    const std::tuple<families, std::deque<fake_answer>, int, lines> cases[] = {
        {{{1, 1}}, {null_reply}, 0, {enable + "1"}},
        {{{1, 1}, {2, 2}}, {null_reply, null_reply}, 0, {disable + "2", enable + "1"}},
        {{{2, 2}, {1, 1}}, {null_reply, null_reply}, 0, {disable + "2", enable + "1"}},
        {{{2, 1}, {1, 2}}, {null_reply, null_reply}, 0, {disable + "1", enable + "2"}},
        {{{1, 2}, {2, 2}}, {null_reply, null_reply}, 0, {disable + "1", disable + "2"}},
        {{{1, 1}, {2, 2}}, {failed}, 5, {disable + "2", error_77}},
        {{{1, 1}, {2, 2}}, {null_reply, failed}, 5, {disable + "2", enable + "1", error_77}},
    };
    for (const auto &[values, answers, result, sent] : cases)
        for (int end : {commit, undo, free_phase}) { // which clears what the SET was about
            SCOPED_TRACE(testing::PrintToString(values));
            int error = 0;
            platform.answers = answers;
            for (int phase : {reserve1, reserve2, action})
                for (const auto &[family, value] : values)
                    if (error == 0)
                        error = call(set_vynDistCtrlAction, phase, row_of(VYNDISTCTRLACTION, {family}), value);
            EXPECT_EQ(error, result);
            EXPECT_EQ(call(set_vynDistCtrlAction, end, row_of(VYNDISTCTRLACTION, {1}), 1), 0);
            EXPECT_EQ(platform.take_log(), sent);
        }
}

TEST_F(dist_ctrl, action_is_traced) {
    const std::string own = "trace 101 set_vynDistCtrlAction : ", in1 = own + "Entering RESERVE1 \n",
                      in2 = own + "Entering RESERVE2 \n", done1 = own + "RESERVE1 done\n", acting = own + "ACTION \n",
                      both = "Both ipv4 & ipv6 enable set -- this is not valid:syserr =  E1085472884\n";
    const sub_ids v4 = row_of(VYNDISTCTRLACTION, {1}), v6 = row_of(VYNDISTCTRLACTION, {2});
    // clang-format off
    set(set_vynDistCtrlAction, row_of(VYNDISTCTRLACTION, {3}), {{reserve1, {1}, 129, {in1}}});
    set(set_vynDistCtrlAction, v4, {
        {reserve1, {2}, 0, {in1, own + "VYN_SNMP_IPV4_DISABLE\n", done1}},
        {reserve1, {1}, 0, {in1, own + "VYN_SNMP_IPV4_ENABLE\n", done1}}});
    set(set_vynDistCtrlAction, v6, {
        {reserve1, {1}, 0, {in1, own + "VYN_SNMP_IPV6_ENABLE\n", done1}},
        {reserve2, {1}, 5, {in2, "trace 100 set_vynDistCtrlAction : " + both, "set_error 1085472884 1432"}},
        {reserve1, {2}, 0, {in1, own + "VYN_SNMP_IPV6_DISABLE\n", done1}},
        {reserve2, {2}, 0, {in2, own + "RESERVE2 done\n"}}});
    set(set_vynDistCtrlAction, v4, {
        {action, {1}, 0, {acting, own + "addr_type 1, ipv4 1 ipv6                             4 is_ip_disable 0\n",
                          "trace 101 set_vynDistCtrlAction: setting temp_addr_type 2", disable + "2", enable + "1",
                          own + "ACTION done\n"}, {null_reply, null_reply}}});
    set(set_vynDistCtrlAction, v6, {
        {action, {2}, 0, {acting}},
        {commit, {2}, 0, {own + "COMMIT \n", own + "COMMIT done\n"}},
        {free_phase, {2}, 0, {own + "FREE \n", own + "FREE done\n"}},
        {action, {2}, 5, {acting, "trace 101 set_vynDistCtrlAction: is_ip_disable_sent is TRUE", disable + "2",
                          send_failed, error_77}, {failed}},
        {action, {1}, 0, {acting, own + "addr_type 2, ipv4 0 ipv6                             0 is_ip_disable 0\n",
                          enable + "2", own + "ACTION done\n"}, {null_reply}},
        {action, {0}, 0, {acting}}, {action, {3}, 0, {acting}},
        {undo, {2}, 0, {own + "UNDO \n", own + "UNDO done\n"}}});
    // clang-format on
}

TEST_F(dist_ctrl, multicast_addresses_are_checked_and_sent) {
    const std::string own = "set_vynDistCtrlAddr : ", write = "trace 100 " + own + "write to vynDistCtrlAddr",
                      change = "request 8463/3 0=25 8=";
    const sub_ids v4_row = row_of(VYNDISTCTRLADDR, {1}), v6_row = row_of(VYNDISTCTRLADDR, {2});
    const auto check = [&](const std::string &shown, bool good) {
        octets address(16);
        const bool is_v4 = inet_pton(AF_INET, shown.c_str(), address.data()) == 1;
        is_v4 ? address.resize(4) : void(inet_pton(AF_INET6, shown.c_str(), address.data()));
        lines log = {"trace 101 " + own + (is_v4 ? "Dot notation address  : " : "The IPv6 Address : ") + shown};
        if (!good) log.push_back(write + " fail: Not a valid IPv" + (is_v4 ? "4" : "6") + " multicast Addr");
        set(set_vynDistCtrlAddr, is_v4 ? v4_row : v6_row, {{reserve1, {address}, good ? 0 : 10, log}});
    };
    for (const char *good : {"239.255.0.1", "239.192.1.1", "224.251.0.0", "ff05::1", "ff18::1"}) check(good, true);
    for (const char *bad :
         {"239.191.9.9", "239.252.0.1", "239.254.0.1", "223.255.0.1", "240.255.0.1", "ff02::1", "fe05::1"})
        check(bad, false);
    const octets v4 = {239, 255, 0, 1}, v6 = {0xff, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    // clang-format off
    set(set_vynDistCtrlAddr, v4_row, {
        {reserve1, {1}, 7, {write + " not ASN_OCTET_STR"}}, {reserve1, {octets()}, 8, {write + ": bad length"}},
        {reserve1, {octets(256)}, 8, {write + ": bad length"}}, {reserve1, {octets(255)}, 10},
        {reserve1, {v6}, 10}, {reserve2, {v4}, 0}, {commit, {v4}, 0}, {free_phase, {v4}, 0}, {undo, {v4}, 0},
        {action, {v4}, 0, {change + "1 12=efff0001"}, {null_reply}},
        {action, {v4}, 5, {change + "1 12=efff0001", send_failed, error_77}, {failed}}});
    set(set_vynDistCtrlAddr, v6_row, {
        {reserve1, {v4}, 10}, {action, {v6}, 0, {change + "2 12=ff080000 24=1"}, {null_reply}},
        {action, {v4}, 0, {change + "2 12=efff0001"}, {null_reply}}}); // what was never reserved is not read past
    // clang-format on
    set(set_vynDistCtrlAddr, row_of(VYNDISTCTRLADDR, {3}), {{reserve1, {v4}, 129}});
    set(set_vynDistCtrlAddr, row_of(VYNDISTCTRLADDR, {1, 1}),
        {{reserve1, {v4}, 12, {write + " : operation failed : invaild no of indices passed."}}});
    set(set_vynDistCtrlAddr, row_of(VYNDISTCTRLADDR), // the column's own number is IPv6's
        {{reserve1, {v6}, 0, {"trace 101 " + own + "The IPv6 Address : ff08::1"}}});
}

} // namespace
