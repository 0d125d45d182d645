// Events as notifications: the variables, what stays from earlier events, and fields without an end.

#include "fake_platform.h"

namespace {

class notifications : public platform_test {
  protected:
    // Calls a handler with a payload of these bytes, in a block as large as the platform promises.
    // The notification's OID and the values of its variables, whose OIDs are in names then.
    lines send(const octets &event, mts_notification_handler handler = handle_VYNNotifications) {
        octets payload(512);
        std::copy(event.begin(), event.end(), payload.begin());
        oid name[MAX_OID_LEN] = {42};
        size_t length = 1;
        int flag = 0;
        netsnmp_variable_list *list = handler(reinterpret_cast<mts_msg *>(payload.data()), name, &length, &flag);
        EXPECT_EQ(flag, 1);
        lines values = {dotted(name, length)};
        names.clear();
        for (netsnmp_variable_list *var = list; var != nullptr; var = var->next_variable) {
            names += " " + dotted(var->name, var->name_length);
            values.push_back(var->type == ASN_INTEGER ? std::to_string(*var->val.integer)
                                                      : std::string(var->val.string, var->val.string + var->val_len));
        }
        snmp_free_varbind(list);
        return values;
    }

    static octets merge_failure(uint32_t scope, const std::string &name, const std::string &reason) {
        return reply_of(352, {{0, 22}, {88, scope}, {92, 10}}, {{4, text(name)}, {96, text(reason)}});
    }

    std::string names;
};

const std::string vsan_10("\0\0\0\n", 4);

TEST_F(notifications, show_what_earlier_events_left) {
    const octets failed = reply_of(12, {{0, 27}, {4, 4u << 24}, {8, 12345}});
    const std::string endless(81, 'n'), text(256, 't'), ended("ab\0", 3);
    const std::pair<octets, lines> cases[] = {
        {merge_failure(1, "abcdefgh", "lost"), {"0.2", "abcdefgh", "2", vsan_10, "lost"}},
        {failed, {"0.3", "4", "reason 1701209960"}},
        {merge_failure(2, endless, text), {"0.2", endless, "1", "", text}},
        {merge_failure(2, "1234long", ""), {"0.2", "1234long", "1", "", ""}},
        {failed, {"0.3", "4", std::string(254, 'x')}},
        {reply_of(12, {{0, 27}, {4, 3u << 24}}), {"0.3", "3", ""}},
        {merge_failure(5, ended + endless.substr(3), ""), {"0.2", "ab", "1", "", ""}},
        {failed, {"0.3", "4", "reason 0"}}, // what is behind a name's end is no part of it
    };
    for (const auto &[event, values] : cases) EXPECT_EQ(send(event), values);
    platform.log.resize(5);
    EXPECT_EQ(platform.log, (lines{"trace 101 handle_VYNNotifications : entrying",
                                   "trace 101 About to generate VYN - norvoVYNMergeFailNotif notification\n",
                                   "trace 101 handle_VYNNotifications : entrying",
                                   "trace 101 notif_val.resp_phy_disc_status.disc_status = 4  "
                                   "notif_val.resp_phy_disc_status.failure_reason = 1701209960 \n",
                                   "trace 101 About to generate VYN -norvoVYNDiscoveryCompleteNotif\n"}));
}

TEST_F(notifications, tell_of_a_feature_action) {
    const auto tells = [&](uint32_t scope, const std::string &name, const std::string &type, const std::string &vsan) {
        const octets event =
            reply_of(101, {{81, 0x01000003}, {85, scope}, {89, 10}, {93, 5}, {97, 9}}, {{0, text(name)}});
        const sub_ids index = name_index(name);
        const std::string row = "." + dotted(index.data(), index.size()), column = " 1.1.1.1.";
        EXPECT_EQ(send(event, handle_VYNFeatureActionNotif), (lines{"0.1", "16777219", type, vsan, "5"}));
        EXPECT_EQ(names, column + "5" + row + column + "6" + row + column + "7" + row + column + "8" + row);
    };
    tells(0, "ntp", "1", "");
    tells(2, std::string(81, 'n'), "2", vsan_10); // stops where the next field begins
    tells(7, "ntp", "7", "");
    platform.log.resize(2);
    EXPECT_EQ(platform.log, (lines{"trace 101 handle_VYNFeatureActionNotif : entrying",
                                   "trace 101 About to generate VYN - norvoVYNFeatureActionNotif notification\n"}));
}

TEST_F(notifications, come_from_no_other_event) {
    EXPECT_EQ(send(reply_of(12, {{0, 23}})), lines{"42"});
    EXPECT_EQ(platform.take_log().back(), "trace 100 handle_VYNNotifications : Invalid VYN notificationType");
    for (auto handler : {handle_VYNNotifications, handle_VYNFeatureActionNotif})
        for (mts_msg *none : {static_cast<mts_msg *>(nullptr), platform.empty_message}) {
            int flag = 0;
            EXPECT_EQ(handler(none, nullptr, nullptr, &flag), nullptr);
            EXPECT_EQ(std::pair(flag, platform.take_log().size()), std::pair(1, size_t{1}));
        }
}

} // namespace
