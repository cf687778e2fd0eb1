#pragma once

#include "readings/onsets/AttackPlace.h"
#include "readings/onsets/OnsetFeatures.h"
#include "readings/onsets/OnsetNetwork.h"
#include "readings/stream/KeyStream.h"

#include <QelReadings.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::readings {

// Finds onsets while the stream comes in: peaks of the chance that a network gives each frame of
// "spectrum".
//
// An onset is certain once the stream has gone on for 0.12 s after it. It depends on nothing later,
// so that a longer stream has the same ones. Keeps 16 bytes per onset.
class OnsetDetector {
public:
    explicit OnsetDetector(double sampleRateHz);

    void add(std::span<const float> samples);
    void end();
    void reset();

    // The onsets that are certain, in order of time.
    const std::vector<Onset>& onsets() const { return mOnsets; }

private:
    static constexpr std::size_t kPeakReach = 2; // frames on both sides of a peak
    static constexpr std::size_t kPeakFrames = 2 * kPeakReach + 1;

    void takeSpectrum(std::span<const float> pairs);
    void takeFeatures(const OnsetFeatures::Values& values);
    void takeAnswer(const OnsetNetwork::Answer& answer);
    void findPeak();
    void addOnset(double sample, float chance);

    KeyStream mStream;
    AttackPlace mAttackPlace;
    OnsetFeatures mFeatures;
    const OnsetNetwork mNetwork;
    std::uint64_t mSpectra = 0;
    std::uint64_t mWindows = 0; // of features
    std::uint64_t mAnswers = 0;
    std::array<OnsetFeatures::Values, OnsetNetwork::kFrames> mWindow{};
    std::array<OnsetNetwork::Answer, kPeakFrames> mRecent{};
    std::uint64_t mNextFrame = 0; // the first that may hold an onset
    std::vector<Onset> mOnsets;
};

} // namespace qel::readings
