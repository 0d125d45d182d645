// Events: subscriptions to the service, and notifications from what their handlers return.
//
// The connection for events is in the agent's event loop, so nothing waits for its greeting. A
// one-second alarm connects, drops a connection that is not greeted in time, and stops at the first
// tick after a greeting. Only then does the connection count as working, so a service that always
// closes it at once is one outage.
//
// A connection to a process that hangs looks like one without events. It is replaced when another
// process has greeted the connection for requests. Subscriptions outlive the service; what it posts
// while there is no connection is lost.
//
// The protocol cannot unsubscribe one opcode: its events are ignored, and the connection is closed
// with the last one. A burst is read a few events at a time, so that managers are served meanwhile.

#include <cstring>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "alarm.h"
#include "connection.h"
#include "host.h"
#include "mts.h"
#include "outage.h"
#include "settings.h"

namespace vyn_host {
namespace {

struct subscription {
    u32 opcode;
    mts_notification_handler handler; // null: unsubscribed, but the service still sends events
};

class subscriber {
  public:
    subscriber();
    ~subscriber();

    bool add(u32 opcode, mts_notification_handler handler);
    bool remove(u32 opcode);

  private:
    static constexpr int max_opcodes = 8;
    static constexpr int max_events_at_once = 16;
    // More than the socket of a service that has ended can hold.
    static constexpr int max_unread_events = 1024;

    void connect();
    void tick();
    void renew(pid_t service);
    void take_arrived();
    void greeted();
    void subscribe(u32 opcode);
    void deliver();
    void report_cut();
    void lost(const char *trouble);
    void disconnect();
    void stop();

    connection link_;
    bool greeted_ = false;
    bool cut_reported_ = false; // on this connection
    int64_t give_up_at_ = 0;    // not greeted: when to replace the connection
    agent_alarm alarm_{1, SA_REPEAT, [](void *owner) { static_cast<subscriber *>(owner)->tick(); },
                       this};
    int count_ = 0;
    subscription subscriptions_[max_opcodes];
    frame_buffer frame_;
} the_subscriber;

subscriber::subscriber()
{
    the_outage.set_greeting_handler([](pid_t service) { the_subscriber.renew(service); });
}

subscriber::~subscriber()
{
    the_outage.set_greeting_handler(nullptr);
    stop();
}

void subscriber::disconnect()
{
    if (link_.is_open())
        unregister_readfd(link_.fd());
    link_.close();
    greeted_ = false;
    cut_reported_ = false;
}

void subscriber::stop()
{
    disconnect();
    alarm_.stop();
    the_outage.clear_failure(channel::events);
    count_ = 0;
}

void subscriber::lost(const char *trouble)
{
    disconnect();
    the_outage.report_failure(channel::events, trouble);
    alarm_.start();
}

void subscriber::connect()
{
    if (count_ == 0 || link_.is_open())
        return;
    if (!link_.open())
        return lost(link_.trouble());
    const auto arrived = [](int, void *owner) { static_cast<subscriber *>(owner)->take_arrived(); };
    if (register_readfd(link_.fd(), arrived, this) != FD_REGISTERED_OK)
        return lost("the agent has no room for its descriptor");
    give_up_at_ = now_ms() + give_up_after_ms();
    alarm_.start();
}

void subscriber::tick()
{
    if (!link_.is_open()) {
        connect();
    } else if (greeted_) {
        alarm_.stop();
        the_outage.report_events_settled();
    } else if (now_ms() >= give_up_at_) {
        lost("no greeting from the service");
    }
}

// Replaces the connection unless it leads to the process that has just greeted the one for
// requests. A working one is kept, because events may wait in it.
void subscriber::renew(pid_t service)
{
    if (greeted_ && link_.peer() == service)
        return;
    // Events of the previous service come first. This is inside a manager's request, but handlers
    // send no request.
    for (int i = 0; i < max_unread_events && greeted_; i++) {
        const arrival got = link_.receive(frame_);
        if (got == arrival::nothing || got == arrival::lost || !frame_.is(vynd::frame_kind::event))
            break;
        got == arrival::cut ? report_cut() : deliver();
    }
    disconnect();
    connect();
}

void subscriber::take_arrived()
{
    for (int i = 0; i < max_events_at_once && link_.is_open(); i++) {
        const arrival got = link_.receive(frame_);
        if (got == arrival::nothing)
            return;
        if (got == arrival::lost)
            return lost(link_.trouble());
        if (!greeted_ && (got == arrival::cut || !frame_.is_greeting()))
            return lost("unknown protocol or version");
        if (!greeted_)
            greeted();
        else if (!frame_.is(vynd::frame_kind::event))
            return lost("the service has sent a frame that is no event");
        else if (got == arrival::cut) // an event without its end is not delivered
            report_cut();
        else
            deliver();
    }
}

void subscriber::report_cut()
{
    if (!cut_reported_)
        snmp_log(LOG_WARNING, "vyn: an event %u of the service is too large and is ignored\n",
                 static_cast<u32>(frame_.header.opcode));
    cut_reported_ = true;
}

void subscriber::greeted()
{
    greeted_ = true;
    for (int i = 0; i < count_ && greeted_; i++)
        subscribe(subscriptions_[i].opcode);
}

void subscriber::subscribe(u32 opcode)
{
    vynd::frame_header header = vynd::header_of(vynd::frame_kind::subscribe);
    header.opcode = opcode;
    if (!link_.send({reinterpret_cast<const uint8_t *>(&header), sizeof(header)}))
        lost(link_.trouble());
}

void subscriber::deliver()
{
    mts_notification_handler handler = nullptr;
    for (int i = 0; i < count_; i++)
        if (subscriptions_[i].opcode == frame_.header.opcode)
            handler = subscriptions_[i].handler;
    if (handler == nullptr)
        return;
    // A handler reads zeros after a payload that is shorter than its record.
    memset(frame_.payload + frame_.payload_length, 0, payload_padding);
    oid notification[MAX_OID_LEN];
    size_t length = 0;
    int flag = 0;
    netsnmp_variable_list *list =
        handler(reinterpret_cast<mts_msg *>(&frame_), notification, &length, &flag);
    if (list == nullptr)
        return;
    static const oid trap_oid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
    netsnmp_variable_list *head = nullptr;
    if (length > 0 && length <= MAX_OID_LEN)
        snmp_varlist_add_variable(&head, trap_oid, OID_LENGTH(trap_oid), ASN_OBJECT_ID,
                                  notification, length * sizeof(oid));
    if (head != nullptr) {
        head->next_variable = list;
        list = head;
        send_v2trap(list); // copies it, with sysUpTime before it
    }
    snmp_free_varbind(list);
}

bool subscriber::add(u32 opcode, mts_notification_handler handler)
{
    if (handler == nullptr)
        return false;
    int i = 0;
    while (i < count_ && subscriptions_[i].opcode != opcode)
        i++;
    if (i == max_opcodes)
        return false;
    subscriptions_[i] = {opcode, handler};
    if (i == count_) {
        count_++;
        if (greeted_)
            subscribe(opcode);
    }
    connect();
    return true;
}

bool subscriber::remove(u32 opcode)
{
    bool found = false, any_left = false;
    for (int i = 0; i < count_; i++) {
        subscription &each = subscriptions_[i];
        if (each.opcode == opcode && each.handler != nullptr) {
            each.handler = nullptr;
            found = true;
        }
        any_left |= each.handler != nullptr;
    }
    if (!any_left)
        stop();
    return found;
}

} // namespace
} // namespace vyn_host

VYN_EXPORT void *mts_payload_get(mts_msg *message)
{
    auto *frame = reinterpret_cast<vyn_host::frame_buffer *>(message);
    return frame == nullptr || frame->payload_length == 0 ? nullptr : frame->payload;
}

VYN_EXPORT int register_for_notification(u32 opcode, mts_notification_handler handler)
{
    return vyn_host::the_subscriber.add(opcode, handler) ? 0 : 1;
}

VYN_EXPORT int unregister_for_notification(u32 opcode)
{
    return vyn_host::the_subscriber.remove(opcode) ? 0 : 1;
}
