// Requests against a fabric, byte for byte, and what happens in it as time passes, on a clock that
// the test turns.
#include <gtest/gtest.h>

#include <cstring>

#include "queries.h"
#include "vyn_wire.h"
#include "vynd_protocol.h"

namespace vynd {
namespace {

using std::chrono::milliseconds;

bytes words(std::initializer_list<uint32_t> values, size_t size)
{
    bytes record;
    for (const be32 word : values) {
        uint8_t raw[4];
        std::memcpy(raw, &word, sizeof raw);
        record.insert(record.end(), raw, raw + 4);
    }
    record.resize(size);
    return record;
}

TEST(Queries, RepliesByteForByte)
{
    fabric model({{77, 0x40B30042, {}}, false, {}});
    const struct {
        uint32_t opcode, msg_type;
        bytes record;
        uint32_t status;
        bytes reply;
    } cases[] = {
        {8469, 1, words({25, 1}, 364), 0, words({25, 77u << 24, 0x40B30042}, 360)},
        {8463, 1, words({30, 1}, 364), 0, words({30, 1}, 360)},
        {8477, 3, words({31, 1, 0}, 364), 0, words({31}, 8)},
        {8463, 1, words({30, 1}, 364), 0, words({30, 0}, 360)},
        {8477, 3, words({31, 1, 1}, 364), 0, words({31}, 8)},
        {8463, 1, words({30, 1}, 364), 0, words({30, 1}, 360)},
        {8469, 3, words({24, 1}, 364), 0, words({24}, 8)},
        {8469, 1, words({25, 1}, 364), 0, words({25, 2u << 24, 0}, 360)},
        // Refusals change nothing, as the last case shows.
        {8469, 3, words({24, 1}, 364), 0x40B30042, {}},
        {8477, 3, words({31, 1, 2}, 364), 0x40B30003, {}},
        {8477, 3, words({31, 0, 0}, 364), 0x40B30003, {}},
        {8477, 1, words({31, 1, 0}, 364), 0x40B30003, {}},
        {8477, 3, words({31, 1, 0}, 363), 0x40B30003, {}},
        {8477, 3, words({31, 1, 0}, 365), 0x40B30003, {}},
        {8477, 3, {0, 0, 31}, 0x40B30002, {}},
        {8477, 3, {}, 0x40B30002, {}},
        {8469, 3, words({31, 1, 0}, 364), 0x40B30002, {}},
        {0, 3, words({31, 1, 0}, 364), 0x40B30002, {}},
        {8463, 1, words({30, 1}, 364), 0, words({30, 1}, 360)},
    };
    for (const auto &asked : cases) {
        const request request{asked.opcode, asked.msg_type, asked.record};
        const outcome result = answer(model, request, time_point());
        EXPECT_EQ(result.status, asked.status) << describe(request);
        EXPECT_EQ(result.reply, asked.reply) << describe(request);
        EXPECT_EQ(result.note.empty(), asked.status == 0) << describe(request);
    }
}

TEST(Queries, RegistryComesInPagesOfWholeEntries)
{
    fabric_state state;
    for (int name = 'A'; name < 'A' + 100; ++name)
        for (int other = 1; other <= 10; ++other)
            state.features.push_back(
                {{static_cast<char>(name), static_cast<char>(other)}, 1, 2, 3, 4, 5, 6, 7});
    fabric model(state);
    const auto read = [&](const bytes &record) {
        return answer(model, {opcode_registry, 1, record}, time_point());
    };
    bytes all;
    for (size_t page = 0; page < 3; ++page) {
        const bytes reply = read(words({static_cast<uint32_t>(all.size() / 112)}, 4)).reply;
        EXPECT_LE(reply.size() + sizeof(frame_header), largest_frame);
        all.insert(all.end(), reply.begin(), reply.end());
    }
    ASSERT_EQ(all.size(), 1000u * 112);
    bytes last = {2, 'A' + 99, 10};
    last.resize(84);
    const bytes numbers = words({1, 2, 3, 4, 5, 6, 7}, 28);
    last.insert(last.end(), numbers.begin(), numbers.end());
    EXPECT_EQ(bytes(all.end() - 112, all.end()), last);
    EXPECT_TRUE(read(words({UINT32_MAX}, 4)).reply.empty());
    EXPECT_EQ(read(words({0}, 8)).status, VYN_ERR_BAD_REQUEST);
}

TEST(Fabric, DiscoveryEndsWhenItsTimeHasComeAndOnce)
{
    const time_point start;
    fabric model({{4, 5, {milliseconds(1500), 4, 0x40B30071}}, true, {}});
    EXPECT_FALSE(model.next_change());
    EXPECT_EQ(model.start_discovery(start), 0u);
    EXPECT_EQ(model.state().discovery.failure_reason, 0u);
    EXPECT_EQ(model.next_change(), start + milliseconds(1500));
    EXPECT_TRUE(model.advance(start + milliseconds(1499)).empty());
    EXPECT_EQ(model.start_discovery(start + milliseconds(1499)), VYN_ERR_DISCOVERY_RUNNING);

    // An edit of something else lets it run on.
    fabric_state edited = model.state();
    edited.distribution_enabled = false;
    model.replace(edited);

    const auto events = model.advance(start + milliseconds(1500));
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].opcode, 8475u);
    EXPECT_EQ(events[0].payload, words({27, 4u << 24, 0x40B30071}, 12));
    EXPECT_EQ(model.state().discovery.status, 4);
    EXPECT_EQ(model.state().discovery.failure_reason, 0x40B30071u);
    EXPECT_TRUE(model.advance(start + milliseconds(9999)).empty());

    // One that is declared ended from outside ends without an event, and another can start.
    EXPECT_EQ(model.start_discovery(start), 0u);
    edited.discovery.status = 1;
    model.replace(edited);
    EXPECT_FALSE(model.next_change());
    EXPECT_EQ(model.start_discovery(start), 0u);
}

} // namespace
} // namespace vynd
