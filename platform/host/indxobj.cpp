// The ordered container: pointers to the caller's rows in the order of the caller's compare.
//
// compare takes a row and a key, and cannot compare two rows, so it can only be used to search: a
// sorted vector with a binary search. A container holds the rows of one SET and is small; moving
// pointers costs less than a tree.

#include "indxobj.h"

#include <algorithm>
#include <exception>
#include <new>
#include <vector>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "host.h"

struct indxobj {
    int (*compare)(const void *row, const void *key);
    std::vector<void *> rows;
    bool full_reported; // since it was last not full
};

namespace {

constexpr int failure = 1;
// A refused SET can leave its row, and managers choose the keys.
constexpr size_t max_rows = 4096;

// Returns the position of the row of that key, or the one at which to insert it.
std::vector<void *>::iterator position_of(indxobj *cache, const void *key)
{
    const auto before = [cache](void *row, const void *of) { return cache->compare(row, of) > 0; };
    return std::lower_bound(cache->rows.begin(), cache->rows.end(), key, before);
}

bool holds(indxobj *cache, std::vector<void *>::iterator position, const void *key)
{
    return position != cache->rows.end() && cache->compare(*position, key) == 0;
}

} // namespace

VYN_EXPORT int indxobj_create(indxobj **cache, int, int,
                              int (*compare)(const void *row, const void *key), int)
{
    if (cache == nullptr)
        return failure;
    *cache = compare != nullptr ? new (std::nothrow) indxobj{compare, {}, false} : nullptr;
    return *cache != nullptr ? INDXOBJ_SUCCESS : failure;
}

VYN_EXPORT int indxobj_add(indxobj *cache, void *row, const void *key)
{
    if (cache == nullptr || row == nullptr || key == nullptr)
        return failure;
    const auto position = position_of(cache, key);
    if (holds(cache, position, key))
        return failure;
    if (cache->rows.size() == max_rows) {
        if (!cache->full_reported)
            snmp_log(LOG_WARNING, "vyn: %zu rows are under creation; further ones are refused\n",
                     max_rows);
        cache->full_reported = true;
        return failure;
    }
    try {
        cache->rows.insert(position, row);
    } catch (const std::exception &) {
        return failure;
    }
    return INDXOBJ_SUCCESS;
}

VYN_EXPORT void *indxobj_find(indxobj *cache, const void *key)
{
    if (cache == nullptr || key == nullptr)
        return nullptr;
    const auto position = position_of(cache, key);
    return holds(cache, position, key) ? *position : nullptr;
}

VYN_EXPORT void *indxobj_remove(indxobj *cache, const void *key)
{
    if (cache == nullptr || key == nullptr)
        return nullptr;
    const auto position = position_of(cache, key);
    if (!holds(cache, position, key))
        return nullptr;
    void *row = *position;
    cache->rows.erase(position);
    cache->full_reported = false;
    return row;
}

VYN_EXPORT void indxobj_walk(indxobj *cache, void (*visit)(void *row))
{
    if (cache != nullptr && visit != nullptr)
        std::for_each(cache->rows.begin(), cache->rows.end(), visit);
}

VYN_EXPORT int indxobj_destroy(indxobj *cache)
{
    delete cache;
    return INDXOBJ_SUCCESS;
}
