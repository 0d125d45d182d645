// libvynmib: the column identifiers, and everything that the module exports.
//
// The agent loads the library and calls init_vyn_mib. Then it calls the read function of an object
// for each GET and GETNEXT. For each phase of a SET it calls the write function that the read
// function chose. Between calls the module keeps the last row or event, which values point into,
// and the data that the phases of one SET share. All calls come from one thread, so nothing is
// locked.
#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "indxobj.h"
#include "mts.h"
#include "vyn_wire.h"

// The magic number of each object, which selects the value in a read function. Gaps in
// the numbers are tables, entries and index columns, which are not accessible.
enum vyn_column : uint8_t {
    VYNFEATUREOPACTION = 4,
    VYNFEATUREOPSCOPETYPE = 5,
    VYNFEATUREOPSCOPEVAL = 6,
    VYNFEATUREOPLASTACTION = 7,
    VYNFEATUREOPLASTSCOPETYPE = 8,
    VYNFEATUREOPLASTSCOPEVAL = 9,
    VYNFEATUREOPLASTACTIONRESULT = 10,
    VYNFEATUREOPLASTFAILUREREASON = 11,
    VYNFEATUREOPSHOWCFGOPTION = 12,
    VYNFEATUREOPENTRYATTR = 13,
    VYNFEATUREOPFLAGS = 14,

    VYNPENDINGCONFOWNERADDRTYPE = 19,
    VYNPENDINGCONFOWNERADDR = 20,
    VYNPENDINGCONFOWNERUSERTYPE = 21,
    VYNPENDINGCONFOWNERUSERNAME = 22,

    VYNMERGESTATUS = 27,
    VYNMERGEFAILREASON = 28,
    VYNMERGEFAILRESOLVACTION = 29,

    VYNMERGEMEMBERATTR1 = 34,
    VYNMERGEMEMBERATTR2 = 35,

    VYNPEERSADDR = 39,

    VYNFEATUREPEERSADDR = 45,

    VYNFEATUREOPEXTSTATUS = 50,
    VYNFEATUREOPEXTRESULT = 51,
    VYNFEATUREOPEXTFAILUREREASON = 52,
    VYNFEATUREOPEXTSHOWCFGOPTION = 53,
    VYNFEATUREOPEXTTIMESTAMP = 54,

    VYNREGIONSTORAGE = 60,
    VYNREGIONSTATUS = 61,

    VYNFEATUREREGIONID = 67,
    VYNFEATUREREGIONSTORAGE = 68,
    VYNFEATUREREGIONSTATUS = 69,

    VYNSTATPEERSTATUS = 74,
    VYNSTATPEERADDRSTORAGETYPE = 75,
    VYNSTATPEERADDRROWSTATUS = 76,

    VYNSTARTPEERSDISCOVERY = 77,
    VYNPEERSDISCOVERYSTATUS = 78,
    VYNPEERSDISCOVERYFAILUREREASON = 79,
    VYNDISTENABLE = 80,

    VYNDISTCTRLADDR = 84,
    VYNDISTCTRLACTION = 85,
};

inline constexpr size_t VYN_MIB_OBJECTS = 41;
inline constexpr size_t VYN_MIB_ROOT_LENGTH = 9;

#define VYN_EXPORT __attribute__((visibility("default")))

extern "C" {

// The objects, and the root of their OIDs: vynMIB, 1.3.6.1.4.1.57193.12.7.
extern VYN_EXPORT struct variable7 vyn_mib_variables[VYN_MIB_OBJECTS];
extern VYN_EXPORT oid vyn_mib_variables_oid[VYN_MIB_ROOT_LENGTH];

// Caches of rows under creation: regions by number, assignments by the feature's name. Null while
// the module is stopped, and if the container could not be created.
extern VYN_EXPORT indxobj *vyn_regions;
extern VYN_EXPORT indxobj *vyn_app_regions;

// Starts the module. The agent calls it once after loading. Continues after every failure.
VYN_EXPORT void init_vyn_mib(void);
// Stops the module. The agent calls it once before unloading; init_vyn_mib may follow. Frees the
// caches before it unregisters the objects. Returns the result of the last unsubscription.
VYN_EXPORT int deinit_vyn_mib(void);

// Frees a cache and its rows. Returns the container's result. Traces a null cache and returns the
// result of that trace.
VYN_EXPORT int vyn_mib_destroy_indxobj(indxobj *cache);
// Frees one row. Ignores null.
VYN_EXPORT void vyn_mib_obj_free(void *row);

// Compare a key with a row. Return a value > 0 if the key belongs after the row, 0 if they are
// equal, < 0 if it belongs before. Regions: by number; the key is a uint32_t in host order.
// Assignments: by the length of the name, then in reverse order of the names.
VYN_EXPORT int vyn_mib_region_compare(const void *row, const void *key);
VYN_EXPORT int vyn_mib_app_region_compare(const void *row, const void *key);

// Chooses the write function of a column whose rows a SET can create, even if there is no row yet.
// Leaves *write_method unchanged for other columns.
VYN_EXPORT void set_vynWriteMethod(int column, WriteMethod **write_method);

// Read functions, called by the agent's convention (FindVarMethod). Return null for no value.
VYN_EXPORT FindVarMethod get_vynFeatureOpTable;
VYN_EXPORT FindVarMethod get_vynFeatureOpExtTable;
VYN_EXPORT FindVarMethod get_vynPendingConfOwnerTable;
VYN_EXPORT FindVarMethod get_vynMergeTable;
VYN_EXPORT FindVarMethod get_vynMergeMembersTable;
VYN_EXPORT FindVarMethod get_vynPeersTable;
VYN_EXPORT FindVarMethod get_vynFeaturePeersTable;
VYN_EXPORT FindVarMethod get_vynRegionTable;
VYN_EXPORT FindVarMethod get_vynFeatureRegionTable;
VYN_EXPORT FindVarMethod get_vynStatPeersTable;
VYN_EXPORT FindVarMethod get_vynDistCtrlTable;
VYN_EXPORT FindVarMethod get_vyn_mib;

// Write functions, called by the agent's convention (WriteMethod) once for each phase. Return an
// SNMP error.
VYN_EXPORT WriteMethod set_vynFeatureOpAction;
VYN_EXPORT WriteMethod set_vynFeatureOpScopeType;
VYN_EXPORT WriteMethod set_vynFeatureOpScopeVal;
VYN_EXPORT WriteMethod set_vynFeatureOpShowCfgOption;
VYN_EXPORT WriteMethod set_vynFeatureOpExtShowCfgOption;
VYN_EXPORT WriteMethod set_vynMergeFailResolvAction;
VYN_EXPORT WriteMethod set_vynRegionStorage;
VYN_EXPORT WriteMethod set_vynRegionStatus;
VYN_EXPORT WriteMethod set_vynFeatureRegionId;
VYN_EXPORT WriteMethod set_vynFeatureRegionStorage;
VYN_EXPORT WriteMethod set_vynFeatureRegionStatus;
VYN_EXPORT WriteMethod set_vynStatPeerAddrStorageType;
VYN_EXPORT WriteMethod set_vynStatPeerAddrRowStatus;
VYN_EXPORT WriteMethod set_vynStartPeersDiscovery;
VYN_EXPORT WriteMethod set_vynDistCtrl;
VYN_EXPORT WriteMethod set_vynDistCtrlAddr;
VYN_EXPORT WriteMethod set_vynDistCtrlAction;

// Event handlers: return the varbinds of a notification for an event of the service.
VYN_EXPORT netsnmp_variable_list *handle_VYNFeatureActionNotif(mts_msg *message,
                                                               oid *notification_oid,
                                                               size_t *notification_oid_length,
                                                               int *flag);
VYN_EXPORT netsnmp_variable_list *handle_VYNNotifications(mts_msg *message, oid *notification_oid,
                                                          size_t *notification_oid_length,
                                                          int *flag);
}
