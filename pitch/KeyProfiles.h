#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <MacTypes.h>

namespace qel::core {

// How a vector of pitch classes, C first, fits the 24 keys, and where it lies in tonal space. All
// may run in any thread; none allocates.

inline constexpr UInt32 kPitchClasses = 12;
inline constexpr UInt32 kMusicalKeys = 2 * kPitchClasses; // 12 major, then 12 minor, C first
inline constexpr UInt32 kTonalCentroidSize = 6;

// The profile of a key, kPitchClasses floats: the major or minor profile raised to its tonic. Each
// sums to zero up to rounding.
const float* KeyProfile(UInt32 key);

// The name of a key: an immortal string, so that a reference costs no memory and one that is not
// given back loses none.
//
// Required by the contract: "F major" and "F# major" are in lower case. Clients compare the names.
CFStringRef KeyName(UInt32 key);

// Whether a pointer is one of those strings; what it points at is not looked at.
bool IsKeyName(const void* pointer);

// out[k], for each key, is the cosine between `chroma` (kPitchClasses floats, not centred) and the
// profile of the key, cut to -1 to 1, and 0 where it would be no number, as for silence.
void MakeKeyStrengthComparison(const float* chroma, float* out);

// The tonal centroid of `chroma` (kPitchClasses floats): kTonalCentroidSize coordinates, the sine
// and cosine of the circles of fifths, minor thirds and major thirds, with the radii 1, 1 and 0.5.
// Not a number for a chroma of zeros.
void ComputeTonalCentroid(const float* chroma, float* out);

} // namespace qel::core
