// Rows under creation: what the phases of one SET leave for each other in vyn_regions and
// vyn_app_regions. A cache owns its rows. Its compare function defines the keys. If a cache could
// not be created, it stays null: then lookups find nothing and copies fail.
#pragma once

#include <cstdlib>
#include <cstring>

#include "vyn_mib.h"

// Returns the row with the key, or null.
template <typename Row> Row *vyn_find_row(indxobj *cache, const void *key)
{
    return cache != nullptr ? static_cast<Row *>(indxobj_find(cache, key)) : nullptr;
}

// Returns a copy of a row for a cache, or null without memory or without a cache.
template <typename Row> Row *vyn_copy_row(const indxobj *cache, const Row &row)
{
    Row *copy = cache != nullptr ? static_cast<Row *>(malloc(sizeof(row))) : nullptr;
    if (copy != nullptr)
        memcpy(copy, &row, sizeof(row));
    return copy;
}

// Hands a copied row to the cache. Frees it and returns false if the cache rejects it.
inline bool vyn_add_row(indxobj *cache, void *row, const void *key)
{
    if (indxobj_add(cache, row, key) == INDXOBJ_SUCCESS)
        return true;
    vyn_mib_obj_free(row);
    return false;
}

// Removes the row with the key and frees it, if it exists.
inline void vyn_drop_row(indxobj *cache, const void *key)
{
    if (cache != nullptr)
        vyn_mib_obj_free(indxobj_remove(cache, key));
}
