#pragma once

#include "readings/TruePeakMeter.h"

#include <QelReadings.hpp>

#include <ebur128.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace qel::readings {

// Loudness, loudness range and true peak after ITU-R BS.1770-4, EBU Tech 3341 and EBU Tech 3342,
// by libebur128.
class LoudnessMeter {
public:
    // Raises std::bad_alloc.
    explicit LoudnessMeter(const Setup& setup);
    ~LoudnessMeter();

    void add(std::span<const float* const> channels, std::size_t frames);
    Loudness finish();
    void reset();

private:
    struct Destroy {
        void operator()(ebur128_state* state) const;
    };

    void addPiece(std::span<const float* const> channels, std::size_t first, std::size_t count);
    void takeMomentary();

    const Setup mSetup;
    std::unique_ptr<ebur128_state, Destroy> mState;
    TruePeakMeter mPeaks;
    std::vector<float> mInterleaved;
    const std::size_t mHopFrames; // from a momentary loudness to the next one
    std::size_t mHopPlace = 0;    // frames since the last one
    std::vector<float> mMomentary;
};

} // namespace qel::readings
