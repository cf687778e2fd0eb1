#pragma once

#include <QelMedia.hpp>

#include <cstddef>
#include <span>
#include <vector>

namespace qel::media {

// Holds one block of decoded audio and derives the analyzed channels from it.
class ChannelMixer {
public:
    ChannelMixer(std::size_t channels, std::size_t blockSamples, ChannelMix mix);

    // Where the decoder puts the block: one buffer per channel of the file.
    std::span<float* const> Input() { return mInput; }

    std::size_t OutputChannels() const { return mOutput.size(); }

    // The first `samples` samples of the block, one pointer per analyzed channel, valid until the
    // input changes. The mono mix is the mean of all channels, in double precision, so that equal
    // channels give exactly one of them.
    std::span<const float* const> Mix(std::size_t samples);

private:
    ChannelMix mMix;
    std::vector<std::vector<float>> mBuffers;
    std::vector<float*> mInput;
    std::vector<const float*> mOutput;
};

} // namespace qel::media
