#pragma once

#include <QelReadings.hpp>

#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// RunningTempo from the key "tempo": its values times rate / 44032, smoothed by the median of 3 s.
// The key is made for rates near 44.1 kHz. It repeats its last tempo in silence, and says its
// lowest one before its first: both become NaN here.
//
// Keeps 5 bytes per hop.
class RunningTempoCurve {
public:
    explicit RunningTempoCurve(double sampleRateHz) : mSampleRateHz(sampleRateHz) {}

    void addSamples(std::span<const float> samples);
    // The next value of the key.
    void addTempo(float bpm) { mTempi.push_back(bpm); }
    void reset();

    RunningTempo finish() const;

private:
    const double mSampleRateHz;
    std::vector<float> mTempi;
    std::vector<bool> mSounds;   // whether something sounds, by hop
    std::size_t mHopSamples = 0; // of the hop that is not complete
    bool mHopSounds = false;
};

} // namespace qel::readings
