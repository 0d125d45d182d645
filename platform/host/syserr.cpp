// System errors: code, name and text in one table.
//
// 0x40B3.... are the VYN service's, 0x40B4.... its reasons for a failed merge, 0x4103.... those of
// the transport here. The texts reach managers, as the reason of a failure.

#include "syserr.h"

#include <cstdio>

#include "host.h"
#include "vyn_wire.h"

namespace vyn_host {
namespace {

constexpr syserr_entry entries[] = {
    {0, "SUCCESS", "Success"},

    {0x40B30002, "VYN_ERR_UNKNOWN_REQUEST", "The service does not know the request"},
    {0x40B30003, "VYN_ERR_BAD_REQUEST", "The request is malformed"},
    {0x40B30004, "VYN_ERR_NO_SUCH_FEATURE", "The service does not know the feature"},
    {VYN_ERR_NO_MORE_ENTRIES, "VYN_ERR_NO_MORE_ENTRIES", "No more entries"},
    {VYN_ERR_ACTION_UNSUPPORTED, "VYN_ERR_ACTION_UNSUPPORTED",
     "The feature does not support the action in this scope"},
    {VYN_ERR_ACTION_IN_PROGRESS, "VYN_ERR_ACTION_IN_PROGRESS",
     "An action is in progress for the feature"},
    {0x40B30042, "VYN_ERR_DISCOVERY_RUNNING", "A discovery is already running"},
    {0x40B30043, "VYN_ERR_NO_SUCH_PEER", "There is no such static peer"},
    {0x40B30044, "VYN_ERR_PEER_EXISTS", "The static peer exists already"},
    {0x40B30045, "VYN_ERR_NO_FAILED_MERGE", "No failed merge is there to be resolved"},
    {0x40B30050, "VYN_ERR_NO_PEER_ANSWERED", "No peer has answered the discovery"},
    {0x40B30051, "VYN_ERR_FABRIC_BUSY", "The fabric is being reconfigured"},
    {0x40B30060, "VYN_ERR_NO_SUCH_REGION", "There is no such region"},
    {VYN_ERR_NO_FEATURE_REGION, "VYN_ERR_NO_FEATURE_REGION",
     "The feature is not assigned to a region"},
    {0x40B30062, "VYN_ERR_REGION_EXISTS", "The region exists already"},
    {0x40B30063, "VYN_ERR_REGION_IN_USE", "Features are assigned to the region"},
    {VYN_ERR_PEER_NOT_IPV4, "VYN_ERR_PEER_NOT_IPV4", "A static peer needs an IPv4 address"},
    {VYN_ERR_NPV_DISABLED, "VYN_ERR_NPV_DISABLED", "Static peers need NPV mode"},
    {VYN_ERR_BOTH_IP_FAMILIES, "VYN_ERR_BOTH_IP_FAMILIES",
     "Distribution over IPv4 and IPv6 cannot be enabled at the same time"},

    {0x40B40001, "VYN_MERGE_CONFIG_DIFFERS", "The configurations of the fabrics differ"},
    {0x40B40002, "VYN_MERGE_LOCKED", "The feature is locked in one of the fabrics"},
    {0x40B40003, "VYN_MERGE_VERSION", "The fabrics run versions that cannot be merged"},
    {0x40B40004, "VYN_MERGE_TIMED_OUT", "A member of the merge has not answered"},

    {ERR_NO_CONNECTION, "VYN_ERR_NO_CONNECTION", "The VYN service cannot be reached"},
    {ERR_TIMED_OUT, "VYN_ERR_TIMED_OUT", "The VYN service has not answered in time"},
    {ERR_BAD_REPLY, "VYN_ERR_BAD_REPLY", "The reply of the VYN service cannot be used"},
    {ERR_BAD_CALL, "VYN_ERR_BAD_CALL", "The request cannot be sent"},
    {ERR_CONNECTION_LOST, "VYN_ERR_CONNECTION_LOST",
     "The connection to the VYN service was lost before it answered"},
    {ERR_BUDGET_USED_UP, "VYN_ERR_BUDGET_USED_UP",
     "Not sent: the VYN service is too slow for this SNMP request"},
    {ERR_CUT_SHORT, "VYN_ERR_CUT_SHORT",
     "The VYN service has not answered in the time of this SNMP request"},
};

} // namespace

const syserr_entry *syserr_find(uint32_t code)
{
    for (const syserr_entry &entry : entries)
        if (entry.code == code)
            return &entry;
    static char text[sizeof("Unknown error 0x00000000")];
    snprintf(text, sizeof(text), "Unknown error 0x%08X", code);
    static syserr_entry unknown = {0, "UNKNOWN", text};
    return &unknown;
}

} // namespace vyn_host

VYN_EXPORT const char *syserr2str(u32 code)
{
    return vyn_host::syserr_find(code)->text;
}

VYN_EXPORT const char *syserr_format(u32 code)
{
    return vyn_host::syserr_find(code)->text;
}
