/* Ordered arrays of pointer-sized values. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFArrayEqualCallBack)(const void* first, const void* second);

/*
 * What an array does with its values. version is 0. Each function may be NULL: values are then
 * stored as they are, not released, described by their address, and equal when they are the same
 * pointer. The array stores what retain returns. No callback may throw, or change the array.
 */
typedef struct CFArrayCallBacks {
    CFIndex version;
    CFArrayRetainCallBack retain;
    CFArrayReleaseCallBack release;
    CFArrayCopyDescriptionCallBack copyDescription;
    CFArrayEqualCallBack equal;
} CFArrayCallBacks;

/* For values that are objects: CFRetain, CFRelease, CFCopyDescription, CFEqual. */
CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;

CF_EXPORT CFTypeID CFArrayGetTypeID(void);

/*
 * Making arrays; the caller releases them.
 *
 *   values     count pointers, copied; may be NULL if count is 0
 *   capacity   a hint; the array grows beyond it
 *   callBacks  copied; NULL means that every callback is NULL
 *
 * A copy has the callbacks of the original, NULL ones too, and retains the values with them.
 * NULL for a negative count, for NULL values with a count, and for a copy of what is no array.
 */
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                                   const CFArrayCallBacks* callBacks);
CF_EXPORT CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef array);
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFArrayCallBacks* callBacks);
CF_EXPORT CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFArrayRef array);

/*
 * Reading.
 *
 * GetCount: 0 for what is no array.
 * GetValueAtIndex: NULL for an index out of range.
 * GetValues: writes range.length values; writes nothing unless the whole range is in the array.
 * ContainsValue, GetFirstIndexOfValue: by the equal callback, in the part of the range that is in
 * the array; false, kCFNotFound.
 */
CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef array);
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
CF_EXPORT void CFArrayGetValues(CFArrayRef array, CFRange range, const void** values);
CF_EXPORT Boolean CFArrayContainsValue(CFArrayRef array, CFRange range, const void* value);
CF_EXPORT CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef array, CFRange range, const void* value);

/*
 * Changing. No action for an array that is not mutable, and for an index out of range. Inserting
 * and setting at the index that equals the count append. A new value is retained before an old one
 * is released.
 */
CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef array, const void* value);
CF_EXPORT void CFArrayInsertValueAtIndex(CFMutableArrayRef array, CFIndex index, const void* value);
CF_EXPORT void CFArraySetValueAtIndex(CFMutableArrayRef array, CFIndex index, const void* value);
CF_EXPORT void CFArrayRemoveValueAtIndex(CFMutableArrayRef array, CFIndex index);
CF_EXPORT void CFArrayRemoveAllValues(CFMutableArrayRef array);

CF_EXTERN_C_END
