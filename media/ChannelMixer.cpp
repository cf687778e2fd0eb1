#include "media/ChannelMixer.h"

namespace qel::media {

ChannelMixer::ChannelMixer(std::size_t channels, std::size_t blockSamples, ChannelMix mix)
    : mMix(channels > 1 ? mix : ChannelMix::Keep),
      mBuffers(channels, std::vector<float>(blockSamples)) {
    for (std::vector<float>& buffer : mBuffers) {
        mInput.push_back(buffer.data());
        mOutput.push_back(buffer.data());
    }
    if (mMix == ChannelMix::Mono) {
        mOutput.resize(1);
    }
}

std::span<const float* const> ChannelMixer::Mix(std::size_t samples) {
    if (mMix == ChannelMix::Mono) {
        const auto channels = static_cast<double>(mBuffers.size());
        std::vector<float>& mono = mBuffers.front();
        for (std::size_t i = 0; i < samples; ++i) {
            double sum = 0;
            for (const std::vector<float>& buffer : mBuffers) {
                sum += buffer[i];
            }
            mono[i] = static_cast<float>(sum / channels);
        }
    }
    return mOutput;
}

} // namespace qel::media
