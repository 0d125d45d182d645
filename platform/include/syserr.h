/* Texts of system error codes. Both return a text that stays valid until the next call, for codes
 * that are not known too: syserr2str for traces, syserr_format for values of managed objects. */
#ifndef SYSERR_H
#define SYSERR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t u32;

const char *syserr2str(u32 code);
const char *syserr_format(u32 code);

#ifdef __cplusplus
}
#endif

#endif
