// How the module speaks to the service: the one transport call and the owner of a reply.
//
// A request is one blocking call, made once for each SNMP operation and phase, and never repeated.
// What the service did not send reads as zero.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "vyn_mib.h"
#include "vyn_trace.h"

// Owns the block in which the transport hands over a reply, and frees it on every path.
class vyn_reply {
  public:
    vyn_reply() = default;
    vyn_reply(const vyn_reply &) = delete;
    vyn_reply &operator=(const vyn_reply &) = delete;
    ~vyn_reply() { release(); }

    // False for a null reply: the call has succeeded without an answer.
    bool present() const { return block_ != nullptr && length_ != 0; }

    // Reports whether the reply has all of a member. A null reply has none of it.
    template <typename Member> bool has_all_of(Member vyn_snmp_resp::*) const
    {
        return present() && length_ >= member_offset + sizeof(Member);
    }

    // Returns a member, which is named as in &vyn_snmp_resp::resp_region. What a short reply lacks
    // of it is zero.
    template <typename Member> Member read(Member vyn_snmp_resp::*which) const
    {
        Member member;
        read_into(&member, which);
        return member;
    }

    // Copies a member into a retained row.
    template <typename Member> void read_into(Member *member, Member vyn_snmp_resp::*) const
    {
        static_assert(std::is_trivially_copyable_v<Member> && alignof(Member) == 1);
        const bool reaches = present() && length_ > member_offset;
        const size_t there = reaches ? std::min(length_ - member_offset, sizeof(Member)) : 0;
        auto *bytes = reinterpret_cast<uint8_t *>(member);
        if (reaches)
            memcpy(bytes, static_cast<const uint8_t *>(block_) + member_offset, there);
        if (there < sizeof(Member))
            memset(bytes + there, 0, sizeof(Member) - there);
    }

  private:
    friend u32 vyn_call(vyn_opcode, vyn_msg_type, vyn_snmp_req *, vyn_reply *);

    static constexpr size_t member_offset = offsetof(vyn_snmp_resp, bytes); // of every member

    void release()
    {
        free(block_);
        block_ = nullptr;
        length_ = 0;
    }

    void *block_ = nullptr;
    u32 length_ = 0; // in bytes
};

// Returns the operation of a query: for the named row, or for the next one.
constexpr vyn_msg_type vyn_read_type(bool exact)
{
    return exact ? VYN_MSG_GET : VYN_MSG_GETNEXT;
}

// Returns an empty request. Its first argument is 1, as in every request of the module.
inline vyn_snmp_req vyn_request(vyn_query_type query_type)
{
    vyn_snmp_req request{};
    request.query_type = query_type;
    request.argument = 1;
    return request;
}

// Sends a request on behalf of the SNMP user whose operation is being served, and waits for the
// answer. Returns 0, or the system error code of the service or the transport; then there is no
// reply. With a null `reply`, none is asked for: the service only says whether it is done.
u32 vyn_call(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply);

// Sends the query of a read. Traces a failure and a null reply; both texts begin with the name of
// the function. Returns the result of the call.
u32 vyn_query(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply,
              const char *function, vyn_format<const char *, const char *> failed,
              vyn_format<const char *> null_reply);

// Sends the query of a read of regions or assignments. Traces a failure, but not a null reply.
u32 vyn_query_region(vyn_snmp_req *request, bool exact, vyn_reply *reply, const char *function);
