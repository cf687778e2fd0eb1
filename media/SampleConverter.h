#pragma once

#include "media/ffmpeg/AvHandles.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qel::media {

// Turns decoded frames of any sample format into one float buffer per channel. Neither the rate
// nor the channels change: full scale of an integer format becomes 1, floats stay as they are.
class SampleConverter {
public:
    // Converts the samples [first, first + count) of a frame, which replace those held before. The
    // sample format may change. Throws Error if the conversion cannot be set up.
    void Convert(const AVFrame& frame, std::size_t first, std::size_t count);

    // Samples per channel that are held.
    std::size_t Count() const { return mCount; }

    const float* Channel(std::size_t channel) const { return mPlanes[channel].data(); }

private:
    void Prepare(const AVFrame& frame);

    AvHandle<SwrContext> mContext;
    int mFormat = -1;
    int mChannels = 0;
    std::size_t mCount = 0;
    std::vector<std::vector<float>> mPlanes;
    std::vector<const std::uint8_t*> mIn;
    std::vector<std::uint8_t*> mOut;
};

} // namespace qel::media
