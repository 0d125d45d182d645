// What handlers of requests share: taking a record from a packet, and the kinds of replies.
//
// The reply to a read is the service's full record, whatever part of it the query fills. Larger
// records have their own size. The reply to a change is only the head of a record.
#pragma once

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "query.h"
#include "vyn_wire.h"

namespace vynd {

inline constexpr size_t read_reply_size = 360;
inline constexpr size_t change_reply_size = 8;

// Copies a record from a packet. Returns false if the packet has another size.
template <typename Record> bool take(std::span<const uint8_t> packet, Record &record)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    if (packet.size() != sizeof(record))
        return false;
    std::memcpy(&record, packet.data(), sizeof(record));
    return true;
}

// Returns the first word of a record, 0 if the record is too short.
inline uint32_t first_word(std::span<const uint8_t> record)
{
    be32 word = 0;
    take(record.first(std::min(record.size(), sizeof(word))), word);
    return word;
}

inline outcome refused(uint32_t code, std::string note)
{
    return {code, {}, std::move(note)};
}

inline outcome no_row(const query &received)
{
    return refused(VYN_ERR_NO_MORE_ENTRIES, received.next() ? "no more rows" : "no such row");
}

template <typename Member> outcome read_reply(const query &received, const Member &member)
{
    const be32 head = received.record.query_type;
    constexpr size_t offset = offsetof(vyn_snmp_resp, bytes);
    outcome result{0, bytes(std::max(read_reply_size, offset + sizeof(member))), {}};
    std::memcpy(result.reply.data(), &head, sizeof(head));
    std::memcpy(result.reply.data() + offset, &member, sizeof(member));
    return result;
}

// `reason` explains a `status` that is a refusal.
inline outcome change_reply(const query &received, uint32_t status, const char *reason)
{
    if (status != 0)
        return refused(status, reason);
    const be32 head = received.record.query_type;
    outcome result{0, bytes(change_reply_size), {}};
    std::memcpy(result.reply.data(), &head, sizeof(head));
    return result;
}

} // namespace vynd
