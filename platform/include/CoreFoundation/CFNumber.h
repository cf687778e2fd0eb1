/* Numbers and truth values. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFBoolean* CFBooleanRef;

/* The two truth values. Immortal. GetValue is false for what is no boolean. */
CF_EXPORT const CFBooleanRef kCFBooleanTrue;
CF_EXPORT const CFBooleanRef kCFBooleanFalse;

CF_EXPORT CFTypeID CFBooleanGetTypeID(void);
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef boolean);

typedef CFIndex CFNumberType;
enum {
    /* Types of fixed size, the only ones that CFNumberGetType answers. */
    kCFNumberSInt8Type = 1,
    kCFNumberSInt16Type = 2,
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberFloat32Type = 5,
    kCFNumberFloat64Type = 6,
    /* Types of C. */
    kCFNumberCharType = 7,
    kCFNumberShortType = 8,
    kCFNumberIntType = 9,
    kCFNumberLongType = 10,
    kCFNumberLongLongType = 11,
    kCFNumberFloatType = 12,
    kCFNumberDoubleType = 13,
    /* Others. */
    kCFNumberCFIndexType = 14,
    kCFNumberNSIntegerType = 15, /* as long */
    kCFNumberCGFloatType = 16,   /* as double */
    kCFNumberMaxType = 16
};

typedef const struct __CFNumber* CFNumberRef;

/* Immortal. */
CF_EXPORT const CFNumberRef kCFNumberPositiveInfinity;
CF_EXPORT const CFNumberRef kCFNumberNegativeInfinity;
CF_EXPORT const CFNumberRef kCFNumberNaN;

CF_EXPORT CFTypeID CFNumberGetTypeID(void);

/*
 * Makes a number from what value points at, which has the type that is named; the caller releases
 * it. NULL for a null value or an unknown type.
 */
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type,
                                     const void* value);

/*
 * Reading.
 *
 * GetType: the type of fixed size that matches the one given at creation; GetByteSize its size in
 * bytes; both 0 for what is no number.
 * GetValue: writes the number as the type that is named. True if that has exactly the number's
 * value. Otherwise false, and what is written is near: the fraction cut off, a value out of range
 * moved to the end of the range, not-a-number as 0, a floating-point value rounded. False, and
 * nothing written, for what is no number, an unknown type, or a null value.
 */
CF_EXPORT CFNumberType CFNumberGetType(CFNumberRef number);
CF_EXPORT CFIndex CFNumberGetByteSize(CFNumberRef number);
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef number);
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

/*
 * Orders two numbers by their exact values, whatever their types; CFEqual and CFHash go by the
 * same. The two zeros are equal. Not-a-number equals itself and comes before all others; what is
 * no number comes before that. context is not looked at.
 */
CF_EXPORT CFComparisonResult CFNumberCompare(CFNumberRef first, CFNumberRef second, void* context);

CF_EXTERN_C_END
