/* Immutable runs of bytes. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFData* CFDataRef;

CF_EXPORT CFTypeID CFDataGetTypeID(void);

/*
 * Makes a copy of count bytes; the caller releases it. bytes may be NULL if count is 0. NULL for a
 * negative count, and for NULL bytes with a count.
 */
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count);

/*
 * Reading. GetBytePtr is valid as long as the object, and never NULL for data. GetBytes writes
 * range.length bytes; it writes nothing unless the whole range is in the data. For what is no data:
 * 0, NULL, nothing written.
 */
CF_EXPORT CFIndex CFDataGetLength(CFDataRef data);
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef data);
CF_EXPORT void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer);

CF_EXTERN_C_END
