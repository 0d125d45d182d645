// Requests: cmi_req_resp over one connection, with at most one request under way.
//
// The agent serves nobody else while a request waits, so the wait is bounded: by one timeout for a
// connection that is ready, one timeout for the reply, and one budget for all requests of an SNMP
// request. If there is no service, a request fails at once.
//
// After a timeout the connection is only polled, and replaced once it has stayed silent for three
// timeouts. The next greeting gets only a short wait, until a service has greeted again. So a
// service that accepts and says nothing costs one timeout in all, and short waits after it. One
// that greets and never replies blocks the agent for one timeout in three.
//
// The end of a budget is no timeout: the service is slow, but not gone. So it is no outage, and the
// next SNMP request first waits for what is left of the abandoned request's own timeout. A slow
// service never has two requests at a time, and a manager that asks for little still gets it while
// another one asks for much.
//
// A request makes one connection at most: the first one after a restart of the service finds that
// the old connection has ended, and succeeds on the new one. A request that was sent is never sent
// again, because the service may have carried it out. Sequences tell a late reply from the current
// one. A connection that works is not polled before a request, which would be another system call:
// its end shows in the send, and other frames show in the wait for the reply.
//
// An outage ends when a connection has lived for a second, not with its first answer: a service
// that answers something and then drops each connection is one outage.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "alarm.h"
#include "budget.h"
#include "connection.h"
#include "host.h"
#include "mts.h"
#include "outage.h"
#include "settings.h"
#include "snmp_context.h"
#include "vyn_wire.h"

namespace vyn_host {
namespace {

class requester {
  public:
    // Sends the request in request(). Returns 0 and leaves the reply in reply(), or a system error.
    uint32_t call();
    frame_buffer &request() { return request_; }
    const frame_buffer &reply() const { return reply_; }
    bool had_payload() const { return had_payload_; }

  private:
    enum class state { closed, ungreeted, ready, overdue };

    uint32_t send_and_wait(int64_t now, int64_t limit);
    uint32_t make_ready(int64_t limit, bool *may_connect);
    bool connect();
    void await_greeting(int64_t limit);
    void drain(int64_t limit);
    uint32_t await_reply(int64_t sent, int64_t limit);
    arrival next_reply(int64_t now, int64_t deadline);
    void drop();
    void note_answer(int64_t now);
    void settle();

    connection link_;
    state state_ = state::closed;
    bool unreliable_ = false; // since the last greeting, a request timed out or a greeting failed
    int64_t opened_at_ = 0;
    int64_t due_by_ = 0;       // greeting or reply; after that the connection is only polled
    int64_t give_up_at_ = 0;   // ungreeted or overdue: when to replace the connection
    uint32_t sequence_ = 0;    // of the last request
    bool had_payload_ = false; // the last reply, if there was one
    frame_buffer request_;
    frame_buffer reply_;

    static constexpr unsigned settled_after_s = 1;
    agent_alarm settle_alarm_{settled_after_s, 0,
                              [](void *owner) { static_cast<requester *>(owner)->settle(); }, this};
} the_requester;

void requester::drop()
{
    link_.close();
    state_ = state::closed;
    settle_alarm_.stop();
}

// Receives a reply, whole or cut. Any other frame is an error on this connection.
arrival requester::next_reply(int64_t now, int64_t deadline)
{
    const arrival got = link_.await(reply_, now, deadline);
    if ((got == arrival::frame || got == arrival::cut) && !reply_.is(vynd::frame_kind::reply)) {
        link_.set_trouble("the service has sent a frame that is no reply");
        return arrival::lost;
    }
    return got;
}

bool requester::connect()
{
    // Enough for a service that is not busy to accept and to greet.
    constexpr int64_t short_wait_ms = 20;
    if (!link_.open())
        return false;
    state_ = state::ungreeted;
    opened_at_ = now_ms();
    due_by_ = opened_at_ + (unreliable_ ? std::min(timeout_ms(), short_wait_ms) : timeout_ms());
    give_up_at_ = opened_at_ + give_up_after_ms();
    return true;
}

// Sets the state to ready or closed, or leaves it if no greeting has arrived.
void requester::await_greeting(int64_t limit)
{
    const arrival got = link_.await(reply_, now_ms(), std::min(due_by_, limit));
    if (got == arrival::frame && reply_.is_greeting()) {
        state_ = state::ready;
        unreliable_ = false;
        the_outage.report_requests_greeted(link_.peer());
        return;
    }
    if (got == arrival::nothing)
        return link_.set_trouble("no greeting from the service");
    unreliable_ = true;
    if (got != arrival::lost)
        link_.set_trouble("unknown protocol or version");
    drop();
}

// Receives what has arrived, to find out whether the service is still there and the overdue reply
// has come. Waits for that reply until it is due, or until the limit.
void requester::drain(int64_t limit)
{
    constexpr int max_frames = 64; // dropped at once
    for (int i = 0; i < max_frames; i++) {
        const arrival got = next_reply(now_ms(), std::min(due_by_, limit));
        if (got == arrival::nothing)
            return;
        if (got == arrival::lost)
            return drop();
        if (reply_.header.sequence == sequence_) {
            state_ = state::ready;
            limit = 0;
        }
    }
}

uint32_t requester::make_ready(int64_t limit, bool *may_connect)
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
        unreliable_ = true;
        if (now < give_up_at_)
            return VYN_ERR_TIMED_OUT;
        drop();
    }
    return 0;
}

uint32_t requester::await_reply(int64_t sent, int64_t limit)
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
        if (reply_.header.sequence == sequence_)
            return got == arrival::cut ? uint32_t{VYN_ERR_BAD_REPLY}
                                       : uint32_t{reply_.header.status};
        now = now_ms();
    } while (now < deadline);
    state_ = state::overdue;
    give_up_at_ = sent + give_up_after_ms();
    link_.set_trouble("no answer in time");
    if (deadline < due_by_)
        return VYN_ERR_CUT_SHORT;
    unreliable_ = true;
    return VYN_ERR_TIMED_OUT;
}

uint32_t requester::send_and_wait(int64_t now, int64_t limit)
{
    bool may_connect = true;
    for (;;) {
        if (state_ != state::ready) {
            if (const uint32_t error = make_ready(limit, &may_connect))
                return error;
            now = now_ms();
            if (now >= limit)
                return VYN_ERR_BUDGET_USED_UP;
        }
        request_.header.sequence = ++sequence_;
        if (link_.send(request_.bytes()))
            return await_reply(now, limit);
        drop();
    }
}

uint32_t requester::call()
{
    const int64_t left = the_budget.left();
    const int64_t begin = now_ms();
    const uint32_t error =
        left > 0 ? send_and_wait(begin, begin + left) : uint32_t{VYN_ERR_BUDGET_USED_UP};
    const int64_t end = now_ms();
    the_budget.charge(end - begin);
    had_payload_ = error == 0 && reply_.payload_length != 0;
    switch (error) {
    case VYN_ERR_CUT_SHORT:
        if (request_.header.msg_type == VYN_MSG_SET)
            break;
        [[fallthrough]];
    case VYN_ERR_BUDGET_USED_UP: the_budget.refuse(); break;
    case VYN_ERR_NO_CONNECTION:
    case VYN_ERR_TIMED_OUT:
    case VYN_ERR_CONNECTION_LOST:
        the_outage.report_request_failure(link_.trouble(), error == VYN_ERR_NO_CONNECTION);
        break;
    default:
        if (the_outage.is_failing(channel::requests))
            note_answer(end);
    }
    return error;
}

// Called in an outage only. The alarm is for a service to which nobody sends another request.
void requester::note_answer(int64_t now)
{
    the_outage.report_answer();
    if (now - opened_at_ >= settled_after_s * 1000)
        the_outage.report_working(channel::requests);
    else
        settle_alarm_.start();
}

void requester::settle()
{
    if (state_ != state::closed)
        drain(0);
    if (state_ == state::ready)
        the_outage.report_working(channel::requests);
}

} // namespace

bool last_reply_had_payload()
{
    return the_requester.had_payload();
}

} // namespace vyn_host

// The only queue. Nothing looks into it.
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
    frame_buffer &sent = the_requester.request();
    sent.payload_length = *length_inout;
    *length_inout = 0;
    if (sent.payload_length > sent.max_payload || (request == nullptr && sent.payload_length != 0))
        return VYN_ERR_BAD_CALL;
    sent.header = vynd::header_of(vynd::frame_kind::request);
    sent.header.opcode = opcode;
    sent.header.msg_type = msg_type;
    sent.header.session = session;
    if (user != nullptr)
        memcpy(sent.header.user, user, strnlen(user, sizeof(sent.header.user) - 1));
    if (request != nullptr)
        memcpy(sent.payload, request, sent.payload_length);

    const u32 error = the_requester.call();
    const frame_buffer &reply = the_requester.reply();
    if (!the_requester.had_payload() || response_out == nullptr)
        return error;
    *response_out = malloc(reply.payload_length);
    if (*response_out == nullptr)
        return VYN_ERR_BAD_REPLY;
    memcpy(*response_out, reply.payload, reply.payload_length);
    *length_inout = static_cast<u32>(reply.payload_length);
    return 0;
}
