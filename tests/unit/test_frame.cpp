// The frame: what start and stop do to the platform and in which order, the object table, and the
// order of the caches.

#include <gtest/gtest.h>

#include "fake_platform.h"

#include <map>
#include <set>

namespace {

class frame : public platform_test {};

const char *const root = "1.3.6.1.4.1.57193.12.7";

lines start_lines()
{
    return {"trace 101 init_vyn_mib : entrying", std::string("register_mib vyn_mib 41 ") + root,
            "indxobj_create region 0 1 1",       "indxobj_create app_region 0 1 1",
            "query_and_build_vyn_registrations", "register_for_notification 8470",
            "register_for_notification 8475"};
}

TEST_F(frame, starts_and_stops_again_and_again)
{
    for (int round = 0; round < 2; round++) {
        init_vyn_mib();
        EXPECT_EQ(platform.take_log(), start_lines());
        ASSERT_TRUE(vyn_regions && vyn_app_regions);
        indxobj_add(vyn_regions, calloc(1, sizeof(vyn_region_rec)), nullptr);

        EXPECT_EQ(deinit_vyn_mib(), 8475);
        EXPECT_EQ(std::exchange(platform.rows_visited, 0), 1u);
        EXPECT_FALSE(vyn_regions || vyn_app_regions);
        lines log = platform.take_log();
        ASSERT_EQ(log.size(), 47u);
        EXPECT_EQ(
            lines(log.begin(), log.begin() + 4),
            (lines{"indxobj_destroy 1 rows", "indxobj_destroy 0 rows",
                   "trace 101 deinit_vyn_mib : entrying", std::string("unregister_mib ") + root}));
        EXPECT_EQ(log[4], std::string("unregister_mib ") + root + ".1.1.1.1.2");
        EXPECT_EQ(log[39], std::string("unregister_mib ") + root + ".1.3.1");
        EXPECT_EQ(std::set<std::string>(log.begin() + 4, log.begin() + 45).size(), 41u);
        EXPECT_EQ(lines(log.begin() + 45, log.end()),
                  (lines{"unregister_for_notification 8470", "unregister_for_notification 8475"}));
    }
}

TEST_F(frame, goes_on_past_every_failure)
{
    platform.register_fails = platform.registry_fails = true;
    platform.container_result = 0;
    lines expected = start_lines();
    expected.insert(expected.begin() + 5,
                    "trace 101 init_vyn_mib : call to query_and_build_vyn_registrations failed");
    expected.insert(expected.begin() + 4,
                    "trace 100 Failed to create vyn_app_regions index object");
    expected.insert(expected.begin() + 3, "trace 100 Failed to create vyn_regions index object");
    init_vyn_mib();
    EXPECT_EQ(platform.take_log(), expected);

    platform.debug = true;
    deinit_vyn_mib();
    const lines log = platform.take_log();
    const std::string null_cache = "101 vyn_mib_destroy_indxobj: obj_p is NULL\n";
    EXPECT_EQ(log[0], "trace " + null_cache);
    EXPECT_EQ(log[1], "debug vyn vyn_mib_destroy_indxobj: obj_p is NULL\n");
    EXPECT_EQ(log[2], "trace " + null_cache);
    EXPECT_EQ(log.back(), "unregister_for_notification 8475");
    EXPECT_EQ(vyn_mib_destroy_indxobj(nullptr), 3) << "the answer of the debug check";
}

TEST_F(frame, tells_the_agents_debug_output_of_a_failed_registration)
{
    platform.register_fails = platform.debugging = true;
    init_vyn_mib();
    const lines log = platform.take_log();
    const std::string place = " trace init_vyn_mib(): feature/vyn/snmp/vyn_mib.cpp, 520:\n";
    EXPECT_EQ(lines(log.begin() + 2, log.begin() + 6),
              (lines{"debugmsgtoken" + place, "debugmsg" + place,
                     "debugmsgtoken register_mib vyn_mib registration failed\n",
                     "debugmsg register_mib vyn_mib registration failed\n"}));
    platform.debugging = false;
    deinit_vyn_mib();
}

// Each group of the table: where it lies, its first column and identifier, and the type and access
// of the columns from there on: i INTEGER, s OCTET STRING, u Unsigned32, t TimeTicks; capital:
// writable.
TEST_F(frame, object_table_is_complete)
{
    const struct {
        sub_ids group;
        oid column;
        int identifier;
        std::string columns;
    } groups[] = {
        {{1, 1, 1, 1}, 2, 4, "IISiisisIis"},
        {{1, 1, 2, 1}, 3, 19, "isss"},
        {{1, 1, 3, 1}, 3, 27, "isI"},
        {{1, 1, 4, 1}, 3, 34, "ii"},
        {{1, 1, 5, 1}, 2, 39, "s"},
        {{1, 1, 6, 1}, 4, 45, "s"},
        {{1, 1, 7, 1}, 3, 50, "iisIt"},
        {{1, 1, 9, 1}, 4, 60, "II"},
        {{1, 1, 10, 1}, 4, 67, "UII"},
        {{1, 1, 11, 1}, 3, 74, "iII"},
        {{1, 3}, 1, 77, "Iis"},
        {{1, 4}, 1, 80, "I"},
        {{1, 4, 2, 1}, 2, 84, "SI"},
    };
    const std::map<char, u_char> types = {
        {'i', ASN_INTEGER}, {'s', ASN_OCTET_STR}, {'u', ASN_UNSIGNED}, {'t', ASN_TIMETICKS}};
    const struct variable7 *object = vyn_mib_variables;
    for (const auto &[group, column, identifier, columns] : groups)
        for (size_t i = 0; i < columns.size(); i++, object++) {
            ASSERT_LT(object, std::end(vyn_mib_variables));
            sub_ids name = group;
            name.push_back(column + i);
            EXPECT_EQ(sub_ids(object->name, object->name + object->namelen), name);
            EXPECT_EQ(object->magic, identifier + static_cast<int>(i));
            const char kind = columns[i];
            EXPECT_EQ(object->type, types.at(static_cast<char>(tolower(kind)))) << identifier + i;
            EXPECT_EQ(object->acl, isupper(kind) ? NETSNMP_OLDAPI_RWRITE : NETSNMP_OLDAPI_RONLY)
                << identifier + i;
        }
    EXPECT_EQ(object, std::end(vyn_mib_variables));
}

TEST_F(frame, caches_order_regions_by_number)
{
    const struct {
        uint32_t row, key;
        int order;
    } cases[] = {{0x80000000, 0x7fffffff, -1},
                 {0x80000000, 0x80000000, 0},
                 {0x80000000, 0x80000001, 1},
                 {0x80000000, 0, -1},
                 {1, 0xffffffff, 1}};
    for (const auto &test : cases) {
        vyn_region_rec row{};
        row.region_id = test.row;
        EXPECT_EQ(vyn_mib_region_compare(&row, &test.key), test.order) << test.key;
    }
}

TEST_F(frame, caches_order_features_by_length_then_name)
{
    const std::string full(81, 'a'), longer(82, 'a');
    const struct {
        std::string name, key;
        int order;
    } cases[] = {{"ntp", "ntp", 0},  {"ntp", "role", 1}, {"role", "ntp", -1},
                 {"abc", "abd", -1}, {"abd", "abc", 1},  {"ab", "abc", 1},
                 {full, full, 0},    {full, longer, 1},  {full, std::string(80, 'a') + "b", -1},
                 {"\xc3", "c", 1}};
    for (const auto &test : cases) {
        vyn_feature_region_rec row{};
        memset(row.pad, 'x', sizeof(row.pad)); // behind a name that fills its field
        memcpy(row.app_name, test.name.data(), test.name.size());
        const int order = vyn_mib_app_region_compare(&row, test.key.c_str());
        EXPECT_EQ((order > 0) - (order < 0), test.order) << test.name << " " << test.key;
    }
}

} // namespace
