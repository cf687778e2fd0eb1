/* Immutable strings of UTF-16 code units. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding;

/* The encodings that are understood. Any other is answered like bytes that are not valid in it. */
enum { kCFStringEncodingASCII = 0x0600, kCFStringEncodingUTF8 = 0x08000100 };

typedef CFOptionFlags CFStringCompareFlags;
enum { kCFCompareCaseInsensitive = 1 };

CF_EXPORT CFTypeID CFStringGetTypeID(void);

/*
 * CFSTR("literal"): a constant string from a literal in UTF-8. It is immortal, and the same
 * content gives the same pointer everywhere in the process. Each use looks the literal up in a
 * table, in any thread. NULL if the literal is not valid UTF-8; std::bad_alloc if memory runs out.
 */
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* literal);

/*
 * Making strings; the caller releases them.
 *
 *   cString   ends with a zero byte
 *   bytes     count bytes, zero bytes allowed; may be NULL if count is 0
 *   isExternalRepresentation
 *             a byte order mark at the beginning is no part of the content
 *
 * NULL for NULL bytes, a negative count, and bytes that are not valid in the encoding: above 127
 * for ASCII; for UTF-8 also overlong forms, surrogates, and code points above 0x10FFFF. The copy
 * of a string is the same object, retained.
 */
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* cString,
                                                CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes,
                                              CFIndex count, CFStringEncoding encoding,
                                              Boolean isExternalRepresentation);
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef allocator, CFStringRef string);

/*
 * Reading.
 *
 * GetLength: in UTF-16 code units; 0 for what is no string.
 * GetCharacterAtIndex: a UTF-16 code unit; 0 for an index out of range.
 * GetCString: writes the content and a zero byte into bufferSize bytes. False, and an empty C
 * string if the buffer has room for one, if the content does not fit or the encoding lacks a
 * character of it.
 * GetCStringPtr: the content where it lies, valid as long as the string; NULL if the encoding lacks
 * a character of it or the content has a zero in it.
 * GetMaximumSizeForEncoding: bytes that any string of that length, in UTF-16 code units, fits into,
 * without the zero at the end; kCFNotFound for a length below 0 or too large, or another encoding.
 */
CF_EXPORT CFIndex CFStringGetLength(CFStringRef string);
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index);
CF_EXPORT Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/*
 * Comparing, by UTF-16 code units: no locale, and no normalization of accents. With
 * kCFCompareCaseInsensitive the letters A to Z count as a to z; other options are not looked at.
 * What is no string comes before every string. HasPrefix is false for what is no string.
 */
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef first, CFStringRef second,
                                             CFStringCompareFlags options);
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix);

CF_EXTERN_C_END
