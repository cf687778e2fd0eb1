// What several of the onset tests say about results.
#pragma once

#include "tests/rhythm/onsets/OnsetRun.h"
#include "tests/rhythm/onsets/ReferenceOnsets.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace qel::test {

struct OnsetSetup {
    std::size_t blockFrames = 4096;
    std::size_t silentFrames = kFlushFrames;
    float sensitivity = 80.0f;
};

// Without what the reference leaves out.
inline std::vector<Event> WithoutFaint(std::vector<Event> onsets, double faint = kFaint) {
    std::erase_if(onsets, [&](const Event& onset) { return onset.strength <= faint; });
    return onsets;
}

inline bool IsSame(const ReferenceOnsetList& expected, double rateHz,
                   const std::vector<Event>& actual) {
    if (expected.size() != actual.size()) {
        return false;
    }
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const double time = static_cast<double>(expected[i].frame) * (1.0 / rateHz);
        const double error = static_cast<double>(actual[i].strength) - expected[i].strength;
        if (actual[i].timeSeconds != time ||
            !(std::abs(error) <= kLevelDoubt * expected[i].strength)) {
            return false;
        }
    }
    return true;
}

// Each channel's onsets stand at the very samples of the reference, and have its strengths.
inline void ExpectReferenceOnsets(const Audio& audio, double rateHz, const OnsetSetup& setup,
                                  const OnsetResults& results) {
    const auto sums = BandSum(audio, rateHz, setup.blockFrames, setup.silentFrames);
    ASSERT_EQ(sums.size(), results.onsets.size());
    for (std::size_t c = 0; c < sums.size(); ++c) {
        ReferenceOnsetList found;
        std::ostringstream listing;
        for (const Event& onset : WithoutFaint(results.onsets[c])) {
            const double frame = std::round(onset.timeSeconds * rateHz);
            EXPECT_EQ(frame * (1.0 / rateHz), onset.timeSeconds) << "not exact";
            found.push_back({static_cast<std::size_t>(frame), static_cast<double>(onset.strength)});
            listing << ' ' << frame << " (" << onset.strength << ')';
        }
        const Agreement agreement =
            Agrees(OnsetCurve(sums[c]), OnsetWindow(sums[c].size(), setup.sensitivity), found);
        EXPECT_TRUE(agreement.holds) << "channel " << c << " fits up to the candidate at "
                                     << agreement.frame << ":" << listing.str();
    }
}

} // namespace qel::test
