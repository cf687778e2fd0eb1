#pragma once

#include <fftw3.h>

#include <span>

namespace qel::bench {

// The floor of a frame-based key: the bare real transforms of its frames over the given audio, one
// after another, by FFTW's own real plan. Nothing is windowed and nothing is looked at.
class BareTransforms {
public:
    // `frameSamples` and `hopSamples` as the key has them. A transform of more than a frame takes
    // zeros after it.
    BareTransforms(unsigned frameSamples, unsigned hopSamples, unsigned transformSamples);
    BareTransforms(const BareTransforms&) = delete;
    BareTransforms& operator=(const BareTransforms&) = delete;
    ~BareTransforms();

    // Transforms every whole frame; returns a number that depends on all of them.
    float Run(std::span<const float> audio);

private:
    unsigned mFrameSamples;
    unsigned mHopSamples;
    float* mInput;
    fftwf_complex* mOutput;
    fftwf_plan mPlan;
};

} // namespace qel::bench
