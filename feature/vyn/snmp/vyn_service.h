// The one transport call to the service, and the owner of a reply.
//
// A request is one blocking call and is never repeated. Bytes that a reply lacks read as zero.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "vyn_mib.h"
#include "vyn_trace.h"

// Owns the block that holds a reply, and frees it on every path.
class vyn_reply {
  public:
    vyn_reply() = default;
    vyn_reply(const vyn_reply &) = delete;
    vyn_reply &operator=(const vyn_reply &) = delete;
    ~vyn_reply() { release(); }

    // Returns false for a null reply: the call succeeded, but the reply has no content.
    bool present() const { return block_ != nullptr && length_ != 0; }

    // Reports whether the reply contains a whole member.
    template <typename Member> bool has_all_of(Member vyn_snmp_resp::*) const
    {
        return present() && length_ >= member_offset + sizeof(Member);
    }

    // Returns a copy of a member, given as &vyn_snmp_resp::resp_region.
    template <typename Member> Member read(Member vyn_snmp_resp::*which) const
    {
        Member member;
        read_into(&member, which);
        return member;
    }

    // Copies a member into *member.
    template <typename Member> void read_into(Member *member, Member vyn_snmp_resp::*) const
    {
        static_assert(std::is_trivially_copyable_v<Member> && alignof(Member) == 1);
        const bool has_member = present() && length_ > member_offset;
        const size_t received = has_member ? std::min(length_ - member_offset, sizeof(Member)) : 0;
        auto *bytes = reinterpret_cast<uint8_t *>(member);
        if (has_member)
            memcpy(bytes, static_cast<const uint8_t *>(block_) + member_offset, received);
        if (received < sizeof(Member))
            memset(bytes + received, 0, sizeof(Member) - received);
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

// Quirk: after a null reply, a table's function returns this to serve its last row again, under the
// requested OID.
inline constexpr int VYN_SERVE_LAST_ROW = 0;

// Returns the operation of a query: GET for the named row, or GETNEXT for the next one.
constexpr vyn_msg_type vyn_read_msg_type(bool exact)
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

// Sends a request for the SNMP user who is being served, and waits for the reply. Returns 0, or a
// system error of the service or the transport; then there is no reply. If `reply` is null, the
// service returns only success or an error.
u32 vyn_call(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply);

// Sends the query of a read. Traces a failure and a null reply; both formats start with the name
// of the function. Returns the result of vyn_call.
u32 vyn_query(vyn_opcode opcode, vyn_msg_type msg_type, vyn_snmp_req *request, vyn_reply *reply,
              const char *function, vyn_format<const char *, const char *> failed,
              vyn_format<const char *> null_reply);

// Sends a query for a region or an assignment. Traces a failure, but not a null reply. Returns the
// result of vyn_call.
u32 vyn_query_region(vyn_snmp_req *request, bool exact, vyn_reply *reply, const char *function);
