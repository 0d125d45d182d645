// The trace, the reply, and the first checks of a SET.

#include "fake_platform.h"
#include "vyn_service.h"

namespace {

class service : public platform_test {};

TEST_F(service, trace_goes_to_each_sink_that_is_on) {
    const std::string text(600, 'x'), history = "trace 100 " + text.substr(0, 511), debug = "debug vyn " + text;
    const lines logs[] = {{}, {history}, {debug}, {history, debug}};
    for (int sinks = 0; sinks < 4; sinks++) {
        platform.history = sinks & 1;
        platform.debug = sinks & 2;
        EXPECT_EQ(vyn_trace(VYN_TRACE_FAILURE, "%s", text.c_str()), platform.debug ? 3 : 0);
        EXPECT_EQ(platform.take_log(), logs[sinks]);
    }
}

TEST_F(service, reply_reads_zero_where_it_ends) {
    vyn_snmp_req request{};
    vyn_reply reply;
    for (size_t size = 0; size <= 12; size++) {
        platform.answers = {{.error = 0, .reply = octets(size, 0xAB)}};
        ASSERT_EQ(vyn_call(MTS_OPC_VYN_SNMP_QUERY, VYN_MSG_GET, &request, &reply), 0u);
        EXPECT_EQ(reply.present(), size != 0);
        const auto record = reply.read<resp_phy_disc_status>(4);
        EXPECT_EQ(record.disc_status, size > 4 ? 0xAB : 0);
        const uint32_t reason = size <= 8 ? 0 : 0xABABABAB << (8 * (12 - size));
        EXPECT_EQ(uint32_t{record.failure_reason}, reason) << size;
    }
    platform.take_log();
    platform.answers = {{.error = 5, .reply = octets(8)}};
    EXPECT_EQ(vyn_call(MTS_OPC_VYN_MERGE_QUERY, VYN_MSG_SET, &request, &reply), 5u);
    EXPECT_FALSE(reply.present()) << "nor after a failed call";
    EXPECT_EQ(platform.take_log(), lines{"request 8474/3 user=alice session=7"});
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

TEST_F(service, checks_of_an_integer_run_in_order) {
    const lines type = {"trace 100 type\n"}, length = {"trace 100 length 100%\n"}, value = {"trace 100 value\n"};
    constexpr long high = sizeof(long) > 4 ? 1L << (sizeof(long) * 4) : 0; // above what fits 32 bits
    const auto check = [](int, u_char *bytes, u_char ber_type, size_t size, u_char *, oid *, size_t) {
        return vyn_check_integer(checks, bytes, ber_type, size);
    };
    // clang-format off
    set(check, {}, {
        {0, 1, 0}, {0, {255, 4}, 0}, {0, {2, 1}, 0},
        {0, {1, 4, ASN_OCTET_STR}, 7, type}, {0, {0, 5, ASN_OCTET_STR}, 7, type},
        {0, {0, 0}, 8, length}, {0, {0, 5}, 8, length}, {0, {1, sizeof(long) + 1}, 8, length}, {0, {1, 255}, 8, length},
        {0, {0, 4}, 10, value}, {0, 256, 10, value}, {0, {-1, 4}, 10, value}, {0, -1, 10, value},
        {0, high ? 1 + high : 0, 10, value}, {0, high ? 1 - high : 0, 10, value},
    });
    // clang-format on
}

} // namespace
