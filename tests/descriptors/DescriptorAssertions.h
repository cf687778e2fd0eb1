// What the tests of the descriptor keys share: the keys, and how a row of values is compared.
#pragma once

#include "tests/descriptors/ReferenceDescriptors.h"
#include "tests/harness/TestAnalyzer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace qel::test {

inline const std::string kTemporal = "temporal properties";
inline const std::string kGeneric = "generic spectrum properties";
inline const std::string kHistogram = "spectrum histogram properties";
inline const std::string kPeak = "spectrum peak properties";
inline const std::string kFlux = "spectrum flux properties";
inline const std::string kSpectrum = "spectrum";

inline const std::vector<std::string> kFrameKeys = {kGeneric, kHistogram, kPeak, kFlux, kSpectrum};
inline const std::vector<std::string> kAllSixKeys = {kTemporal, kGeneric, kHistogram,
                                                     kPeak,     kFlux,    kSpectrum};

// Positions in the blocks.
namespace temporal {
enum Index { Crossings, Rms, Envelope };
}
namespace generic {
enum Index {
    Mean,
    Spread,
    GeometricMean,
    Energy,
    EnergyDecibels,
    PowerDecibels,
    Centroid,
    Flatness,
    MaximumFrequency,
    LowEnergy,
    Rolloff,
    Slope,
    Hfc1,
    Hfc2,
    Crest,
    Brightness
};
}
namespace histogram {
enum Index { Kurtosis, Skewness };
}
namespace peak {
enum Index {
    PeakMean,
    HarmonicCentroid,
    HarmonicDeviation,
    FirstTristimulus,
    SecondTristimulus,
    ThirdTristimulus,
    Dissonance,
    Regularity
};
}
namespace flux {
enum Index { Difference, FluxValue };
}

// A NaN as expected value stands for "any value": the figure is not defined there.
template <std::size_t Count>
void ExpectRow(const std::array<Figure, Count>& expected, const std::vector<float>& row,
               double tolerance) {
    ASSERT_EQ(Count, row.size());
    for (std::size_t i = 0; i < Count; ++i) {
        if (!std::isnan(expected[i].value)) {
            EXPECT_NEAR(expected[i].value, row[i],
                        tolerance * expected[i].scale + expected[i].slack)
                << "value " << i;
        }
    }
}

} // namespace qel::test
