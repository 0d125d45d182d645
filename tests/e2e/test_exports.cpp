// What the libraries export: their interfaces, and nothing else.

#include "fabric_agent.h"

TEST(exports, are_the_interface) {
    const std::map<std::string, std::string> interfaces = {
        {VYN_MODULE,
         "deinit_vyn_mib get_vynDistCtrlTable get_vynFeatureOpExtTable get_vynFeatureOpTable "
         "get_vynFeaturePeersTable get_vynFeatureRegionTable get_vynMergeMembersTable get_vynMergeTable "
         "get_vynPeersTable get_vynPendingConfOwnerTable get_vynRegionTable get_vynStatPeersTable get_vyn_mib "
         "handle_VYNFeatureActionNotif handle_VYNNotifications init_vyn_mib set_vynDistCtrl set_vynDistCtrlAction "
         "set_vynDistCtrlAddr set_vynFeatureOpAction set_vynFeatureOpExtShowCfgOption set_vynFeatureOpScopeType "
         "set_vynFeatureOpScopeVal set_vynFeatureOpShowCfgOption set_vynFeatureRegionId "
         "set_vynFeatureRegionStatus set_vynFeatureRegionStorage set_vynMergeFailResolvAction set_vynRegionStatus "
         "set_vynRegionStorage set_vynStartPeersDiscovery set_vynStatPeerAddrRowStatus "
         "set_vynStatPeerAddrStorageType set_vynWriteMethod vyn_app_regions vyn_mib_app_region_compare "
         "vyn_mib_destroy_indxobj vyn_mib_obj_free vyn_mib_region_compare vyn_mib_variables vyn_mib_variables_oid "
         "vyn_regions "},
        {VYN_PLATFORM,
         "buginf build_varbind cmi_req_resp get_snmp_sessionid get_snmp_username get_vyn_entry_from_module "
         "indxobj_add indxobj_create indxobj_destroy indxobj_find indxobj_remove indxobj_walk log_set_error "
         "mts_payload_get mts_response_q pss_update_vyn_feature_entry_rt query_and_build_vyn_registrations "
         "register_for_notification sdwrap_chk_int sdwrap_dbg_modname sdwrap_hist_event "
         "sdwrap_hist_event_subtype_check set_vyn_cfg_option_to_module set_vyn_entry_to_module syserr2str "
         "syserr_format unregister_for_notification vacm_is_user_network_admin vyn_getFeatureEntry "
         "vyn_mr_status2syserr vyn_scanFeatureInit vyn_scanFeatureNext "}};
    for (const auto &[library, names] : interfaces)
        EXPECT_EQ(run("nm -D --defined-only -P " + library + " | cut -d' ' -f1 | LC_ALL=C sort | tr '\\n' ' '"), names);
}
