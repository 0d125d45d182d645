/* The switch's message transport: one synchronous call for requests, callbacks for events. */
#ifndef MTS_H
#define MTS_H

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t u32;

typedef struct mts_queue mts_queue; /* opaque */
typedef struct mts_msg mts_msg;     /* opaque: a received event */

/* The queue of the replies, which every request names. */
extern mts_queue *mts_response_q;

/*
 * Sends one request and blocks until the reply arrives or the transport gives up.
 *
 * opcode        the entry of the service
 * msg_type      1 get, 2 get next, 3 set
 * request       the request record, big-endian
 * response_out  receives the reply, a malloc block that the caller frees, or null for a reply
 *               without content; null when no reply is wanted
 * length_inout  in: bytes of the request; out: bytes of the reply
 * user, session of the requester
 * Returns 0 or a system error code: of the service, or of the transport if there is no reply.
 */
u32 cmi_req_resp(u32 opcode, u32 msg_type, void *request, void **response_out, u32 *length_inout,
                 const char *user, u32 session, u32, mts_queue *queue, u32);

/*
 * Returns the payload of an event, or null. It has no length: at least 512 bytes are readable, and
 * those after the event are zero. It is the transport's, and valid until the handler returns.
 */
void *mts_payload_get(mts_msg *);

/*
 * Turns an event into a notification: returns the variables to send, or null for none, and fills
 * in the notification's OID (room for 128 sub-identifiers), its length, and a flag. The caller
 * copies the variables' values at once and frees the list.
 */
typedef netsnmp_variable_list *(*mts_notification_handler)(mts_msg *, oid *notification_oid,
                                                           size_t *notification_oid_length,
                                                           int *flag);

/* Subscribe and unsubscribe an opcode. Both return 0, or non-zero if that failed. */
int register_for_notification(u32 opcode, mts_notification_handler handler);
int unregister_for_notification(u32 opcode);

#ifdef __cplusplus
}
#endif

#endif
