// The user and session of the request that is served, the log of refused SETs, and variables.
//
// The agent does not tell the module who sends a request: a read function has no current session.
// The guard notes the identity for the time of the call, because it is known at no other time.
//
// Over AgentX the manager is not known, so the user is "agentx". A refusal in COMMIT is lost there:
// the master treats the subagent's COMMIT as done.

#include <algorithm>
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

class request_context {
  public:
    void note(const netsnmp_agent_session *asp);
    void forget()
    {
        user_ = "";
        session_ = 0;
    }

    const char *user() const { return user_; }
    u32 session() const { return session_; }
    uint32_t begun() const { return begun_; }

    static constexpr size_t max_user = 255;

  private:
    void note_user(const void *name, size_t length);

    char buffer_[max_user + 1];
    const char *user_ = ""; // or buffer_, while a request is served
    u32 session_ = 0;
    long transaction_ = 0; // of the last request; it is the same in all phases of a SET
    uint32_t begun_ = 0;
} the_context;

void request_context::note_user(const void *name, size_t length)
{
    length = name != nullptr ? std::min(length, max_user) : 0;
    memcpy(buffer_, length == 0 ? "" : name, length);
    buffer_[length] = '\0';
    user_ = buffer_;
}

void request_context::note(const netsnmp_agent_session *asp)
{
    constexpr long agentx = 0xC0; // set in all versions of AgentX
    if (asp == nullptr || asp->pdu == nullptr)
        return;
    const netsnmp_pdu &pdu = *asp->pdu;
    if (pdu.transid != transaction_)
        begun_++;
    transaction_ = pdu.transid;
    session_ = asp->session != nullptr ? static_cast<u32>(asp->session->sessid) : 0;
    if ((pdu.version & agentx) == agentx)
        note_user("agentx", strlen("agentx"));
    else if (pdu.version == SNMP_VERSION_3)
        note_user(pdu.securityName, pdu.securityNameLen);
    else
        note_user(pdu.community, pdu.community_len);
}

} // namespace

void note_identity(const netsnmp_agent_session *asp)
{
    the_context.note(asp);
}

void forget_identity()
{
    the_context.forget();
}

uint32_t requests_begun()
{
    return the_context.begun();
}

} // namespace vyn_host

using namespace vyn_host;

VYN_EXPORT const char *get_snmp_username(int)
{
    return the_context.user();
}

VYN_EXPORT u32 get_snmp_sessionid(int)
{
    return the_context.session();
}

VYN_EXPORT int vacm_is_user_network_admin(void)
{
    static const char separators[] = ", \t";
    const char *admins = getenv("VYN_NETWORK_ADMINS");
    const char *user = the_context.user();
    const size_t length = strlen(user);
    if (admins == nullptr || length == 0)
        return 0;
    for (const char *at = admins; *at != '\0';) {
        at += strspn(at, separators);
        const size_t each = strcspn(at, separators);
        if (each == length && memcmp(at, user, length) == 0)
            return 1;
        at += each;
    }
    return 0;
}

VYN_EXPORT void log_set_error(u32 code, int)
{
    char who[vynd::max_escape * request_context::max_user + 1];
    vynd::escape(who, sizeof(who), the_context.user());
    const syserr_entry *error = syserr_find(code);
    snmp_log(LOG_WARNING, "vyn: SET by \"%s\" failed: 0x%08X %s: %s\n", who, code, error->name,
             error->text);
}

VYN_EXPORT netsnmp_variable_list *build_varbind(netsnmp_variable_list *previous, const void *value,
                                                u_char type, size_t length, const oid *name,
                                                size_t name_length)
{
    // The agent's function appends to a list, and widens an int to its own integer.
    return snmp_varlist_add_variable(&previous, name, name_length, type, value, length);
}
