// Events as notifications: the variables, what stays from earlier events, and fields without an
// end.

#include <gtest/gtest.h>

#include "fake_platform.h"

namespace {

struct notification {
    netsnmp_variable_list *varbinds = nullptr;
    sub_ids name;
    lines variables; // "2 below.vynMIB = value", "4 below.vynMIB = hex"
};

class notifications : public platform_test {
  protected:
    // Calls a handler with a payload of these bytes, in a block as large as the platform promises.
    notification send(mts_notification_handler handler, const octets &event)
    {
        octets payload(512);
        std::copy(event.begin(), event.end(), payload.begin());
        oid name[MAX_OID_LEN] = {42};
        size_t length = 1;
        int flag = 0;
        notification result;
        netsnmp_variable_list *list =
            handler(reinterpret_cast<mts_msg *>(payload.data()), name, &length, &flag);
        EXPECT_EQ(flag, 1);
        result.name = sub_ids(name, name + length);
        for (netsnmp_variable_list *var = list; var != nullptr; var = var->next_variable)
            result.variables.push_back(describe(*var));
        snmp_free_varbind(list);
        return result;
    }

    static std::string describe(const netsnmp_variable_list &var)
    {
        std::string line = std::to_string(var.type) + " ";
        for (size_t i = VYN_MIB_ROOT_LENGTH; i < var.name_length; i++)
            line += (i > VYN_MIB_ROOT_LENGTH ? "." : "") + std::to_string(var.name[i]);
        line += " = ";
        if (var.type == ASN_INTEGER)
            return line + std::to_string(*var.val.integer);
        for (size_t i = 0; i < var.val_len; i++)
            line += "0123456789abcdef"[var.val.string[i] >> 4],
                line += "0123456789abcdef"[var.val.string[i] & 15];
        return line;
    }

    static octets merge_failure(uint32_t scope, uint32_t vsan, const std::string &name,
                                const std::string &text)
    {
        octets event = reply_of(352, {{0, 22}, {88, scope}, {92, vsan}});
        std::copy(name.begin(), name.end(), event.begin() + 4);
        std::copy(text.begin(), text.end(), event.begin() + 96);
        return event;
    }

    static octets feature_action(const std::string &name, uint32_t scope, uint32_t vsan)
    {
        octets event = reply_of(101, {{81, 3}, {85, scope}, {89, vsan}, {93, 5}, {97, 9}});
        std::copy(name.begin(), name.end(), event.begin());
        return event;
    }
};

std::string hex_of(const std::string &text)
{
    std::string hex;
    for (unsigned char c : text)
        hex += "0123456789abcdef"[c >> 4], hex += "0123456789abcdef"[c & 15];
    return hex;
}

// First of the file's tests: it depends on storage that nothing has touched.
TEST_F(notifications, show_what_earlier_events_left)
{
    EXPECT_EQ(send(handle_VYNNotifications, merge_failure(5, 10, "ntp", "")).variables,
              (lines{"4 1.2.1.0 = 6e7470", "2 1.2.2.0 = 0", "4 1.2.3.0 = ", "4 1.2.4.0 = "}));
    const octets failed = reply_of(12, {{0, 27}, {4, 4u << 24}, {8, 12345}});
    EXPECT_EQ(send(handle_VYNNotifications, failed).variables,
              (lines{"2 1.3.2.0 = 4", "4 1.3.3.0 = " + hex_of("reason 0")}));

    EXPECT_EQ(send(handle_VYNNotifications, merge_failure(1, 10, "abcdefgh", "lost")).variables,
              (lines{"4 1.2.1.0 = " + hex_of("abcdefgh"), "2 1.2.2.0 = 2", "4 1.2.3.0 = 0000000a",
                     "4 1.2.4.0 = " + hex_of("lost")}));
    platform.take_log();
    const notification discovery = send(handle_VYNNotifications, failed);
    EXPECT_EQ(discovery.name, vyn_oid({0, 3}));
    EXPECT_EQ(discovery.variables,
              (lines{"2 1.3.2.0 = 4", "4 1.3.3.0 = " + hex_of("reason 1701209960")}));
    EXPECT_EQ(platform.take_log(),
              (lines{"trace 101 handle_VYNNotifications : entrying",
                     "trace 101 notif_val.resp_phy_disc_status.disc_status = 4  "
                     "notif_val.resp_phy_disc_status.failure_reason = 1701209960 \n",
                     "trace 101 About to generate VYN -norvoVYNDiscoveryCompleteNotif\n"}));

    const notification unknown_scope = send(handle_VYNNotifications, merge_failure(5, 0, "", ""));
    EXPECT_EQ(unknown_scope.variables[1], "2 1.2.2.0 = 2");
    EXPECT_EQ(send(handle_VYNNotifications, reply_of(12, {{0, 27}, {4, 3u << 24}})).variables[1],
              "4 1.3.3.0 = ");
}

TEST_F(notifications, tell_of_a_merge_failure)
{
    const std::string name(81, 'n'), text(256, 't');
    const notification physical = send(handle_VYNNotifications, merge_failure(2, 10, name, text));
    EXPECT_EQ(physical.name, vyn_oid({0, 2}));
    EXPECT_EQ(physical.variables, (lines{"4 1.2.1.0 = " + hex_of(name), "2 1.2.2.0 = 1",
                                         "4 1.2.3.0 = ", "4 1.2.4.0 = " + hex_of(text)}));
    EXPECT_EQ(platform.take_log(),
              (lines{"trace 101 handle_VYNNotifications : entrying",
                     "trace 101 About to generate VYN - norvoVYNMergeFailNotif notification\n"}));
}

TEST_F(notifications, tell_of_a_feature_action)
{
    const std::string row = "3.110.116.112";
    const struct {
        uint32_t scope;
        std::string scope_type, vsan;
    } cases[] = {{0, "1", ""}, {1, "1", ""}, {2, "2", "0000000a"}, {7, "7", ""}};
    for (const auto &test : cases) {
        const notification action =
            send(handle_VYNFeatureActionNotif, feature_action("ntp", test.scope, 10));
        EXPECT_EQ(action.name, vyn_oid({0, 1}));
        EXPECT_EQ(
            action.variables,
            (lines{"2 1.1.1.1.5." + row + " = 3", "2 1.1.1.1.6." + row + " = " + test.scope_type,
                   "4 1.1.1.1.7." + row + " = " + test.vsan, "2 1.1.1.1.8." + row + " = 5"}));
    }
    platform.take_log();
    // A name without an end stops where the next field begins.
    const notification full = send(handle_VYNFeatureActionNotif,
                                   feature_action(std::string(81, 'n'), 0x41414141, 0x41414141));
    EXPECT_EQ(full.variables[0].find("2 1.1.1.1.5.81.110."), 0u);
    EXPECT_EQ(full.variables[0].substr(full.variables[0].size() - 8), ".110 = 3");
    EXPECT_EQ(
        platform.take_log(),
        (lines{"trace 101 handle_VYNFeatureActionNotif : entrying",
               "trace 101 About to generate VYN - norvoVYNFeatureActionNotif notification\n"}));
}

TEST_F(notifications, come_from_no_other_event)
{
    const notification unknown = send(handle_VYNNotifications, reply_of(12, {{0, 23}}));
    EXPECT_TRUE(unknown.variables.empty());
    EXPECT_EQ(unknown.name, sub_ids{42});
    EXPECT_EQ(platform.take_log(),
              (lines{"trace 101 handle_VYNNotifications : entrying",
                     "trace 100 handle_VYNNotifications : Invalid VYN notificationType"}));
    for (auto handler : {handle_VYNNotifications, handle_VYNFeatureActionNotif}) {
        int flag = 0;
        EXPECT_EQ(handler(nullptr, nullptr, nullptr, &flag), nullptr);
        EXPECT_EQ(flag, 1);
        EXPECT_EQ(platform.take_log().size(), 1u);
    }
}

} // namespace
