// Reading and writing OID indexes.
//
// A table reads the index of a requested OID with one cursor, which cannot leave the OID, and
// writes the index of its answer with one builder, which touches the agent's OID once, when the
// answer stands. A table states its own sequence of takes and puts: where two tables differ on
// purpose, they make different calls.
//
// Names of features in an index are a length and one sub-identifier for each character. Who insists
// on the length agreeing with the characters, and who does not, is told where it is done.
#pragma once

#include <algorithm>

#include "libvyn.h"
#include "vyn_mib.h"
#include "vyn_trace.h"

// Where the index of a table's object begins: behind vynMIB.1.1.<table>.1.<column>, and as deep in
// the one table that lies elsewhere.
inline constexpr size_t VYN_TABLE_INDEX = 14;

// A feature's name may have 82 characters in the registry, and 80 in a message of the service.
inline constexpr size_t VYN_MAX_FEATURE_NAME = 82;
inline constexpr size_t VYN_MAX_APP_NAME = 80;

// The octets of an address or a VSAN that are looked at in an index.
inline constexpr size_t VYN_MAX_OCTETS = 255;

// Copies `count` sub-identifiers from position `start` on into the buffer, the low 8 bits of each,
// and a NUL behind them.
void oid_to_string(const oid *name, char *buffer, size_t start, size_t count);

// Writes the first `count` characters as sub-identifiers from position `start` on.
void string_to_oid(const char *string, oid *name, size_t start, size_t count);

// Decodes an index that is a name and nothing else: 0, and a malloc block in *name_out that the
// caller frees and the name's length in *length_out; or 1 when the length does not agree with the
// index or a sub-identifier is no character.
int vynFeature_parse_oid(const oid *index, size_t index_length, char **name_out,
                         size_t *length_out);

// The feature whose row of the operation table an OID names, its length agreeing; or null.
vyn_feature_entry *vyn_parse_FeatureEntry(const oid *name, size_t length);

// The first entry of the registry, in its own scan order, that is greater than a key by strcmp and
// whose name is not too long: the entry's name has its length in front. Null at the end.
vyn_feature_entry *vyn_next_feature(const char *key, size_t max_length = VYN_MAX_FEATURE_NAME);

// A feature's name without its length, at most VYN_MAX_FEATURE_NAME characters and a NUL.
const char *vyn_plain_name(const vyn_feature_entry &entry);

// True when an OID lies below that of a column.
bool vyn_is_below(const struct variable *column, const oid *name, size_t length);

// The scope of an index in the records of merges, locks and regions; 0 for what is neither.
vyn_service_scope vyn_service_scope_of(oid scope);

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
    bool take(oid *value)
    {
        if (next_ == end_)
            return false;
        *value = *next_++;
        return true;
    }

    // Takes up to `count` as octets, the low 8 bits of each, and returns how many there were. The
    // buffer must have room for `count`, which therefore never comes from an OID unchecked.
    size_t take_octets(uint8_t *octets, size_t count)
    {
        const size_t taken = std::min(count, left());
        for (size_t i = 0; i < taken; i++)
            octets[i] = static_cast<uint8_t>(*next_++);
        return taken;
    }

    // Takes all as characters of a string with room for `max_length` of them and a NUL. False when
    // there are more, or when one is no character.
    bool take_string(char *string, size_t max_length);

    // The last one, which is not taken. False at the end.
    bool last(oid *value) const;

    // Passes over `count`. False, and nothing is passed over, when there are fewer.
    bool skip(oid count);

    // Takes a name for the exact key of a message, the low 8 bits of each sub-identifier: false
    // when it is longer than such names are or does not lie inside the OID.
    bool take_app_name(char (&name)[VYN_MAX_APP_NAME + 1]);

    // The same, and false also when a sub-identifier is no character.
    bool take_strict_app_name(char (&name)[VYN_MAX_APP_NAME + 1]);

    // Takes a name for a key to go on from: cut to the length of such names, and what the OID lacks
    // of it is blanks, which sort before all that a name is made of.
    void take_partial_app_name(char (&name)[VYN_MAX_APP_NAME + 1]);

    // Takes the scope that ends an exact index as the records of merges, locks and assignments have
    // it: 1 and nothing behind it for the physical scope; 2, the VSAN's length, which may be wrong
    // but not 0, and its four octets for a logical one. False for everything else.
    bool take_service_scope(be32 *scope, be32 *vsan);

    // Takes the count in front of octets to go on from: 0 at the end, VYN_MAX_OCTETS for more.
    size_t take_count();

    // Takes up to `count` octets into a record, from a byte offset on. They run on over the
    // following fields and stop at the record's end.
    template <typename Record> void take_into(Record *record, size_t offset, size_t count)
    {
        take_octets(reinterpret_cast<uint8_t *>(record) + offset,
                    std::min(count, sizeof(Record) - offset));
    }

    // Takes the scope of a record of merges or regions and, of a logical one, all octets that
    // follow the VSAN's length: they run on behind the VSAN.
    template <typename Record> void take_scope_into(Record *record)
    {
        oid scope = VYN_SCOPE_NONE, vsan_length;
        take(&scope);
        record->scope = vyn_service_scope_of(scope);
        if (scope == VYN_SCOPE_LOGICAL && take(&vsan_length))
            take_into(record, offsetof(Record, vsan), left());
    }

  private:
    const oid *next_;
    const oid *end_;
};

// The index of a requested OID. A GET's or a SET's begins where the column's OID ends; to a GETNEXT
// from elsewhere in the tree, the index is empty.
vyn_oid_cursor vyn_index_of(const struct variable *column, const oid *name, size_t length,
                            bool exact);

// Traces what was asked for: an OID of that length, of a column with `base` sub-identifiers.
void vyn_trace_read(const char *function, bool exact, size_t length, size_t base);

// Whether an exact OID has an index at all; traces it, at a level of the table's, when it has none.
bool vyn_has_index(const vyn_oid_cursor &index, const char *function, vyn_trace_level no_index);

// Takes the name that an exact index of a message's key begins with. False when there is no index
// or the name is empty as a string, each traced at a level of the table's, and, without a trace,
// when take_app_name refuses it.
bool vyn_take_key_name(vyn_oid_cursor *index, char (&name)[VYN_MAX_APP_NAME + 1],
                       const char *function, vyn_trace_level no_index = VYN_TRACE_FAILURE,
                       vyn_trace_level empty = VYN_TRACE_FAILURE);

// Builds the OID of an answer.
class vyn_oid_builder {
  public:
    vyn_oid_builder(const oid *base, size_t length) : length_(length)
    {
        memcpy(name_, base, std::min<size_t>(length, MAX_OID_LEN) * sizeof(oid));
    }

    void put(oid value)
    {
        if (length_ < MAX_OID_LEN)
            name_[length_] = value;
        length_++;
    }
    void put_octets(const uint8_t *octets, size_t count);

    // A length, and so many characters of a text.
    void put_name(const char *name, size_t length);

    // A VSAN as an octet string: 4, and its octets, most significant first.
    void put_vsan(be32 vsan);

    // A scope as in the records of merges, locks and assignments. The physical one is a 1 alone,
    // without the length of the VSAN that it does not have.
    void put_service_scope(be32 scope, be32 vsan);

    // What another OID has in this place, or 0 where it does not reach.
    void put_as_in(const oid *name, size_t length);

    // Hands the OID over, or traces, returns false and leaves name and length alone when it is
    // longer than the agent's OIDs can be.
    bool commit(oid *name, size_t *length) const;

  private:
    oid name_[MAX_OID_LEN];
    size_t length_; // goes on counting behind the end, so that commit knows
};

// Commits the OID of a row whose index is a feature's name and a scope, of the records of merges,
// locks and assignments.
bool vyn_commit_scoped_row(const struct variable *column, const vyn_field &app_name, be32 scope,
                           be32 vsan, oid *name, size_t *length);
