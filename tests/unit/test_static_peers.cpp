// Static peers: what is asked, the rows, and every phase of both writes, in and out of NPV mode.

#include "fake_platform.h"

namespace {

const sub_ids ipv4 = {1, 4, 10, 0, 0, 1}, ipv6 = {2, 16, 0xfe, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
const std::string get_query = "request 8477/1 user=alice session=7 0=00000042 4=00000001",
                  next_query = "request 8477/2 user=alice session=7 0=00000042 4=00000001",
                  change = "request 8477/3 user=alice session=7 0=00000042 4=00000001";
const fake_answer done = {.error = 0, .reply = {}}, failed = {.error = 77, .reply = {}};

fake_answer reply(uint32_t addr_type, const octets &addr, uint32_t status = 3, size_t size = 280) {
    octets bytes = reply_of(280, {{0, 66}, {4, addr_type}, {264, ~0u}, {272, status}, {276, ~0u}});
    std::copy(addr.begin(), addr.end(), bytes.begin() + 8);
    bytes.resize(size);
    return {.error = 0, .reply = bytes};
}

read_result read(const sub_ids &index, bool exact, int column = VYNSTATPEERSTATUS) {
    return read_object(column, row_of(11, static_cast<oid>(column - 71), index), exact);
}

class static_peers : public platform_test {
  protected:
    static_peers() { platform.history = false; }
};

TEST_F(static_peers, reads_the_row_of_its_index) {
    // clang-format off
    const std::tuple<bool, sub_ids, std::string> cases[] = {
        {true, ipv4, " 12=00000001 16=0a000001"}, {true, ipv4 + sub_ids{9}, " 12=00000001 16=0a000001"},
        {true, ipv6, " 12=00000002 16=fe010203 20=04050607 24=08090a0b 28=0c0d0e0f"},
        {false, {}, ""}, {false, {7}, " 12=00000007"}, {false, {1, 0, 10}, " 12=00000001"},
        {false, {1, 4, 10, 1}, " 12=00000001 16=0a010000"}, {false, {16, 4294967295, 'x'}, " 12=00000010 16=78000000"},
    };
    const sub_ids refused[] = {{}, {1, 4, 10, 0, 0}, {16, 3, 's', 'w', '1'}, {1, 5, 10, 0, 0, 1}, {16, 256, 1, 1, 1, 1}};
    const struct {
        uint32_t addr_type;
        octets addr;
        sub_ids index;
    } rows[] = {{1, {10, 0, 0, 1}, ipv4}, {2, octets(ipv6.begin() + 2, ipv6.end()), ipv6},
                {9, text("core"), {16, 4, 'c', 'o', 'r', 'e'}}, {0, {}, {16, 0}}, {16, octets(256, 'x'), {}}};
    // clang-format on
    for (const auto &[exact, index, words] : cases) {
        platform.answers = {reply(1, {1})};
        EXPECT_EQ(read(index, exact).name, row_of(11, 3, {1, 4, 1, 0, 0, 0}));
        EXPECT_EQ(platform.take_log(), lines{(exact ? get_query : next_query) + words});
    }
    for (const sub_ids &index : refused) EXPECT_FALSE(read(index, true).value);
    EXPECT_EQ(platform.take_log(), lines());
    for (const auto &[addr_type, addr, index] : rows) {
        platform.answers = {reply(addr_type, addr)};
        const auto result = read({}, false);
        EXPECT_EQ(result.value.has_value(), !index.empty());
        EXPECT_EQ(result.name, row_of(11, 3, index)) << "as it was asked for, where it is too long";
    }
    for (size_t size = 1; size <= 280; size++) {
        platform.answers = {reply(1, {10, 0, 0, 1}, 0x01020304, size)};
        const uint32_t shown = size < 273 ? 0 : 0x01020304u & (size < 276 ? ~0u << (276 - size) * 8 : ~0u);
        EXPECT_EQ(read({}, false).value, integer(static_cast<int32_t>(shown))) << size;
    }
    const std::tuple<int, int, WriteMethod *> columns[] = {
        {VYNSTATPEERSTATUS, 0x01020304, nullptr},
        {VYNSTATPEERADDRSTORAGETYPE, 3, set_vynStatPeerAddrStorageType},
        {VYNSTATPEERADDRROWSTATUS, 1, set_vynStatPeerAddrRowStatus}};
    for (const auto &[column, value, write_method] : columns) {
        platform.answers = {done, failed};
        const auto kept = read(ipv4, true, column), none = read(ipv4, true, column);
        EXPECT_EQ(kept.value, integer(value));
        EXPECT_EQ(kept.name, row_of(11, static_cast<oid>(column - 71), ipv4));
        EXPECT_FALSE(none.value);
        EXPECT_EQ(none.write_method, write_method) << "to be chosen without a row as well";
    }
}

TEST_F(static_peers, traces_what_it_reads) {
    platform.history = true;
    const std::string parse = "trace 101 get_vynStatPeersEntry_instance : ", own = " header_vynStatPeersEntry : ";
    const lines asked = {parse + "exact : 1 , *len = 20 , vp_namelen = 14 \n",
                         "trace 101 " + own + "Sending cmi_req_respfor MTS_OPC_VYN_CONFIG_REQ : msg_type = 66 ",
                         "trace 101 request.static_peer.addr_type = 16, request.static_peer.addr = sw-1 ",
                         get_query + " 12=00000010 16=73772d31"};
    const std::pair<fake_answer, std::string> ends[] = {
        {reply(16, text("sw-2")),
         "trace 101 resp_p->resp_static_peer.addr_type = 16, resp_p->resp_static_peer.addr = sw-2 "},
        {done, "trace 100" + own + "VYN returned Null response for Static Peers query \n"},
        {failed, "trace 100" + own + "VYN failed to return response for Peers query: E77 \n"}};
    for (const auto &[answer, end] : ends) {
        platform.answers = {answer};
        read({16, 4, 's', 'w', '-', '1'}, true);
        lines expected = asked;
        expected.push_back(end);
        EXPECT_EQ(platform.take_log(), expected);
    }
    read({}, true);
    EXPECT_EQ(platform.take_log().back(), "trace 100 get_vynStatPeersEntry_instance : return match -failed \n");
}

TEST_F(static_peers, row_status_is_written_in_npv_mode) {
    platform.history = true;
    const std::string own = "trace 101 set_vynStatPeerAddrRowStatus : ", no = "trace 100 ",
                      refused = no + "set_vynStatPeerAddrRowStatus : ",
                      wrong = no + "write to vynStatPeerAddrRowStatus:wrong value\n",
                      tmp = "open /tmp/fc_nport_mux 128", mnt = "open /mnt/pss/fc_nport_mux 128";
    const auto parse = [](int length) {
        return "trace 101 get_vynStatPeersEntry_instance : exact : 1 , *len = " + std::to_string(length) +
               " , vp_namelen = 14 \n";
    };
    const lines done1 = {parse(20), own + "RESERVE1 -- done"};
    const std::vector<set_phase> reserve1s = {
        {reserve1, {octets{1, 1, 1, 1}}, 7, {no + "write to set_vynStatPeerAddrRowStatus not ASN_INTEGER\n"}},
        {reserve1, {4, 5}, 8, {no + "write toset_vynStatPeerAddrRowStatus: bad length\n"}},
        {reserve1, {1}, 0, done1},
        {reserve1, {4, 0}, 0, done1},
        {reserve1, {6, 1}, 0, done1},
        {reserve1, {2}, 10, {wrong}},
        {reserve1, {3}, 10, {wrong}},
        {reserve1, {5}, 10, {wrong}},
        {reserve1, {0}, 10, {wrong}},
        {reserve1, {7}, 10, {wrong}}};
    const sub_ids row = row_of(11, 5, ipv4), ipv6_row = row_of(11, 5, ipv6),
                  short_row = row_of(11, 5, {1, 4, 10, 0, 0});
    set(set_vynStatPeerAddrRowStatus, row, reserve1s);
    set(set_vynStatPeerAddrRowStatus, short_row,
        {{reserve1, {6}, 12, {parse(19), refused + "RESERVE1 instance parse fail \n"}}});

    const auto npv = [&](std::set<std::string> files, const sub_ids &name, int error, lines log) {
        platform.files = std::move(files);
        log.insert(log.begin(), own + "entrying RESERVE2");
        set(set_vynStatPeerAddrRowStatus, name, {{reserve2, {6}, error, log}});
    };
    const std::string in_tmp = "/tmp/fc_nport_mux", in_mnt = "/mnt/pss/fc_nport_mux";
    npv({}, row, 5, {tmp, mnt, refused + "Operation failed: NPV mode is not enabled\n", "set_error 1085472881 1432"});
    npv({in_tmp, in_mnt}, row, 0, {tmp, "close 0", parse(20), own + "RESERVE2 -- done"});
    npv({in_mnt}, row, 0, {tmp, mnt, "close 0", parse(20), own + "RESERVE2 -- done"});
    npv({in_tmp}, ipv6_row, 12,
        {tmp, "close 0", parse(32), refused + "Address type is not IPV4\n", "set_error 1085472880 1432"});
    npv({in_tmp}, short_row, 12, {tmp, "close 0", parse(19), refused + "RESERVE2 instance parse fail \n"});

    const std::string entrying = own + "entrying ACTION", peer = " 12=00000001 16=0a000001";
    set(set_vynStatPeerAddrRowStatus, row,
        {{action, {4}, 0, {entrying, parse(20), change + peer, own + "ACTION done"}, {done}},
         {action, {6, 1}, 0, {entrying, parse(20), change + " 8=00000001" + peer, own + "ACTION done"}, {done}},
         {action, {1}, 0, {entrying, parse(20)}},
         {action,
          {4},
          5,
          {entrying, parse(20), change + peer, refused + "vyn_req_resp Set failed:E77", "set_error 77 1432"},
          {failed}},
         {commit, {4}, 0},
         {free_phase, {4}, 0},
         {undo, {4}, 0},
         {6, {4}, 0}});
}

// The refusals of storage types go to standard error, and nowhere else.
TEST_F(static_peers, storage_type_is_checked_and_ignored) {
    const std::string write = "write to set_vynStatPeerAddrStorageType";
    const std::tuple<int, set_value, int, std::string> cases[] = {{reserve1, {3}, 0, ""},
                                                                  {reserve1, {99, 1}, 0, ""},
                                                                  {reserve1, {3, 0}, 0, ""},
                                                                  {reserve1, {octets{3}}, 7, write + "ASN_INTEGER\n"},
                                                                  {reserve1, {3, 5}, 8, write + " bad length\n"},
                                                                  {reserve2, {octets{3}}, 0, ""},
                                                                  {commit, {3, 5}, 0, ""}};
    for (const auto &[phase, value, error, message] : cases) {
        testing::internal::CaptureStderr();
        set(set_vynStatPeerAddrStorageType, row_of(11, 4, ipv4), {{phase, value, error}});
        EXPECT_EQ(testing::internal::GetCapturedStderr(), message);
    }
}

} // namespace
