// The cases call the module as the agent does: a SET begins with the read that chooses the write function, and goes
// through the four phases of one that succeeds.
//
// Odd on purpose: a SET that makes a row is one of a row that does not exist. The one of an assignment's status leaves
// a row waiting for ever, which the next one finds and uses; so the SET of the region's number is another feature's.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "micro_benchmarks.h"
#include "vyn_mib.h"

namespace {

using sub_ids = std::vector<oid>;
using octets = std::vector<u_char>;

void expect(bool good, const std::string &name, const char *otherwise) {
    if (good) return;
    fprintf(stderr, "%s: %s\n", name.c_str(), otherwise);
    exit(1);
}

// One call of the read function of an object; its value, and what it leaves, for the phases of a SET.
struct reading {
    reading(vyn_column column, const sub_ids &index) {
        const struct variable7 *object = vyn_mib_variables;
        while (object->magic != column) object++;
        vp.magic = object->magic;
        vp.namelen = static_cast<u_char>(VYN_MIB_ROOT_LENGTH + object->namelen);
        memcpy(vp.name, vyn_mib_variables_oid, sizeof(vyn_mib_variables_oid));
        memcpy(vp.name + VYN_MIB_ROOT_LENGTH, object->name, object->namelen * sizeof(oid));
        read = object->findVar;
        asked.assign(vp.name, vp.name + vp.namelen);
        asked.insert(asked.end(), index.begin(), index.end());
    }

    u_char *value(bool exact) {
        length = asked.size();
        std::copy(asked.begin(), asked.end(), name);
        return read(&vp, name, &length, exact ? 1 : 0, &value_length, &write);
    }

    struct variable vp = {};
    FindVarMethod *read;
    sub_ids asked;
    oid name[MAX_OID_LEN];
    size_t length, value_length;
    WriteMethod *write = nullptr;
};

struct read_row {
    const char *name;
    vyn_column column;
    sub_ids index; // of a scalar's GET; its GETNEXT has none
    bool scans = false;
};

bench_case read_case(const read_row &row, bool exact) {
    const std::string name = std::string(exact ? "get " : "getnext ") + row.name;
    const bool bare = row.index == sub_ids{0} && !exact;
    const auto run = [=, object = reading(row.column, bare ? sub_ids{} : row.index)]() mutable {
        settings.rows_exist = true;
        expect(object.value(exact) != nullptr, name, "no value");
    };
    return {name, run, true};
}

struct set_row {
    vyn_column column;
    const char *name;
    sub_ids index;
    u_char type = ASN_INTEGER;
    octets value; // of an integer: one byte, which is the number
    bool of_new_row = false;
};

bench_case set_case(const set_row &row) {
    const std::string name = std::string("set ") + row.name;
    const auto run = [=, object = reading(row.column, row.index)]() mutable {
        long number = row.value[0];
        auto *value =
            row.type == ASN_OCTET_STR ? const_cast<u_char *>(row.value.data()) : reinterpret_cast<u_char *>(&number);
        const size_t length = row.type == ASN_OCTET_STR ? row.value.size() : sizeof(number);
        settings.rows_exist = !row.of_new_row;
        u_char *stored = object.value(true);
        expect(object.write != nullptr, name, "not writable");
        for (int phase : {SNMP_MSG_INTERNAL_SET_RESERVE1, SNMP_MSG_INTERNAL_SET_RESERVE2, SNMP_MSG_INTERNAL_SET_ACTION,
                          SNMP_MSG_INTERNAL_SET_COMMIT})
            expect(object.write(phase, value, row.type, length, stored, object.name, object.length) == 0, name,
                   "refused");
    };
    return {name, run, false};
}

template <typename Record>
bench_case event_case(const char *name, mts_notification_handler handler, octets front, const Record &event) {
    octets payload(512);
    std::copy(front.begin(), front.end(), payload.begin());
    memcpy(payload.data() + front.size(), &event, sizeof(event));
    const auto run = [=]() mutable {
        oid notification[MAX_OID_LEN];
        size_t length = 0;
        int flag = 0;
        auto *varbinds = handler(reinterpret_cast<mts_msg *>(payload.data()), notification, &length, &flag);
        expect(varbinds != nullptr, name, "no notification");
        snmp_free_varbind(varbinds);
    };
    return {name, run, false};
}

sub_ids feature(size_t place, const sub_ids &rest = {}) {
    const std::string name = feature_name(place);
    sub_ids index = {name.size()};
    index.insert(index.end(), name.begin(), name.end());
    index.insert(index.end(), rest.begin(), rest.end());
    return index;
}

std::vector<read_row> reads(size_t features) {
    const sub_ids ipv4 = {1, 4, 10, 1, 2, 2}, peer = feature(1, {1, 0, 1, 4, 10, 1, 2, 2});
    return {
        {"vynFeatureOpTable", VYNFEATUREOPLASTACTION, feature(features / 2), true},
        {"vynPendingConfOwnerTable", VYNPENDINGCONFOWNERADDR, feature(1, {1})},
        {"vynMergeTable", VYNMERGESTATUS, feature(features / 2, {1}), true},
        {"vynMergeMembersTable", VYNMERGEMEMBERATTR1, peer},
        {"vynPeersTable", VYNPEERSADDR, ipv4},
        {"vynFeaturePeersTable", VYNFEATUREPEERSADDR, peer},
        {"vynFeatureOpExtTable", VYNFEATUREOPEXTSTATUS, feature(features / 2, {1, 0}), true},
        {"vynRegionTable", VYNREGIONSTATUS, {1, 6}},
        {"vynFeatureRegionTable", VYNFEATUREREGIONID, feature(1, {1})},
        {"vynStatPeersTable", VYNSTATPEERSTATUS, ipv4},
        {"vynDistCtrlTable", VYNDISTCTRLADDR, {1}},
        {"vynPeersDiscoveryStatus", VYNPEERSDISCOVERYSTATUS, {0}},
        {"vynDistEnable", VYNDISTENABLE, {0}},
    };
}

std::vector<set_row> sets() {
    const sub_ids ipv4 = {1, 4, 10, 1, 2, 2}, own = feature(1), physical = feature(1, {1});
    return {
        {VYNFEATUREOPACTION, "vynFeatureOpAction", own, ASN_INTEGER, {4}},
        {VYNFEATUREOPSCOPETYPE, "vynFeatureOpScopeType", own, ASN_INTEGER, {1}},
        {VYNFEATUREOPSCOPEVAL, "vynFeatureOpScopeVal", own, ASN_OCTET_STR, {0, 0, 0, 10}},
        {VYNFEATUREOPSHOWCFGOPTION, "vynFeatureOpShowCfgOption", own, ASN_INTEGER, {1}},
        {VYNMERGEFAILRESOLVACTION, "vynMergeFailResolvAction", physical, ASN_INTEGER, {2}},
        {VYNFEATUREOPEXTSHOWCFGOPTION, "vynFeatureOpExtShowCfgOption", feature(1, {1, 0}), ASN_INTEGER, {1}},
        {VYNREGIONSTORAGE, "vynRegionStorage", {1, 7}, ASN_INTEGER, {3}},
        {VYNREGIONSTATUS, "vynRegionStatus", {1, 9}, ASN_INTEGER, {4}, true},
        {VYNFEATUREREGIONID, "vynFeatureRegionId", physical, ASN_UNSIGNED, {9}},
        {VYNFEATUREREGIONSTORAGE, "vynFeatureRegionStorage", physical, ASN_INTEGER, {3}},
        {VYNFEATUREREGIONSTATUS, "vynFeatureRegionStatus", feature(2, {1}), ASN_INTEGER, {4}, true},
        {VYNSTATPEERADDRSTORAGETYPE, "vynStatPeerAddrStorageType", ipv4, ASN_INTEGER, {3}},
        {VYNSTATPEERADDRROWSTATUS, "vynStatPeerAddrRowStatus", ipv4, ASN_INTEGER, {4}},
        {VYNSTARTPEERSDISCOVERY, "vynStartPeersDiscovery", {0}, ASN_INTEGER, {1}},
        {VYNDISTENABLE, "vynDistEnable", {0}, ASN_INTEGER, {1}},
        {VYNDISTCTRLADDR, "vynDistCtrlAddr", {1}, ASN_OCTET_STR, {239, 255, 70, 83}},
        {VYNDISTCTRLACTION, "vynDistCtrlAction", {1}, ASN_INTEGER, {1}},
    };
}

} // namespace

std::vector<bench_case> bench_cases(size_t features, bool scans_only) {
    std::vector<bench_case> cases;
    for (const read_row &row : reads(features))
        for (bool exact : {true, false})
            if (row.scans || !scans_only) cases.push_back(read_case(row, exact));
    if (scans_only) return cases;
    for (const set_row &row : sets()) cases.push_back(set_case(row));
    cases.push_back(event_case("event action", handle_VYNFeatureActionNotif, {},
                               vyn_feature_action_notif{"feature-00001", 4, VYN_SCOPE_PHYSICAL, 0, 1, 0}));
    cases.push_back(
        event_case("event merge failure", handle_VYNNotifications, {0, 0, 0, VYN_NOTIF_MERGE_FAIL},
                   vyn_merge_fail_notif{"feature-00001", {}, VYN_SERVICE_PHYSICAL, 0, "the fabrics differ"}));
    cases.push_back(event_case("event discovery", handle_VYNNotifications, {0, 0, 0, VYN_NOTIF_DISCOVERY_COMPLETE},
                               vyn_resp_disc_status{3, {}, 0}));
    return cases;
}
