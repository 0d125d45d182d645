// The cursor and the builder of OID indexes.

#include "vyn_index.h"

#include "vyn_service.h"

bool vyn_oid_cursor::take(oid *value)
{
    if (next_ == end_)
        return false;
    *value = *next_++;
    return true;
}

size_t vyn_oid_cursor::take_octets(uint8_t *octets, oid count)
{
    const size_t taken = count < left() ? static_cast<size_t>(count) : left();
    for (size_t i = 0; i < taken; i++)
        octets[i] = static_cast<uint8_t>(*next_++);
    return taken;
}

vyn_oid_builder::vyn_oid_builder(const oid *base, size_t length)
{
    for (size_t i = 0; i < length; i++)
        put(base[i]);
}

void vyn_oid_builder::put(oid value)
{
    if (length_ < MAX_OID_LEN)
        name_[length_] = value;
    length_++;
}

void vyn_oid_builder::put_octets(const uint8_t *octets, size_t count)
{
    for (size_t i = 0; i < count; i++)
        put(octets[i]);
}

bool vyn_oid_builder::commit(oid *name, size_t *length) const
{
    if (length_ > MAX_OID_LEN) {
        vyn_trace(VYN_TRACE_FAILURE, "an answer's OID of %d sub-identifiers is too long\n",
                  static_cast<int>(length_));
        return false;
    }
    memcpy(name, name_, length_ * sizeof(oid));
    *length = length_;
    return true;
}
