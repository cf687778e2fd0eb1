#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace qel::readings {

// The largest amplitude: 120 dB above full scale. Squares of sums of it stay finite.
inline constexpr float kMostAmplitude = 1e6f;

// What a sample counts as: 0 if it is not finite, and at most the largest amplitude.
float usable(float sample);

// Brings a stream of any number of channels, cut in any way, into blocks of one size and one
// channel, the mean of all. What a key gives does then not depend on the cuts.
class MonoBlocks {
public:
    static constexpr std::size_t kFrames = 512; // "audio range" takes no others

    explicit MonoBlocks(std::uint32_t channels) : mScale(1.0f / static_cast<float>(channels)) {}

    // Calls `use(block)` for each block that is full.
    template <class Use>
    void add(std::span<const float* const> channels, std::size_t frames, Use use) {
        for (std::size_t i = 0; i < frames; ++i) {
            mBlock[mFilled] = mix(channels, i);
            if (++mFilled == kFrames) {
                mFilled = 0;
                use(std::span<const float>(mBlock));
            }
        }
    }

    // The samples that wait for more.
    std::span<const float> rest() const { return std::span(mBlock).first(mFilled); }
    void clear() { mFilled = 0; }

private:
    float mix(std::span<const float* const> channels, std::size_t i) const;

    const float mScale;
    std::size_t mFilled = 0;
    std::array<float, kFrames> mBlock{};
};

} // namespace qel::readings
