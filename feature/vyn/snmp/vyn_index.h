// Decoding and encoding of OID indexes.
//
// A table decodes a requested index with one cursor, which cannot leave the OID. It encodes the
// index of its row with one builder, which changes the agent's OID once, on success. Each table
// states its own sequence of takes and puts: tables that differ on purpose make different calls.
//
// The name of a feature in an index is its length and one sub-identifier for each character. Each
// decoder states whether the length must match the characters.
#pragma once

#include <algorithm>

#include "libvyn.h"
#include "vyn_mib.h"
#include "vyn_trace.h"

// The position at which the index starts in the OID of every table: it follows
// vynMIB.1.1.<table>.1.<column>, or vynMIB.1.4.2.1.<column> for vynDistCtrlTable.
inline constexpr size_t VYN_INDEX_START = 14;

// The maximum number of octets of an address or a VSAN that are read from a GETNEXT index.
inline constexpr size_t VYN_MAX_OCTETS = 255;

// Copies the low 8 bits of `count` sub-identifiers, from position `start`, and appends a NUL.
void oid_to_string(const oid *name, char *buffer, size_t start, size_t count);

// Writes `count` characters as sub-identifiers, from position `start`.
void string_to_oid(const char *string, oid *name, size_t start, size_t count);

// Decodes an index that consists of one name. Returns 0 with the name in *name_out, which the
// caller frees, and its length in *length_out. Returns 1 if the length does not match the index or
// a sub-identifier is not a character.
int vynFeature_parse_oid(const oid *index, size_t index_length, char **name_out,
                         size_t *length_out);

// Returns the feature that the OID of a row of vynFeatureOpTable names, or null. The length of the
// name must match.
vyn_feature_entry *vyn_parse_FeatureEntry(const oid *name, size_t length);

// Returns the first feature of the registry's scan that is greater than the key by strcmp, or null.
// Names in the registry start with their length byte. Skips names over `max_length` characters.
vyn_feature_entry *vyn_next_feature(const char *key, size_t max_length = VYN_MAX_FEATURE_NAME);

// Returns a feature's name without its length byte.
const char *vyn_plain_name(const vyn_feature_entry &entry);

// Reports whether an OID is in the column's subtree and has an index.
bool vyn_is_below(const struct variable *column, const oid *name, size_t length);

// Converts the scope of an index to the records of merges, locks and regions. Returns
// VYN_SERVICE_NO_SCOPE if it is neither physical nor logical.
vyn_service_scope vyn_service_scope_of(oid scope);

// Reads the sub-identifiers of an OID one after another. A function that fails may have taken
// some of them. Lengths from an OID are compared as unsigned and never added, so nothing wraps.
class vyn_oid_cursor {
  public:
    vyn_oid_cursor(const oid *name, size_t length, size_t position)
        : next_(position < length ? name + position : name + length), end_(name + length)
    {
    }

    // Returns the number of sub-identifiers that are left.
    size_t left() const { return static_cast<size_t>(end_ - next_); }

    // Takes one sub-identifier. Returns false at the end and leaves *value unchanged.
    bool take(oid *value)
    {
        if (next_ == end_)
            return false;
        *value = *next_++;
        return true;
    }

    // Takes up to `count` as octets, the low 8 bits of each, and returns the number taken. The
    // buffer must have room for `count`: check a count that comes from an OID.
    size_t take_octets(uint8_t *octets, size_t count)
    {
        const size_t taken = std::min(count, left());
        for (size_t i = 0; i < taken; i++)
            octets[i] = static_cast<uint8_t>(*next_++);
        return taken;
    }

    // Takes the rest into a string with room for `max_length` characters and a NUL. Returns false
    // if there are more, or if one is not a character.
    bool take_string(char *string, size_t max_length);

    // Reads the last sub-identifier of the OID without taking it. Returns false at the end.
    bool peek_last(oid *value) const;

    // Skips `count` sub-identifiers. Returns false and skips none if there are fewer.
    bool skip(oid count);

    // Takes a name, the low 8 bits of each sub-identifier. Returns false if the name is longer than
    // VYN_MAX_APP_NAME or than the rest of the OID.
    bool take_app_name(char (&name)[VYN_MAX_APP_NAME + 1]);

    // Takes a name like take_app_name, but also refuses sub-identifiers that are not characters.
    bool take_strict_app_name(char (&name)[VYN_MAX_APP_NAME + 1]);

    // Takes the name of a GETNEXT key, cut to VYN_MAX_APP_NAME. Missing characters become blanks,
    // which sort before all characters of a name.
    void take_partial_app_name(char (&name)[VYN_MAX_APP_NAME + 1]);

    // Takes the scope of an exact index of merges or locks. Physical: 1, at the end. Logical: 2, a
    // length (only 0 is refused) and the VSAN's four octets. Returns false for anything else.
    bool take_service_scope(be32 *scope, be32 *vsan);

    // Takes the count before the octets of a GETNEXT index. Returns 0 at the end, and at most
    // VYN_MAX_OCTETS.
    size_t take_octet_count();

    // Takes up to `count` octets into a record, from a byte offset.
    // Quirk: octets that do not fit the field overwrite the next fields, up to the record's end.
    template <typename Record> void take_into(Record *record, size_t offset, size_t count)
    {
        take_octets(reinterpret_cast<uint8_t *>(record) + offset,
                    std::min(count, sizeof(Record) - offset));
    }

    // Takes the scope into a record of merges or regions. If it is logical, also skips the VSAN's
    // length and copies all octets that are left to the record's VSAN.
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

// Returns a cursor over the index of a requested OID: what follows the column's OID. The index is
// empty for a GETNEXT from outside the column.
vyn_oid_cursor vyn_index_of(const struct variable *column, const oid *name, size_t length,
                            bool exact);

// Traces a read: the lengths of the requested OID and of the column's OID.
void vyn_trace_read(const char *function, bool exact, size_t length, size_t column_length);

// Reports whether an exact OID has an index. Traces an empty index at the given level.
bool vyn_has_index(const vyn_oid_cursor &index, const char *function,
                   vyn_trace_level no_index_level);

// Takes the name at the start of an exact index. Traces an empty index or name at the given levels
// and returns false. Returns false without a trace if take_app_name refuses the name.
bool vyn_take_key_name(vyn_oid_cursor *index, char (&name)[VYN_MAX_APP_NAME + 1],
                       const char *function, vyn_trace_level no_index_level = VYN_TRACE_FAILURE,
                       vyn_trace_level empty_name_level = VYN_TRACE_FAILURE);

// Builds the OID of a row or of a notification.
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

    // Puts the length and the characters of a name.
    void put_name(const char *name, size_t length);

    // Puts a VSAN as an octet string: 4 and its octets, most significant first.
    void put_vsan(be32 vsan);

    // Puts a scope of a record of merges, locks or regions. Physical: 1 alone. Logical: 2
    // and the VSAN.
    void put_service_scope(be32 scope, be32 vsan);

    // Puts the sub-identifier that another OID has at this position, or 0 if that OID is shorter.
    void put_from(const oid *name, size_t length);

    // Copies the OID to name and length. If it is longer than an OID can be, traces that, returns
    // false and leaves both unchanged.
    bool commit(oid *name, size_t *length) const;

  private:
    oid name_[MAX_OID_LEN];
    size_t length_; // also counts what did not fit, for commit
};

// Commits the OID of a merge, lock or assignment, whose index is a feature's name and a scope.
bool vyn_commit_scoped_row(const struct variable *column, const vyn_field &app_name, be32 scope,
                           be32 vsan, oid *name, size_t *length);
