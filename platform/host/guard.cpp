// What stands between the agent and the module's functions, in each registration of the module.
//
// It notes whose request is served, and keeps the agent safe from what the module does to OIDs:
//
// - The agent checks the OID of a request against the manager's view. An exact read may replace it
//   by the OID of the row that it finds, and a SET then writes that row. So the agent's access
//   control is asked again for an OID that has been replaced, before anything is written.
// - A GETNEXT answer must come after the OID asked for. Where a view hides the answer, the agent
//   asks again from its OID, so an answer that does not move on would keep it asking for ever.
// - The agent passes on no error of COMMIT but commitFailed. Others reach the manager as success.
//
// The agent's own handler calls the module's read function with a copy of the OID, while the
// request still has the one asked for. So both are replaced: the handler by one that knows the
// requests, and the read function by one that compares. Nothing is copied for it.
//
// The module's registrations also end here. It unregisters its root, but the agent keeps one
// registration for each object, and with a root that has none of its own it removes nothing.

#include <climits>
#include <cstring>

#include <algorithm>
#include <utility>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/agent_callbacks.h>

#include "budget.h"
#include "host.h"
#include "outage.h"
#include "vyn_registration.h"

namespace vyn_host {
namespace {

constexpr oid module_root[] = {VYN_MODULE_ROOT};

// --- Reads ---

struct guarded_object {
    FindVarMethod *read;
    uint32_t reported; // the connection of the service on which a walk's end was logged, plus 1
};

struct {
    guarded_object objects[UCHAR_MAX + 1]; // of the module, by their identifiers
    netsnmp_request_info *next_request;    // whose object is read next
    const netsnmp_agent_session *asking;   // the session that asks for it
} the_guard;

// Reports whether an answer comes after the OID asked for. The comparison starts at the index: an
// OID asked for that is not below the column precedes all of the column's rows.
bool comes_after(const oid *answer, size_t length, const netsnmp_variable_list &asked,
                 size_t column_length)
{
    const size_t common = std::min(length, asked.name_length);
    for (size_t i = column_length; i < common; i++)
        if (answer[i] != asked.name[i]) {
            if (answer[i] > asked.name[i])
                return true;
            break;
        }
    return snmp_oid_compare(answer, length, asked.name, asked.name_length) > 0;
}

// Reports whether an exact read may answer with the row that it has found. A GETNEXT reads exactly
// when it comes from the master of a subagent and includes the OID asked for, and no other.
bool may_answer(oid *row, size_t length, const netsnmp_variable_list &asked, size_t column_length,
                u_char type)
{
    if (length == asked.name_length && length > column_length &&
        std::equal(row + column_length, row + length, asked.name + column_length))
        return true;
    netsnmp_pdu *pdu = the_guard.asking->pdu;
    return pdu->command != SNMP_MSG_GETNEXT && pdu->command != SNMP_MSG_GETBULK &&
           in_a_view(row, &length, pdu, type) == VACM_SUCCESS;
}

// Logs that a walk of the object has ended before its last row, once on each connection of the
// service.
void report_end_of_walk(const struct variable &object, const char *reason)
{
    const uint32_t connection = the_outage.generation() + 1;
    if (std::exchange(the_guard.objects[object.magic].reported, connection) == connection)
        return;
    char column[256];
    snprint_objid(column, sizeof(column), object.name, object.namelen);
    snmp_log(LOG_WARNING, "vyn: walk of %s ended: %s\n", column, reason);
}

// Reports whether the row that the service has just sent has no value because its OID would be too
// long. Only the OIDs of tables with an address in their index can be.
bool is_oid_too_long(const struct variable &object)
{
    constexpr size_t table = OID_LENGTH(module_root) + 2;
    constexpr oid merge_members = 4, peers = 5, feature_peers = 6, static_peers = 11;
    const oid number = object.namelen > table ? object.name[table] : 0;
    return last_reply_had_payload() && (number == merge_members || number == peers ||
                                        number == feature_peers || number == static_peers);
}

int refuse_write(int action, u_char *, u_char, size_t, u_char *, oid *, size_t)
{
    return action == MODE_SET_RESERVE1 ? SNMP_ERR_NOACCESS : SNMP_ERR_NOERROR;
}

// Reads an object through the module. Returns null, with the OID asked for, where the agent must
// not have the module's answer.
u_char *read_object(struct variable *object, oid *name, size_t *length, int exact,
                    size_t *value_length, WriteMethod **write_method)
{
    const netsnmp_variable_list &asked =
        *std::exchange(the_guard.next_request, the_guard.next_request->next)->requestvb;
    u_char *value = the_guard.objects[object->magic].read(object, name, length, exact, value_length,
                                                          write_method);
    if (exact ? may_answer(name, *length, asked, object->namelen, static_cast<u_char>(object->type))
              : value != nullptr && comes_after(name, *length, asked, object->namelen))
        return value;
    if (exact)
        *write_method = refuse_write;
    else if (value != nullptr)
        report_end_of_walk(*object, "the answer does not come after the OID asked for");
    else if (is_oid_too_long(*object))
        report_end_of_walk(*object, "the OID of the next row is too long");
    memcpy(name, asked.name, asked.name_length * sizeof(oid));
    *length = asked.name_length;
    return nullptr;
}

int serve(netsnmp_mib_handler *handler, netsnmp_handler_registration *registration,
          netsnmp_agent_request_info *info, netsnmp_request_info *requests)
{
    note_identity(info->asp);
    the_budget.begin(requests_begun());
    the_guard.asking = info->asp;
    the_guard.next_request = requests;
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
           strcmp(made->handlerName, VYN_MODULE_NAME) == 0 &&
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
        auto *object = static_cast<struct variable *>(each->myvoid);
        the_guard.objects[object->magic].read = std::exchange(object->findVar, read_object);
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
