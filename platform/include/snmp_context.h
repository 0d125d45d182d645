/* The agent's side of a request: who asks, and what the agent is told beside the answer. */
#ifndef SNMP_CONTEXT_H
#define SNMP_CONTEXT_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t u32;

/* The user and the session of the request that is being served. Never null; valid until the next
 * request. */
const char *get_snmp_username(int);
u32 get_snmp_sessionid(int);

/* Non-zero: the requesting user administers the network. */
int vacm_is_user_network_admin(void);

/* Records the system error behind the refusal of a SET. */
void log_set_error(u32 code, int);

/*
 * Makes a variable and links it behind `previous` (null: it heads a list). type 2 INTEGER (4 bytes
 * in host order), 4 OCTET STRING. Name and value are copied. Returns the variable, or null.
 */
netsnmp_variable_list *build_varbind(netsnmp_variable_list *previous, const void *value,
                                     u_char type, size_t length, const oid *name,
                                     size_t name_length);

#ifdef __cplusplus
}
#endif

#endif
