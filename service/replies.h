// What every request handler needs: records out of a packet, and the kinds of replies.
//
// A reply to a query is the service's full record, whatever part of it the query fills: clients
// take what they need from its front, and records that are longer than the usual have the size of
// their own. A change is answered with the head of a record alone.
#pragma once

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "queries.h"
#include "vyn_wire.h"

namespace vynd {

inline constexpr size_t reply_size = 360;
inline constexpr size_t change_reply_size = 8;

// Copies a record out of a packet; false when the packet has another size.
template <typename Record> bool take(std::span<const uint8_t> packet, Record &record)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    if (packet.size() != sizeof record)
        return false;
    std::memcpy(&record, packet.data(), sizeof record);
    return true;
}

// The first word of a record, and 0 for one too short to have it.
inline uint32_t first_word(std::span<const uint8_t> record)
{
    be32 word = 0;
    take(record.first(std::min(record.size(), sizeof word)), word);
    return word;
}

inline outcome refused(uint32_t code, std::string note)
{
    return {code, {}, std::move(note)};
}

// Of a read, where nothing else is said.
inline outcome nothing(const query &asked)
{
    return refused(VYN_ERR_NO_MORE_ENTRIES, asked.next() ? "no more rows" : "no such row");
}

template <typename Member> outcome found(uint32_t query_type, const Member &member)
{
    const be32 head = query_type;
    constexpr size_t offset = offsetof(vyn_snmp_resp, bytes);
    outcome result{0, bytes(std::max(reply_size, offset + sizeof member)), {}};
    std::memcpy(result.reply.data(), &head, sizeof head);
    std::memcpy(result.reply.data() + offset, &member, sizeof member);
    return result;
}

// `note` says why, where `status` is a refusal.
inline outcome changed(uint32_t query_type, uint32_t status, const char *note)
{
    if (status != 0)
        return refused(status, note);
    const be32 head = query_type;
    outcome result{0, bytes(change_reply_size), {}};
    std::memcpy(result.reply.data(), &head, sizeof head);
    return result;
}

} // namespace vynd
