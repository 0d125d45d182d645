// The table of lock owners: request bytes for every kind of index, the rows of replies, and what
// the retained row shows when nothing new has come.

#include <gtest/gtest.h>

#include "fake_platform.h"

namespace {

constexpr uint32_t PHYSICAL = 2, LOGICAL = 1; // as the service has them

struct lock {
    std::string app, user;
    uint32_t scope = PHYSICAL, vsan = 0, addr_type = 1;
    octets addr = {10, 0, 0, 1};
    bool taken = true;
};

fake_answer reply(const lock &held, size_t size = 512)
{
    octets bytes = reply_of(
        512,
        {{4, 7}, {96, held.scope}, {100, held.vsan}, {120, 0x0a000001}, {124, held.addr_type}});
    std::copy(held.app.begin(), held.app.end(), bytes.begin() + 12);
    bytes[104] = held.taken;
    std::copy(held.addr.begin(), held.addr.end(), bytes.begin() + 128);
    std::copy(held.user.begin(), held.user.end(), bytes.begin() + 384);
    bytes.resize(size);
    return {.error = 0, .reply = bytes};
}

class pending_owner : public platform_test {
  protected:
    pending_owner() { platform.history = false; }

    read_result read(const sub_ids &index, bool exact, uint8_t column = VYNPENDINGCONFOWNERUSERNAME)
    {
        return read_object(column, row_of(2, column - 16, index), exact);
    }
};

const sub_ids ntp_physical = {3, 'n', 't', 'p', 1};
const sub_ids ntp_vsan_10 = {3, 'n', 't', 'p', 2, 4, 0, 0, 0, 10};
const std::string get_query = "request 8469/1 user=alice session=7 0=00000006 4=00000001";
const std::string next_query = "request 8469/2 user=alice session=7 0=00000006 4=00000001";

TEST_F(pending_owner, asks_for_what_the_index_says)
{
    const oid huge = 4294967295;
    sub_ids many = {1, 'a', 2, 12, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0x10c}, long_name(115, 'a');
    long_name[0] = huge;
    const struct {
        bool exact;
        sub_ids index;
        std::string request; // behind the query; "-": none is sent
    } cases[] = {
        {true, ntp_physical, " 12=6e747000 96=00000002"},
        {true, ntp_vsan_10, " 12=6e747000 96=00000001 100=0000000a"},
        {true, {3, 'n', 't', 'p', 2, 9, 1, 2, 3, 4, 5}, " 12=6e747000 96=00000001 100=01020304"},
        {true, {3, 'n', 't', 'p', 1, 0}, "-"},
        {true, {3, 'n', 't', 'p', 2, 0, 0, 0, 0, 10}, "-"},
        {true, {3, 'n', 't', 'p', 2, 4, 0, 0, 10}, "-"},
        {true, {3, 'n', 't', 'p', 3}, "-"},
        {true, {3, 'n', 't', 'p'}, "-"},
        {true, {4, 'n', 't', 'p'}, "-"},
        {true, {3, 'n', 't', 'p' + 256, 1}, "-"},
        {true, {huge, 'n', 1}, "-"},
        {true, {0, 1}, "-"},
        {true, {1, 0, 1}, "-"},
        {true, {}, "-"},
        {true, long_name, "-"},
        {false, {}, ""},
        {false, {3}, " 12=20202000"},
        {false, {3, 'n'}, " 12=6e202000"},
        {false, {3, 'n', 't', 'p'}, " 12=6e747000"},
        {false, {3, 'n', 't', 'p', 7}, " 12=6e747000"},
        {false, {3, 'n', 't', 'p', 1, 0}, " 12=6e747000 96=00000002"},
        {false, {3, 'n', 't', 'p', 2, 4}, " 12=6e747000 96=00000001"},
        {false, {3, 'n', 't', 'p', 2, 4, 1, 2}, " 12=6e747000 96=00000001 100=01020000"},
        {false, many, " 12=61000000 96=00000001 100=01020304 104=05060708 108=090a0b0c"},
        {false, {0, 1}, " 96=00000002"},
    };
    for (const auto &test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.index));
        platform.answers = {reply({.app = "ntp", .user = "bob"})};
        read(test.index, test.exact);
        EXPECT_EQ(platform.take_log(),
                  test.request == "-"
                      ? lines{}
                      : lines{(test.exact ? get_query : next_query) + test.request});
    }
    // 80 characters and no more, however many the index has.
    std::string capped;
    for (int word = 0; word < 20; word++)
        capped += " " + std::to_string(12 + 4 * word) + "=61616161";
    platform.answers = {};
    read(long_name, false);
    EXPECT_EQ(platform.take_log()[0].find(next_query + capped + " 100="), 0u)
        << "no scope: 97 is none";
}

TEST_F(pending_owner, returns_the_row_of_the_reply)
{
    const std::string full(81, 'n');
    const struct {
        lock held;
        sub_ids index;
    } cases[] = {{{.app = "ntp", .user = "bob"}, ntp_physical},
                 {{.app = "ntp", .user = "bob", .scope = LOGICAL, .vsan = 10}, ntp_vsan_10},
                 {{.app = "ntp", .user = "bob", .scope = 0, .vsan = 10}, ntp_vsan_10},
                 {{.app = "", .user = "bob"}, {0, 1}}};
    for (const auto &test : cases)
        for (bool exact : {true, false}) {
            platform.answers = {reply(test.held)};
            const auto result = read(exact ? ntp_physical : sub_ids{}, exact);
            EXPECT_EQ(result.value, text("bob"));
            EXPECT_EQ(result.name, row_of(2, 6, test.index));
            EXPECT_EQ(result.write_method, nullptr);
        }
    platform.answers = {reply(
        {.app = full, .user = std::string(128, 'u'), .addr_type = 16, .addr = octets(256, 'x')})};
    const auto result = read({}, false);
    EXPECT_EQ(result.name.size(), 14u + 1 + 81 + 1) << "a name without an end stops with its field";
    EXPECT_EQ(result.value, text(std::string(128, 'u')));
    platform.answers = {{.error = 0, .reply = {}}};
    EXPECT_EQ(read({}, false, VYNPENDINGCONFOWNERADDR).value, octets(256, 'x'));

    // A lock that nobody has is no row for a GET, and one for a walk.
    platform.answers = {reply({.app = "ntp", .user = "bob", .taken = false}),
                        reply({.app = "ntp", .user = "", .taken = false})};
    EXPECT_FALSE(read(ntp_physical, true).value);
    EXPECT_EQ(read({}, false).value, text(""));
    for (size_t size = 1; size <= 512; size++) { // cut short: what is missing reads as zero
        platform.answers = {reply({.app = "ntp", .user = "bob"}, size)};
        EXPECT_EQ(read({}, false).value,
                  text(std::string("bob").substr(0, size < 384 ? 0 : size - 384)));
    }
}

TEST_F(pending_owner, tells_who_holds_the_lock)
{
    const octets v6 = {0xfd, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    const struct {
        lock held;
        octets addr, user_type, user_name;
    } cases[] = {
        {{.app = "ntp", .user = "bob"}, {10, 0, 0, 1}, {0x30}, text("bob")},
        {{.app = "ntp",
          .user = "\xF9"
                  "admin",
          .addr_type = 2,
          .addr = v6},
         v6,
         {0x40},
         text("admin")},
        {{.app = "ntp", .user = "$VYN$Merge", .addr_type = 16, .addr = text("spine-1")},
         text("spine-1"),
         {0x80},
         text("VYN")},
        {{.app = "ntp", .user = "$VYN$Merge2", .addr_type = 0, .addr = {}},
         {},
         {0x30},
         text("$VYN$Merge2")},
        {{.app = "ntp", .user = ""}, {10, 0, 0, 1}, {0x30}, {}},
    };
    for (const auto &test : cases) {
        platform.answers.assign(4, reply(test.held));
        EXPECT_EQ(read(ntp_physical, true, VYNPENDINGCONFOWNERADDRTYPE).value,
                  integer(static_cast<int>(test.held.addr_type)));
        EXPECT_EQ(read(ntp_physical, true, VYNPENDINGCONFOWNERADDR).value, test.addr);
        EXPECT_EQ(read(ntp_physical, true, VYNPENDINGCONFOWNERUSERTYPE).value, test.user_type);
        EXPECT_EQ(read(ntp_physical, true).value, test.user_name);
    }
    // Read once, the merge process's name is another one in the retained row.
    const fake_answer null_reply = {.error = 0, .reply = {}};
    platform.answers = {reply({.app = "ntp", .user = "$VYN$Merge"}), null_reply, null_reply,
                        null_reply};
    const auto type = [&] { return read(ntp_vsan_10, true, VYNPENDINGCONFOWNERUSERTYPE).value; };
    EXPECT_EQ(type(), octets{0x80});
    EXPECT_EQ(type(), octets{0x80});
    EXPECT_EQ(read(ntp_vsan_10, true).value, text("VYN"));
    EXPECT_EQ(type(), octets{0x30});
}

TEST_F(pending_owner, traces_what_it_does)
{
    platform.history = true;
    const std::string own = "get_vynPendingConfOwnerEntry_instance";
    const auto entry = [&](bool exact, size_t length) {
        return "trace 101 " + own + " : exact : " + std::to_string(exact) +
               " , *len = " + std::to_string(length) + " , vp_namelen = 14 \n";
    };
    const auto sending = [](const std::string &what) {
        return "trace 101  header_vynPendingConfOwnerEntry : Sending cmi_req_resp for "
               "MTS_OPC_VYN_SNMP_QUERY :msg_type = " +
               what;
    };
    const std::string get_ntp = sending(
        "1request.req_app_lock_state.local_app.name = ntp, request.req_app_lock_state.scope = 1,"
        "request.req_app_lock_state.min_vsan = a");
    const std::string request = get_query + " 12=6e747000 96=00000001 100=0000000a";
    const lines got = {
        "trace 101  " + own +
            " : Reply for cmi_req_resp MTS_OPC_VYN_SNMP_QUERY  from vyn:msg_type = 1 "
            "resp_p->resp_app_lock_state.lock_info[0].app.name = ntp,  "
            "resp_p->resp_app_lock_state.scope = 1, "
            "resp_p->resp_app_lock_state.lock_info[0].vsan = a \n",
        "trace 101  resp_p->resp_app_lock_state.lock_info[0].user_name = bob, "
        "resp_p->resp_app_lock_state.lock_info[0].ip_address = a000001 \n"};
    lock held{.app = "ntp", .user = "bob", .scope = LOGICAL, .vsan = 10};
    platform.answers = {reply(held)};
    read(ntp_vsan_10, true);
    EXPECT_EQ(platform.take_log(), (lines{entry(true, 24), get_ntp, request, got[0], got[1]}));
    held.taken = false;
    platform.answers = {reply(held)};
    EXPECT_FALSE(read(ntp_vsan_10, true).value);
    EXPECT_EQ(platform.take_log().back(),
              "trace 100  " + own + " : VYN returned response - lock is not taken for the app \n");
    platform.answers = {{.error = 77, .reply = octets(8)}};
    EXPECT_FALSE(read(ntp_vsan_10, true).value);
    EXPECT_EQ(platform.take_log().back(),
              "trace 100 " + own +
                  " : VYN failed to return response for Pending config owner query: E77 \n");
    platform.answers = {{.error = 0, .reply = octets()}};
    const auto stale = read(ntp_physical, true);
    EXPECT_EQ(stale.value, text("bob"));
    EXPECT_EQ(stale.name, row_of(2, 6, ntp_physical));
    EXPECT_EQ(platform.take_log().back(),
              "trace 100 " + own +
                  " : VYN returned Null response for Pending config owner query \n");
    read({}, true);
    EXPECT_EQ(platform.take_log(),
              (lines{entry(true, 14), "trace 100 " + own + " : return match -failed \n"}));
    read({0, 1}, true);
    EXPECT_EQ(
        platform.take_log(),
        (lines{entry(true, 16), "trace 100 " + own + " : app name - return match failed \n"}));
}

} // namespace
