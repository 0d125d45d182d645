// Requests: cmi_req_resp over one connection, with at most one request under way.
//
// The agent serves nobody while a request waits, so waiting is what this file is careful with. A
// request waits at most one timeout for a connection that is ready and one for its reply, and all
// requests for one SNMP request wait at most one budget. A service that is not there fails a
// request at once.
//
// After a timeout the connection is only polled, and replaced once it has stayed silent for three
// timeouts. The next greeting gets only a short wait, until a service has greeted again. So a
// service that accepts and says nothing costs one timeout in all, and short waits after it. One
// that greets and never replies blocks the agent for one timeout in three.
//
// The end of a budget is no timeout: the service is slow, and not gone. So it is no outage, and the
// next SNMP request waits for what is left of the abandoned request's own timeout, and only then
// sends its own. That keeps a slow service from having two requests at a time, and a manager that
// asks for little from getting nothing because another one has asked for much.
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
#include "vyn_wire.h"

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

    u32 send_and_wait(request &r, int64_t now, int64_t limit);
    u32 make_ready(int64_t limit, bool *may_connect);
    bool connect();
    void await_greeting(int64_t limit);
    void drain(int64_t limit);
    u32 await_reply(int64_t sent, int64_t limit);
    arrival next_reply(int64_t now, int64_t deadline);
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
    bool patient_ = true;       // no timeout since the last greeting
    bool found_nobody_ = false; // in an outage: the last request found no service
    int64_t opened_at_ = 0;
    int64_t due_by_ = 0;     // greeting or reply; the connection is only polled after that
    int64_t give_up_at_ = 0; // ungreeted or overdue: when the connection is to be replaced
    uint32_t sequence_ = 0;  // of the last request
    unsigned alarm_ = 0;     // calls settle() once
    frame_buffer frame_;
} the_requester;

void requester::drop()
{
    link_.close();
    state_ = state::closed;
    set_alarm(false);
}

// A reply, whole or cut; anything else has no place on this connection.
arrival requester::next_reply(int64_t now, int64_t deadline)
{
    const arrival got = link_.await(frame_, now, deadline);
    if ((got == arrival::frame || got == arrival::cut) && !frame_.is(vynd::frame_kind::reply)) {
        link_.set_trouble("the service has sent a frame that is no reply");
        return arrival::lost;
    }
    return got;
}

bool requester::connect()
{
    if (!link_.open())
        return false;
    state_ = state::ungreeted;
    opened_at_ = now_ms();
    due_by_ = opened_at_ + (patient_ ? timeout_ms() : std::min(timeout_ms(), short_wait_ms));
    give_up_at_ = opened_at_ + give_up_after_ms();
    return true;
}

// The caller looks at the state afterwards.
void requester::await_greeting(int64_t limit)
{
    const arrival got = link_.await(frame_, now_ms(), std::min(due_by_, limit));
    if (got == arrival::frame && frame_.is_greeting()) {
        state_ = state::ready;
        patient_ = true;
        service_has_returned();
        renew_events(link_.peer());
        return;
    }
    if (got == arrival::nothing)
        return link_.set_trouble("it accepts connections but does not greet");
    patient_ = false;
    if (got != arrival::lost)
        link_.set_trouble("it speaks another protocol, or another version");
    drop();
}

// Takes what has arrived, and so finds out whether the service is still there and whether the
// overdue reply has come. Waits for that reply until it is due, or until the limit.
void requester::drain(int64_t limit)
{
    for (int i = 0; i < strays_at_once; i++) {
        const arrival got = next_reply(now_ms(), std::min(due_by_, limit));
        if (got == arrival::nothing)
            return;
        if (got == arrival::lost)
            return drop();
        if (frame_.header.sequence == sequence_) {
            state_ = state::ready;
            limit = 0;
        }
    }
}

u32 requester::make_ready(int64_t limit, bool *may_connect)
{
    while (state_ != state::ready) {
        if (state_ == state::closed && (!std::exchange(*may_connect, false) || !connect()))
            return VYN_ERR_NO_CONNECTION;
        if (state_ == state::ungreeted)
            await_greeting(limit);
        else
            drain(limit);
        if (state_ == state::ready)
            break;
        if (state_ == state::closed)
            continue;
        const int64_t now = now_ms();
        if (now < due_by_)
            return VYN_ERR_BUDGET_USED_UP;
        patient_ = false;
        if (now < give_up_at_)
            return VYN_ERR_TIMED_OUT;
        drop();
    }
    return 0;
}

u32 requester::await_reply(int64_t sent, int64_t limit)
{
    due_by_ = sent + timeout_ms();
    const int64_t deadline = std::min(due_by_, limit);
    int64_t now = sent;
    do {
        const arrival got = next_reply(now, deadline);
        if (got == arrival::lost) {
            drop();
            return VYN_ERR_CONNECTION_LOST;
        }
        if (got == arrival::nothing)
            break;
        if (frame_.header.sequence == sequence_)
            return got == arrival::cut ? u32{VYN_ERR_BAD_REPLY} : u32{frame_.header.status};
        now = now_ms();
    } while (now < deadline);
    state_ = state::overdue;
    give_up_at_ = sent + give_up_after_ms();
    link_.set_trouble("no answer in time");
    if (deadline < due_by_)
        return VYN_ERR_CUT_SHORT;
    patient_ = false;
    return VYN_ERR_TIMED_OUT;
}

u32 requester::send_and_wait(request &r, int64_t now, int64_t limit)
{
    bool may_connect = true;
    for (;;) {
        if (state_ != state::ready) {
            if (u32 error = make_ready(limit, &may_connect))
                return error;
            now = now_ms();
            if (now >= limit)
                return VYN_ERR_BUDGET_USED_UP;
        }
        r.header.sequence = ++sequence_;
        if (link_.send(r.header, r.payload, r.length))
            return await_reply(now, limit);
        drop();
    }
}

u32 requester::call(request &r)
{
    const int64_t left = the_budget.left();
    const int64_t begin = now_ms();
    const u32 error =
        left > 0 ? send_and_wait(r, begin, begin + left) : u32{VYN_ERR_BUDGET_USED_UP};
    const int64_t end = now_ms();
    the_budget.charge(end - begin);
    switch (error) {
    case VYN_ERR_CUT_SHORT:
        if (r.header.msg_type == VYN_MSG_SET)
            break;
        [[fallthrough]];
    case VYN_ERR_BUDGET_USED_UP: the_budget.refuse(); break;
    case VYN_ERR_NO_CONNECTION:
    case VYN_ERR_TIMED_OUT:
    case VYN_ERR_CONNECTION_LOST: note_failure(error); break;
    default:
        if (in_trouble(party::requests))
            note_answer(end);
    }
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
    found_nobody_ = error == VYN_ERR_NO_CONNECTION;
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
        drain(0);
    if (state_ == state::ready)
        note_working(party::requests);
}

uint32_t generation;

} // namespace

waiting_budget the_budget;

void waiting_budget::refuse()
{
    unanswered_ = true;
    note_slow();
}

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

static bool had_payload;

bool last_reply_had_payload()
{
    return had_payload;
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
        return VYN_ERR_BAD_CALL;
    vyn_host::request r{{}, request, *length_inout};
    *length_inout = 0;
    if (r.length > vynd::largest_frame - sizeof(r.header) || (request == nullptr && r.length != 0))
        return VYN_ERR_BAD_CALL;
    r.header.kind = static_cast<uint32_t>(vynd::frame_kind::request);
    r.header.opcode = opcode;
    r.header.msg_type = msg_type;
    r.header.session = session;
    if (user != nullptr)
        memcpy(r.header.user, user, strnlen(user, sizeof(r.header.user) - 1));

    const u32 error = the_requester.call(r);
    const frame_buffer &reply = the_requester.reply();
    had_payload = error == 0 && reply.payload_length != 0;
    if (!had_payload || response_out == nullptr)
        return error;
    *response_out = malloc(reply.payload_length);
    if (*response_out == nullptr)
        return VYN_ERR_BAD_REPLY;
    memcpy(*response_out, reply.payload, reply.payload_length);
    *length_inout = static_cast<u32>(reply.payload_length);
    return 0;
}
