#pragma once

#include "readings/stream/KeyStream.h"

#include <QelReadings.hpp>

#include <cstdint>
#include <span>
#include <vector>

namespace qel::readings {

// The cutoff of "audio range", of the stream in steps of 16 bits. The key searches from the top of
// the band downwards, so that without the floor of these steps (-98 dB) a fall far below anything
// audible, as a change of the sample rate leaves it, would be taken for the cutoff.
class BandwidthMeter {
public:
    BandwidthMeter(double sampleRateHz, std::uint64_t lengthFrames);
    BandwidthMeter(const BandwidthMeter&) = delete; // the stream refers to it

    void add(std::span<const float> samples);
    Bandwidth finish();
    void reset();

private:
    Bandwidth mBandwidth;
    KeyStream mKeyStream;
    std::vector<float> mRounded;
};

} // namespace qel::readings
