// The passes of FrameTransform around its transforms. They move, add and multiply single values, so
// that these are the same for vectors of any width.
#pragma once

#include <Accelerate/Accelerate.h>

#include <cstddef>

namespace qel::core {

// Places of a spectrum by their remainder on division by 8. Of a real frame those of 5, 6 and 7 are
// conjugates of those of 3, 2 and 1, the other way round.
inline constexpr std::size_t kTurns = 3;

// 2 cos and 2 sin of the angle by which each sample is turned for one of these remainders.
struct TurnFactors {
    const float* cosines;
    const float* sines;
};

// Folds a frame of 4 * count samples, after which there are as many zeros. With C the frame's
// length, X the spectrum in a transform of 2 C, and w = e^(-pi i / C),
//
//   folded     2 * count samples; their transform is X[4 k]
//   turned[r]  for r + 1 from 1 to 3, the sum over j of frame[n + j count] w^((r + 1)(n + j
//   count)),
//              doubled; their transform is 2 X[8 k + r + 1]
void FoldFrame(const float* frame, const TurnFactors (&factors)[kTurns], float* folded,
               const DSPSplitComplex (&turned)[kTurns], std::size_t count);

// The first 8 * groups places of a spectrum, from the places 4 k and the transforms of what was
// turned, of `count` values each.
void MergePlaces(const DSPSplitComplex& fourth, const DSPSplitComplex (&turned)[kTurns],
                 std::size_t count, const DSPSplitComplex& out, std::size_t groups);

// Where the real or the imaginary parts of these are.
struct PlaceParts {
    const float* fourth;
    const float* turned[kTurns];
    const float* ends[kTurns]; // after the last values
    float sign;                // of the conjugates
};

} // namespace qel::core
