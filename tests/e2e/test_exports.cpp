// What the libraries export: their interfaces, and nothing else.

#include <set>
#include <sstream>

#include "fabric_agent.h"

namespace {

std::set<std::string> exports_of(const std::string &library)
{
    std::istringstream names(run("nm -D --defined-only -P " + library + " | cut -d' ' -f1").text);
    return {std::istream_iterator<std::string>(names), {}};
}

TEST(exports, of_the_module)
{
    EXPECT_EQ(exports_of(VYN_MODULE), (std::set<std::string>{"init_vyn_mib",
                                                             "deinit_vyn_mib",
                                                             "vyn_mib_variables",
                                                             "vyn_mib_variables_oid",
                                                             "vyn_regions",
                                                             "vyn_app_regions",
                                                             "vyn_mib_destroy_indxobj",
                                                             "vyn_mib_obj_free",
                                                             "vyn_mib_region_compare",
                                                             "vyn_mib_app_region_compare",
                                                             "get_vyn_mib",
                                                             "get_vynFeatureOpTable",
                                                             "get_vynFeatureOpExtTable",
                                                             "get_vynPendingConfOwnerTable",
                                                             "set_vynStartPeersDiscovery",
                                                             "set_vynDistCtrl",
                                                             "set_vynFeatureOpAction",
                                                             "set_vynFeatureOpScopeType",
                                                             "set_vynFeatureOpScopeVal",
                                                             "set_vynFeatureOpShowCfgOption",
                                                             "set_vynFeatureOpExtShowCfgOption",
                                                             "handle_VYNFeatureActionNotif",
                                                             "handle_VYNNotifications"}));
}

TEST(exports, of_the_platform)
{
    EXPECT_EQ(exports_of(VYN_PLATFORM), (std::set<std::string>{"cmi_req_resp",
                                                               "mts_response_q",
                                                               "mts_payload_get",
                                                               "register_for_notification",
                                                               "unregister_for_notification",
                                                               "query_and_build_vyn_registrations",
                                                               "vyn_scanFeatureInit",
                                                               "vyn_scanFeatureNext",
                                                               "vyn_getFeatureEntry",
                                                               "get_vyn_entry_from_module",
                                                               "set_vyn_entry_to_module",
                                                               "set_vyn_cfg_option_to_module",
                                                               "pss_update_vyn_feature_entry_rt",
                                                               "vyn_mr_status2syserr",
                                                               "indxobj_create",
                                                               "indxobj_add",
                                                               "indxobj_find",
                                                               "indxobj_remove",
                                                               "indxobj_walk",
                                                               "indxobj_destroy",
                                                               "sdwrap_hist_event_subtype_check",
                                                               "sdwrap_hist_event",
                                                               "sdwrap_chk_int",
                                                               "buginf",
                                                               "sdwrap_dbg_modname",
                                                               "syserr2str",
                                                               "syserr_format",
                                                               "get_snmp_username",
                                                               "get_snmp_sessionid",
                                                               "vacm_is_user_network_admin",
                                                               "log_set_error",
                                                               "build_varbind"}));
}

} // namespace
