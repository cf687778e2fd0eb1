#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qel::page {

// The outline of a stream: of each stretch of samples the least and the greatest one and the root
// mean square, with 32767 for full scale. What lies beyond full scale counts as full scale.
struct Waveform {
    double stepSeconds = 0;
    std::vector<std::int16_t> least;
    std::vector<std::int16_t> greatest;
    std::vector<std::int16_t> rootMeanSquare;
};

// Makes the outline of a stream of any length: beyond a number of stretches two become one.
class WaveformBuilder {
public:
    static constexpr std::size_t kFirstStep = 64; // samples
    static constexpr std::size_t kMostSteps = 131072;

    explicit WaveformBuilder(double sampleRateHz) : mSampleRateHz(sampleRateHz) {}

    void Add(std::span<const float> samples);
    Waveform Finish() const;

private:
    struct Stretch {
        float least = 0;
        float greatest = 0;
        double energy = 0;
        std::size_t samples = 0;

        void Add(const Stretch& other);
    };

    void Halve();

    const double mSampleRateHz;
    std::size_t mStep = kFirstStep;
    std::vector<Stretch> mStretches;
};

} // namespace qel::page
