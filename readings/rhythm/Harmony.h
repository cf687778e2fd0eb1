#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::readings {

// What sounds of each of the twelve pitch classes, over all and in the bass, from frames of "mel
// spectrum". After Fujishima, Realtime chord recognition of musical sound, ICMC, 1999.
//
// Keeps 96 bytes per frame.
class Harmony {
public:
    static constexpr std::size_t kClasses = 12;
    using Chroma = std::array<float, kClasses>;

    explicit Harmony(double sampleRateHz);

    // The magnitudes of a frame.
    void add(std::span<const float> magnitudes);
    void reset();

    // Makes chroma of the magnitudes of all frames, once, after the last one: multiplied by `gain`,
    // and without the first hops of "spectrum", whose number is a multiple of 4.
    void finish(float gain, std::size_t hopsLeftOut);

    std::size_t frames() const { return mAll.size(); }

    // After finish, means over the time from `begin` to `end`, in hops of "spectrum" counted so
    // that hop i is about the middle of its frame i. Between frames, chroma is interpolated.
    Chroma meanOfAll(double begin, double end) const { return mean(mAll, begin, end); }
    Chroma meanOfBass(double begin, double end) const { return mean(mBass, begin, end); }

    // 1 less the cosine of the angle between two: 0 for the same harmony, at most 1. Less where one
    // of them hardly sounds.
    static float distance(const Chroma& a, const Chroma& b);

private:
    struct Share { // of a bin
        std::uint16_t bin;
        std::uint16_t pitchClass;
        float weight;
    };

    static std::vector<Share> shares(double lowestHz, double highestHz, double binHz);
    static void makeChroma(std::vector<Chroma>& frames, float gain, std::size_t framesLeftOut);
    static Chroma fold(const std::vector<Share>& shares, std::span<const float> magnitudes);
    static Chroma mean(const std::vector<Chroma>& frames, double begin, double end);

    std::vector<Share> mSharesOfAll;
    std::vector<Share> mSharesOfBass;
    std::vector<Chroma> mAll;
    std::vector<Chroma> mBass;
};

} // namespace qel::readings
