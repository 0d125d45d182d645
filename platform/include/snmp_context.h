/* The agent's side of a request: its user and session, the log of refused SETs, and variables. */
#ifndef SNMP_CONTEXT_H
#define SNMP_CONTEXT_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t u32;

/* Return the user and the session of the request that is served. Never null; valid until the next
 * request. */
const char *get_snmp_username(int);
u32 get_snmp_sessionid(int);

/* Returns non-zero if the user of the request administers the network. */
int vacm_is_user_network_admin(void);

/* Records the system error for which a SET is refused. */
void log_set_error(u32 code, int);

/*
 * Creates a variable and appends it to the list of `previous` (null: starts a list). type 2 is an
 * INTEGER (4 bytes in host order), 4 an OCTET STRING. Copies name and value. Returns the variable,
 * or null.
 */
netsnmp_variable_list *build_varbind(netsnmp_variable_list *previous, const void *value,
                                     u_char type, size_t length, const oid *name,
                                     size_t name_length);

#ifdef __cplusplus
}
#endif

#endif
