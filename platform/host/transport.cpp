// Requests: cmi_req_resp over one connection, with at most one request under way.
//
// The agent serves nobody while a request waits, so waiting is what this file is careful with. One
// deadline covers connecting, the greeting and the reply. A service that is not there fails a
// request at once. A connection on which a wait was in vain is from then on only looked at, and
// replaced when it has been silent for a while. A greeting on the next one is waited for only
// briefly, as long as a service that lives may take, until one has been seen. So a service that
// accepts and says nothing, or ends there, costs one deadline in all, and brief waits after it. One
// that greets and never replies costs a deadline on each connection, which is one in three.
//
// A request makes one connection at most: the first after a restart of the service finds that the
// old connection has ended, and succeeds on the new one. A request that was sent is never sent
// again: it may have been carried out. Sequences tell a late reply from the one that is waited for.
// A connection that works is not looked at before a request, which costs a call of the system: that
// it has ended shows in the send, and what else has come on it, in the wait for the reply.
//
// An outage ends with a connection that has lived for a second, and not with its first answer: a
// service that answers something and then drops each connection is one outage.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "connection.h"
#include "host.h"
#include "mts.h"
#include "snmp_context.h"

namespace vyn_host {
namespace {

struct request {
    vynd::frame_header header;
    const void *payload;
    size_t length;
};

class requester {
  public:
    ~requester() { set_alarm(false); }

    // Carries out one exchange. On 0 the reply is in reply(), else it has failed.
    u32 call(request &r);
    const frame_buffer &reply() const { return frame_; }
    bool found_nobody() const { return found_nobody_; }

  private:
    enum class state { closed, ungreeted, ready, overdue };

    u32 make_ready(int64_t deadline, bool *may_connect);
    bool connect(int64_t deadline);
    void await_greeting();
    void look();
    u32 await_reply(int64_t deadline);
    arrival next_reply(int64_t deadline);
    void drop();
    void note_failure(u32 error);
    void note_answer(int64_t now);
    void settle();
    void set_alarm(bool wanted);

    // Frames that nobody waits for are thrown away, so many at a time.
    static constexpr int strays_at_once = 64;
    // Enough for a service that is not busy to accept and to greet.
    static constexpr int64_t short_wait_ms = 20;
    static constexpr int64_t settled_after_ms = 1000;

    connection link_;
    state state_ = state::closed;
    bool found_nobody_ = false; // in an outage: the last request found no service
    int64_t opened_at_ = 0;
    unsigned alarm_ = 0;     // calls settle() once
    bool patient_ = true;    // no wait has been in vain since the last greeting
    int64_t greet_by_ = 0;   // ungreeted: from then on the connection is only looked at
    int64_t give_up_at_ = 0; // ungreeted or overdue: when the connection is to be replaced
    uint32_t sequence_ = 0;  // of the last request
    frame_buffer frame_;
} the_requester;

void requester::drop()
{
    link_.close();
    state_ = state::closed;
    set_alarm(false);
}

// A reply, whole or cut; anything else has no place on this connection.
arrival requester::next_reply(int64_t deadline)
{
    const arrival got = link_.await(frame_, deadline);
    if ((got == arrival::frame || got == arrival::cut) && !frame_.is(vynd::frame_kind::reply)) {
        link_.set_trouble("the service has sent a frame that is no reply");
        return arrival::lost;
    }
    return got;
}

bool requester::connect(int64_t deadline)
{
    if (!link_.open())
        return false;
    state_ = state::ungreeted;
    const int64_t now = opened_at_ = now_ms();
    greet_by_ = patient_ ? deadline : std::min(deadline, now + short_wait_ms);
    give_up_at_ = now + give_up_after_ms();
    return true;
}

// The caller looks at the state afterwards.
void requester::await_greeting()
{
    const arrival got = link_.await(frame_, greet_by_);
    if (got == arrival::frame && frame_.is_greeting()) {
        state_ = state::ready;
        patient_ = true;
        service_has_returned();
        renew_events(link_.peer());
        return;
    }
    patient_ = false;
    if (got == arrival::nothing)
        return link_.set_trouble("it accepts connections but does not greet");
    if (got != arrival::lost)
        link_.set_trouble("it speaks another protocol, or another version");
    drop();
}

// Takes what has arrived, without waiting, and so finds out whether the service is still there and
// whether the overdue reply has come.
void requester::look()
{
    for (int i = 0; i < strays_at_once; i++) {
        const arrival got = next_reply(0);
        if (got == arrival::nothing)
            return;
        if (got == arrival::lost)
            return drop();
        if (frame_.header.sequence == sequence_)
            state_ = state::ready;
    }
}

u32 requester::make_ready(int64_t deadline, bool *may_connect)
{
    while (state_ != state::ready) {
        if (state_ == state::closed) {
            if (!std::exchange(*may_connect, false) || !connect(deadline))
                return ERR_NO_CONNECTION;
        }
        if (state_ == state::ungreeted)
            await_greeting();
        else
            look();
        if (state_ == state::ready)
            break;
        if (state_ != state::closed && now_ms() < give_up_at_)
            return ERR_TIMED_OUT;
        drop();
    }
    return 0;
}

u32 requester::await_reply(int64_t deadline)
{
    do {
        const arrival got = next_reply(deadline);
        if (got == arrival::lost) {
            drop();
            return ERR_CONNECTION_LOST;
        }
        if (got == arrival::nothing)
            break;
        if (frame_.header.sequence == sequence_)
            return got == arrival::cut ? u32{ERR_BAD_REPLY} : u32{frame_.header.status};
    } while (now_ms() < deadline);
    state_ = state::overdue;
    patient_ = false;
    give_up_at_ = deadline - timeout_ms() + give_up_after_ms();
    link_.set_trouble("no answer in time");
    return ERR_TIMED_OUT;
}

u32 requester::call(request &r)
{
    const int64_t deadline = now_ms() + timeout_ms();
    bool may_connect = true;
    u32 error;
    for (;;) {
        error = make_ready(deadline, &may_connect);
        if (error != 0)
            break;
        r.header.sequence = ++sequence_;
        if (link_.send(r.header, r.payload, r.length)) {
            error = await_reply(deadline);
            break;
        }
        drop();
    }
    if (error == ERR_NO_CONNECTION || error == ERR_TIMED_OUT || error == ERR_CONNECTION_LOST)
        note_failure(error);
    else if (in_trouble(party::requests))
        note_answer(now_ms());
    return error;
}

void requester::set_alarm(bool wanted)
{
    if (wanted == (alarm_ != 0))
        return;
    if (wanted) {
        alarm_ = snmp_alarm_register(
            settled_after_ms / 1000, 0, [](unsigned, void *) { the_requester.settle(); }, nullptr);
        return;
    }
    snmp_alarm_unregister(alarm_);
    alarm_ = 0;
}

void requester::note_failure(u32 error)
{
    found_nobody_ = error == ERR_NO_CONNECTION;
    note_trouble(party::requests, link_.trouble());
}

// Called in an outage only. The alarm is for a service that nobody asks again.
void requester::note_answer(int64_t now)
{
    found_nobody_ = false;
    if (now - opened_at_ >= settled_after_ms)
        note_working(party::requests);
    else
        set_alarm(true);
}

// The alarm unregisters itself.
void requester::settle()
{
    alarm_ = 0;
    if (state_ != state::closed)
        look();
    if (state_ == state::ready)
        note_working(party::requests);
}

uint32_t generation;

} // namespace

uint32_t service_generation()
{
    return generation;
}
void service_has_returned()
{
    generation++;
}
bool requests_found_nobody()
{
    return the_requester.found_nobody();
}

} // namespace vyn_host

// The one queue there is. Nobody looks into it.
struct mts_queue {};
static mts_queue response_queue;
VYN_EXPORT mts_queue *mts_response_q = &response_queue;

uint32_t vyn_host::ask_service(uint32_t opcode, uint32_t msg_type, void *request,
                               void **response_out, uint32_t *length_inout)
{
    return cmi_req_resp(opcode, msg_type, request, response_out, length_inout, get_snmp_username(0),
                        get_snmp_sessionid(0), 0, mts_response_q, 0);
}

VYN_EXPORT u32 cmi_req_resp(u32 opcode, u32 msg_type, void *request, void **response_out,
                            u32 *length_inout, const char *user, u32 session, u32, mts_queue *, u32)
{
    using namespace vyn_host;
    if (response_out != nullptr)
        *response_out = nullptr;
    if (length_inout == nullptr)
        return ERR_BAD_CALL;
    vyn_host::request r{{}, request, *length_inout};
    *length_inout = 0;
    if (r.length > vynd::largest_frame - sizeof(r.header) || (request == nullptr && r.length != 0))
        return ERR_BAD_CALL;
    r.header.kind = static_cast<uint32_t>(vynd::frame_kind::request);
    r.header.opcode = opcode;
    r.header.msg_type = msg_type;
    r.header.session = session;
    if (user != nullptr)
        memcpy(r.header.user, user, strnlen(user, sizeof(r.header.user) - 1));

    const u32 error = the_requester.call(r);
    const frame_buffer &reply = the_requester.reply();
    if (error != 0 || response_out == nullptr || reply.payload_length == 0)
        return error;
    *response_out = malloc(reply.payload_length);
    if (*response_out == nullptr)
        return ERR_BAD_REPLY;
    memcpy(*response_out, reply.payload, reply.payload_length);
    *length_inout = static_cast<u32>(reply.payload_length);
    return 0;
}
