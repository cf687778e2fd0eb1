#include "bench/BareTransforms.h"

#include <algorithm>

namespace qel::bench {

BareTransforms::BareTransforms(unsigned frameSamples, unsigned hopSamples,
                               unsigned transformSamples)
    : mFrameSamples(frameSamples), mHopSamples(hopSamples),
      mInput(fftwf_alloc_real(transformSamples)),
      mOutput(fftwf_alloc_complex(transformSamples / 2 + 1)),
      mPlan(fftwf_plan_dft_r2c_1d(static_cast<int>(transformSamples), mInput, mOutput,
                                  FFTW_ESTIMATE | FFTW_PRESERVE_INPUT)) {
    std::fill_n(mInput, transformSamples, 0.0f);
}

BareTransforms::~BareTransforms() {
    fftwf_destroy_plan(mPlan);
    fftwf_free(mOutput);
    fftwf_free(mInput);
}

float BareTransforms::Run(std::span<const float> audio) {
    float seen = 0.0f;
    for (std::size_t start = 0; start + mFrameSamples <= audio.size(); start += mHopSamples) {
        std::copy_n(audio.data() + start, mFrameSamples, mInput);
        fftwf_execute(mPlan);
        seen += mOutput[1][0];
    }
    return seen;
}

} // namespace qel::bench
