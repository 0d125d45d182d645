// Rows under creation: what the phases of one SET leave for one another in vyn_regions and
// vyn_app_regions. The cache owns its rows; keys are those of its compare function. A cache that
// could not be made holds nothing and takes nothing.
#pragma once

#include <cstdlib>
#include <cstring>

#include "vyn_mib.h"

// The row of that key, or null.
template <typename Row> Row *vyn_find_row(indxobj *cache, const void *key)
{
    return cache != nullptr ? static_cast<Row *>(indxobj_find(cache, key)) : nullptr;
}

// A copy of a row that is to go into a cache. Null when there is no memory, or no cache.
template <typename Row> Row *vyn_copy_row(const indxobj *cache, const Row &row)
{
    Row *copy = cache != nullptr ? static_cast<Row *>(malloc(sizeof(row))) : nullptr;
    if (copy != nullptr)
        memcpy(copy, &row, sizeof(row));
    return copy;
}

// Gives a copied row to the cache. False when that does not take it; then the row is freed.
inline bool vyn_keep_row(indxobj *cache, void *row, const void *key)
{
    if (indxobj_add(cache, row, key) == INDXOBJ_SUCCESS)
        return true;
    vyn_mib_obj_free(row);
    return false;
}

// Takes the row of that key out and frees it, if there is one.
inline void vyn_drop_row(indxobj *cache, const void *key)
{
    if (cache != nullptr)
        vyn_mib_obj_free(indxobj_remove(cache, key));
}
