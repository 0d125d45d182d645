/* The switch's ordered container: rows that the caller allocates, ordered by its own compare. */
#ifndef INDXOBJ_H
#define INDXOBJ_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct indxobj indxobj; /* opaque */

#define INDXOBJ_SUCCESS 2

/* Makes an empty container in *cache. compare: below, equal to or above 0, the key against the
 * row. INDXOBJ_SUCCESS, or another value and *cache null. */
int indxobj_create(indxobj **cache, int, int, int (*compare)(const void *row, const void *key),
                   int);

/* Adds a row under its key; it stays where it is. INDXOBJ_SUCCESS, or another value when the key
 * is taken, or memory or the container's room is out: then the row stays the caller's. */
int indxobj_add(indxobj *cache, void *row, const void *key);

/* The row of that key, or null. */
void *indxobj_find(indxobj *cache, const void *key);

/* Takes the row out and returns it, not freed; or null. */
void *indxobj_remove(indxobj *cache, const void *key);

/* Calls visit once for each row, in order. visit may free the row when the container is destroyed
 * next. */
void indxobj_walk(indxobj *cache, void (*visit)(void *row));

/* Frees the container, not its rows. INDXOBJ_SUCCESS. */
int indxobj_destroy(indxobj *cache);

#ifdef __cplusplus
}
#endif

#endif
