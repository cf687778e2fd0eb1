// The five phase properties of one channel once more, written plainly from their definitions alone
// and in double precision. Tests hold the library to them.
//
// Of the angles' errors two kinds matter. An angle that rounding can move past the end of its range
// comes out at the other end: that makes no difference to the deviations, whose terms are distances
// on a circle, but it does to the complex difference, which takes exp of the angle as a real
// number. That one therefore comes as a range, with both ends of each such bin in it. And the
// angles are made continuous in single precision, over up to a quarter of a thousand turns, whose
// roundings add up; they are counted turn by turn.
#pragma once

#include "tests/timbre/ReferenceTimbre.h"

#include <vector>

namespace qel::test {

struct ReferencePhaseValues {
    Bounded deviation;
    Bounded weightedDeviation;
    Bounded normalizedDeviation;
    double lowestDifference = 0.0;
    double highestDifference = 0.0;
};

class ReferencePhases {
public:
    explicit ReferencePhases(std::size_t binCount);

    // The values of the next frame.
    ReferencePhaseValues Next(const ReferenceSpectrum& spectrum);

private:
    // Of the frame before; all zero in the beginning.
    std::vector<Bounded> mMagnitudes;
    std::vector<Bounded> mPhases;
    std::vector<Bounded> mDifferences;
};

} // namespace qel::test
