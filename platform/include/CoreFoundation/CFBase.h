/* What all objects share: basic types, allocators, counting, equality, hashing, description. */
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

#define CF_EXPORT extern __attribute__((visibility("default")))
#define CF_INLINE static inline

CF_EXTERN_C_BEGIN

typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;
typedef signed long CFIndex;

/* Any object. */
typedef const void* CFTypeRef;
/* A string, data, number, boolean, array or dictionary. */
typedef CFTypeRef CFPropertyListRef;

typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFNull* CFNullRef;
typedef const struct __CFString* CFStringRef;

/* The result of a search without a find. */
static const CFIndex kCFNotFound = -1;

/* The order of two values: the first is less than, equal to, or greater than the second. */
typedef CFIndex CFComparisonResult;
enum { kCFCompareLessThan = -1, kCFCompareEqualTo = 0, kCFCompareGreaterThan = 1 };

typedef CFComparisonResult (*CFComparatorFunction)(const void* first, const void* second,
                                                   void* context);

/* The indices from location to location + length - 1. */
typedef struct CFRange {
    CFIndex location;
    CFIndex length;
} CFRange;

CF_INLINE CFRange CFRangeMake(CFIndex location, CFIndex length) {
    CFRange range;
    range.location = location;
    range.length = length;
    return range;
}

/*
 * Allocators. Every function that makes an object takes one, for the interface's sake: any of
 * these, or NULL, gives the same memory. They are immortal. Callbacks receive the allocator that
 * their container was made with. CFGetAllocator and CFAllocatorGetDefault answer
 * kCFAllocatorSystemDefault, and CFGetAllocator NULL for a null object.
 */
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault; /* NULL */
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;

CF_EXPORT CFTypeID CFAllocatorGetTypeID(void);
CF_EXPORT CFAllocatorRef CFAllocatorGetDefault(void);
CF_EXPORT CFAllocatorRef CFGetAllocator(CFTypeRef object);

/* The one object that represents "nothing" where a container needs an object. Immortal. */
CF_EXPORT const CFNullRef kCFNull;

CF_EXPORT CFTypeID CFNullGetTypeID(void);

/*
 * Counting. A new object counts 1; the release that brings it to 0 destroys it. Constants (CFSTR,
 * kCFBooleanTrue and the like) are immortal: retain and release leave them alone, and their count
 * reads as the largest CFIndex. CFRetain returns its argument. All three accept NULL: NULL, no
 * action, 0. Any thread.
 */
CF_EXPORT CFTypeRef CFRetain(CFTypeRef object);
CF_EXPORT void CFRelease(CFTypeRef object);
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef object);

/*
 * Type, equality and hash.
 *
 * CFGetTypeID: compare with CFStringGetTypeID() and its like; 0, which no type has, for NULL.
 * CFEqual: whether both have the same type and content; a container compares its members with its
 * callbacks. NULL equals NULL and nothing else.
 * CFHash: equal objects have equal hashes; 0 for NULL. The hash of a mutable container changes
 * with its content. It is the same in every run for content without bare pointers.
 * A container must not contain itself.
 */
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef object);
CF_EXPORT Boolean CFEqual(CFTypeRef first, CFTypeRef second);
CF_EXPORT CFHashCode CFHash(CFTypeRef object);

/*
 * Text for people.
 *
 * CFCopyDescription: strings, numbers, booleans, arrays and dictionaries look like JSON, containers
 * indented by four spaces unless they fit on a line; NULL for NULL.
 * CFCopyTypeIDDescription: the type's name, like "CFArray"; NULL for an id that no type has.
 * The caller releases either.
 */
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef object);
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type);

CF_EXTERN_C_END
