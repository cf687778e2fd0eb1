/* Locations, as containers pass them on: the text is kept and not taken apart. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFURL* CFURLRef;

CF_EXPORT CFTypeID CFURLGetTypeID(void);

/*
 * Makes a location from its text and the location that it is relative to, which may be NULL; both
 * are retained. The caller releases it. NULL for a text that is no string or is empty, and for a
 * base that is no location.
 */
CF_EXPORT CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef text, CFURLRef base);

/* What it was made from, owned by the location; NULL for what is no location. */
CF_EXPORT CFStringRef CFURLGetString(CFURLRef url);
CF_EXPORT CFURLRef CFURLGetBaseURL(CFURLRef url);

CF_EXTERN_C_END
