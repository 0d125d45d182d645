// Decoding and encoding of OID indexes: names of features, the cursor and the builder.
//
// Every count is compared with what is left before it is used. Decoders of strings refuse a
// sub-identifier over 255, decoders of octets take its low 8 bits. Most decoders trace nothing,
// because managers often request an index that names no row.

#include "vyn_index.h"

#include <cstdlib>
#include <cstring>

void oid_to_string(const oid *name, char *buffer, size_t start, size_t count)
{
    for (size_t i = 0; i < count; i++)
        buffer[i] = static_cast<char>(name[start + i]);
    buffer[count] = '\0';
}

void string_to_oid(const char *string, oid *name, size_t start, size_t count)
{
    for (size_t i = 0; i < count; i++)
        name[start + i] = static_cast<unsigned char>(string[i]);
}

// A character is a sub-identifier of at most 255.
static bool are_characters(const oid *name, size_t count)
{
    return std::all_of(name, name + count, [](oid value) { return value <= 255; });
}

int vynFeature_parse_oid(const oid *index, size_t index_length, char **name_out, size_t *length_out)
{
    if (index == nullptr || index_length == 0 || name_out == nullptr ||
        index[0] != index_length - 1)
        return 1;
    const size_t length = index_length - 1;
    char *name = static_cast<char *>(malloc(length + 1));
    if (name == nullptr)
        return 1;
    *length_out = length;
    if (!are_characters(index + 1, length)) {
        free(name);
        return 1;
    }
    oid_to_string(index, name, 1, length);
    *name_out = name;
    return 0;
}

vyn_feature_entry *vyn_parse_FeatureEntry(const oid *name, size_t length)
{
    constexpr size_t start = VYN_INDEX_START;
    char *feature = nullptr;
    size_t feature_length = 0;
    if (length <= start ||
        vynFeature_parse_oid(name + start, length - start, &feature, &feature_length) != 0)
        return nullptr;
    vyn_feature_entry *entry = vyn_getFeatureEntry(feature);
    free(feature);
    return entry;
}

const char *vyn_plain_name(const vyn_feature_entry &entry)
{
    return reinterpret_cast<const char *>(entry.name) + 1;
}

vyn_feature_entry *vyn_next_feature(const char *key, size_t max_length)
{
    vyn_scanFeatureInit();
    while (vyn_feature_entry *entry = vyn_scanFeatureNext())
        if (strcmp(reinterpret_cast<const char *>(entry->name), key) > 0 &&
            strlen(vyn_plain_name(*entry)) <= max_length)
            return entry;
    return nullptr;
}

bool vyn_is_below(const struct variable *column, const oid *name, size_t length)
{
    return length > column->namelen &&
           memcmp(name, column->name, column->namelen * sizeof(oid)) == 0;
}

bool vyn_oid_cursor::take_string(char *string, size_t max_length)
{
    const size_t count = left();
    if (count > max_length || !are_characters(next_, count))
        return false;
    oid_to_string(next_, string, 0, count);
    next_ = end_;
    return true;
}

bool vyn_oid_cursor::peek_last(oid *value) const
{
    if (next_ == end_)
        return false;
    *value = end_[-1];
    return true;
}

bool vyn_oid_cursor::skip(oid count)
{
    if (count > left())
        return false;
    next_ += count;
    return true;
}

bool vyn_oid_cursor::take_app_name(char (&name)[VYN_MAX_APP_NAME + 1])
{
    oid length;
    if (!take(&length) || length > VYN_MAX_APP_NAME || length > left())
        return false;
    oid_to_string(next_, name, 0, length);
    next_ += length;
    return true;
}

bool vyn_oid_cursor::take_strict_app_name(char (&name)[VYN_MAX_APP_NAME + 1])
{
    const oid *length = next_;
    return take_app_name(name) && are_characters(length + 1, *length);
}

void vyn_oid_cursor::take_partial_app_name(char (&name)[VYN_MAX_APP_NAME + 1])
{
    oid stated_length = 0;
    take(&stated_length);
    const size_t length = std::min<oid>(stated_length, VYN_MAX_APP_NAME);
    const size_t present = std::min(length, left());
    oid_to_string(next_, name, 0, present);
    next_ += present;
    memset(name + present, ' ', length - present);
    name[length] = '\0';
}

bool vyn_oid_cursor::take_service_scope(be32 *scope, be32 *vsan)
{
    oid index_scope, vsan_length;
    uint8_t octets[sizeof(*vsan)];
    if (!take(&index_scope))
        return false;
    *scope = vyn_service_scope_of(index_scope);
    if (index_scope == VYN_SCOPE_PHYSICAL)
        return left() == 0; // Quirk: refuses the 0 that other tables have here
    if (index_scope != VYN_SCOPE_LOGICAL || !take(&vsan_length) || vsan_length == 0 ||
        take_octets(octets, sizeof(octets)) != sizeof(octets))
        return false;
    memcpy(vsan, octets, sizeof(octets));
    return true;
}

size_t vyn_oid_cursor::take_octet_count()
{
    oid count = 0;
    take(&count);
    return std::min<oid>(count, VYN_MAX_OCTETS);
}

vyn_oid_cursor vyn_index_of(const struct variable *column, const oid *name, size_t length,
                            bool exact)
{
    return {name, length, exact || vyn_is_below(column, name, length) ? column->namelen : length};
}

void vyn_trace_read(const char *function, bool exact, size_t length, size_t column_length)
{
    vyn_trace(VYN_TRACE_FLOW, "%s : exact : %d , *len = %d , vp_namelen = %d \n", function,
              exact ? 1 : 0, static_cast<int>(length), static_cast<int>(column_length));
}

bool vyn_has_index(const vyn_oid_cursor &index, const char *function,
                   vyn_trace_level no_index_level)
{
    if (index.left() == 0)
        vyn_trace(no_index_level, "%s : return match -failed \n", function);
    return index.left() != 0;
}

bool vyn_take_key_name(vyn_oid_cursor *index, char (&name)[VYN_MAX_APP_NAME + 1],
                       const char *function, vyn_trace_level no_index_level,
                       vyn_trace_level empty_name_level)
{
    if (!vyn_has_index(*index, function, no_index_level) || !index->take_app_name(name))
        return false;
    if (name[0] == '\0')
        vyn_trace(empty_name_level, "%s : app name - return match failed \n", function);
    return name[0] != '\0';
}

vyn_service_scope vyn_service_scope_of(oid scope)
{
    return scope == VYN_SCOPE_PHYSICAL  ? VYN_SERVICE_PHYSICAL
           : scope == VYN_SCOPE_LOGICAL ? VYN_SERVICE_LOGICAL
                                        : VYN_SERVICE_NO_SCOPE;
}

void vyn_oid_builder::put_octets(const uint8_t *octets, size_t count)
{
    for (size_t i = 0; i < count; i++)
        put(octets[i]);
}

void vyn_oid_builder::put_name(const char *name, size_t length)
{
    put(length);
    if (length <= MAX_OID_LEN && length_ <= MAX_OID_LEN - length)
        string_to_oid(name, name_, length_, length);
    length_ += length;
}

void vyn_oid_builder::put_vsan(be32 vsan)
{
    uint8_t octets[sizeof(vsan)];
    memcpy(octets, &vsan, sizeof(octets));
    put(sizeof(octets));
    put_octets(octets, sizeof(octets));
}

void vyn_oid_builder::put_service_scope(be32 scope, be32 vsan)
{
    if (scope == VYN_SERVICE_PHYSICAL) {
        put(VYN_SCOPE_PHYSICAL);
    } else {
        put(VYN_SCOPE_LOGICAL);
        put_vsan(vsan);
    }
}

void vyn_oid_builder::put_from(const oid *name, size_t length)
{
    put(length_ < length ? name[length_] : 0);
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

bool vyn_commit_scoped_row(const struct variable *column, const vyn_field &app_name, be32 scope,
                           be32 vsan, oid *name, size_t *length)
{
    vyn_oid_builder row_oid(column->name, column->namelen);
    row_oid.put_name(app_name.text, app_name.length());
    row_oid.put_service_scope(scope, vsan);
    return row_oid.commit(name, length);
}
