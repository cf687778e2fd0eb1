/* What the processor offers, asked by name. Usable from C11 and C++20. */
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/*
 * Reads a system value by its name. Known are "hw.optional.sse3" and "hw.optional.sse2": an int, 1
 * if the processor has the instructions, else 0.
 *
 * name    zero-terminated; null is answered with EFAULT.
 * oldp    receives the value, or null to ask for its size alone.
 * oldlenp in: bytes at oldp; out: bytes of the value. May be null only if oldp is.
 * newp    must be null: no value can be set.
 * newlen  ignored.
 *
 * Any thread. Returns 0, or -1 with errno ENOENT for an unknown name, ENOMEM if the room at oldp is
 * too small (nothing is written there), EPERM if newp is not null, EFAULT for a missing pointer.
 */
extern int sysctlbyname(const char* name, void* oldp, size_t* oldlenp, void* newp, size_t newlen);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
