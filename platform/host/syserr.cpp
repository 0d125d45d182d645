// System errors: code, name and text in one table.
//
// 0x40B3.... are those of the VYN service, 0x40B4.... its reasons for a failed merge, 0x4103....
// those of the transport. Managers read the texts as the reason of a failure.

#include "syserr.h"

#include <cstdio>

#include "host.h"
#include "vyn_wire.h"

namespace vyn_host {
namespace {

#define NAMED(code) (code), #code
constexpr syserr_entry entries[] = {
    {0, "SUCCESS", "Success"},

    {NAMED(VYN_ERR_UNKNOWN_REQUEST), "The service does not know the request"},
    {NAMED(VYN_ERR_BAD_REQUEST), "The request is malformed"},
    {NAMED(VYN_ERR_NO_SUCH_FEATURE), "The service does not know the feature"},
    {NAMED(VYN_ERR_NO_MORE_ENTRIES), "No more entries"},
    {NAMED(VYN_ERR_ACTION_UNSUPPORTED), "The feature does not support the action in this scope"},
    {NAMED(VYN_ERR_ACTION_IN_PROGRESS), "An action is in progress for the feature"},
    {NAMED(VYN_ERR_DISCOVERY_RUNNING), "A discovery is already running"},
    {NAMED(VYN_ERR_NO_SUCH_PEER), "There is no such static peer"},
    {NAMED(VYN_ERR_PEER_EXISTS), "The static peer exists already"},
    {NAMED(VYN_ERR_NO_FAILED_MERGE), "No failed merge is there to be resolved"},
    {NAMED(VYN_ERR_NO_PEER_ANSWERED), "No peer has answered the discovery"},
    {NAMED(VYN_ERR_FABRIC_BUSY), "The fabric is being reconfigured"},
    {NAMED(VYN_ERR_NO_SUCH_REGION), "There is no such region"},
    {NAMED(VYN_ERR_NO_FEATURE_REGION), "The feature is not assigned to a region"},
    {NAMED(VYN_ERR_REGION_EXISTS), "The region exists already"},
    {NAMED(VYN_ERR_REGION_IN_USE), "Features are assigned to the region"},
    {NAMED(VYN_ERR_PEER_NOT_IPV4), "A static peer needs an IPv4 address"},
    {NAMED(VYN_ERR_NPV_DISABLED), "Static peers need NPV mode"},
    {NAMED(VYN_ERR_BOTH_IP_FAMILIES),
     "Distribution over IPv4 and IPv6 cannot be enabled at the same time"},

    {NAMED(VYN_MERGE_CONFIG_DIFFERS), "The configurations of the fabrics differ"},
    {NAMED(VYN_MERGE_LOCKED), "The feature is locked in one of the fabrics"},
    {NAMED(VYN_MERGE_VERSION), "The fabrics run versions that cannot be merged"},
    {NAMED(VYN_MERGE_TIMED_OUT), "A member of the merge has not answered"},

    {NAMED(VYN_ERR_NO_CONNECTION), "The VYN service cannot be reached"},
    {NAMED(VYN_ERR_TIMED_OUT), "The VYN service has not answered in time"},
    {NAMED(VYN_ERR_BAD_REPLY), "The reply of the VYN service cannot be used"},
    {NAMED(VYN_ERR_BAD_CALL), "The request cannot be sent"},
    {NAMED(VYN_ERR_CONNECTION_LOST),
     "The connection to the VYN service was lost before it answered"},
    {NAMED(VYN_ERR_BUDGET_USED_UP), "Not sent: the VYN service is too slow for this SNMP request"},
    {NAMED(VYN_ERR_CUT_SHORT), "The VYN service has not answered in the time of this SNMP request"},
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
