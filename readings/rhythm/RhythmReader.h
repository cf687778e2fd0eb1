#pragma once

#include "readings/rhythm/BandLevels.h"
#include "readings/rhythm/Harmony.h"
#include "readings/rhythm/SoundingParts.h"

#include <QelReadings.hpp>

#include <span>
#include <vector>

namespace qel::readings {

// Tempo, beats and bars of a stream, at its end.
class RhythmReader {
public:
    struct Answer {
        Tempo tempo;
        Beats beats;
        Bars bars;
    };

    explicit RhythmReader(double sampleRateHz);

    // A frame of "spectrum", and one of "mel spectrum".
    void addSpectrum(std::span<const float> pairs) { mLevels.add(pairs); }
    void addMelSpectrum(std::span<const float> magnitudes) { mHarmony.add(magnitudes); }
    void reset();

    // Once per stream. Without bars, no beat has a position.
    Answer finish(bool withBars);

private:
    FrameRange sounding(const std::vector<FrameRange>& parts) const;

    const double mFramesPerSecond;
    BandLevels mLevels;
    Harmony mHarmony;
};

} // namespace qel::readings
