// The three tables whose keys are peers: peers, feature peers and merge members. What each kind of
// index asks for, the rows of replies, and what hostile ones leave.

#include "fake_platform.h"

namespace {

constexpr oid huge = 4294967295;

struct peer {
    std::string app = "abc";
    uint32_t scope = 2, vsan = 10, addr_type = 1;
    octets addr = {10, 0, 0, 1};
};

// Three tables, the column read of each, and what it has in its row of this reply.
constexpr int columns[] = {VYNPEERSADDR, VYNFEATUREPEERSADDR, VYNMERGEMEMBERATTR2};

fake_answer reply(const peer &found, size_t size = 364) {
    octets bytes =
        reply_of(364, {{0, 1}, {4, 7}, {92, found.scope}, {96, found.vsan}, {100, found.addr_type}, {360, 0xC8C90000}});
    std::copy(found.app.begin(), found.app.end(), bytes.begin() + 8);
    std::copy(found.addr.begin(), found.addr.end(), bytes.begin() + 104);
    bytes.resize(size);
    return {.error = 0, .reply = bytes};
}

const fake_answer null_reply = {.error = 0, .reply = {}};

sub_ids object(int column, const sub_ids &index) {
    return column == VYNPEERSADDR          ? row_of(5, 2, index)
           : column == VYNFEATUREPEERSADDR ? row_of(6, 4, index)
                                           : row_of(4, static_cast<oid>(column - 31), index);
}

const sub_ids abc = name_index("abc"), abc_vsan_10 = abc + sub_ids{2, 4, 0, 0, 0, 10}, ipv4 = {1, 4, 10, 0, 0, 1};

class peers : public platform_test {
  protected:
    peers() { platform.history = false; }

    read_result read(int column, const sub_ids &index, bool exact) {
        return read_object(column, object(column, index), exact);
    }

    // What a read with this index asks for: the words behind the user; empty when nothing is asked.
    std::string asked(int column, const sub_ids &index, bool exact) {
        platform.log.clear();
        platform.answers = {reply({})};
        read(column, index, exact);
        const lines log = platform.take_log();
        const std::string head = std::string("request 8469/") + (exact ? "1" : "2") + " user=alice session=7 0=";
        EXPECT_TRUE(log.empty() || log.front().starts_with(head)) << log.front();
        return log.empty() ? "" : log.front().substr(head.size());
    }
};

TEST_F(peers, addresses_in_the_index_are_asked_for) {
    const std::string query = "0000001a 4=00000001";
    octets v6(16, 0xfe);
    sub_ids longest{16, 255};
    longest.resize(MAX_OID_LEN - 14, 'x');
    std::string exes;
    for (int word = 108; word < 220; word += 4) exes += " " + std::to_string(word) + "=78787878";
    // clang-format off
    const std::tuple<bool, sub_ids, std::string> cases[] = {
        {true, ipv4, " 104=00000001 108=0a000001"},
        {true, ipv4 + sub_ids{9, 9}, " 104=00000001 108=0a000001"},
        {true, {1, 3, 10, 0, 256, 1}, " 104=00000001 108=0a000000"},
        {true, {2, 16, 0xfe + 256, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15},
         " 104=00000002 108=fe010203 112=04050607 116=08090a0b 120=0c0d0e0f"},
        {true, {16, 4, 's', 'w', '-', '1'}, " 104=00000010 108=73772d31"},
        {true, {huge, 0, 1, 2, 3, 4}, " 104=ffffffff"},
        {false, {}, ""}, {false, {1}, " 104=00000001"}, {false, {16, 0, 'x'}, " 104=00000010"},
        {false, {1, 4}, " 104=00000001"}, {false, {1, 4, 10, 1}, " 104=00000001 108=0a010000"},
        {false, ipv4, " 104=00000001 108=0a000001"}, {false, {16, huge, 'x'}, " 104=00000010 108=78000000"},
        {false, longest, " 104=00000010" + exes},
    };
    const sub_ids refused[] = {{}, {1}, {1, 4, 10, 0, 0}, {16, 3, 's', 'w', '1'}, {1, 5, 10, 0, 0, 1},
                               {1, 256, 10, 0, 0, 1}, {1, huge, 10, 0, 0, 1}, longest};
    // clang-format on
    for (const auto &[exact, index, words] : cases)
        EXPECT_EQ(asked(VYNPEERSADDR, index, exact), query + words) << testing::PrintToString(index);
    for (const sub_ids &index : refused) EXPECT_EQ(asked(VYNPEERSADDR, index, true), "");
    platform.answers = {reply({})};
    EXPECT_TRUE(read_object(VYNPEERSADDR, row_of(4, 3, ipv4), false).value) << "a walk from elsewhere begins in front";
    EXPECT_EQ(platform.take_log().back().substr(38), query);
}

TEST_F(peers, keys_of_features_in_the_index_are_asked_for) {
    const std::string physical = " 12=61626300 96=00000001", address = " 104=00000001 108=0a000001",
                      vsan_10 = " 12=61626300 96=00000002 100=0000000a", in_vsan = " 12=61626300 96=00000002";
    const sub_ids run_on = abc + sub_ids{2, 10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const std::string over = in_vsan + " 100=01020304"; // and into the address
    sub_ids long_name(100, 'a');
    long_name[0] = huge;
    std::string cut; // 80 characters; the next is the scope, and the one behind is the length of a VSAN
    for (int word = 12; word < 92; word += 4) cut += " " + std::to_string(word) + "=61616161";
    cut += " 96=00000061 100=61616161 104=61616161 108=61616161 112=61616161 116=61";
    // What both tables do, then where a walk differs: what the feature peers ask, and what the members.
    // clang-format off
    const struct {
        bool exact;
        sub_ids index;
        std::string words, member_words = "";
    } cases[] = {
        {true, abc + sub_ids{1, 0} + ipv4, physical + address},
        {true, abc + sub_ids{1, huge} + ipv4 + sub_ids{7}, physical + address},
        {true, abc_vsan_10 + ipv4, vsan_10 + address},
        {true, {3, 'a' + 256, 'b', 'c', 2, 4, 0, 0, 0, 266, 16, 0}, vsan_10 + " 104=00000010"},
        {true, abc + sub_ids{2, 6, 0, 0, 0, 10, 9, 9} + ipv4, vsan_10 + address}, // its length says where the rest is
        {true, abc + sub_ids{2, 1, 0, 1, 0, 10}, in_vsan + " 100=0001000a 104=00000001"},
        {false, {}, ""},
        {false, {3}, " 12=20202000"}, {false, {3, 97}, " 12=61202000"},
        {false, abc, " 12=61626300"}, {false, abc + sub_ids{7}, " 12=61626300 96=00000007"},
        {false, abc + sub_ids{1, 0}, physical}, {false, abc + sub_ids{1, 0} + ipv4, physical + address},
        {false, abc + sub_ids{1, 0, 1}, physical + " 104=00000001"},
        {false, abc_vsan_10 + ipv4, vsan_10 + address},
        {false, abc + sub_ids{2, 6, 1, 2, 3, 4, 5, 6}, in_vsan + " 100=01020304 104=05060000"},
        {false, abc + sub_ids{2, 6, 1, 2, 3, 4, 5, 6, 1, 1, 10}, in_vsan + " 100=01020304 104=00000001 108=0a000000"},
        {false, {0, 1, 0, 1}, " 96=00000001 104=00000001", " "},
        {false, abc + sub_ids{2, 4, 1}, in_vsan + " 100=01000000", in_vsan + " 100=01ffffff"},
        {false, abc + sub_ids{2, 6, 1, 2, 3, 4, 5}, in_vsan + " 100=01020304 104=05000000",
         in_vsan + " 100=01020304 104=05ff0000"},
        {false, run_on + sub_ids{1, 0}, over + " 104=00000001 108=090a0000"},
        {false, run_on + sub_ids{1, 1, 7}, over + " 104=00000001 108=07000000", over + " 104=00000001 108=070a0000"},
        {false, run_on + sub_ids{1, 4, 7}, over + " 104=00000001 108=070a0000", over + " 104=00000001 108=07ffffff"},
        {false, abc_vsan_10 + sub_ids{1, 4, 10}, vsan_10 + " 104=00000001 108=0a000000",
         vsan_10 + " 104=00000001 108=0affffff"},
    };
    const sub_ids refused[] = {
        {}, {0}, {0, 1, 0, 1, 4, 1, 1, 1, 1}, {5, 'a', 'b', 'c'}, {huge, 'a', 1, 0}, long_name, abc, abc + sub_ids{1},
        abc + sub_ids{1, 0}, abc + sub_ids{1, 0, 1}, abc + sub_ids{3, 0} + ipv4, abc + sub_ids{0, 0} + ipv4,
        abc + sub_ids{257, 0} + ipv4, abc + sub_ids{2, 0} + ipv4, abc + sub_ids{2, 0, 0, 0, 0, 10} + ipv4,
        abc + sub_ids{2, 4, 0, 0, 10}, abc_vsan_10 + sub_ids{1}, abc_vsan_10 + sub_ids{1, 4, 10, 0, 0},
        abc_vsan_10 + sub_ids{1, 256, 10, 0, 0, 1}, abc_vsan_10 + sub_ids{1, huge, 10, 0, 0, 1},
        abc + sub_ids{2, huge, 0, 0, 0, 10} + ipv4};
    // clang-format on
    const std::pair<int, std::string> tables[] = {{VYNFEATUREPEERSADDR, "0000001c 4=00000001"},
                                                  {VYNMERGEMEMBERATTR2, "0000001d 4=00000001"}};
    for (const auto &[column, query] : tables) {
        for (const auto &[exact, index, words, member_words] : cases) {
            const bool other = column == VYNMERGEMEMBERATTR2 && !member_words.empty();
            EXPECT_EQ(asked(column, index, exact), query + (!other                ? words
                                                            : member_words == " " ? ""
                                                                                  : member_words))
                << testing::PrintToString(index);
        }
        for (const sub_ids &index : refused) EXPECT_EQ(asked(column, index, true), "") << testing::PrintToString(index);
        EXPECT_TRUE(asked(column, long_name, false).starts_with(query + cut));
        // The most octets that are looked at, of which members fill up what is not there.
        for (const sub_ids &index : {abc + sub_ids{2, huge, 1}, abc_vsan_10 + sub_ids{1, huge, 1}}) {
            const std::string words = asked(column, index, false),
                              last = index.size() == 7 ? " 352=ffffff00" : " 360=ffffff00";
            EXPECT_EQ(words.ends_with(last), column == VYNMERGEMEMBERATTR2) << words;
        }
    }
}

TEST_F(peers, rows_are_those_of_the_replies) {
    const octets v6 = {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    const sub_ids physical = abc + sub_ids{1, 0};
    const std::string filled(81, 'f');
    // clang-format off
    const struct {
        peer found;
        sub_ids key, address;
        octets value;
    } cases[] = {
        {{}, abc_vsan_10, ipv4, {10, 0, 0, 1}},
        {{.scope = 1}, physical, ipv4, {10, 0, 0, 1}},
        {{.addr_type = 2, .addr = v6}, abc_vsan_10, sub_ids{2, 16} + sub_ids(v6.begin(), v6.end()), v6},
        {{.addr_type = 16, .addr = text("core-1\xff")}, abc_vsan_10, {16, 7, 'c', 'o', 'r', 'e', '-', '1', 255}, text("core-1\xff")},
        {{.addr_type = 7, .addr = {}}, abc_vsan_10, {16, 0}, {}},
        {{.app = "", .vsan = 0xfffefdfc}, {0, 2, 4, 255, 254, 253, 252}, ipv4, {10, 0, 0, 1}},
        {{.app = filled}, name_index(filled) + sub_ids{2, 4, 0, 0, 0, 10}, ipv4, {10, 0, 0, 1}},
    };
    // clang-format on
    for (const auto &test : cases)
        for (int column : columns)
            for (bool exact : {true, false}) {
                SCOPED_TRACE(testing::PrintToString(test.address) + std::to_string(column));
                platform.answers = {reply(test.found)};
                const auto result = read(column, column == VYNPEERSADDR ? ipv4 : physical + ipv4, exact);
                EXPECT_EQ(result.value, column == VYNMERGEMEMBERATTR2 ? integer(0xC9) : test.value);
                EXPECT_EQ(result.name, object(column, column == VYNPEERSADDR ? test.address : test.key + test.address));
                EXPECT_EQ(result.write_method, nullptr);
            }
    platform.answers = {reply({}), reply({.scope = 9}), reply({.scope = 9}), reply({.scope = 9})};
    EXPECT_EQ(read(VYNMERGEMEMBERATTR1, {}, false).value, integer(0xC8));
    // Neither scope: feature peers tell which it was, members leave the places as they were asked for.
    EXPECT_EQ(read(VYNFEATUREPEERSADDR, {}, false).name, object(VYNFEATUREPEERSADDR, abc + sub_ids{9, 0} + ipv4));
    EXPECT_EQ(read(VYNMERGEMEMBERATTR1, abc + sub_ids{5}, false).name,
              object(VYNMERGEMEMBERATTR1, abc + sub_ids{5, 0} + ipv4));
    EXPECT_EQ(read(VYNMERGEMEMBERATTR1, abc + sub_ids{5, 6, 7}, false).name,
              object(VYNMERGEMEMBERATTR1, abc + sub_ids{5, 6} + ipv4));
}

TEST_F(peers, replies_end_where_they_end) {
    for (int column : columns) {
        const sub_ids key = column == VYNPEERSADDR ? sub_ids{} : abc_vsan_10;
        for (size_t size = 1; size <= 364; size++) { // what is missing reads as zero
            const peer full = {.addr_type = 16, .addr = octets(60, 'x')};
            octets padded = *reply(full, size).reply;
            padded.resize(364);
            platform.answers = {reply(full, size), {.error = 0, .reply = padded}};
            const auto cut = read(column, {}, false), whole = read(column, {}, false);
            ASSERT_EQ(cut.value, whole.value) << size;
            ASSERT_EQ(cut.name, whole.name) << size;
        }
        // An OID of 128 sub-identifiers, one more, and a text without an end.
        const size_t room = MAX_OID_LEN - 14 - key.size() - 2;
        for (size_t length : {room, room + 1, size_t{256}}) {
            platform.answers = {reply({.addr_type = 16, .addr = octets(length, 'y')})};
            platform.history = true;
            const auto result = read(column, {}, false);
            platform.history = false;
            const sub_ids found = object(column, key + sub_ids{16, length} + sub_ids(length, 'y'));
            EXPECT_EQ(result.value.has_value(), length == room);
            EXPECT_EQ(result.name, length == room ? found : object(column, {}));
            EXPECT_EQ(platform.take_log().back() == "trace 100 an answer's OID of " + std::to_string(found.size()) +
                                                        " sub-identifiers is too long\n",
                      length != room);
        }
    }
}

TEST_F(peers, null_replies_serve_the_row_of_the_same_table_again) {
    for (int column : columns) { // the last of each is one whose OID is too long, and is the row all the same
        platform.answers = {reply({.addr = {1, 1, 1, static_cast<uint8_t>(column)}}),
                            reply({.addr_type = 16, .addr = octets(200, static_cast<uint8_t>(column))})};
        read(column, {}, false);
        EXPECT_FALSE(read(column, {}, false).value);
    }
    for (int column : columns) {
        platform.answers = {
            null_reply, {.error = 0, .reply = octets()}, {.error = 5, .reply = octets(364)}, null_reply};
        const octets kept = column == VYNMERGEMEMBERATTR2 ? integer(0xC9) : octets(200, static_cast<uint8_t>(column));
        const auto result = read(column, {7, 7}, false);
        EXPECT_EQ(result.value, kept);
        EXPECT_EQ(result.name, object(column, {7, 7})) << "as it was asked for";
        EXPECT_EQ(read(column, {7, 7}, false).value, kept);
        EXPECT_FALSE(read(column, {7, 7}, false).value);
        EXPECT_EQ(read(column, {7, 7}, false).value, kept) << "an error changes nothing";
    }
}

TEST_F(peers, traces_what_it_does) {
    platform.history = true;
    const struct {
        int column;
        std::string own, sender, request, sending, reply, from, query;
    } tables[] = {
        {VYNPEERSADDR, "get_vynPeersEntry_instance", "header_vynPeersEntry", "request.req_phy_disc_peer",
         "cmi_req_respfor MTS_OPC_VYN_SNMP_QUERY", "resp_p->resp_phy_disc_peer", "MTS_OPC_VYN_SNMP_QUERYfrom",
         "Peers query"},
        {VYNFEATUREPEERSADDR, "get_vynFeaturePeersEntry_instance", "get_vynFeaturePeersEntry_instance",
         "request.req_app_peer", "cmi_req_resp for  MTS_OPC_VYN_SNMP_QUERY", "resp_p->resp_app_peer",
         "MTS_OPC_VYN_SNMP_QUERYfrom", "Peers Feature query"},
        {VYNMERGEMEMBERATTR1, "get_vynMergeMembersEntry_instance", "header_vynMergeMembersEntry",
         "request.req_merge_member", "cmi_req_resp for MTS_OPC_VYN_SNMP_QUERY", "resp_p->resp_merge_member.member",
         "MTS_OPC_VYN_SNMP_QUERY from", "Merge Member query"},
    };
    for (const auto &table : tables) {
        const bool of_feature = table.column != VYNPEERSADDR;
        const sub_ids index =
            of_feature ? abc_vsan_10 + sub_ids{16, 4, 's', 'w', '-', '1'} : sub_ids{16, 4, 's', 'w', '-', '1'};
        const auto peer_text = [](const std::string &record, const std::string &name, int scope, const char *vsan) {
            return record + ".local_app.name = " + name + ", " + record + ".scope = " + std::to_string(scope) + "," +
                   record + ".vsan = " + vsan;
        };
        const auto address_text = [](const std::string &record) {
            return "trace 101 " + record + ".addr_type = 16, " + record + ".addr = sw-1 ";
        };
        platform.log.clear();
        platform.answers = {reply({.addr_type = 16, .addr = text("sw-1")})};
        read(table.column, index, true);
        lines log = platform.take_log();
        ASSERT_EQ(log.size(), 6u);
        log.erase(log.begin() + 3); // the request
        EXPECT_EQ(log, (lines{"trace 101 " + table.own + " : exact : 1 , *len = " + std::to_string(14 + index.size()) +
                                  " , vp_namelen = 14 \n",
                              "trace 101  " + table.sender + " : Sending " + table.sending + " : msg_type = 1 " +
                                  (of_feature ? peer_text(table.request, "abc", 2, "a, ")
                                              : peer_text(table.request, "", 0, "0, ")),
                              address_text(table.request),
                              "trace 101  " + table.own + " : Reply for cmi_req_resp " + table.from +
                                  " vyn: msg_type = 1 " + peer_text(table.reply, "abc", 2, "a \n"),
                              address_text(table.reply)}));

        platform.answers = {null_reply, {.error = 77, .reply = octets(8)}};
        for (const std::string &end : {" : VYN returned Null response for " + table.query + " \n",
                                       " : VYN failed to return response for " + table.query + ": E77 \n"}) {
            read(table.column, index, true);
            EXPECT_EQ(platform.take_log().back(), "trace 100 " + table.own + end);
        }
        read(table.column, {}, true);
        EXPECT_EQ(platform.take_log().back(), (table.column == VYNMERGEMEMBERATTR1 ? "trace 100 " : "trace 101 ") +
                                                  table.own + " : return match -failed \n");
        read(table.column, sub_ids(10, 0), true);
        if (of_feature) {
            EXPECT_EQ(platform.take_log().back(), "trace 100 " + table.own + " : app name - return match failed \n");
        }
    }
}

} // namespace
