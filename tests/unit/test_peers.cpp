// The three tables whose keys are peers: peers, feature peers and merge members. What each kind of index asks for, the
// rows of replies, and the traces.

#include "fake_platform.h"

namespace {

struct peer {
    std::string app = "ntp";
    uint32_t scope = 2, vsan = 10, addr_type = 1;
    octets addr = {10, 0, 0, 1};
};

fake_answer reply(const peer &found) {
    return {0, reply_of(364, {{4, 7}, {92, found.scope}, {96, found.vsan}, {100, found.addr_type}, {360, 0xC8C90000}},
                        {{8, text(found.app)}, {104, found.addr}})};
}

// An index of each table, and a part of an index from which a walk goes on.
const sub_ids sw_1 = {16, 4, 's', 'w', '-', '1'}, in_physical = ntp + sub_ids{1, 0};

class peers : public platform_test {};

TEST_F(peers, addresses_in_the_index_are_asked_for) {
    const sub_ids longest = sub_ids{16, 255} + sub_ids(MAX_OID_LEN - 16, 'x');
    // clang-format off
    asks(VYNPEERSADDR, 8469, "1a", reply({}), {
        {true, ipv4, " 104=1 108=a000001"}, {true, ipv4 + sub_ids{9, 9}, " 104=1 108=a000001"},
        {true, {1, 3, 10, 0, 256, 1}, " 104=1 108=a000000"}, {true, {huge, 0, 1, 2, 3, 4}, " 104=ffffffff"},
        {true, {2, 8, 0xfe + 256, 1, 2, 3, 4, 5, 6, 7}, " 104=2 108=fe010203 112=4050607"}, {false, {}, ""},
        {true, sw_1, " 104=10 108=73772d31"}, {false, {1}, " 104=1"}, {false, {1, 4, 10, 1}, " 104=1 108=a010000"},
        {false, {16, huge, 'x'}, " 104=10 108=78000000"}, {false, longest, " 104=10" + words_from(108, 216, "78787878")}});
    refuses(VYNPEERSADDR, {{}, {1}, {1, 4, 10, 0, 0}, {16, 3, 's', 'w', '1'}, {1, 5, 10, 0, 0, 1},
                           {1, huge, 10, 0, 0, 1}, longest});
    // clang-format on
}

TEST_F(peers, keys_of_features_in_the_index_are_asked_for) {
    const std::string physical = " 12=6e747000 96=1", address = " 104=1 108=a000001", in_vsan = " 12=6e747000 96=2",
                      vsan_10 = in_vsan + " 100=a", over = in_vsan + " 100=1020304"; // and into the address
    const sub_ids run_on = ntp + sub_ids{2, 10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    // clang-format off
    const std::vector<row_request> both = {
        {true, ntp + sub_ids{1, huge} + ipv4 + sub_ids{7}, physical + address},
        {true, ntp_vsan_10 + ipv4, vsan_10 + address},
        {true, {3, 'n' + 256, 't', 'p', 2, 4, 0, 0, 0, 266, 16, 0}, vsan_10 + " 104=10"},
        {true, ntp + sub_ids{2, 6, 0, 0, 0, 10, 9, 9} + ipv4, vsan_10 + address}, // its length says where the rest is
        {true, ntp + sub_ids{2, 1, 0, 1, 0, 10}, in_vsan + " 100=1000a 104=1"},
        {false, {}, ""}, {false, {3, 97}, " 12=61202000"}, {false, ntp + sub_ids{7}, " 12=6e747000 96=7"},
        {false, in_physical + sub_ids{1}, physical + " 104=1"}, {false, ntp_vsan_10 + ipv4, vsan_10 + address},
        {false, ntp + sub_ids{2, 6, 1, 2, 3, 4, 5, 6}, over + " 104=5060000"},
        {false, ntp + sub_ids{2, 6, 1, 2, 3, 4, 5, 6, 1, 1, 10}, over + " 104=1 108=a000000"},
        {false, run_on + sub_ids{1, 0}, over + " 104=1 108=90a0000"}};
    const std::vector<sub_ids> refused = {
        {}, {0, 1, 0, 1, 4, 1, 1, 1, 1}, {5, 'n', 't', 'p'}, {huge, 'n', 1, 0}, ntp, ntp + sub_ids{1}, in_physical,
        ntp + sub_ids{3, 0} + ipv4, ntp + sub_ids{257, 0} + ipv4, ntp + sub_ids{2, 0, 0, 0, 0, 10} + ipv4,
        ntp + sub_ids{2, 4, 0, 0, 10}, ntp_vsan_10 + sub_ids{1},
        ntp + sub_ids{2, huge, 0, 0, 0, 10} + ipv4};
    for (int column : {VYNFEATUREPEERSADDR, VYNMERGEMEMBERATTR2}) {
        asks(column, 8469, column == VYNFEATUREPEERSADDR ? "1c" : "1d", reply({}), both);
        refuses(column, refused);
    }
    // What is missing is zero in a walk of feature peers, and in one of members, which skips no name, 255.
    asks(VYNFEATUREPEERSADDR, 8469, "1c", reply({}), {
        {false, {0, 1, 0, 1}, " 96=1 104=1"}, {false, ntp + sub_ids{2, 4, 1}, in_vsan + " 100=1000000"},
        {false, ntp + sub_ids{2, 6, 1, 2, 3, 4, 5}, over + " 104=5000000"},
        {false, run_on + sub_ids{1, 1, 7}, over + " 104=1 108=7000000"},
        {false, run_on + sub_ids{1, 4, 7}, over + " 104=1 108=70a0000"}});
    asks(VYNMERGEMEMBERATTR2, 8469, "1d", reply({}), {
        {false, {0, 1, 0, 1}, ""}, {false, ntp + sub_ids{2, 4, 1}, in_vsan + " 100=1ffffff"},
        {false, ntp + sub_ids{2, 6, 1, 2, 3, 4, 5}, over + " 104=5ff0000"},
        {false, run_on + sub_ids{1, 1, 7}, over + " 104=1 108=70a0000"},
        {false, run_on + sub_ids{1, 4, 7}, over + " 104=1 108=7ffffff"}, // and as far as octets are looked at
        {false, ntp + sub_ids{2, huge, 1}, in_vsan + " 100=1ffffff" + words_from(104, 348, "ffffffff") + " 352=ffffff00"},
        {false, ntp_vsan_10 + sub_ids{1, huge, 1},
         vsan_10 + " 104=1 108=1ffffff" + words_from(112, 356, "ffffffff") + " 360=ffffff00"}});
    // clang-format on
}

TEST_F(peers, rows_are_those_of_the_replies) {
    const octets v6 = {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    const std::string filled(81, 'f');
    const octets fits(102, 'y'), longer(113, 'y'); // behind 26 sub-identifiers of a member's OID, and 16 of a peer's
    // The peer of the reply; the two parts of its index; its address.
    const std::tuple<peer, sub_ids, sub_ids, octets> cases[] = {
        {{}, ntp_vsan_10, ipv4, {10, 0, 0, 1}},
        {{.scope = 1}, in_physical, ipv4, {10, 0, 0, 1}},
        {{.addr_type = 2, .addr = v6}, ntp_vsan_10, sub_ids{2, 16} + sub_ids(v6.begin(), v6.end()), v6},
        {{.addr_type = 16, .addr = text("sw-1")}, ntp_vsan_10, sw_1, text("sw-1")},
        {{.addr_type = 7, .addr = {0xff}}, ntp_vsan_10, {16, 1, 255}, {0xff}},
        {{.app = "", .vsan = 0xfffefdfc}, {0, 2, 4, 255, 254, 253, 252}, ipv4, {10, 0, 0, 1}},
        {{.app = filled}, name_index(filled) + sub_ids{2, 4, 0, 0, 0, 10}, ipv4, {10, 0, 0, 1}},
        {{.addr_type = 16, .addr = fits}, ntp_vsan_10, sub_ids{16, 102} + sub_ids(102, 'y'), fits}};
    for (const auto &[found, key, address, value] : cases) {
        shows(ipv4, {{VYNPEERSADDR, reply(found), value, address}});
        shows(in_physical + ipv4, {{VYNFEATUREPEERSADDR, reply(found), value, key + address},
                                   {VYNMERGEMEMBERATTR1, reply(found), integer(0xC8), key + address},
                                   {VYNMERGEMEMBERATTR2, reply(found), integer(0xC9), key + address}});
    }
    // Neither scope: feature peers tell which it was, members leave the places as they were asked for.
    const fake_answer in_none = reply({.scope = 9});
    shows(ntp_vsan_10 + ipv4, {{VYNFEATUREPEERSADDR, in_none, octets{10, 0, 0, 1}, ntp + sub_ids{9, 0} + ipv4},
                               {VYNMERGEMEMBERATTR1, in_none, integer(0xC8), ntp + sub_ids{2, 4} + ipv4}});
    EXPECT_EQ(answered(in_none, VYNMERGEMEMBERATTR1, ntp + sub_ids{5}, false).name,
              row_of(VYNMERGEMEMBERATTR1, ntp + sub_ids{5, 0} + ipv4));
    // An OID of more than 128 sub-identifiers is not written.
    const fake_answer too_long = reply({.addr_type = 16, .addr = longer});
    for (int column : {VYNPEERSADDR, VYNFEATUREPEERSADDR, VYNMERGEMEMBERATTR2})
        shows(in_physical + ipv4, {{column, too_long, {}, in_physical + ipv4}});
    reads(VYNPEERSADDR, true, {ipv4}, {}, {"...", "trace 100 an answer's OID of 129 sub-identifiers is too long\n"},
          {too_long});
}

TEST_F(peers, traces_what_it_does) {
    const std::string mts = " MTS_OPC_VYN_SNMP_QUERY";
    const struct {
        int column;
        std::string own, sender, record, member, sends, type, gets, query;
    } tables[] = {{VYNPEERSADDR, "get_vynPeersEntry_instance", "header_vynPeersEntry", "phy_disc_peer", "",
                   "for" + mts + " ", "1a", mts + "from vyn", "Peers query"},
                  {VYNFEATUREPEERSADDR, "get_vynFeaturePeersEntry_instance", "get_vynFeaturePeersEntry_instance",
                   "app_peer", "", " for " + mts + " ", "1c", mts + "from vyn", "Peers Feature query"},
                  {VYNMERGEMEMBERATTR1, "get_vynMergeMembersEntry_instance", "header_vynMergeMembersEntry",
                   "merge_member", ".member", " for" + mts + " ", "1d", mts + " from vyn", "Merge Member query"}};
    for (const auto &[column, own, sender, record, member, sends, type, gets, query] : tables) {
        const bool keyed = column != VYNPEERSADDR;
        const sub_ids index = keyed ? ntp_vsan_10 + sw_1 : sw_1;
        const std::string no = "trace 100 " + own + " : ", level = column == VYNMERGEMEMBERATTR1 ? "100 " : "101 ";
        const auto peer = [](const std::string &front, const std::string &of, bool known, const std::string &end) {
            return lines{"trace 101  " + front + ": msg_type = 1 " + of +
                             ".local_app.name = " + (known ? "ntp, " : ", ") + of +
                             ".scope = " + (known ? "2," : "0,") + of + ".vsan = " + (known ? "a" : "0") + end,
                         "trace 101 " + of + ".addr_type = 16, " + of + ".addr = sw-1 "};
        };
        const lines asked = peer(sender + " : Sending cmi_req_resp" + sends, "request.req_" + record, keyed, ", "),
                    told =
                        peer(own + " : Reply for cmi_req_resp" + gets, "resp_p->resp_" + record + member, true, " \n");
        reads(column, true, {index}, index,
              {exact_read(own, keyed ? 30 : 20), asked[0], asked[1],
               "request 8469/1 0=" + type + (keyed ? " 12=6e747000 96=2 100=a" : "") + " 104=10 108=73772d31", told[0],
               told[1]},
              {reply({.addr_type = 16, .addr = text("sw-1")})});
        reads(column, true, {index}, index, {"...", no + "VYN returned Null response for " + query + " \n"},
              {null_reply});
        reads(column, true, {index}, {}, {"...", no + "VYN failed to return response for " + query + ": E77 \n"},
              {failed});
        reads(column, true, {{}}, {}, {"...", "trace " + level + own + " : return match -failed \n"});
        if (keyed) reads(column, true, {{0}}, {}, {"...", no + "app name - return match failed \n"});
    }
}

} // namespace
