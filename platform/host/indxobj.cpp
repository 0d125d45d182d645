// The ordered container: pointers to the caller's rows in the order of the caller's compare.
//
// compare tells on which side of a row a key lies, and never compares two rows, so a search is all
// that can be done with it: a sorted vector, searched by halves. A container holds the rows of one
// SET and is small; moving pointers costs less than a tree would.

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
    bool full_reported; // since there was room last
};

namespace {

constexpr int failure = 1;
// A refused SET can leave its row, and the manager chooses the key.
constexpr size_t most_rows = 4096;

// Where the row of that key is, or would be.
std::vector<void *>::iterator place_of(indxobj *cache, const void *key)
{
    const auto before = [cache](void *row, const void *wanted) {
        return cache->compare(row, wanted) > 0;
    };
    return std::lower_bound(cache->rows.begin(), cache->rows.end(), key, before);
}

bool holds(indxobj *cache, std::vector<void *>::iterator place, const void *key)
{
    return place != cache->rows.end() && cache->compare(*place, key) == 0;
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
    const auto place = place_of(cache, key);
    if (holds(cache, place, key))
        return failure;
    if (cache->rows.size() == most_rows) {
        if (!cache->full_reported)
            snmp_log(LOG_WARNING, "vyn: %zu rows are under creation; further ones are refused\n",
                     most_rows);
        cache->full_reported = true;
        return failure;
    }
    try {
        cache->rows.insert(place, row);
    } catch (const std::exception &) {
        return failure;
    }
    return INDXOBJ_SUCCESS;
}

VYN_EXPORT void *indxobj_find(indxobj *cache, const void *key)
{
    if (cache == nullptr || key == nullptr)
        return nullptr;
    const auto place = place_of(cache, key);
    return holds(cache, place, key) ? *place : nullptr;
}

VYN_EXPORT void *indxobj_remove(indxobj *cache, const void *key)
{
    if (cache == nullptr || key == nullptr)
        return nullptr;
    const auto place = place_of(cache, key);
    if (!holds(cache, place, key))
        return nullptr;
    void *row = *place;
    cache->rows.erase(place);
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
