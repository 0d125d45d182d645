/* The VYN client library: the registered features and their state. All words are in host byte
 * order, except those of the state record. */
#ifndef LIBVYN_H
#define LIBVYN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t u32;

typedef struct vyn_feature_entry {
    uint8_t name[84]; /* one byte of length, at most 82 characters, NUL */
    u32 show_cfg_option;
    u32 entry_attr;
    u32 action; /* pending: stored first, run by set_vyn_entry_to_module */
    u32 scope_type;
    u32 scope_value;
    u32 flags; /* vyn_feature_flags of vyn_wire.h: the scopes in which it is distributed */
    u32 flags2;
    struct vyn_feature_entry *next;
} vyn_feature_entry;

typedef struct vyn_cfg_option {
    u32 option;
    u32 scope;
    u32 vsan;
    u32 value;
} vyn_cfg_option;

/* Reads the registry of features again. Returns 0, or non-zero if that failed. */
int query_and_build_vyn_registrations(void);

/* Start a scan of the registry, and return its next feature, or null after the last. Entries are
 * the library's, and stay where they are while one SNMP request is served. */
void vyn_scanFeatureInit(void);
vyn_feature_entry *vyn_scanFeatureNext(void);

/* Returns the feature of that name (without a length byte), or null. */
vyn_feature_entry *vyn_getFeatureEntry(const char *name);

/*
 * Reads the state of a feature. `state` is a record of 44 bytes, eleven big-endian words (counted
 * from 1: 4 last action or status, 5 scope, 6 VSAN, 7 result, 8 error code, 9 and 10 seconds and
 * microseconds, 11 show-configuration option). On entry words 5 and 6 are the key.
 * op 1: exactly this scope and VSAN; op 2: the next one.
 * Returns 0 if found, a negative value on failure, a positive one if there is none.
 */
int get_vyn_entry_from_module(vyn_feature_entry *entry, void *state, int op);

/* Run the pending action of the entry, store an option, make the entry persistent. All return 0 on
 * success. */
int set_vyn_entry_to_module(vyn_feature_entry *entry);
int set_vyn_cfg_option_to_module(vyn_feature_entry *entry, const vyn_cfg_option *option);
int pss_update_vyn_feature_entry_rt(vyn_feature_entry *entry, int);

/* Returns the system error code of a merge failure, from the code and flag of a merge reply. */
u32 vyn_mr_status2syserr(u32 code, u32 flag);

#ifdef __cplusplus
}
#endif

#endif
