// Events: subscriptions to the service, and notifications out of what their handlers make of them.
//
// A connection of its own, in the agent's event loop from the moment it is made: the greeting is
// waited for there and never here. When the service is not there, an alarm tries again every
// second, and so does the connection for requests when it has found the service. Subscriptions
// outlive the service; what the service posts while there is no connection is lost.
//
// There is no way to unsubscribe one opcode: its events are ignored, and the connection goes with
// the last one. Bursts are taken a few at a time, so that managers are served in between.

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "connection.h"
#include "host.h"
#include "mts.h"

namespace vyn_host {
namespace {

struct subscription {
    u32 opcode;
    mts_notification_handler handler; // null: unsubscribed, but the service still sends
};

class subscriber {
  public:
    ~subscriber() { stop(); }

    bool add(u32 opcode, mts_notification_handler handler);
    bool remove(u32 opcode);
    void retry();

  private:
    static constexpr int most_opcodes = 8;
    static constexpr int events_at_once = 16;

    void take_arrived();
    void greeted();
    bool subscribe(u32 opcode);
    void deliver();
    void lost(const char *trouble);
    void disconnect();
    void stop();
    void set_alarm(bool wanted);

    connection link_;
    bool greeted_ = false;
    bool greeted_before_ = false;
    unsigned alarm_ = 0;
    int count_ = 0;
    subscription subscriptions_[most_opcodes];
    frame_buffer frame_;
};

subscriber the_subscriber;

void subscriber::set_alarm(bool wanted)
{
    if (wanted == (alarm_ != 0))
        return;
    if (wanted) {
        alarm_ = snmp_alarm_register(
            1, SA_REPEAT, [](unsigned, void *) { the_subscriber.retry(); }, nullptr);
        return;
    }
    snmp_alarm_unregister(alarm_);
    alarm_ = 0;
}

void subscriber::disconnect()
{
    if (link_.is_open())
        unregister_readfd(link_.fd());
    link_.close();
    greeted_ = false;
}

void subscriber::stop()
{
    disconnect();
    set_alarm(false);
    forget_trouble(party::events);
    count_ = 0;
}

void subscriber::lost(const char *trouble)
{
    disconnect();
    note_trouble(party::events, trouble);
    set_alarm(true);
}

void subscriber::retry()
{
    if (count_ == 0 || link_.is_open())
        return;
    if (!link_.open())
        return lost(link_.trouble());
    const auto arrived = [](int, void *) { the_subscriber.take_arrived(); };
    if (register_readfd(link_.fd(), arrived, nullptr) != FD_REGISTERED_OK)
        return lost("the agent has no room for its descriptor");
    set_alarm(false);
}

void subscriber::take_arrived()
{
    for (int i = 0; i < events_at_once && link_.is_open(); i++) {
        const arrival got = link_.receive(frame_);
        if (got == arrival::nothing)
            return;
        if (got == arrival::lost)
            return lost(link_.trouble());
        if (!greeted_ && !frame_.is_greeting())
            return lost("it speaks another protocol, or another version");
        if (!greeted_)
            greeted();
        else if (!frame_.is(vynd::frame_kind::event))
            return lost("the service has sent a frame that is no event");
        else if (got == arrival::frame) // an event without its end is none
            deliver();
    }
}

void subscriber::greeted()
{
    greeted_ = true;
    for (int i = 0; i < count_; i++)
        if (!subscribe(subscriptions_[i].opcode))
            return;
    note_working(party::events);
    if (greeted_before_)
        service_has_returned();
    greeted_before_ = true;
}

bool subscriber::subscribe(u32 opcode)
{
    vynd::frame_header header{};
    header.kind = static_cast<uint32_t>(vynd::frame_kind::subscribe);
    header.opcode = opcode;
    if (link_.send(header, nullptr, 0))
        return true;
    lost(link_.trouble());
    return false;
}

void subscriber::deliver()
{
    mts_notification_handler handler = nullptr;
    for (int i = 0; i < count_; i++)
        if (subscriptions_[i].opcode == frame_.header.opcode)
            handler = subscriptions_[i].handler;
    if (handler == nullptr)
        return;
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
        send_v2trap(list); // copies; the agent puts its uptime in front
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
    if (i == most_opcodes)
        return false;
    subscriptions_[i] = {opcode, handler};
    if (i == count_) {
        count_++;
        if (greeted_)
            subscribe(opcode);
    }
    retry();
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

void retry_events()
{
    the_subscriber.retry();
}

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
