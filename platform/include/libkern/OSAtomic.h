/* Atomic arithmetic. Usable from C11 and C++20. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/*
 * Adds theAmount to *theValue as one atomic step with a full barrier, wrapping around on overflow.
 * Any thread. Returns the new value.
 */
extern int32_t OSAtomicAdd32(int32_t theAmount, volatile int32_t* theValue);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
