// What stands between the agent and the module's functions, in each registration of the module.
//
// It notes whose request is served. The agent passes on no error of COMMIT but commitFailed, and
// others reach the manager as success, so they are replaced.
//
// The module's registrations also end here. It unregisters its root, but the agent keeps one
// registration for each object, and with a root that has none of its own it removes nothing.

#include <cstring>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/agent_callbacks.h>

#include "host.h"

namespace vyn_host {
namespace {

constexpr char module_name[] = "vyn_mib"; // which it registers under
constexpr oid module_root[] = {1, 3, 6, 1, 4, 1, 57193, 12, 7};

// --- The handler ---

int serve(netsnmp_mib_handler *handler, netsnmp_handler_registration *registration,
          netsnmp_agent_request_info *info, netsnmp_request_info *requests)
{
    note_identity(info->asp);
    the_budget.begin(requests_begun());
    const int result = netsnmp_old_api_helper(handler, registration, info, requests);
    if (the_budget.end())
        for (netsnmp_request_info *each = requests; each != nullptr; each = each->next)
            each->status = SNMP_ERR_GENERR;
    forget_identity();
    if (info->mode == MODE_SET_COMMIT)
        for (netsnmp_request_info *each = requests; each != nullptr; each = each->next)
            if (each->status != SNMP_ERR_NOERROR)
                each->status = SNMP_ERR_COMMITFAILED;
    return result;
}

// --- The registrations of the module ---

// Registrations of others below the module's root outlive this library, so they are left alone.
bool is_of_module(const netsnmp_handler_registration *made)
{
    return made != nullptr && made->handlerName != nullptr &&
           strcmp(made->handlerName, module_name) == 0 &&
           made->rootoid_len >= OID_LENGTH(module_root) &&
           netsnmp_oid_is_subtree(module_root, OID_LENGTH(module_root), made->rootoid,
                                  made->rootoid_len) == 0;
}

// Visits the module's registrations until `visit` returns true, and reports whether it did. Another
// registration below a column divides it into several.
template <typename Visit> bool visit_registrations(Visit visit)
{
    for (auto *context = get_top_context_cache(); context != nullptr; context = context->next)
        for (auto *first = context->first_subtree; first != nullptr; first = first->next)
            for (auto *each = first; each != nullptr; each = each->children)
                if (is_of_module(each->reginfo) && visit(*each, context->context_name))
                    return true;
    return false;
}

void guard(const netsnmp_handler_registration &made)
{
    for (netsnmp_mib_handler *each = made.handler; each != nullptr; each = each->next) {
        if (each->access_method == serve)
            return;
        if (each->access_method != netsnmp_old_api_helper)
            continue;
        each->access_method = serve;
        return;
    }
    snmp_log(LOG_ERR, "vyn: requests of %s have no user and no checks\n", made.handlerName);
}

bool unregister(const netsnmp_subtree &made, const char *context)
{
    oid name[MAX_OID_LEN]; // the agent reads it after it has freed the registration
    memcpy(name, made.name_a, made.namelen * sizeof(oid));
    return unregister_mib_context(name, made.namelen, made.priority, made.range_subid,
                                  made.range_ubound, context) == MIB_UNREGISTERED_OK;
}

struct registration_end {
    // Each removal changes what there is to visit.
    ~registration_end()
    {
        while (visit_registrations(unregister))
            continue;
    }
};

// The agent also calls this for registrations that it has made before, when it is a subagent that
// has found its master again.
int on_registration(int, int, void *parameters, void *)
{
    if (!is_of_module(static_cast<register_parameters *>(parameters)->reginfo))
        return SNMP_ERR_NOERROR;
    // Constructed last and so destroyed first: a subagent goes on serving requests while it tells
    // its master, one by one, which registrations have gone.
    static registration_end end;
    visit_registrations([](netsnmp_subtree &made, const char *) {
        guard(*made.reginfo);
        return false;
    });
    return SNMP_ERR_NOERROR;
}

class registration_watch {
  public:
    registration_watch()
    {
        snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID,
                               on_registration, nullptr);
    }
    ~registration_watch()
    {
        snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID,
                                 on_registration, nullptr, 0);
        // Where a root without a registration is unregistered, the agent's cache of lookups stays
        // off, and every later request of any object costs more.
        if (netsnmp_get_lookup_cache_size() == 0)
            netsnmp_set_lookup_cache_size(-1); // its default
    }
} the_watch;

} // namespace
} // namespace vyn_host
