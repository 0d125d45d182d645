// NORVO-VYN-MIB against the module: what managers are told is what is served and sent, with its
// type and access, and nothing else. The parser is the one that managers have.

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "vyn_mib.h"

// Takes the place of the platform's: here, a message is its own payload.
extern "C" void *mts_payload_get(mts_msg *message) { return message; }

namespace {

// Objects by their OIDs below vynMIB, and notifications by their names.
using properties = std::map<std::string, std::string>;

const tree *node_of(const oid *name, size_t length) { return get_tree(name, length, get_tree_head()); }

int asn_type(const tree *node) { return node->type == TYPE_BITSTRING ? ASN_OCTET_STR : mib_to_asn_type(node->type); }

std::string object(int type, bool writable) { return " type " + std::to_string(type) + (writable ? " rw" : " ro"); }

void read_mib(const tree *node, const std::string &name, properties *found) {
    const bool writable = node->access == MIB_ACCESS_READWRITE || node->access == MIB_ACCESS_CREATE;
    if (writable || node->access == MIB_ACCESS_READONLY) (*found)[name] = object(asn_type(node), writable);
    for (const varbind_list *var = node->varbinds; var != nullptr; var = var->next)
        (*found)[node->label] += std::string(" ") + var->vblabel;
    for (const tree *child = node->child_list; child != nullptr; child = child->next_peer)
        read_mib(child, name + "." + std::to_string(child->subid), found);
}

void send(mts_notification_handler handler, u_char event_type, properties *found) {
    u_char event[512] = {0, 0, 0, event_type};
    oid name[MAX_OID_LEN];
    size_t length = 0;
    int flag;
    netsnmp_variable_list *list = handler(reinterpret_cast<mts_msg *>(event), name, &length, &flag);
    for (const netsnmp_variable_list *var = list; var != nullptr; var = var->next_variable) {
        const tree *node = node_of(var->name, var->name_length);
        (*found)[node_of(name, length)->label] += std::string(" ") + node->label;
        EXPECT_EQ(var->type, asn_type(node)) << node->label;
    }
    snmp_free_varbind(list);
}

TEST(norvo_vyn_mib, is_what_the_module_serves_and_sends) {
    setenv("MIBDIRS", VYN_MIB_DIRS, 1);
    setenv("MIBS", "NORVO-VYN-MIB", 1);
    netsnmp_init_mib();
    properties told, done;
    read_mib(node_of(vyn_mib_variables_oid, VYN_MIB_ROOT_LENGTH), "", &told);
    for (const auto &[magic, type, acl, read, length, name] : vyn_mib_variables) {
        std::string dotted;
        for (size_t i = 0; i < length; i++) dotted += "." + std::to_string(name[i]);
        done[dotted] = object(type, acl == NETSNMP_OLDAPI_RWRITE);
    }
    send(handle_VYNFeatureActionNotif, 0, &done);
    send(handle_VYNNotifications, VYN_NOTIF_MERGE_FAIL, &done);
    send(handle_VYNNotifications, VYN_NOTIF_DISCOVERY_COMPLETE, &done);
    for (const auto &[name, value] : told) EXPECT_EQ(value, done[name]) << name;
    for (const auto &[name, value] : done) EXPECT_EQ(told[name], value) << name;
}

} // namespace
