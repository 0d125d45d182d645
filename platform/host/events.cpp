// Events: subscriptions to the service, and notifications out of what their handlers make of them.
//
// A connection of its own, in the agent's event loop from the moment it is made: the greeting is
// waited for there and never here. An alarm every second makes it when the service is not there,
// gives it up when no greeting comes, and goes when the connection has outlived one of its ticks:
// only then does it count as working, so that a service that ends it at once, every time, is one
// outage. A connection to a process that hangs looks like one on which nothing happens; it is left
// when the connection for requests has found another process at the socket. Subscriptions outlive
// the service; what the service posts while there is no connection is lost.
//
// There is no way to unsubscribe one opcode: its events are ignored, and the connection goes with
// the last one. Bursts are taken a few at a time, so that managers are served in between.

#include <cstring>

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
    void renew(pid_t service);

  private:
    static constexpr int most_opcodes = 8;
    static constexpr int events_at_once = 16;
    // More than the socket of a service that has ended can hold.
    static constexpr int most_left_behind = 1024;

    void connect();
    void tick();
    void settle();
    void take_arrived();
    void greeted();
    void subscribe(u32 opcode);
    void deliver();
    void report_cut();
    void lost(const char *trouble);
    void disconnect();
    void stop();
    void set_alarm(bool wanted);

    connection link_;
    bool greeted_ = false;
    bool cut_reported_ = false;   // on this connection
    bool settled_before_ = false; // this connection, or one before it
    int64_t give_up_at_ = 0;      // not greeted: when the connection is to be replaced
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
            1, SA_REPEAT, [](unsigned, void *) { the_subscriber.tick(); }, nullptr);
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
    cut_reported_ = false;
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

void subscriber::connect()
{
    if (count_ == 0 || link_.is_open())
        return;
    if (!link_.open())
        return lost(link_.trouble());
    const auto arrived = [](int, void *) { the_subscriber.take_arrived(); };
    if (register_readfd(link_.fd(), arrived, nullptr) != FD_REGISTERED_OK)
        return lost("the agent has no room for its descriptor");
    give_up_at_ = now_ms() + give_up_after_ms();
    set_alarm(true);
}

void subscriber::tick()
{
    if (!link_.is_open())
        connect();
    else if (greeted_)
        settle();
    else if (now_ms() >= give_up_at_)
        lost("it accepts connections but does not greet");
}

// If requests have only found nobody there, the outage is over. A request that was sent and failed
// is another matter: that ends when one succeeds.
void subscriber::settle()
{
    set_alarm(false);
    note_working(party::events);
    if (requests_found_nobody())
        note_working(party::requests);
    if (settled_before_)
        service_has_returned();
    settled_before_ = true;
}

void subscriber::renew(pid_t service)
{
    if (greeted_ && link_.peer() == service)
        return;
    // What the service before has posted comes first, here in the midst of a manager's request:
    // handlers ask nothing of the service.
    for (int i = 0; i < most_left_behind && greeted_; i++) {
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
    for (int i = 0; i < events_at_once && link_.is_open(); i++) {
        const arrival got = link_.receive(frame_);
        if (got == arrival::nothing)
            return;
        if (got == arrival::lost)
            return lost(link_.trouble());
        if (!greeted_ && (got == arrival::cut || !frame_.is_greeting()))
            return lost("it speaks another protocol, or another version");
        if (!greeted_)
            greeted();
        else if (!frame_.is(vynd::frame_kind::event))
            return lost("the service has sent a frame that is no event");
        else if (got == arrival::cut) // an event without its end is none
            report_cut();
        else
            deliver();
    }
}

void subscriber::report_cut()
{
    if (!cut_reported_)
        snmp_log(LOG_WARNING, "vyn: an event %u of the service is too large and is passed over\n",
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
    vynd::frame_header header{};
    header.kind = static_cast<uint32_t>(vynd::frame_kind::subscribe);
    header.opcode = opcode;
    if (!link_.send(header, nullptr, 0))
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
    // A handler finds zeros behind a payload that is shorter than its record.
    memset(frame_.payload + frame_.payload_length, 0, room_behind);
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

void renew_events(pid_t service)
{
    the_subscriber.renew(service);
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
