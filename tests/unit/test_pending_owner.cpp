// The table of lock owners: request bytes for every kind of index, the rows of replies, and what
// the retained row shows when nothing new has come.

#include "fake_platform.h"

namespace {

constexpr uint32_t PHYSICAL = 2, LOGICAL = 1; // as the service has them
constexpr oid huge = 4294967295;

struct lock {
    std::string user = "bob", app = "ntp";
    uint32_t scope = PHYSICAL, vsan = 0, addr_type = 1;
    octets addr = {10, 0, 0, 1};
    bool taken = true;
};

fake_answer reply(const lock &held, size_t size = 512) {
    octets bytes =
        reply_of(512, {{4, 7}, {96, held.scope}, {100, held.vsan}, {120, 0x0a000001}, {124, held.addr_type}});
    std::copy(held.app.begin(), held.app.end(), bytes.begin() + 12);
    bytes[104] = held.taken;
    std::copy(held.addr.begin(), held.addr.end(), bytes.begin() + 128);
    std::copy(held.user.begin(), held.user.end(), bytes.begin() + 384);
    bytes.resize(size);
    return {.error = 0, .reply = bytes};
}

const fake_answer null_reply = {.error = 0, .reply = {}};

class pending_owner : public platform_test {
  protected:
    pending_owner() { platform.history = false; }

    read_result read(const sub_ids &index, bool exact, int column = VYNPENDINGCONFOWNERUSERNAME) {
        return read_object(column, row_of(2, static_cast<oid>(column - 16), index), exact);
    }
};

const sub_ids ntp = name_index("ntp"), ntp_physical = ntp + sub_ids{1}, ntp_vsan_10 = ntp + sub_ids{2, 4, 0, 0, 0, 10};
const std::string get_query = "request 8469/1 user=alice session=7 0=00000006 4=00000001";
const std::string next_query = "request 8469/2 user=alice session=7 0=00000006 4=00000001";

TEST_F(pending_owner, asks_for_what_the_index_says) {
    sub_ids long_name(115, 'a');
    long_name[0] = huge;
    std::string cut; // a name of 80 characters and no more, no scope, for 97 is none, and a VSAN
    for (int word = 12; word < 132; word += 4)
        cut += word == 92 || word == 96 ? "" : " " + std::to_string(word) + "=61616161";
    const auto ask = [&](const sub_ids &index, bool exact) {
        platform.answers = {reply({})};
        read(index, exact);
        return platform.take_log();
    };
    // clang-format off
    const struct {
        bool exact;
        sub_ids index;
        std::string request; // behind the query
    } cases[] = {
        {true, ntp_physical, " 12=6e747000 96=00000002"},
        {true, {3, 'n', 't', 'p' + 256, 1}, " 12=6e747000 96=00000002"}, // octets are all there is of it
        {true, ntp_vsan_10, " 12=6e747000 96=00000001 100=0000000a"},
        {true, ntp + sub_ids{2, 9, 1, 2, 3, 4, 5}, " 12=6e747000 96=00000001 100=01020304"},
        {false, {}, ""}, {false, {3}, " 12=20202000"}, {false, {3, 'n'}, " 12=6e202000"},
        {false, {0, 1}, " 96=00000002"}, {false, ntp, " 12=6e747000"}, {false, ntp + sub_ids{7}, " 12=6e747000"},
        {false, ntp + sub_ids{1, 0}, " 12=6e747000 96=00000002"},
        {false, ntp + sub_ids{2, 4}, " 12=6e747000 96=00000001"},
        {false, ntp + sub_ids{2, 4, 1, 2}, " 12=6e747000 96=00000001 100=01020000"},
        {false, {1, 'a', 2, 12, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0x10c},
         " 12=61000000 96=00000001 100=01020304 104=05060708 108=090a0b0c"},
        {false, long_name, cut},
    };
    const sub_ids refused[] = {
        {}, {0, 1}, {1, 0, 1}, {4, 'n', 't', 'p'}, {huge, 'n', 1}, long_name,
        ntp, ntp + sub_ids{1, 0}, ntp + sub_ids{3, 4, 0, 0, 0, 10}, ntp + sub_ids{257}, ntp + sub_ids{2},
        ntp + sub_ids{2, 0, 0, 0, 0, 10}, ntp + sub_ids{2, 4, 0, 0, 10}};
    // clang-format on
    for (const auto &test : cases)
        EXPECT_EQ(ask(test.index, test.exact), lines{(test.exact ? get_query : next_query) + test.request});
    for (const sub_ids &index : refused) EXPECT_EQ(ask(index, true), lines{}) << testing::PrintToString(index);
}

TEST_F(pending_owner, returns_the_row_of_the_reply) {
    const struct {
        lock held;
        sub_ids index;
    } cases[] = {{{}, ntp_physical},
                 {{.scope = LOGICAL, .vsan = 10}, ntp_vsan_10},
                 {{.scope = 0, .vsan = 10}, ntp_vsan_10},
                 {{.app = ""}, {0, 1}},
                 {{.app = std::string(81, 'n')}, name_index(std::string(81, 'n')) + sub_ids{1}}};
    for (const auto &test : cases)
        for (bool exact : {true, false}) {
            platform.answers = {reply(test.held)};
            const auto result = read(exact ? ntp_physical : sub_ids{}, exact);
            EXPECT_EQ(result.value, text("bob"));
            EXPECT_EQ(result.name, row_of(2, 6, test.index));
            EXPECT_EQ(result.write_method, nullptr);
        }
    platform.answers = {reply({.taken = false}), reply({.taken = false})};
    EXPECT_FALSE(read(ntp_physical, true).value) << "a lock that nobody has is no row for a GET";
    EXPECT_TRUE(read({}, false).value) << "and one for a walk";
    for (size_t size = 1; size <= 512; size++) { // cut short: what is missing reads as zero
        platform.answers = {reply({}, size)};
        EXPECT_EQ(read({}, false).value, text(std::string("bob").substr(0, size < 384 ? 0 : size - 384)));
    }
}

TEST_F(pending_owner, tells_who_holds_the_lock) {
    const octets v6 = {0xfd, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, full(256, 'x');
    const std::string longest(128, 'u');
    // clang-format off
    const struct {
        lock held;
        octets user_type;
        std::string user_name;
    } cases[] = {
        {{}, {0x30}, "bob"},
        {{.user = "\xF9" "admin", .addr_type = 2, .addr = v6}, {0x40}, "admin"},
        {{.user = "$VYN$Merge", .addr_type = 16, .addr = text("spine-1")}, {0x80}, "VYN"},
        {{.user = "$VYN$Merge2", .addr_type = 0, .addr = {}}, {0x30}, "$VYN$Merge2"},
        {{.user = "$VYN$Mergf"}, {0x30}, "$VYN$Mergf"},
        {{.user = ""}, {0x30}, ""},
        {{.user = longest, .addr_type = 16, .addr = full}, {0x30}, longest}, // without an end
    };
    // clang-format on
    for (const auto &test : cases) {
        platform.answers.assign(4, reply(test.held));
        EXPECT_EQ(read(ntp_physical, true, VYNPENDINGCONFOWNERADDRTYPE).value,
                  integer(static_cast<int>(test.held.addr_type)));
        EXPECT_EQ(read(ntp_physical, true, VYNPENDINGCONFOWNERADDR).value, test.held.addr);
        EXPECT_EQ(read(ntp_physical, true, VYNPENDINGCONFOWNERUSERTYPE).value, test.user_type);
        EXPECT_EQ(read(ntp_physical, true).value, text(test.user_name));
    }
    // Read once, the merge process's name is another one in the retained row.
    platform.answers = {reply({.user = "$VYN$Merge"}), null_reply, null_reply, null_reply};
    const auto type = [&] { return read(ntp_vsan_10, true, VYNPENDINGCONFOWNERUSERTYPE).value; };
    EXPECT_EQ(type(), octets{0x80});
    EXPECT_EQ(type(), octets{0x80});
    EXPECT_EQ(read(ntp_vsan_10, true).value, text("VYN"));
    EXPECT_EQ(type(), octets{0x30});
}

TEST_F(pending_owner, traces_what_it_does) {
    platform.history = true;
    const std::string own = "get_vynPendingConfOwnerEntry_instance", end = " , vp_namelen = 14 \n",
                      query = " for Pending config owner query";
    const std::string vsan_10[] = {
        "trace 101 " + own + " : exact : 1 , *len = 24" + end,
        "trace 101  header_vynPendingConfOwnerEntry : Sending cmi_req_resp for MTS_OPC_VYN_SNMP_QUERY :msg_type = 1"
        "request.req_app_lock_state.local_app.name = ntp, request.req_app_lock_state.scope = 1,"
        "request.req_app_lock_state.min_vsan = a",
        get_query + " 12=6e747000 96=00000001 100=0000000a",
        "trace 101  " + own +
            " : Reply for cmi_req_resp MTS_OPC_VYN_SNMP_QUERY  from vyn:msg_type = 1 "
            "resp_p->resp_app_lock_state.lock_info[0].app.name = ntp,  resp_p->resp_app_lock_state.scope = 1, "
            "resp_p->resp_app_lock_state.lock_info[0].vsan = a \n",
        "trace 101  resp_p->resp_app_lock_state.lock_info[0].user_name = bob, "
        "resp_p->resp_app_lock_state.lock_info[0].ip_address = a000001 \n"};
    platform.answers = {reply({.scope = LOGICAL, .vsan = 10})};
    read(ntp_vsan_10, true);
    EXPECT_EQ(platform.take_log(), lines(vsan_10, std::end(vsan_10)));

    // clang-format off
    const struct {
        fake_answer answer;
        std::optional<octets> value;
        std::string trace;
    } cases[] = {
        {reply({.user = "eve", .taken = false}), {},
         " " + own + " : VYN returned response - lock is not taken for the app \n"},
        {{.error = 77, .reply = octets(8)}, {}, own + " : VYN failed to return response" + query + ": E77 \n"},
        {{.error = 0, .reply = octets()}, text("bob"), own + " : VYN returned Null response" + query + " \n"}};
    // clang-format on
    for (const auto &test : cases) { // the row that is kept is bob's
        platform.answers = {test.answer};
        const auto result = read(ntp_physical, true);
        EXPECT_EQ(result.value, test.value);
        EXPECT_EQ(result.name, row_of(2, 6, ntp_physical));
        EXPECT_EQ(platform.take_log().back(), "trace 100 " + test.trace);
    }
    read({}, true);
    read({0, 1}, true);
    EXPECT_EQ(platform.take_log(), (lines{"trace 101 " + own + " : exact : 1 , *len = 14" + end,
                                          "trace 100 " + own + " : return match -failed \n",
                                          "trace 101 " + own + " : exact : 1 , *len = 16" + end,
                                          "trace 100 " + own + " : app name - return match failed \n"}));
}

} // namespace
