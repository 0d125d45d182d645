/* Texts of system error codes, also of unknown ones: syserr2str for traces, syserr_format for
 * values of managed objects. A text is valid until the next call. */
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
