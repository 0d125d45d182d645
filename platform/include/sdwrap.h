/* The switch's event history and debug output. */
#ifndef SDWRAP_H
#define SDWRAP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t u32;

/* Returns 0 if events of this type and level are recorded, non-zero if not. */
int sdwrap_hist_event_subtype_check(u32 type, u32 level);

/* Records an event: its level, a 32-bit word of the host, and a text with its NUL. length counts
 * both. */
void sdwrap_hist_event(u32 type, u32 length, const void *record);

/* Returns non-zero if debug output of this level is on. */
int sdwrap_chk_int(u32 level, int, int, int);

/* Writes a line of debug output, as printf does. */
void buginf(int, const char *module, int, const char *format, ...);

/* The name under which this process writes debug output. */
extern const char *sdwrap_dbg_modname;

#ifdef __cplusplus
}
#endif

#endif
