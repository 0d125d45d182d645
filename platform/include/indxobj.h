/* The switch's ordered container: rows that the caller allocates, ordered by its own compare. */
#ifndef INDXOBJ_H
#define INDXOBJ_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct indxobj indxobj; /* opaque */

#define INDXOBJ_SUCCESS 2

/* Creates an empty container in *cache. compare returns > 0 if the key belongs after the row, 0 if
 * equal, < 0 if before. Returns INDXOBJ_SUCCESS, or another value and a null *cache. */
int indxobj_create(indxobj **cache, int, int, int (*compare)(const void *row, const void *key),
                   int);

/* Adds a row under its key, without copying it. Returns INDXOBJ_SUCCESS, or another value if there
 * is a row of that key, no memory, or the container is full: then the caller keeps the row. */
int indxobj_add(indxobj *cache, void *row, const void *key);

/* Returns the row of that key, or null. */
void *indxobj_find(indxobj *cache, const void *key);

/* Removes the row of that key and returns it, not freed; or null. */
void *indxobj_remove(indxobj *cache, const void *key);

/* Calls visit once for each row, in order. visit may free the row if the next call destroys the
 * container. */
void indxobj_walk(indxobj *cache, void (*visit)(void *row));

/* Frees the container, not its rows. Returns INDXOBJ_SUCCESS. */
int indxobj_destroy(indxobj *cache);

#ifdef __cplusplus
}
#endif

#endif
