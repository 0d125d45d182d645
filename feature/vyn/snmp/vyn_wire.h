// The messages between the module and the VYN service: opcodes, operations, query types, records
// and the numbers in them that have a name.
//
// The layouts are fixed, because every record crosses a process boundary. Assertions below each
// record state its size and offsets. Nothing here depends on the SNMP agent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "be32.h"

// Opcodes of the message transport.
enum vyn_opcode : uint32_t {
    MTS_OPC_VYN_MGMT_REQ = 8463,   // distribution status, changes of its control, reads of regions
    MTS_OPC_VYN_SNMP_QUERY = 8469, // discovery, peers, lock owners, reads of distribution control
    MTS_OPC_VYN_FEATURE_ACTION = 8470, // event: a feature action has ended
    MTS_OPC_VYN_MERGE_QUERY = 8474,    // merge state and the resolution of a failed merge
    MTS_OPC_VYN_NOTIFICATION = 8475,   // event: a merge has failed, a discovery has ended
    MTS_OPC_VYN_CONFIG_REQ = 8477,     // changes of the configuration, static peers
};

// The operation of a request.
enum vyn_msg_type : uint32_t {
    VYN_MSG_GET = 1,
    VYN_MSG_GETNEXT = 2,
    VYN_MSG_SET = 3,
};

// Word 0 of every request and reply.
enum vyn_query_type : uint32_t {
    VYN_SNMP_APP_LOCK_STATE = 6,
    VYN_SNMP_MERGE_ENTRY = 14,
    VYN_SNMP_START_DISCOVERY = 24,
    VYN_SNMP_GET_DISC_STATUS = 25,
    VYN_SNMP_PHY_DISC_PEER = 26,
    VYN_SNMP_APP_PEER = 28,
    VYN_SNMP_MERGE_MEMBER = 29,
    VYN_SNMP_GET_DIST_STATUS = 30,
    VYN_SNMP_SET_DIST = 31,
    VYN_SNMP_IP_DIST_ENABLE = 35,
    VYN_SNMP_DIST_CTRL_ADDR = 37,
    VYN_SNMP_DIST_CTRL_ENTRY = 40,
    VYN_SNMP_MERGE_FAIL_RESOLVE = 58,
    VYN_SNMP_REGION = 59,
    VYN_SNMP_FEATURE_REGION = 60,
    VYN_SNMP_STATIC_PEER = 66,
};

// The maximum length of a feature's name: in the registry, and in a message.
inline constexpr size_t VYN_MAX_FEATURE_NAME = 82;
inline constexpr size_t VYN_MAX_APP_NAME = 80;

inline constexpr uint32_t VYN_MIN_VSAN = 1;
inline constexpr uint32_t VYN_MAX_VSAN = 4093;

// The status of the discovery; the service may send others.
enum vyn_disc_status : uint8_t {
    VYN_DISC_IDLE = 1,
    VYN_DISC_RUNNING = 2,
    VYN_DISC_COMPLETED = 3,
    VYN_DISC_FAILED = 4,
};

// The actions on a feature and their results; the service may send others.
enum vyn_feature_action : uint32_t {
    VYN_ACTION_NONE = 1,
    VYN_ACTION_ENABLE = 2,
    VYN_ACTION_DISABLE = 3,
    VYN_ACTION_COMMIT = 4,
    VYN_ACTION_ABORT = 5,
    VYN_ACTION_CLEAR = 6,
};

enum vyn_feature_result : uint32_t {
    VYN_RESULT_NONE = 1,
    VYN_RESULT_SUCCESS = 2,
    VYN_RESULT_FAILED = 3,
    VYN_RESULT_IN_PROGRESS = 4,
    VYN_RESULT_FAILED_PARTLY = 5,
};

// The flags of a feature: the scopes in which it is distributed.
enum vyn_feature_flags : uint32_t {
    VYN_FEATURE_PHYSICAL = 0x2,
    VYN_FEATURE_LOGICAL = 0x4,
};

// The show-configuration option, among the options of a feature.
inline constexpr uint32_t VYN_OPTION_SHOW_CFG = 7;

// System error codes. A merge that failed with the code N of its reply has VYN_ERR_MERGE + N.
enum vyn_syserr : uint32_t {
    VYN_ERR_UNKNOWN_REQUEST = 0x40B30002,    // no such opcode or query type
    VYN_ERR_BAD_REQUEST = 0x40B30003,        // its operation, size or a value does not fit
    VYN_ERR_NO_SUCH_FEATURE = 0x40B30004,    // it names a feature that is not registered
    VYN_ERR_NO_MORE_ENTRIES = 0x40B3001C,    // a GETNEXT has reached the end
    VYN_ERR_ACTION_UNSUPPORTED = 0x40B30035, // the feature has no such action in its scope
    VYN_ERR_ACTION_IN_PROGRESS = 0x40B3003A, // the feature's last action has not ended
    VYN_ERR_DISCOVERY_RUNNING = 0x40B30042,  // only one discovery may run
    VYN_ERR_NO_SUCH_PEER = 0x40B30043,       // a static peer to remove does not exist
    VYN_ERR_PEER_EXISTS = 0x40B30044,        // a static peer to add exists already
    VYN_ERR_NO_FAILED_MERGE = 0x40B30045,    // there is none to resolve in that scope
    VYN_ERR_NO_PEER_ANSWERED = 0x40B30050,   // a discovery has found nothing
    VYN_ERR_FABRIC_BUSY = 0x40B30051,        // the fabric is being reconfigured
    VYN_ERR_NO_SUCH_REGION = 0x40B30060,     // a region to remove or to assign to does not exist
    VYN_ERR_NO_FEATURE_REGION = 0x40B30061,  // the feature is assigned to no region
    VYN_ERR_REGION_EXISTS = 0x40B30062,      // a region to add exists already
    VYN_ERR_REGION_IN_USE = 0x40B30063,      // features are assigned to a region to remove
    VYN_ERR_PEER_NOT_IPV4 = 0x40B30070,      // a static peer must have an IPv4 address
    VYN_ERR_NPV_DISABLED = 0x40B30071,       // static peers need NPV mode
    VYN_ERR_BOTH_IP_FAMILIES = 0x40B30074,   // only one IP family may be enabled
    VYN_ERR_MERGE = 0x40B40000,
    VYN_MERGE_CONFIG_DIFFERS = VYN_ERR_MERGE + 1,
    VYN_MERGE_LOCKED = VYN_ERR_MERGE + 2,
    VYN_MERGE_VERSION = VYN_ERR_MERGE + 3,
    VYN_MERGE_TIMED_OUT = VYN_ERR_MERGE + 4,
};

// Scope in the records of merges, locks and regions. In OID indexes 1 is physical and 2 logical.
enum vyn_service_scope : uint32_t {
    VYN_SERVICE_NO_SCOPE = 0, // not given
    VYN_SERVICE_LOGICAL = 1,
    VYN_SERVICE_PHYSICAL = 2,
};

// Scope in OID indexes, in the feature library and in vyn_app_peer.
enum vyn_scope_type : uint32_t {
    VYN_SCOPE_NONE = 0, // not given
    VYN_SCOPE_PHYSICAL = 1,
    VYN_SCOPE_LOGICAL = 2,
};

// Address types. Every type but the first two is a text; in an index a text has VYN_ADDR_TEXT.
enum vyn_addr_type : uint32_t {
    VYN_ADDR_IPV4 = 1,
    VYN_ADDR_IPV6 = 2,
    VYN_ADDR_TEXT = 16,
};

// A feature in a message.
struct vyn_app_descriptor {
    char name[VYN_MAX_APP_NAME + 1];
    uint8_t rest[3];
};
static_assert(sizeof(vyn_app_descriptor) == 84 && std::is_trivially_copyable_v<vyn_app_descriptor>);

// The key of a lock query, at offset 8 of the request.
struct vyn_lock_key {
    be32 zero;
    vyn_app_descriptor local_app;
    be32 scope; // vyn_service_scope
    be32 min_vsan;
    uint8_t rest[260];
};
static_assert(sizeof(vyn_lock_key) == 356 && offsetof(vyn_lock_key, local_app) == 4 &&
              offsetof(vyn_lock_key, scope) == 88 && offsetof(vyn_lock_key, min_vsan) == 92);
static_assert(std::is_trivially_copyable_v<vyn_lock_key>);

// A peer: a switch that distributes one feature in one scope, or that a discovery has found.
struct vyn_app_peer {
    vyn_app_descriptor local_app; // no name in a peer that a discovery has found
    be32 scope;                   // vyn_scope_type
    be32 vsan;                    // in logical scope
    be32 addr_type;               // vyn_addr_type
    char addr[256];               // 4 octets, 16 octets or a text
};
static_assert(sizeof(vyn_app_peer) == 352 && offsetof(vyn_app_peer, scope) == 84 &&
              offsetof(vyn_app_peer, vsan) == 88 && offsetof(vyn_app_peer, addr_type) == 92 &&
              offsetof(vyn_app_peer, addr) == 96);
static_assert(std::is_trivially_copyable_v<vyn_app_peer>);

// A peer as the key of a query, at offset 8 of the request.
struct vyn_peer_key {
    be32 zero;
    vyn_app_peer peer;
};
static_assert(sizeof(vyn_peer_key) == 356 && offsetof(vyn_peer_key, peer) == 4);
static_assert(std::is_trivially_copyable_v<vyn_peer_key>);

// The key of a merge query and of the resolution of a failed merge, at offset 8 of the request.
struct vyn_merge_key {
    be32 zero;
    char app_name[VYN_MAX_APP_NAME + 1];
    uint8_t app_rest[3];
    be32 vsan;
    be32 query_mark; // VYN_MERGE_QUERY_MARK in a query
    be32 scope;      // vyn_service_scope
    uint8_t rest[256];
};
static_assert(sizeof(vyn_merge_key) == 356 && offsetof(vyn_merge_key, app_name) == 4 &&
              offsetof(vyn_merge_key, vsan) == 88 && offsetof(vyn_merge_key, query_mark) == 92 &&
              offsetof(vyn_merge_key, scope) == 96);
static_assert(std::is_trivially_copyable_v<vyn_merge_key>);
inline constexpr uint32_t VYN_MERGE_QUERY_MARK = 4096; // fixed by the service

// A static peer: the key of a query, or a change.
struct vyn_static_peer {
    be32 op; // vyn_change_op in a change, 0 in a query
    be32 addr_type;
    char addr[256];
};
static_assert(sizeof(vyn_static_peer) == 264 && offsetof(vyn_static_peer, addr_type) == 4 &&
              offsetof(vyn_static_peer, addr) == 8);
static_assert(std::is_trivially_copyable_v<vyn_static_peer>);

// The operation of a change.
enum vyn_change_op : uint32_t {
    VYN_OP_ADD = 0,
    VYN_OP_REMOVE = 1,
};

// A region: a row under creation, or the key or change of a request.
struct vyn_region_rec {
    be32 op; // vyn_change_op in a change, 0 in a query
    be32 region_id;
    be32 scope; // vyn_service_scope
    be32 vsan;
    uint8_t zero[92];
};
static_assert(sizeof(vyn_region_rec) == 108 && offsetof(vyn_region_rec, region_id) == 4 &&
              offsetof(vyn_region_rec, scope) == 8 && offsetof(vyn_region_rec, vsan) == 12);
static_assert(std::is_trivially_copyable_v<vyn_region_rec>);

// An assignment of a feature to a region: a row under creation, or the key or change of a request.
struct vyn_feature_region_rec {
    be32 op; // vyn_change_op in a change (VYN_OP_ADD also changes the region), 0 in a query
    be32 region_id;
    be32 scope; // vyn_service_scope
    be32 vsan;
    be32 zero;
    char app_name[VYN_MAX_APP_NAME + 1];
    uint8_t pad[3];
    be32 create_mark; // 4 if a createAndGo of this SET has added the row, else 0
};
static_assert(sizeof(vyn_feature_region_rec) == 108 &&
              offsetof(vyn_feature_region_rec, region_id) == 4 &&
              offsetof(vyn_feature_region_rec, scope) == 8 &&
              offsetof(vyn_feature_region_rec, vsan) == 12 &&
              offsetof(vyn_feature_region_rec, app_name) == 20 &&
              offsetof(vyn_feature_region_rec, create_mark) == 104);
static_assert(std::is_trivially_copyable_v<vyn_feature_region_rec>);

// The state of distribution over one IP family, or a change of its multicast address.
struct vyn_dist_ctrl_entry {
    be32 addr_type;    // VYN_ADDR_IPV4 or VYN_ADDR_IPV6
    uint8_t addr[256]; // the multicast address: 4 or 16 octets
    be32 enabled;      // 0: disabled
};
static_assert(sizeof(vyn_dist_ctrl_entry) == 264 && offsetof(vyn_dist_ctrl_entry, addr) == 4 &&
              offsetof(vyn_dist_ctrl_entry, enabled) == 260);
static_assert(std::is_trivially_copyable_v<vyn_dist_ctrl_entry>);

// A change that enables or disables distribution over one IP family.
struct vyn_ip_dist_enable {
    be32 enable;    // 1 enables, 0 disables
    be32 addr_type; // VYN_ADDR_IPV4 or VYN_ADDR_IPV6
};
static_assert(sizeof(vyn_ip_dist_enable) == 8 && std::is_trivially_copyable_v<vyn_ip_dist_enable>);

// A request. Bytes that the query type does not use are zero.
struct vyn_snmp_req {
    be32 query_type;
    be32 argument; // always 1
    union {
        uint8_t bytes[356];
        vyn_lock_key req_app_lock_state;       // VYN_SNMP_APP_LOCK_STATE
        vyn_merge_key req_merge;               // VYN_SNMP_MERGE_ENTRY, VYN_SNMP_MERGE_FAIL_RESOLVE
        vyn_peer_key req_phy_disc_peer;        // VYN_SNMP_PHY_DISC_PEER
        vyn_peer_key req_app_peer;             // VYN_SNMP_APP_PEER
        vyn_peer_key req_merge_member;         // VYN_SNMP_MERGE_MEMBER
        vyn_static_peer static_peer;           // VYN_SNMP_STATIC_PEER
        vyn_region_rec region;                 // VYN_SNMP_REGION
        vyn_feature_region_rec feature_region; // VYN_SNMP_FEATURE_REGION
        be32 dist_ctrl_key;                    // VYN_SNMP_DIST_CTRL_ENTRY: an address type, or 0
        vyn_ip_dist_enable ip_dist_enable;     // VYN_SNMP_IP_DIST_ENABLE
        vyn_dist_ctrl_entry dist_ctrl;         // VYN_SNMP_DIST_CTRL_ADDR
        be32 dist_disable;                     // VYN_SNMP_SET_DIST: 1 disables, 0 enables
    } request;
};
static_assert(sizeof(vyn_snmp_req) == 364 && offsetof(vyn_snmp_req, argument) == 4 &&
              offsetof(vyn_snmp_req, request) == 8);
static_assert(std::is_trivially_copyable_v<vyn_snmp_req>);

// The member of a reply to VYN_SNMP_GET_DISC_STATUS, and of the event that ends a discovery.
struct vyn_resp_disc_status {
    uint8_t disc_status;
    uint8_t pad[3];
    be32 failure_reason; // a system error code
};
static_assert(sizeof(vyn_resp_disc_status) == 8 &&
              offsetof(vyn_resp_disc_status, failure_reason) == 4);
static_assert(std::is_trivially_copyable_v<vyn_resp_disc_status>);

// The member of a reply to VYN_SNMP_GET_DIST_STATUS.
struct vyn_resp_dist_status {
    be32 disabled; // 0: distribution is enabled
};
static_assert(sizeof(vyn_resp_dist_status) == 4 &&
              std::is_trivially_copyable_v<vyn_resp_dist_status>);

// The user of a lock: a mark may precede the name. A merge holds its lock under a name of its own.
inline constexpr char VYN_LOCK_USER_MARK = '\xF9';
inline constexpr char VYN_LOCK_MERGE_USER[] = "$VYN$Merge";

// A lock and its owner.
struct vyn_lock_info {
    vyn_app_descriptor app;
    be32 scope; // vyn_service_scope
    be32 vsan;
    uint8_t taken; // 0: free
    uint8_t pad[15];
    be32 ip_address;
    be32 addr_type;
    char addr[256];
    char user_name[128];
};

// The member of a reply to VYN_SNMP_APP_LOCK_STATE.
struct vyn_resp_lock_state {
    be32 header;
    uint8_t pad[4];
    vyn_lock_info lock_info[1];
};
static_assert(sizeof(vyn_resp_lock_state) == 508 && offsetof(vyn_resp_lock_state, lock_info) == 8 &&
              offsetof(vyn_lock_info, scope) == 84 && offsetof(vyn_lock_info, vsan) == 88 &&
              offsetof(vyn_lock_info, taken) == 92 && offsetof(vyn_lock_info, ip_address) == 108 &&
              offsetof(vyn_lock_info, addr_type) == 112 && offsetof(vyn_lock_info, addr) == 116 &&
              offsetof(vyn_lock_info, user_name) == 372);
static_assert(std::is_trivially_copyable_v<vyn_resp_lock_state>);

// The member of a reply to VYN_SNMP_PHY_DISC_PEER and VYN_SNMP_APP_PEER.
struct vyn_resp_peer {
    be32 header;
    vyn_app_peer peer;
};
static_assert(sizeof(vyn_resp_peer) == 356 && offsetof(vyn_resp_peer, peer) == 4);
static_assert(std::is_trivially_copyable_v<vyn_resp_peer>);

// The member of a reply to VYN_SNMP_MERGE_MEMBER. The service defines the attributes.
struct vyn_resp_merge_member {
    be32 header;
    vyn_app_peer member;
    uint8_t attr1;
    uint8_t attr2;
    uint8_t pad[2];
};
static_assert(sizeof(vyn_resp_merge_member) == 360 &&
              offsetof(vyn_resp_merge_member, member) == 4 &&
              offsetof(vyn_resp_merge_member, attr1) == 356 &&
              offsetof(vyn_resp_merge_member, attr2) == 357);
static_assert(std::is_trivially_copyable_v<vyn_resp_merge_member>);

// The member of a reply to VYN_SNMP_MERGE_ENTRY.
struct vyn_resp_merge {
    uint8_t pad1[2];
    uint8_t failure_code[2]; // most significant byte first; see vyn_mr_status2syserr
    char app_name[VYN_MAX_APP_NAME + 1];
    uint8_t pad2[3];
    be32 entries; // 0: there is no such row
    be32 status;
    be32 scope; // vyn_service_scope
    be32 vsan;
    uint8_t pad3[28];
    uint8_t failed; // 0: the merge has not failed and there is no failure code
};
static_assert(sizeof(vyn_resp_merge) == 133 && offsetof(vyn_resp_merge, failure_code) == 2 &&
              offsetof(vyn_resp_merge, app_name) == 4 && offsetof(vyn_resp_merge, entries) == 88 &&
              offsetof(vyn_resp_merge, status) == 92 && offsetof(vyn_resp_merge, scope) == 96 &&
              offsetof(vyn_resp_merge, vsan) == 100 && offsetof(vyn_resp_merge, failed) == 132);
static_assert(std::is_trivially_copyable_v<vyn_resp_merge>);

// The member of a reply to a query of VYN_SNMP_STATIC_PEER.
struct vyn_resp_static_peer {
    be32 addr_type;
    char addr[256];
    uint8_t pad1[8];
    be32 status; // defined by the service
    uint8_t pad2[4];
};
static_assert(sizeof(vyn_resp_static_peer) == 276 && offsetof(vyn_resp_static_peer, addr) == 4 &&
              offsetof(vyn_resp_static_peer, status) == 268);
static_assert(std::is_trivially_copyable_v<vyn_resp_static_peer>);

// The member of a reply to a query of VYN_SNMP_REGION.
struct vyn_resp_region {
    be32 region_id;
    be32 scope; // vyn_service_scope
    be32 vsan;
};
static_assert(sizeof(vyn_resp_region) == 12 && std::is_trivially_copyable_v<vyn_resp_region>);

// The member of a reply to a query of VYN_SNMP_FEATURE_REGION.
struct vyn_resp_feature_region {
    be32 region_id;
    be32 scope; // vyn_service_scope
    be32 vsan;
    char app_name[VYN_MAX_APP_NAME + 1];
    uint8_t pad[11];
};
static_assert(sizeof(vyn_resp_feature_region) == 104 &&
              offsetof(vyn_resp_feature_region, scope) == 4 &&
              offsetof(vyn_resp_feature_region, vsan) == 8 &&
              offsetof(vyn_resp_feature_region, app_name) == 12);
static_assert(std::is_trivially_copyable_v<vyn_resp_feature_region>);

// A reply. It may be shorter than the record; missing bytes read as zero.
struct vyn_snmp_resp {
    be32 query_type;
    union {
        uint8_t bytes[508];
        vyn_resp_disc_status resp_phy_disc_status;   // VYN_SNMP_GET_DISC_STATUS
        vyn_resp_dist_status resp_dist_status;       // VYN_SNMP_GET_DIST_STATUS
        vyn_resp_lock_state resp_app_lock_state;     // VYN_SNMP_APP_LOCK_STATE
        vyn_resp_peer resp_phy_disc_peer;            // VYN_SNMP_PHY_DISC_PEER
        vyn_resp_peer resp_app_peer;                 // VYN_SNMP_APP_PEER
        vyn_resp_merge_member resp_merge_member;     // VYN_SNMP_MERGE_MEMBER
        vyn_resp_merge resp_merge;                   // VYN_SNMP_MERGE_ENTRY
        vyn_resp_static_peer resp_static_peer;       // VYN_SNMP_STATIC_PEER
        vyn_resp_region resp_region;                 // VYN_SNMP_REGION
        vyn_resp_feature_region resp_feature_region; // VYN_SNMP_FEATURE_REGION
        vyn_dist_ctrl_entry resp_dist_ctrl;          // VYN_SNMP_DIST_CTRL_ENTRY
    };
};
static_assert(sizeof(vyn_snmp_resp) == 512 && offsetof(vyn_snmp_resp, bytes) == 4);
static_assert(std::is_trivially_copyable_v<vyn_snmp_resp>);

// The state of a feature in one scope, in a call of the client library. On entry, scope and VSAN
// are the key; scope 0 requests the feature's last action in any scope.
struct vyn_feature_state {
    be32 unused[3];
    be32 last_action;
    be32 scope; // vyn_scope_type
    be32 vsan;
    be32 result;
    be32 error_code; // a system error code
    be32 seconds;    // time of the last action, since 1970
    be32 microseconds;
    be32 show_cfg_option;
};
static_assert(sizeof(vyn_feature_state) == 44 && offsetof(vyn_feature_state, last_action) == 12 &&
              offsetof(vyn_feature_state, scope) == 16 && offsetof(vyn_feature_state, vsan) == 20 &&
              offsetof(vyn_feature_state, result) == 24 &&
              offsetof(vyn_feature_state, error_code) == 28 &&
              offsetof(vyn_feature_state, seconds) == 32 &&
              offsetof(vyn_feature_state, microseconds) == 36 &&
              offsetof(vyn_feature_state, show_cfg_option) == 40);
static_assert(std::is_trivially_copyable_v<vyn_feature_state>);

// The type of the event MTS_OPC_VYN_NOTIFICATION: its first word. The type's record follows.
enum vyn_notification_type : uint32_t {
    VYN_NOTIF_MERGE_FAIL = 22,
    VYN_NOTIF_DISCOVERY_COMPLETE = 27,
};

struct vyn_merge_fail_notif {
    char feature_name[VYN_MAX_APP_NAME + 1];
    uint8_t pad[3];
    be32 scope; // vyn_service_scope
    be32 vsan;
    char failure_text[256];
};
static_assert(sizeof(vyn_merge_fail_notif) == 348 && offsetof(vyn_merge_fail_notif, scope) == 84 &&
              offsetof(vyn_merge_fail_notif, failure_text) == 92);
static_assert(std::is_trivially_copyable_v<vyn_merge_fail_notif>);

inline constexpr size_t VYN_NOTIF_VAL = 4; // offset of the type's record

// The event MTS_OPC_VYN_FEATURE_ACTION.
struct vyn_feature_action_notif {
    char feature_name[VYN_MAX_APP_NAME + 1];
    be32 last_action;
    be32 scope_type; // vyn_scope_type; 0 means physical
    be32 scope_value;
    be32 result;
    be32 fifth;
};
static_assert(sizeof(vyn_feature_action_notif) == 101 &&
              offsetof(vyn_feature_action_notif, last_action) == 81 &&
              offsetof(vyn_feature_action_notif, fifth) == 97);
static_assert(std::is_trivially_copyable_v<vyn_feature_action_notif>);
