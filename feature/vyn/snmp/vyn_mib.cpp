// The frame of the module: the object table, start and stop, and the caches of rows under creation.
//
// The object table is the map of the module: it has one line for each object that a manager can
// read or set. A failure during the start does not stop it, so that the other objects are served.

#include "vyn_mib.h"

#include <cstdlib>
#include <cstring>

#include "libvyn.h"
#include "vyn_registration.h"
#include "vyn_trace.h"

oid vyn_mib_variables_oid[VYN_MIB_ROOT_LENGTH] = {VYN_MODULE_ROOT};

// The declaration in vyn_mib.h makes the compiler check the number of rows.
// clang-format off
struct variable7 vyn_mib_variables[] = {
    // identifier, type, access, reader, sub-identifiers below the root

    // vynFeatureOpTable: feature
    {VYNFEATUREOPACTION,             ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynFeatureOpTable,        5, {1, 1, 1, 1, 2}},
    {VYNFEATUREOPSCOPETYPE,          ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynFeatureOpTable,        5, {1, 1, 1, 1, 3}},
    {VYNFEATUREOPSCOPEVAL,           ASN_OCTET_STR, NETSNMP_OLDAPI_RWRITE, get_vynFeatureOpTable,        5, {1, 1, 1, 1, 4}},
    {VYNFEATUREOPLASTACTION,         ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpTable,        5, {1, 1, 1, 1, 5}},
    {VYNFEATUREOPLASTSCOPETYPE,      ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpTable,        5, {1, 1, 1, 1, 6}},
    {VYNFEATUREOPLASTSCOPEVAL,       ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpTable,        5, {1, 1, 1, 1, 7}},
    {VYNFEATUREOPLASTACTIONRESULT,   ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpTable,        5, {1, 1, 1, 1, 8}},
    {VYNFEATUREOPLASTFAILUREREASON,  ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpTable,        5, {1, 1, 1, 1, 9}},
    {VYNFEATUREOPSHOWCFGOPTION,      ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynFeatureOpTable,        5, {1, 1, 1, 1, 10}},
    {VYNFEATUREOPENTRYATTR,          ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpTable,        5, {1, 1, 1, 1, 11}},
    {VYNFEATUREOPFLAGS,              ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpTable,        5, {1, 1, 1, 1, 12}},

    // vynPendingConfOwnerTable: feature, scope
    {VYNPENDINGCONFOWNERADDRTYPE,    ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynPendingConfOwnerTable, 5, {1, 1, 2, 1, 3}},
    {VYNPENDINGCONFOWNERADDR,        ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynPendingConfOwnerTable, 5, {1, 1, 2, 1, 4}},
    {VYNPENDINGCONFOWNERUSERTYPE,    ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynPendingConfOwnerTable, 5, {1, 1, 2, 1, 5}},
    {VYNPENDINGCONFOWNERUSERNAME,    ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynPendingConfOwnerTable, 5, {1, 1, 2, 1, 6}},

    // vynMergeTable: feature, scope
    {VYNMERGESTATUS,                 ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynMergeTable,            5, {1, 1, 3, 1, 3}},
    {VYNMERGEFAILREASON,             ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynMergeTable,            5, {1, 1, 3, 1, 4}},
    {VYNMERGEFAILRESOLVACTION,       ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynMergeTable,            5, {1, 1, 3, 1, 5}},

    // vynMergeMembersTable: feature, scope, peer address
    {VYNMERGEMEMBERATTR1,            ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynMergeMembersTable,     5, {1, 1, 4, 1, 3}},
    {VYNMERGEMEMBERATTR2,            ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynMergeMembersTable,     5, {1, 1, 4, 1, 4}},

    // vynPeersTable: peer address
    {VYNPEERSADDR,                   ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynPeersTable,            5, {1, 1, 5, 1, 2}},

    // vynFeaturePeersTable: feature, scope, peer address
    {VYNFEATUREPEERSADDR,            ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynFeaturePeersTable,     5, {1, 1, 6, 1, 4}},

    // vynFeatureOpExtTable: feature, scope
    {VYNFEATUREOPEXTSTATUS,          ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpExtTable,     5, {1, 1, 7, 1, 3}},
    {VYNFEATUREOPEXTRESULT,          ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpExtTable,     5, {1, 1, 7, 1, 4}},
    {VYNFEATUREOPEXTFAILUREREASON,   ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpExtTable,     5, {1, 1, 7, 1, 5}},
    {VYNFEATUREOPEXTSHOWCFGOPTION,   ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynFeatureOpExtTable,     5, {1, 1, 7, 1, 6}},
    {VYNFEATUREOPEXTTIMESTAMP,       ASN_TIMETICKS, NETSNMP_OLDAPI_RONLY,  get_vynFeatureOpExtTable,     5, {1, 1, 7, 1, 7}},

    // vynRegionTable: scope and region
    {VYNREGIONSTORAGE,               ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynRegionTable,           5, {1, 1, 9, 1, 4}},
    {VYNREGIONSTATUS,                ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynRegionTable,           5, {1, 1, 9, 1, 5}},

    // vynFeatureRegionTable: feature, scope
    {VYNFEATUREREGIONID,             ASN_UNSIGNED,  NETSNMP_OLDAPI_RWRITE, get_vynFeatureRegionTable,    5, {1, 1, 10, 1, 4}},
    {VYNFEATUREREGIONSTORAGE,        ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynFeatureRegionTable,    5, {1, 1, 10, 1, 5}},
    {VYNFEATUREREGIONSTATUS,         ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynFeatureRegionTable,    5, {1, 1, 10, 1, 6}},

    // vynStatPeersTable: peer address
    {VYNSTATPEERSTATUS,              ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vynStatPeersTable,        5, {1, 1, 11, 1, 3}},
    {VYNSTATPEERADDRSTORAGETYPE,     ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynStatPeersTable,        5, {1, 1, 11, 1, 4}},
    {VYNSTATPEERADDRROWSTATUS,       ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynStatPeersTable,        5, {1, 1, 11, 1, 5}},

    // scalars
    {VYNSTARTPEERSDISCOVERY,         ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vyn_mib,                  3, {1, 3, 1}},
    {VYNPEERSDISCOVERYSTATUS,        ASN_INTEGER,   NETSNMP_OLDAPI_RONLY,  get_vyn_mib,                  3, {1, 3, 2}},
    {VYNPEERSDISCOVERYFAILUREREASON, ASN_OCTET_STR, NETSNMP_OLDAPI_RONLY,  get_vyn_mib,                  3, {1, 3, 3}},
    {VYNDISTENABLE,                  ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vyn_mib,                  3, {1, 4, 1}},

    // vynDistCtrlTable: address type
    {VYNDISTCTRLADDR,                ASN_OCTET_STR, NETSNMP_OLDAPI_RWRITE, get_vynDistCtrlTable,         5, {1, 4, 2, 1, 2}},
    {VYNDISTCTRLACTION,              ASN_INTEGER,   NETSNMP_OLDAPI_RWRITE, get_vynDistCtrlTable,         5, {1, 4, 2, 1, 3}},
};
// clang-format on

indxobj *vyn_regions;
indxobj *vyn_app_regions;

static void register_objects()
{
    if (register_mib(VYN_MODULE_NAME, reinterpret_cast<struct variable *>(vyn_mib_variables),
                     sizeof(vyn_mib_variables[0]), VYN_MIB_OBJECTS, vyn_mib_variables_oid,
                     VYN_MIB_ROOT_LENGTH) == 0 ||
        !snmp_get_do_debugging())
        return;
    constexpr const char *function = "init_vyn_mib", *file = "feature/vyn/snmp/vyn_mib.cpp";
    constexpr int line = 520; // Quirk: a fixed number, not the line of this source
    debugmsgtoken("trace", "%s(): %s, %d:\n", function, file, line);
    debugmsg("trace", "%s(): %s, %d:\n", function, file, line);
    debugmsgtoken("register_mib", "%s registration failed\n", "vyn_mib");
    debugmsg("register_mib", "%s registration failed\n", "vyn_mib");
}

void init_vyn_mib(void)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying", "init_vyn_mib");
    register_objects();
    if (indxobj_create(&vyn_regions, 0, 1, vyn_mib_region_compare, 1) != INDXOBJ_SUCCESS)
        vyn_trace(VYN_TRACE_FAILURE, "Failed to create vyn_regions index object");
    if (indxobj_create(&vyn_app_regions, 0, 1, vyn_mib_app_region_compare, 1) != INDXOBJ_SUCCESS)
        vyn_trace(VYN_TRACE_FAILURE, "Failed to create vyn_app_regions index object");
    if (query_and_build_vyn_registrations() != 0)
        vyn_trace(VYN_TRACE_FLOW, "%s : call to query_and_build_vyn_registrations failed",
                  "init_vyn_mib");
    register_for_notification(MTS_OPC_VYN_FEATURE_ACTION, handle_VYNFeatureActionNotif);
    register_for_notification(MTS_OPC_VYN_NOTIFICATION, handle_VYNNotifications);
}

int deinit_vyn_mib(void)
{
    vyn_mib_destroy_indxobj(vyn_regions);
    vyn_regions = nullptr;
    vyn_mib_destroy_indxobj(vyn_app_regions);
    vyn_app_regions = nullptr;
    vyn_trace(VYN_TRACE_FLOW, "%s : entrying", "deinit_vyn_mib");
    unregister_mib(vyn_mib_variables_oid, VYN_MIB_ROOT_LENGTH);
    unregister_for_notification(MTS_OPC_VYN_FEATURE_ACTION);
    return unregister_for_notification(MTS_OPC_VYN_NOTIFICATION);
}

void set_vynWriteMethod(int column, WriteMethod **write_method)
{
    switch (column) {
    case VYNREGIONSTORAGE: *write_method = set_vynRegionStorage; break;
    case VYNREGIONSTATUS: *write_method = set_vynRegionStatus; break;
    case VYNFEATUREREGIONID: *write_method = set_vynFeatureRegionId; break;
    case VYNFEATUREREGIONSTORAGE: *write_method = set_vynFeatureRegionStorage; break;
    case VYNFEATUREREGIONSTATUS: *write_method = set_vynFeatureRegionStatus; break;
    case VYNSTATPEERADDRSTORAGETYPE: *write_method = set_vynStatPeerAddrStorageType; break;
    case VYNSTATPEERADDRROWSTATUS: *write_method = set_vynStatPeerAddrRowStatus; break;
    default: break;
    }
}

int vyn_mib_destroy_indxobj(indxobj *cache)
{
    if (cache == nullptr)
        return vyn_trace(VYN_TRACE_FLOW, "%s: obj_p is NULL\n", "vyn_mib_destroy_indxobj");
    indxobj_walk(cache, vyn_mib_obj_free);
    return indxobj_destroy(cache);
}

void vyn_mib_obj_free(void *row)
{
    free(row);
}

int vyn_mib_region_compare(const void *row, const void *key)
{
    const uint32_t region_id = static_cast<const vyn_region_rec *>(row)->region_id;
    const uint32_t key_id = *static_cast<const uint32_t *>(key);
    return key_id > region_id ? 1 : key_id == region_id ? 0 : -1;
}

int vyn_mib_app_region_compare(const void *row, const void *key)
{
    const auto &name = static_cast<const vyn_feature_region_rec *>(row)->app_name;
    const char *key_name = static_cast<const char *>(key);
    const size_t name_length = strnlen(name, sizeof(name));
    const size_t key_length = strlen(key_name);
    if (name_length != key_length)
        return name_length > key_length ? -1 : 1;
    return strncmp(name, key_name, sizeof(name)); // Quirk: names of one length are in reverse order
}
