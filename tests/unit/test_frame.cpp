// The frame: what start and stop do to the platform and in which order, the object table, and the
// order of the caches.

#include "fake_platform.h"

namespace {

class frame : public platform_test {};

const lines start_lines = {"trace 101 init_vyn_mib : entrying", "register_mib vyn_mib 41 1.3.6.1.4.1.57193.12.7",
                           "indxobj_create region 0 1 1",       "indxobj_create app_region 0 1 1",
                           "query_and_build_vyn_registrations", "register_for_notification 8470",
                           "register_for_notification 8475"};

TEST_F(frame, starts_and_stops_again_and_again) {
    for (int round = 0; round < 2; round++) {
        init_vyn_mib();
        EXPECT_EQ(platform.take_log(), start_lines);
        ASSERT_TRUE(vyn_regions && vyn_app_regions);
        const uint32_t zero = 0;
        indxobj_add(vyn_regions, calloc(1, sizeof(vyn_region_rec)), &zero);

        EXPECT_EQ(deinit_vyn_mib(), 8475);
        EXPECT_EQ(std::exchange(platform.rows_visited, 0), 1u);
        EXPECT_FALSE(vyn_regions || vyn_app_regions);
        lines log = platform.take_log();
        ASSERT_EQ(log.size(), 47u);
        EXPECT_EQ(std::set<std::string>(log.begin() + 4, log.begin() + 45).size(), 41u);
        EXPECT_EQ(log[39], "unregister_mib 1.3.1");
        log.erase(log.begin() + 5, log.begin() + 45);
        EXPECT_EQ(log, (lines{"indxobj_destroy 1 rows", "indxobj_destroy 0 rows", "trace 101 deinit_vyn_mib : entrying",
                              "unregister_mib 1.3.6.1.4.1.57193.12.7", "unregister_mib 1.1.1.1.2",
                              "unregister_for_notification 8470", "unregister_for_notification 8475"}));
    }
}

TEST_F(frame, goes_on_past_every_failure) {
    platform.register_fails = platform.registry_fails = true;
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
    EXPECT_EQ(platform.log[1], "trace 101 vyn_mib_destroy_indxobj: obj_p is NULL\n");
    EXPECT_EQ(platform.log.back(), "unregister_for_notification 8475");
    platform.debug = true;
    EXPECT_EQ(vyn_mib_destroy_indxobj(nullptr), 3) << "the answer of the debug check";
}

// Each group of the table: where it lies, its first column and identifier, and the type and access
// of the columns from there on: i INTEGER, s OCTET STRING, u Unsigned32, t TimeTicks; capital:
// writable.
TEST_F(frame, object_table_is_complete) {
    const std::tuple<sub_ids, oid, int, std::string> groups[] = {
        {{1, 1, 1, 1}, 2, 4, "IISiisisIis"}, {{1, 1, 2, 1}, 3, 19, "isss"}, {{1, 1, 3, 1}, 3, 27, "isI"},
        {{1, 1, 4, 1}, 3, 34, "ii"},         {{1, 1, 5, 1}, 2, 39, "s"},    {{1, 1, 6, 1}, 4, 45, "s"},
        {{1, 1, 7, 1}, 3, 50, "iisIt"},      {{1, 1, 9, 1}, 4, 60, "II"},   {{1, 1, 10, 1}, 4, 67, "UII"},
        {{1, 1, 11, 1}, 3, 74, "iII"},       {{1, 3}, 1, 77, "Iis"},        {{1, 4}, 1, 80, "I"},
        {{1, 4, 2, 1}, 2, 84, "SI"},
    };
    const struct variable7 *object = vyn_mib_variables;
    for (const auto &[group, column, identifier, columns] : groups)
        for (size_t i = 0; i < columns.size(); i++, object++) {
            ASSERT_LT(object, std::end(vyn_mib_variables));
            EXPECT_EQ(sub_ids(object->name, object->name + object->namelen), group + sub_ids{column + i});
            EXPECT_EQ(object->magic, identifier + static_cast<int>(i));
            const auto kind = std::string("isut").find(static_cast<char>(tolower(columns[i])));
            EXPECT_EQ(object->type, (octets{ASN_INTEGER, ASN_OCTET_STR, ASN_UNSIGNED, ASN_TIMETICKS}[kind]))
                << object->magic;
            EXPECT_EQ(object->acl, isupper(columns[i]) ? NETSNMP_OLDAPI_RWRITE : NETSNMP_OLDAPI_RONLY) << object->magic;
        }
    EXPECT_EQ(object, std::end(vyn_mib_variables));
}

TEST_F(frame, unknown_identifiers_have_no_value) {
    platform.add_feature("ntp", 2);
    platform.answers.assign(99, {0, reply_of(512, {{92, 1}})});
    platform.states.assign(99, {});
    for (const struct variable7 &object : vyn_mib_variables) {
        struct variable vp = {};
        vp.magic = 200;
        oid name[MAX_OID_LEN] = {};
        size_t length = 0, value_length;
        WriteMethod *write_method = nullptr;
        EXPECT_EQ(object.findVar(&vp, name, &length, 0, &value_length, &write_method), nullptr);
        EXPECT_EQ(platform.take_log().back(), "snmp_set_detail ''");
        EXPECT_EQ(write_method, nullptr);
    }
}

TEST_F(frame, caches_are_in_order) {
    const uint32_t middle = 0x80000000;
    vyn_region_rec region{};
    region.region_id = middle;
    for (auto [key, order] : {std::pair(0u, -1), {middle - 1, -1}, {middle, 0}, {middle + 1, 1}})
        EXPECT_EQ(vyn_mib_region_compare(&region, &key), order) << key;
    const std::string full(81, 'a'), longer(82, 'a'), other = std::string(80, 'a') + "b";
    const std::tuple<std::string, std::string, int> names[] = {
        {full, full, 0}, {full, longer, 1}, {full, other, -1}, {"role", "ntp", -1}, {"\xc3", "c", 1}};
    for (const auto &[name, key, order] : names) {
        vyn_feature_region_rec row{};
        memset(row.pad, 'x', sizeof(row.pad)); // behind a name that fills its field
        memcpy(row.app_name, name.data(), name.size());
        const int result = vyn_mib_app_region_compare(&row, key.c_str());
        EXPECT_EQ((result > 0) - (result < 0), order) << name << " " << key;
    }
}

} // namespace
