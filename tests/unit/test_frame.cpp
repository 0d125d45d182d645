// The frame: what start and stop do and in which order, the object table, and the order of the caches.

#include "fake_platform.h"

namespace {

class frame : public platform_test {};

const lines start_lines = {"trace 101 init_vyn_mib : entrying",
                           "register_mib vyn_mib " + std::to_string(VYN_MIB_OBJECTS) + " 1.3.6.1.4.1.57193.12.7",
                           "indxobj_create region 0 1 1",
                           "indxobj_create app_region 0 1 1",
                           "query_and_build_vyn_registrations",
                           "register_for_notification 8470",
                           "register_for_notification 8475"};

TEST_F(frame, starts_and_stops_again_and_again) {
    for (int round = 0; round < 2; round++) {
        init_vyn_mib();
        EXPECT_EQ(platform.take_log(), start_lines);
        ASSERT_TRUE(vyn_regions && vyn_app_regions);
        const uint32_t zero = 0;
        indxobj_add(vyn_regions, calloc(1, sizeof(vyn_region_rec)), &zero); // a leak when it stays
        indxobj_add(vyn_app_regions, calloc(1, sizeof(vyn_feature_region_rec)), "");

        EXPECT_EQ(deinit_vyn_mib(), 8475);
        EXPECT_FALSE(vyn_regions || vyn_app_regions);
        EXPECT_EQ(platform.take_log(),
                  (lines{"region rows 1", "app_region rows 1", "indxobj_destroy region", "indxobj_destroy app_region",
                         "trace 101 deinit_vyn_mib : entrying", "unregister_mib 1.3.6.1.4.1.57193.12.7",
                         "unregister_for_notification 8470", "unregister_for_notification 8475"}));
    }
}

TEST_F(frame, goes_on_past_every_failure) {
    platform.start_fails = true;
    platform.container_result = 0;
    lines expected = start_lines;
    expected.insert(expected.begin() + 5, "trace 101 init_vyn_mib : call to query_and_build_vyn_registrations failed");
    expected.insert(expected.begin() + 4, "trace 100 Failed to create vyn_app_regions index object");
    expected.insert(expected.begin() + 3, "trace 100 Failed to create vyn_regions index object");
    init_vyn_mib();
    EXPECT_EQ(platform.take_log(), expected);
    platform.debugging = true;
    init_vyn_mib();
    const std::string place = " trace init_vyn_mib(): feature/vyn/snmp/vyn_mib.cpp, 520:\n",
                      failed = " register_mib vyn_mib registration failed\n";
    expected.insert(expected.begin() + 2,
                    {"debugmsgtoken" + place, "debugmsg" + place, "debugmsgtoken" + failed, "debugmsg" + failed});
    EXPECT_EQ(platform.take_log(), expected);

    deinit_vyn_mib();
    const std::string no_cache = "trace 101 vyn_mib_destroy_indxobj: obj_p is NULL\n";
    EXPECT_EQ(platform.take_log(),
              (lines{no_cache, no_cache, "trace 101 deinit_vyn_mib : entrying", "unregister_mib 1.3.6.1.4.1.57193.12.7",
                     "unregister_for_notification 8470", "unregister_for_notification 8475"}));
    platform.debug = true;
    EXPECT_EQ(vyn_mib_destroy_indxobj(nullptr), 3) << "the answer of the debug check";
    platform.container_result = INDXOBJ_SUCCESS;
    init_vyn_mib();
    platform.destroy_result = 5;
    EXPECT_EQ(vyn_mib_destroy_indxobj(std::exchange(vyn_regions, nullptr)), 5) << "the container's answer";
    deinit_vyn_mib();
}

// Their OIDs, types and access are compared with the MIB, in its own test; here are their identifiers.
TEST_F(frame, objects_are_in_order) {
    octets identifiers;
    for (const struct variable7 &object : vyn_mib_variables) identifiers.push_back(object.magic);
    EXPECT_TRUE(std::is_sorted(identifiers.begin(), identifiers.end(), [](int left, int right) {
        const sub_ids one = row_of(left), other = row_of(right);
        return snmp_oid_compare(one.data(), one.size(), other.data(), other.size()) < 0;
    }));
    EXPECT_EQ(identifiers, (octets{4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 19, 20, 21, 22, 27, 28, 29, 34, 35, 39,
                                   45, 50, 51, 52, 53, 54, 60, 61, 67, 68, 69, 74, 75, 76, 77, 78, 79, 80, 84, 85}));
}

TEST_F(frame, unknown_identifiers_have_no_value) {
    platform.add_feature("ntp", 2);
    platform.answers.assign(99, {0, reply_of(512, {{92, 1}})}); // which is a row of every table
    platform.states.assign(99, {});
    for (const struct variable7 &object : vyn_mib_variables) {
        struct variable unknown = {};
        unknown.magic = 200;
        oid name[MAX_OID_LEN] = {};
        size_t length = 0, value_length;
        WriteMethod *write_method = nullptr;
        EXPECT_EQ(object.findVar(&unknown, name, &length, 0, &value_length, &write_method), nullptr);
        EXPECT_EQ(platform.take_log().back(), "snmp_set_detail ''");
    }
}

TEST_F(frame, caches_are_in_order) {
    const uint32_t middle = 0x80000000;
    vyn_region_rec region{};
    region.region_id = middle;
    for (auto [key, order] : {std::pair(0u, -1), {middle, 0}, {middle + 1, 1}})
        EXPECT_EQ(vyn_mib_region_compare(&region, &key), order) << key;
    const std::string full(81, 'a');
    const std::tuple<std::string, std::string, int> names[] = {
        {full, full, 0}, {full, full + "a", 1}, {"role", "ntp", -1}, {"\xc3", "c", 1}, {"ntp", "ntq", -1}};
    for (const auto &[name, key, order] : names) {
        vyn_feature_region_rec row{};
        memset(row.pad, 'x', sizeof(row.pad)); // behind a name that fills its field
        memcpy(row.app_name, name.data(), name.size());
        const int result = vyn_mib_app_region_compare(&row, key.c_str());
        EXPECT_EQ((result > 0) - (result < 0), order) << name << " " << key;
    }
}

} // namespace
