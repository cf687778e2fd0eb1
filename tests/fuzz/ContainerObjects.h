// Objects for the fuzz target of the containers, made from the bytes of an input. Whatever is made
// is read back at once by every function of its type and held against a plain model.
#pragma once

#include "tests/fuzz/ByteProgram.h"

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace qel::fuzz {

// Each returns a reference that the caller releases. A string is null where the bytes are none.
CFStringRef MakeString(ByteProgram& program);
CFNumberRef MakeNumber(ByteProgram& program);
CFDataRef MakeData(ByteProgram& program);
CFUUIDRef MakeUUID(ByteProgram& program);
// The text may be of another type, or empty, and the base of another type: then null, and checked.
CFURLRef MakeURL(CFTypeRef text, CFTypeRef base);

// The content of a string as its characters tell it.
std::u16string UnitsOf(CFStringRef string);
// The value of a number, exactly: this format holds every 64-bit integer and every double.
long double ValueOf(CFNumberRef number);

// Any index and any range, those at the ends of the numbers among them; mostly near 0 to count.
CFIndex AnyIndex(ByteProgram& program, CFIndex count);
CFRange AnyRange(ByteProgram& program, CFIndex count);

// An object that is of another type than a function asks for has a plain answer from each.
void CheckOtherTypes(CFTypeRef object);

} // namespace qel::fuzz
