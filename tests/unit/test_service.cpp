// The trace, the reply, and the first checks of a SET.

#include <gtest/gtest.h>

#include "fake_platform.h"
#include "vyn_service.h"

namespace {

class service : public platform_test {};

TEST_F(service, trace_goes_to_each_sink_that_is_on)
{
    const std::string text(600, 'x');
    const struct {
        bool history, debug;
        lines log;
    } cases[] = {
        {false, false, {}},
        {true, false, {"trace 100 " + text.substr(0, 511)}},
        {false, true, {"debug vyn " + text}},
        {true, true, {"trace 100 " + text.substr(0, 511), "debug vyn " + text}},
    };
    for (const auto &test : cases) {
        platform.history = test.history;
        platform.debug = test.debug;
        EXPECT_EQ(vyn_trace(VYN_TRACE_FAILURE, "%s", text.c_str()), test.debug ? 3 : 0);
        EXPECT_EQ(platform.take_log(), test.log);
    }
}

TEST_F(service, reply_reads_zero_where_it_ends)
{
    vyn_snmp_req request{};
    for (size_t size = 0; size <= 12; size++) {
        platform.answers = {{.error = 0, .reply = octets(size, 0xAB)}};
        vyn_reply reply;
        ASSERT_EQ(vyn_call(MTS_OPC_VYN_SNMP_QUERY, VYN_MSG_GET, &request, &reply), 0u);
        EXPECT_EQ(reply.present(), size != 0);
        const auto record = reply.read<resp_phy_disc_status>(4);
        EXPECT_EQ(record.disc_status, size > 4 ? 0xAB : 0);
        const uint32_t whole = 0xABABABAB;
        const uint32_t reason = size <= 8    ? 0
                                : size >= 12 ? whole
                                             : whole << (8 * (12 - size)) & 0xFFFFFFFF;
        EXPECT_EQ(uint32_t{record.failure_reason}, reason) << size;
    }
}

TEST_F(service, failed_call_leaves_no_reply)
{
    vyn_snmp_req request{};
    vyn_reply reply;
    platform.answers = {{.error = 0, .reply = octets(8)}, {.error = 5, .reply = octets(8)}};
    EXPECT_EQ(vyn_call(MTS_OPC_VYN_MERGE_QUERY, VYN_MSG_GETNEXT, &request, &reply), 0u);
    EXPECT_EQ(vyn_call(MTS_OPC_VYN_MERGE_QUERY, VYN_MSG_SET, &request, &reply), 5u);
    EXPECT_FALSE(reply.present());
    EXPECT_EQ(platform.take_log(), (lines{"request 8474/2 user=alice session=7",
                                          "request 8474/3 user=alice session=7"}));
}

constexpr vyn_integer_checks checks = {
    .type = ASN_INTEGER,
    .shortest = 1,
    .lowest = 1,
    .highest = 255,
    .wrong_type = "type\n",
    .wrong_length = "length 100%\n",
    .wrong_value = "value\n",
    .function = "set_it",
};

TEST_F(service, checks_of_an_integer_run_in_order)
{
    const struct {
        long value;
        size_t length;
        u_char type;
        int error;
    } cases[] = {
        {1, sizeof(long), ASN_INTEGER, SNMP_ERR_NOERROR},
        {255, 4, ASN_INTEGER, SNMP_ERR_NOERROR},
        {2, 1, ASN_INTEGER, SNMP_ERR_NOERROR},
        {1, 4, ASN_OCTET_STR, SNMP_ERR_WRONGTYPE},
        {0, 5, ASN_OCTET_STR, SNMP_ERR_WRONGTYPE},
        {0, 0, ASN_INTEGER, SNMP_ERR_WRONGLENGTH},
        {0, 5, ASN_INTEGER, SNMP_ERR_WRONGLENGTH},
        {1, sizeof(long) + 1, ASN_INTEGER, SNMP_ERR_WRONGLENGTH},
        {1, 255, ASN_INTEGER, SNMP_ERR_WRONGLENGTH},
        {0, 4, ASN_INTEGER, SNMP_ERR_WRONGVALUE},
        {256, sizeof(long), ASN_INTEGER, SNMP_ERR_WRONGVALUE},
        {-1, 4, ASN_INTEGER, SNMP_ERR_WRONGVALUE},
        {-1, sizeof(long), ASN_INTEGER, SNMP_ERR_WRONGVALUE},
    };
    const auto check = [](int, u_char *value, u_char type, size_t length, u_char *, oid *, size_t) {
        return vyn_check_integer(checks, value, type, length);
    };
    for (const auto &test : cases) {
        const int error = write_integer(check, 0, test.value, test.length, test.type);
        EXPECT_EQ(error, test.error) << test.value << " of length " << test.length;
        const lines expected = error == SNMP_ERR_WRONGTYPE     ? lines{"trace 100 type\n"}
                               : error == SNMP_ERR_WRONGLENGTH ? lines{"trace 100 length 100%\n"}
                               : error == SNMP_ERR_WRONGVALUE  ? lines{"trace 100 value\n"}
                                                               : lines{};
        EXPECT_EQ(platform.take_log(), expected);
    }
    if constexpr (sizeof(long) > 4) { // values that only their low half makes right
        constexpr long high = 1L << (sizeof(long) * 4);
        EXPECT_EQ(write_integer(check, 0, 1 + high), SNMP_ERR_WRONGVALUE);
        EXPECT_EQ(write_integer(check, 0, 1 - high), SNMP_ERR_WRONGVALUE);
    }
}

} // namespace
