// Reading and writing OID indexes.
//
// A table reads the index of a requested OID with one cursor, which cannot leave the OID, and
// writes the index of its answer with one builder, which touches the agent's OID once, when the
// answer stands. A table states its own sequence of takes and puts: where two tables differ on
// purpose, they make different calls.
#pragma once

#include "vyn_mib.h"

// Walks the sub-identifiers of an OID from a position on. Positions and counts are unsigned and
// compared, never added, before they are narrowed: a length of 4294967295 in an OID is a long one.
class vyn_oid_cursor {
  public:
    vyn_oid_cursor(const oid *name, size_t length, size_t position)
        : next_(position < length ? name + position : name + length), end_(name + length)
    {
    }

    // Sub-identifiers not yet taken.
    size_t left() const { return static_cast<size_t>(end_ - next_); }

    // Takes one. False at the end, and then *value is as it was.
    bool take(oid *value);

    // Takes up to `count` as octets, the low 8 bits of each, and returns how many there were.
    size_t take_octets(uint8_t *octets, oid count);

  private:
    const oid *next_;
    const oid *end_;
};

// Builds the OID of an answer.
class vyn_oid_builder {
  public:
    vyn_oid_builder(const oid *base, size_t length);

    void put(oid value);
    void put_octets(const uint8_t *octets, size_t count);

    // Hands the OID over, or traces, returns false and leaves name and length alone when it is
    // longer than the agent's OIDs can be.
    bool commit(oid *name, size_t *length) const;

  private:
    oid name_[MAX_OID_LEN];
    size_t length_ = 0; // goes on counting behind the end, so that commit knows
};
