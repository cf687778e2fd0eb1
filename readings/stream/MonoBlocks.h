#pragma once

#include "readings/stream/ChannelMix.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace qel::readings {

// Brings a stream of any number of channels, cut in any way, into blocks of one size and one
// channel. What a key gives does then not depend on the cuts.
class MonoBlocks {
public:
    static constexpr std::size_t kFrames = 512; // "audio range" takes no others

    explicit MonoBlocks(std::uint32_t channels) : mMix(channels) {}

    // Calls `use(block)` for each block that is full.
    template <class Use>
    void add(std::span<const float* const> channels, std::size_t frames, Use use) {
        for (std::size_t first = 0; first < frames;) {
            const std::size_t count = std::min(kFrames - mFilled, frames - first);
            mMix.mix(channels, first, std::span(mBlock).subspan(mFilled, count));
            first += count;
            mFilled += count;
            if (mFilled == kFrames) {
                mFilled = 0;
                use(std::span<const float>(mBlock));
            }
        }
    }

    // The samples that wait for more.
    std::span<const float> rest() const { return std::span(mBlock).first(mFilled); }
    // Forgets these.
    void clear() { mFilled = 0; }
    // Begins another stream.
    void reset() {
        clear();
        mMix.reset();
    }
    bool channelsCancel() const { return mMix.channelsCancel(); }

private:
    ChannelMix mMix;
    std::size_t mFilled = 0;
    std::array<float, kFrames> mBlock{};
};

} // namespace qel::readings
