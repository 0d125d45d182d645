// libvynmib: the module's column identifiers and everything that it exports.
//
// The agent loads the library and calls init_vyn_mib; from then on it calls the read function of an
// object for each GET and GETNEXT, and the write function that the read function chose for each
// phase of a SET. Nothing is kept between calls but what was last read or sent, which values point
// into, and what the phases of one SET leave for one another. The agent calls from one thread;
// nothing is locked.
#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "indxobj.h"
#include "mts.h"
#include "vyn_wire.h"

// The magic number of each object: what a read function switches on. The gaps are the index
// columns, which are not accessible.
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

// The objects, and the root under which they are registered: vynMIB, 1.3.6.1.4.1.57193.12.7.
extern VYN_EXPORT struct variable7 vyn_mib_variables[VYN_MIB_OBJECTS];
extern VYN_EXPORT oid vyn_mib_variables_oid[VYN_MIB_ROOT_LENGTH];

// Rows under creation: regions by their number, assignments of features to regions by the feature's
// name. Null while the module is stopped, and when the container could not be made.
extern VYN_EXPORT indxobj *vyn_regions;
extern VYN_EXPORT indxobj *vyn_app_regions;

// Start: called once after loading. Nothing in it is fatal: what can be served is served.
VYN_EXPORT void init_vyn_mib(void);
// Stop: called once before unloading; init_vyn_mib may follow. Returns what the last
// unsubscription returns.
VYN_EXPORT int deinit_vyn_mib(void);

// Frees the rows of a cache and the cache. Returns the container's result; for a null cache, the
// answer of the debug check of the trace that tells of it.
VYN_EXPORT int vyn_mib_destroy_indxobj(indxobj *cache);
// Frees one row; null is ignored.
VYN_EXPORT void vyn_mib_obj_free(void *row);

// Order of the caches, the key against the row. A region: 1 when the key (a uint32_t of the host)
// is greater, 0, or -1. A feature: -1 when the row's name is longer than the key, 1 when it is
// shorter, otherwise strncmp of the row's name against the key's. The halves look at opposite
// sides; the order is total all the same, and it is the one that the caches are built on.
VYN_EXPORT int vyn_mib_region_compare(const void *row, const void *key);
VYN_EXPORT int vyn_mib_app_region_compare(const void *row, const void *key);

// Chooses the write function of a column whose rows a SET creates, so that it is chosen without a
// row as well. Other columns leave *write_method as it is.
VYN_EXPORT void set_vynWriteMethod(int column, WriteMethod **write_method);

// Read functions: the agent's convention (FindVarMethod). Null: no value.
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

// Write functions: the agent's convention (WriteMethod), once for each phase. An SNMP error code.
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

// Event handlers: an event of the service becomes the variables of a notification.
VYN_EXPORT netsnmp_variable_list *handle_VYNFeatureActionNotif(mts_msg *message,
                                                               oid *notification_oid,
                                                               size_t *notification_oid_length,
                                                               int *flag);
VYN_EXPORT netsnmp_variable_list *handle_VYNNotifications(mts_msg *message, oid *notification_oid,
                                                          size_t *notification_oid_length,
                                                          int *flag);
}
