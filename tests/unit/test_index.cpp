// The OID cursor and builder, at and past their ends.

#include "fake_platform.h"
#include "vyn_index.h"

namespace {

class oid_index : public platform_test {};

TEST_F(oid_index, cursor_stays_inside_the_oid) {
    const sub_ids name = {3, 97, 0x1FF, 4294967295};
    uint8_t bytes[8] = {};
    oid value = 7;

    vyn_oid_cursor cursor(name.data(), name.size(), 0);
    ASSERT_TRUE(cursor.take(&value));
    EXPECT_EQ(cursor.take_octets(bytes, 4294967295), 3u);
    EXPECT_EQ(octets(bytes, bytes + 4), (octets{97, 0xFF, 0xFF, 0}));
    EXPECT_FALSE(cursor.take(&value));
    EXPECT_EQ(value, 3u) << "as it was";
    for (size_t behind : {size_t{4}, size_t{5}, SIZE_MAX})
        EXPECT_EQ(vyn_oid_cursor(name.data(), name.size(), behind).left(), 0u);
}

TEST_F(oid_index, builder_commits_what_fits_and_nothing_else) {
    for (size_t size : {size_t{0}, size_t{MAX_OID_LEN - 9}, size_t{MAX_OID_LEN - 8}, size_t{MAX_OID_LEN}}) {
        sub_ids name(MAX_OID_LEN, 42);
        size_t length = 5;
        vyn_oid_builder answer(vyn_mib_variables_oid, VYN_MIB_ROOT_LENGTH);
        answer.put_octets(octets(size, 0xFF).data(), size);
        const bool fits = size <= MAX_OID_LEN - 9;
        EXPECT_EQ(answer.commit(name.data(), &length), fits) << size;
        name.resize(length);
        EXPECT_EQ(name, fits ? vyn_oid(sub_ids(size, 255)) : sub_ids(5, 42));
        EXPECT_EQ(platform.take_log().size(), fits ? 0u : 1u);
    }
}

} // namespace
