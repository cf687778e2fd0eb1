/*
 * The basic types that the platform's interfaces are written in. Each integer type is the one of
 * <stdint.h> of the same width, so that pointers to either mix freely.
 */
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef uint64_t UInt64;
typedef int64_t SInt64;

typedef float Float32;
typedef double Float64;

typedef unsigned char Boolean;
typedef UInt8 Byte;
typedef UInt16 UniChar;
typedef unsigned long UniCharCount;

/* Four characters packed into 32 bits, the first in the highest byte. */
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;

/* Results of calls: 0 is success. */
typedef SInt16 OSErr;
typedef SInt32 OSStatus;

enum { noErr = 0 };
