// Whose request is being served, and what else the agent is told of it.
//
// The agent does not tell the module who asks: in a read function it has no current session. The
// handler before the module's own notes the identity for the time of the call, the only time at
// which it is known.
//
// Over AgentX nobody knows the manager: there the user is "agentx". Nor does a refusal in COMMIT
// reach it there: the master takes what COMMIT means for a subagent as done.

#include <cstdlib>
#include <cstring>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "escape.h"
#include "host.h"
#include "snmp_context.h"

namespace vyn_host {
namespace {

char user_buffer[256];
const char *user = ""; // or user_buffer, while a request is served
u32 session;
long transaction; // of the last request; it stays the same through the phases of a SET
uint32_t begun;

void note_user(const void *name, size_t length)
{
    const size_t most = sizeof(user_buffer) - 1;
    length = name == nullptr ? 0 : length < most ? length : most;
    memcpy(user_buffer, length == 0 ? "" : name, length);
    user_buffer[length] = '\0';
    user = user_buffer;
}

} // namespace

void note_identity(const netsnmp_agent_session *asp)
{
    constexpr long agentx = 0xC0; // what all versions of AgentX have in common
    if (asp == nullptr || asp->pdu == nullptr)
        return;
    const netsnmp_pdu &pdu = *asp->pdu;
    if (pdu.transid != transaction)
        begun++;
    transaction = pdu.transid;
    session = asp->session != nullptr ? static_cast<u32>(asp->session->sessid) : 0;
    if ((pdu.version & agentx) == agentx)
        note_user("agentx", strlen("agentx"));
    else if (pdu.version == SNMP_VERSION_3)
        note_user(pdu.securityName, pdu.securityNameLen);
    else
        note_user(pdu.community, pdu.community_len);
}

void forget_identity()
{
    user = "";
    session = 0;
}

uint32_t requests_begun()
{
    return begun;
}

} // namespace vyn_host

VYN_EXPORT const char *get_snmp_username(int)
{
    return vyn_host::user;
}

VYN_EXPORT u32 get_snmp_sessionid(int)
{
    return vyn_host::session;
}

VYN_EXPORT int vacm_is_user_network_admin(void)
{
    static const char separators[] = ", \t";
    const char *admins = getenv("VYN_NETWORK_ADMINS");
    const size_t length = strlen(vyn_host::user);
    if (admins == nullptr || length == 0)
        return 0;
    for (const char *at = admins; *at != '\0';) {
        at += strspn(at, separators);
        const size_t each = strcspn(at, separators);
        if (each == length && memcmp(at, vyn_host::user, length) == 0)
            return 1;
        at += each;
    }
    return 0;
}

VYN_EXPORT void log_set_error(u32 code, int)
{
    char who[vynd::max_escape * sizeof(vyn_host::user_buffer) + 1];
    vynd::escape(who, sizeof(who), vyn_host::user);
    const vyn_host::syserr_entry *error = vyn_host::syserr_find(code);
    snmp_log(LOG_WARNING, "vyn: SET by \"%s\" failed: 0x%08X %s: %s\n", who, code, error->name,
             error->text);
}

VYN_EXPORT netsnmp_variable_list *build_varbind(netsnmp_variable_list *previous, const void *value,
                                                u_char type, size_t length, const oid *name,
                                                size_t name_length)
{
    // The agent's function links behind the end of a list, and widens an int to its own integer.
    return snmp_varlist_add_variable(&previous, name, name_length, type, value, length);
}
