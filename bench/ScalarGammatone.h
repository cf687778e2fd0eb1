#pragma once

#include <span>
#include <vector>

namespace qel::bench {

// The floor of "onset data": the recursion of its gammatone bank as a plain loop over bands,
// samples and stages, one number at a time, and the sum of the bands. It is compiled with -O2.
class ScalarGammatone {
public:
    explicit ScalarGammatone(double sampleRateHz);

    // Runs every band over the audio, a block after the other; returns a number that depends on all
    // samples of the sum.
    float Run(std::span<const float> audio);

private:
    static constexpr int kStages = 4;

    struct Band {
        float realPole;
        float imagPole;
        float gain;
        float real[kStages];
        float imag[kStages];
    };

    static void AddBand(Band& band, std::span<const float> audio, float* sum);

    std::vector<Band> mBands;
};

} // namespace qel::bench
