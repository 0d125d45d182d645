// Distribution control: the two rows, the SETs of one and of both families in either order, and the
// multicast addresses at each bound.

#include "fake_platform.h"

namespace {

const fake_answer null_reply = {.error = 0, .reply = {}}, failed = {.error = 77, .reply = octets(8)};

sub_ids object(int column, const sub_ids &index) {
    return vyn_oid({1, 4, 2, 1, static_cast<oid>(column - 82)}) + index;
}

fake_answer reply(uint32_t addr_type, uint32_t enabled, size_t size = 268) {
    octets bytes =
        reply_of(360, {{0, 40}, {4, addr_type}, {8, 0xEFFF4653}, {20, 0x01020304}, {24, ~0u}, {264, enabled}});
    bytes.resize(size);
    return {.error = 0, .reply = bytes};
}

// The lines of a change of a family, and how the SET of one family goes from phase to phase.
std::string enable(int on, int family) {
    return "request 8463/3 user=alice session=7 0=00000023 4=00000001" + std::string(on ? " 8=00000001" : "") +
           " 12=0000000" + std::to_string(family);
}

class dist_ctrl : public platform_test {
  protected:
    dist_ctrl() { platform.history = false; }

    read_result read(const sub_ids &index, bool exact, int column = VYNDISTCTRLACTION) {
        return read_object(column, object(column, index), exact);
    }

    // One phase for each of these families, with its value: the results, and what was sent.
    std::pair<std::vector<int>, lines> phase(int which, const std::vector<std::pair<oid, long>> &values) {
        std::vector<int> results;
        for (const auto &[family, value] : values) {
            set_value copy(value);
            sub_ids name = object(VYNDISTCTRLACTION, {family});
            results.push_back(set_vynDistCtrlAction(which, copy.bytes.data(), copy.type, copy.length, nullptr,
                                                    name.data(), name.size()));
        }
        return {results, platform.take_log()};
    }
};

TEST_F(dist_ctrl, reads_a_row_of_each_family) {
    const octets v4 = {0xEF, 0xFF, 0x46, 0x53}, v6 = {0xEF, 0xFF, 0x46, 0x53, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4};
    const struct {
        bool exact;
        sub_ids index;
        std::string query;
    } cases[] = {{true, {1}, "1 user=alice session=7 0=00000028 4=00000001 8=00000001"},
                 {true, {7}, "1 user=alice session=7 0=00000028 4=00000001 8=00000007"},
                 {true, {}, "1 user=alice session=7 0=00000028 4=00000001 8=00000003"}, // the column's own number
                 {false, {}, "2 user=alice session=7 0=00000028 4=00000001"},
                 {false, {1, 2}, "2 user=alice session=7 0=00000028 4=00000001 8=00000001"}};
    for (const auto &[exact, index, query] : cases) {
        platform.answers = {reply(2, 9)};
        const auto result = read(index, exact);
        EXPECT_EQ(result.value, integer(1));
        EXPECT_EQ(result.name, object(VYNDISTCTRLACTION, {2}));
        EXPECT_EQ(result.write_method, set_vynDistCtrlAction);
        EXPECT_EQ(platform.take_log(), lines{"request 8469/" + query});
    }
    for (const sub_ids &index : {sub_ids{0}, sub_ids{1, 1}, sub_ids{1, 0}}) EXPECT_FALSE(read(index, true).value);
    EXPECT_EQ(platform.take_log(), lines()) << "nothing is asked";
    platform.answers = {reply(1, 0), reply(1, 0), reply(2, 0), reply(3, 0), null_reply, null_reply, failed};
    EXPECT_EQ(read({1}, true).value, integer(2));
    for (const auto &value : {std::optional(v4), std::optional(v6), std::optional<octets>(), std::optional<octets>()}) {
        const auto result = read({1}, true, VYNDISTCTRLADDR);
        EXPECT_EQ(result.value, value);
        EXPECT_EQ(result.write_method, set_vynDistCtrlAddr);
    }
    const auto null = read({1}, true);
    EXPECT_EQ(null.value, integer(2)) << "a null reply is a row of zeros";
    EXPECT_EQ(null.name, object(VYNDISTCTRLACTION, {0}));
    const auto none = read({1}, true);
    EXPECT_FALSE(none.value || none.write_method);
    EXPECT_EQ(none.name, object(VYNDISTCTRLACTION, {1}));
    platform.take_log();
    for (size_t size = 1; size <= 268; size++) {
        platform.answers = {reply(1, 1, size)};
        EXPECT_EQ(read({1}, true).value, integer(size == 268 ? 1 : 2)) << size;
    }
    platform.history = true;
    platform.log.clear();
    platform.answers = {failed};
    read({1}, true);
    EXPECT_EQ(
        platform.take_log(),
        (lines{"trace 101 get_vynDistCtrlEntry_instance : entrying",
               "request 8469/1 user=alice session=7 0=00000028 4=00000001 8=00000001",
               "trace 100 header_vynDistCtrlEntry :cmi_get_vynDistCtrlEntry call :cmi Get call to the module failed "
               "with reasoncode : E77"}));
}

TEST_F(dist_ctrl, one_set_changes_both_families_disable_first) {
    using families = std::vector<std::pair<oid, long>>;
    const struct {
        families values;
        std::deque<fake_answer> answers;
        std::vector<int> results; // of ACTION
        lines sent;
    } cases[] = {
        {{{1, 1}}, {null_reply}, {0}, {enable(1, 1)}},
        {{{2, 2}}, {null_reply}, {0}, {enable(0, 2)}},
        {{{1, 1}, {2, 2}}, {null_reply, null_reply}, {0, 0}, {enable(0, 2), enable(1, 1)}},
        {{{2, 2}, {1, 1}}, {null_reply, null_reply}, {0, 0}, {enable(0, 2), enable(1, 1)}},
        {{{2, 1}, {1, 2}}, {null_reply, null_reply}, {0, 0}, {enable(0, 1), enable(1, 2)}},
        {{{1, 2}, {2, 1}}, {null_reply, null_reply}, {0, 0}, {enable(0, 1), enable(1, 2)}},
        {{{1, 2}, {2, 2}}, {null_reply, null_reply}, {0, 0}, {enable(0, 1), enable(0, 2)}},
        {{{1, 1}, {2, 2}}, {failed}, {5}, {enable(0, 2), "set_error 77 1432"}},
        {{{1, 1}, {2, 2}}, {null_reply, failed}, {5}, {enable(0, 2), enable(1, 1), "set_error 77 1432"}},
        {{{2, 2}, {1, 1}}, {null_reply, failed}, {0, 5}, {enable(0, 2), enable(1, 1), "set_error 77 1432"}},
    };
    for (const auto &test : cases)
        for (int end : {commit, undo, free_phase}) {
            SCOPED_TRACE(testing::PrintToString(test.values));
            EXPECT_EQ(phase(reserve1, test.values).first, std::vector<int>(test.values.size(), 0));
            EXPECT_EQ(phase(reserve2, test.values).first, std::vector<int>(test.values.size(), 0));
            platform.answers = test.answers;
            const families reached(test.values.begin(), test.values.begin() + static_cast<long>(test.results.size()));
            const auto [results, sent] = phase(action, reached);
            EXPECT_EQ(results, test.results);
            EXPECT_EQ(sent, test.sent);
            EXPECT_EQ(phase(end, {{1, 1}}), (std::pair{std::vector<int>{0}, lines()}))
                << "clears what the SET was about";
        }
    const families both = {{1, 1}, {2, 1}};
    phase(reserve1, both);
    EXPECT_EQ(phase(reserve2, both), (std::pair{std::vector<int>{5, 5}, lines(2, "set_error 1085472884 1432")}));
    phase(free_phase, both);
    phase(reserve1, {{2, 1}});
    EXPECT_EQ(phase(reserve2, {{2, 1}}).first, std::vector<int>{0}) << "another SET";
    phase(free_phase, both);
}

TEST_F(dist_ctrl, action_is_checked_and_traced) {
    platform.history = true;
    const std::string own = "trace 101 set_vynDistCtrlAction : ", in1 = own + "Entering RESERVE1 \n",
                      write = "trace 100 write to", done1 = own + "RESERVE1 done\n", acting = own + "ACTION \n",
                      both = "trace 100 set_vynDistCtrlAction : Both ipv4 & ipv6 enable set -- this is not "
                             "valid:syserr =  E1085472884\n";
    const sub_ids v4 = object(VYNDISTCTRLACTION, {1}), v6 = object(VYNDISTCTRLACTION, {2});
    // clang-format off
    set(set_vynDistCtrlAction, v4, {
        {reserve1, {octets{0, 0, 0, 1}}, 7, {in1, write + " vynDistCtrlActionnot ASN_INTEGER\n"}},
        {reserve1, {1, 0}, 8, {in1, write + "vynDistCtrlAction:bad length\n"}}, {reserve1, {1, 5}, 8, {in1, write + "vynDistCtrlAction:bad length\n"}},
        {reserve1, {0}, 10, {in1, write + " vynDistCtrlAction:wrong value\n"}}, {reserve1, {3}, 10, {in1, write + " vynDistCtrlAction:wrong value\n"}},
        {reserve1, {2, 1}, 0, {in1, own + "VYN_SNMP_IPV4_DISABLE\n", done1}},
        {reserve1, {1}, 0, {in1, own + "VYN_SNMP_IPV4_ENABLE\n", done1}}});
    set(set_vynDistCtrlAction, object(VYNDISTCTRLACTION, {3}), {{reserve1, {1}, 129, {in1}}});
    set(set_vynDistCtrlAction, v6, {
        {reserve1, {1}, 0, {in1, own + "VYN_SNMP_IPV6_ENABLE\n", done1}},
        {reserve2, {1}, 5, {own + "Entering RESERVE2 \n", both, "set_error 1085472884 1432"}},
        {reserve1, {2}, 0, {in1, own + "VYN_SNMP_IPV6_DISABLE\n", done1}},
        {reserve2, {2}, 0, {own + "Entering RESERVE2 \n", own + "RESERVE2 done\n"}}});
    set(set_vynDistCtrlAction, v4, {
        {action, {1}, 0, {acting, own + "addr_type 1, ipv4 1 ipv6                             4 is_ip_disable 0\n",
                          "trace 101 set_vynDistCtrlAction: setting temp_addr_type 2", enable(0, 2), enable(1, 1), own + "ACTION done\n"},
         {null_reply, null_reply}}});
    set(set_vynDistCtrlAction, v6, {
        {action, {2}, 0, {acting}},
        {commit, {2}, 0, {own + "COMMIT \n", own + "COMMIT done\n"}},
        {free_phase, {2}, 0, {own + "FREE \n", own + "FREE done\n"}},
        {action, {2}, 5, {acting, "trace 101 set_vynDistCtrlAction: is_ip_disable_sent is TRUE", enable(0, 2),
                          "trace 100 cmi_set_vynDistCtrlEntry SET failed : reason 77", "set_error 77 1432"}, {failed}},
        {action, {1}, 0, {acting, own + "addr_type 2, ipv4 0 ipv6                             0 is_ip_disable 0\n", enable(1, 2),
                          own + "ACTION done\n"}, {null_reply}},
        {undo, {2}, 0, {own + "UNDO \n", own + "UNDO done\n"}}, {6, {2}, 0}});
    // clang-format on
}

TEST_F(dist_ctrl, multicast_addresses_are_checked_and_sent) {
    platform.history = true;
    const std::string own = "set_vynDistCtrlAddr : ", refused = "trace 100 " + own,
                      write = refused + "write to vynDistCtrlAddr",
                      no_v4 = write + " fail: Not a valid IPv4 multicast Addr",
                      no_v6 = write + " fail: Not a valid IPv6 multicast Addr",
                      change = "request 8463/3 user=alice session=7 0=00000025 4=00000001";
    const sub_ids v4 = object(VYNDISTCTRLADDR, {1}), v6 = object(VYNDISTCTRLADDR, {2});
    const auto v6_of = [](u_char first, u_char second) {
        octets address(16);
        address[0] = first, address[1] = second, address[15] = 1;
        return address;
    };
    const std::tuple<octets, std::string, bool> v4s[] = {
        {{239, 255, 0, 1}, "239.255.0.1", true},  {{239, 192, 1, 1}, "239.192.1.1", true},
        {{224, 251, 0, 0}, "224.251.0.0", true},  {{239, 191, 9, 9}, "239.191.9.9", false},
        {{239, 252, 0, 1}, "239.252.0.1", false}, {{239, 254, 0, 1}, "239.254.0.1", false},
        {{223, 255, 0, 1}, "223.255.0.1", false}, {{240, 255, 0, 1}, "240.255.0.1", false},
        {{10, 0, 0, 1}, "10.0.0.1", false}};
    for (const auto &[address, shown, good] : v4s) {
        lines log = {"trace 101 " + own + "Dot notation address  : " + shown};
        if (!good) log.push_back(no_v4);
        set(set_vynDistCtrlAddr, v4, {{reserve1, {address}, good ? 0 : 10, log}});
    }
    const std::tuple<octets, std::string, bool> v6s[] = {
        {v6_of(0xFF, 5), "ff05::1", true},  {v6_of(0xFF, 0x18), "ff18::1", true},  {v6_of(0xFF, 0xF5), "fff5::1", true},
        {v6_of(0xFF, 2), "ff02::1", false}, {v6_of(0xFF, 0x0E), "ff0e::1", false}, {v6_of(0xFE, 5), "fe05::1", false}};
    for (const auto &[address, shown, good] : v6s) {
        lines log = {"trace 101 " + own + "The IPv6 Address : " + shown};
        if (!good) log.push_back(no_v6);
        set(set_vynDistCtrlAddr, v6, {{reserve1, {address}, good ? 0 : 10, log}});
    }
    const octets address = {239, 255, 0, 1};
    // clang-format off
    set(set_vynDistCtrlAddr, v4, {
        {reserve1, {1}, 7, {write + " not ASN_OCTET_STR"}}, {reserve1, {octets()}, 8, {write + ": bad length"}},
        {reserve1, {octets(256)}, 8, {write + ": bad length"}}, {reserve1, {octets(255)}, 10}, {reserve1, {v6_of(0xFF, 5)}, 10},
        {reserve2, {address}, 0}, {action, {address}, 0, {change + " 8=00000001 12=efff0001"}, {null_reply}},
        {action, {address}, 5, {change + " 8=00000001 12=efff0001", "trace 100 cmi_set_vynDistCtrlEntry SET failed : reason 77",
                                "set_error 77 1432"}, {failed}},
        {commit, {address}, 0}, {free_phase, {address}, 0}, {undo, {address}, 0}});
    set(set_vynDistCtrlAddr, v6, {
        {reserve1, {address}, 10},
        {action, {v6_of(0xFF, 5)}, 0, {change + " 8=00000002 12=ff050000 24=00000001"}, {null_reply}},
        {action, {address}, 0, {change + " 8=00000002 12=efff0001"}, {null_reply}}}); // what was never reserved is not read past
    // clang-format on
    for (const auto &[index, error, log] :
         {std::tuple{sub_ids{1, 1}, 12, lines{write + " : operation failed : invaild no of indices passed."}},
          {sub_ids{3}, 129, lines()},
          {sub_ids{0}, 129, lines()}})
        set(set_vynDistCtrlAddr, object(VYNDISTCTRLADDR, index), {{reserve1, {address}, error, log}});
    set(set_vynDistCtrlAddr, object(VYNDISTCTRLADDR, {}), // the column's own number is IPv6's
        {{reserve1, {v6_of(0xFF, 8)}, 0, {"trace 101 " + own + "The IPv6 Address : ff08::1"}}});
}

} // namespace
