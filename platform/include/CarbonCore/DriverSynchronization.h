/* Compare and swap. Usable from C11 and C++20. */
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/*
 * Stores newValue at address if it holds oldValue, as one atomic step with a full barrier,
 * whether it stores or not. Any thread. Returns whether it stored.
 */
extern Boolean CompareAndSwap(UInt32 oldValue, UInt32 newValue, volatile UInt32* address);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
