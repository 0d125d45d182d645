// Events as notifications: the variables, what stays from earlier events, and fields without an
// end.

#include "fake_platform.h"

namespace {

class notifications : public platform_test {
  protected:
    // Calls a handler with a payload of these bytes, in a block as large as the platform promises.
    // The notification's OID and its variables: "type OID = value".
    lines send(const octets &event, mts_notification_handler handler = handle_VYNNotifications) {
        octets payload(512);
        std::copy(event.begin(), event.end(), payload.begin());
        oid name[MAX_OID_LEN] = {42};
        size_t length = 1;
        int flag = 0;
        netsnmp_variable_list *list = handler(reinterpret_cast<mts_msg *>(payload.data()), name, &length, &flag);
        EXPECT_EQ(flag, 1);
        lines result = {dotted(name, length)};
        for (netsnmp_variable_list *var = list; var != nullptr; var = var->next_variable)
            result.push_back(std::to_string(var->type) + " " + dotted(var->name, var->name_length) + " = " +
                             (var->type == ASN_INTEGER ? std::to_string(*var->val.integer)
                                                       : std::string(var->val.string, var->val.string + var->val_len)));
        snmp_free_varbind(list);
        return result;
    }

    static octets merge_failure(uint32_t scope, const std::string &name, const std::string &reason) {
        return reply_of(352, {{0, 22}, {88, scope}, {92, 10}}, {{4, text(name)}, {96, text(reason)}});
    }
};

const std::string vsan_10("\0\0\0\n", 4);

// First of the file's tests: it depends on storage that nothing has touched.
TEST_F(notifications, show_what_earlier_events_left) {
    const octets failed = reply_of(12, {{0, 27}, {4, 4u << 24}, {8, 12345}});
    EXPECT_EQ(send(merge_failure(5, "ntp", "")),
              (lines{"0.2", "4 1.2.1.0 = ntp", "2 1.2.2.0 = 0", "4 1.2.3.0 = ", "4 1.2.4.0 = "}));
    EXPECT_EQ(send(failed), (lines{"0.3", "2 1.3.2.0 = 4", "4 1.3.3.0 = reason 0"}));
    EXPECT_EQ(send(merge_failure(1, "abcdefgh", "lost")),
              (lines{"0.2", "4 1.2.1.0 = abcdefgh", "2 1.2.2.0 = 2", "4 1.2.3.0 = " + vsan_10, "4 1.2.4.0 = lost"}));
    EXPECT_EQ(send(failed), (lines{"0.3", "2 1.3.2.0 = 4", "4 1.3.3.0 = reason 1701209960"}));
    EXPECT_EQ(lines(platform.log.end() - 3, platform.log.end()),
              (lines{"trace 101 handle_VYNNotifications : entrying",
                     "trace 101 notif_val.resp_phy_disc_status.disc_status = 4  "
                     "notif_val.resp_phy_disc_status.failure_reason = 1701209960 \n",
                     "trace 101 About to generate VYN -norvoVYNDiscoveryCompleteNotif\n"}));

    send(merge_failure(2, std::string("ab\0", 3) + std::string(78, 'x'), ""));
    EXPECT_EQ(send(failed)[2], "4 1.3.3.0 = reason 0") << "what is behind a name's end is no part of it";
    send(merge_failure(1, "", ""));
    EXPECT_EQ(send(merge_failure(5, "", "")),
              (lines{"0.2", "4 1.2.1.0 = ", "2 1.2.2.0 = 2", "4 1.2.3.0 = ", "4 1.2.4.0 = "}));
    EXPECT_EQ(send(reply_of(12, {{0, 27}, {4, 3u << 24}})), (lines{"0.3", "2 1.3.2.0 = 3", "4 1.3.3.0 = "}));
}

TEST_F(notifications, tell_of_a_merge_failure) {
    const std::string name(81, 'n'), text(256, 't'); // neither has an end
    EXPECT_EQ(send(merge_failure(2, name, text)),
              (lines{"0.2", "4 1.2.1.0 = " + name, "2 1.2.2.0 = 1", "4 1.2.3.0 = ", "4 1.2.4.0 = " + text}));
    EXPECT_EQ(platform.log, (lines{"trace 101 handle_VYNNotifications : entrying",
                                   "trace 101 About to generate VYN - norvoVYNMergeFailNotif notification\n"}));
}

TEST_F(notifications, tell_of_a_feature_action) {
    const auto tells = [&](uint32_t scope, const std::string &name, const std::string &type, const std::string &vsan) {
        const octets event =
            reply_of(101, {{81, 0x01000003}, {85, scope}, {89, 10}, {93, 5}, {97, 9}}, {{0, text(name)}});
        const sub_ids index = name_index(name);
        const std::string row = "." + dotted(index.data(), index.size()) + " = ";
        EXPECT_EQ(send(event, handle_VYNFeatureActionNotif),
                  (lines{"0.1", "2 1.1.1.1.5" + row + "16777219", "2 1.1.1.1.6" + row + type,
                         "4 1.1.1.1.7" + row + vsan, "2 1.1.1.1.8" + row + "5"}));
    };
    tells(0, "ntp", "1", "");
    tells(1, "ntp", "1", "");
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
            EXPECT_EQ(flag, 1);
            EXPECT_EQ(platform.take_log().size(), 1u);
        }
}

} // namespace
