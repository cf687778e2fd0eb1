// What several of the beat tests say about results.
#pragma once

#include "tests/rhythm/beats/BeatRun.h"
#include "tests/rhythm/beats/ReferenceBeats.h"

#include <gtest/gtest.h>

namespace qel::test {

// A channel's delivered tempi are those of the reference. They are whole numbers; the confidence is
// a quotient of two weighted peaks of an autocorrelation that was formed in single precision from
// spectra of about 1e-6 relative error.
inline void ExpectTempi(const Tempi& expected, const std::array<float, 3>& actual) {
    EXPECT_EQ(expected.tempo1, actual[0]);
    EXPECT_EQ(expected.tempo2, actual[1]);
    EXPECT_NEAR(expected.confidence, actual[2], 1e-4);
}

// The same frames, and the same strengths: relative 1e-3, for the spectra and decibels of single
// precision after them, and 1e-4 of the strongest for frames at which rises cancel.
inline void ExpectBeats(const Tracking& expected, double rateHz, double firstFrame,
                        const std::vector<Event>& actual) {
    // Where a choice of predecessors is closer than rounding, either is right, so no such audio.
    ASSERT_GT(expected.narrowestChoice, 2e-6);
    ASSERT_EQ(expected.beats.size(), actual.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const ReferenceBeat& beat = expected.beats[actual.size() - 1 - i];
        EXPECT_DOUBLE_EQ((firstFrame + static_cast<double>(beat.frame)) / FunctionRate(rateHz),
                         actual[i].timeSeconds)
            << "beat " << i;
        EXPECT_NEAR(beat.strength, actual[i].strength, 1e-3 * beat.strength + 1e-4) << "beat " << i;
    }
}

} // namespace qel::test
