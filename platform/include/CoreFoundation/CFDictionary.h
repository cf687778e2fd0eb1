/* Hash tables from pointer-sized keys to pointer-sized values. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const void* (*CFDictionaryRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFDictionaryEqualCallBack)(const void* first, const void* second);
typedef CFHashCode (*CFDictionaryHashCallBack)(const void* value);

/*
 * What a dictionary does with its keys and values. version is 0. Each function may be NULL: keys
 * or values are then stored as they are, not released, described by their address, equal when they
 * are the same pointer, and hashed by address. The dictionary stores what retain returns. Keys that
 * are equal must have equal hashes. No callback may throw, or change the dictionary.
 */
typedef struct CFDictionaryKeyCallBacks {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
    CFDictionaryHashCallBack hash;
} CFDictionaryKeyCallBacks;

typedef struct CFDictionaryValueCallBacks {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
} CFDictionaryValueCallBacks;

/* For keys and values that are objects. The second copies keys that are strings; as strings do not
   change, it does the same as the first. */
CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
CF_EXPORT const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks;
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

typedef void (*CFDictionaryApplierFunction)(const void* key, const void* value, void* context);

typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;

CF_EXPORT CFTypeID CFDictionaryGetTypeID(void);

/*
 * Making dictionaries; the caller releases them.
 *
 *   keys, values  count pointers each, copied; may be NULL if count is 0. Of equal keys the first
 *                 stays.
 *   capacity      a hint; the dictionary grows beyond it
 *   callbacks     copied; NULL means that every callback is NULL
 *
 * A copy has the callbacks of the original, NULL ones too, and retains keys and values with them.
 * NULL for a negative count, for NULL keys or values with a count, and for a copy of what is no
 * dictionary.
 */
CF_EXPORT CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys,
                                             const void** values, CFIndex count,
                                             const CFDictionaryKeyCallBacks* keyCallBacks,
                                             const CFDictionaryValueCallBacks* valueCallBacks);
CF_EXPORT CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator,
                                                 CFDictionaryRef dictionary);
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(
    CFAllocatorRef allocator, CFIndex capacity, const CFDictionaryKeyCallBacks* keyCallBacks,
    const CFDictionaryValueCallBacks* valueCallBacks);
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator,
                                                               CFIndex capacity,
                                                               CFDictionaryRef dictionary);

/*
 * Reading.
 *
 * GetCount: 0 for what is no dictionary.
 * GetValue: NULL for a key that is not there.
 * GetValueIfPresent: whether the key is there; value, which may be NULL, is written only then.
 * GetKeysAndValues: writes GetCount pointers to each of the two, which may be NULL.
 * ApplyFunction: calls the function, which may not change the dictionary, once per key.
 *
 * Keys come in the order in which they were added, so that output is the same in every run. A key
 * that is set again keeps its place; one that is removed and added again goes to the end.
 */
CF_EXPORT CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
CF_EXPORT const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
CF_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key,
                                                const void** value);
CF_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key);
CF_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                            const void** values);
CF_EXPORT void CFDictionaryApplyFunction(CFDictionaryRef dictionary,
                                         CFDictionaryApplierFunction applier, void* context);

/*
 * Changing. No action for a dictionary that is not mutable. AddValue leaves a key alone that is
 * there already; SetValue replaces its value; RemoveValue ignores a key that is not there. A new
 * value is retained before an old one is released.
 */
CF_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef dictionary, const void* key,
                                    const void* value);
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key,
                                    const void* value);
CF_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key);
CF_EXPORT void CFDictionaryRemoveAllValues(CFMutableDictionaryRef dictionary);

CF_EXTERN_C_END
