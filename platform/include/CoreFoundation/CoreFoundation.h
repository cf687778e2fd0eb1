/*
 * Reference-counted containers and values, for C11 and C++20.
 *
 * Ownership: a function with "Create" or "Copy" in its name returns an object that the caller gives
 * back with CFRelease; every other function returns one that the caller may use as long as its
 * owner lives, and keeps longer with CFRetain.
 *
 * Threads: counts are atomic, so any thread may retain and release. Immutable objects may be read
 * by any number of threads at once. A mutable object is for one thread at a time.
 *
 * Misuse: a null object, an object of another type than the function is for, or an index out of
 * range gets the answer 0, NULL, false or no action, as the header of each type describes. A
 * pointer that is not an object at all, or an object released too often, cannot be told from a good
 * one.
 *
 * Memory: always from the C++ heap, whichever allocator is named. When it runs out, a Create or
 * Copy function returns NULL; a function that changes a container lets std::bad_alloc pass, with
 * the container as it was.
 */
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>
#include <CoreFoundation/CFUUID.h>
