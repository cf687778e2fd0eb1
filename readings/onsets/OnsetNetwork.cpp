#include "readings/onsets/OnsetNetwork.h"

#include <cmath>
#include <cstdint>

namespace qel::readings {
namespace {

// Made by bench/truth/fit_onsets.py: kInputWeights in units of kInputUnit, kInputMeans and
// kInputSpreads of the features, kHiddenBias, kOutputWeights and kOutputBias.
#include "readings/onsets/OnsetWeights.inc"

} // namespace

// The features are brought to mean 0 and spread 1; both go into the weights here.
OnsetNetwork::OnsetNetwork() : mWeights(kFrames * OnsetFeatures::kCount) {
    for (std::size_t h = 0; h < kHidden; ++h) {
        mBias[h] = kHiddenBias[h];
        for (std::size_t i = 0; i < mWeights.size(); ++i) {
            const std::size_t feature = i % OnsetFeatures::kCount;
            const float weight =
                kInputUnit * kInputWeights[i * kHidden + h] / kInputSpreads[feature];
            mWeights[i][h] = weight;
            mBias[h] -= weight * kInputMeans[feature];
        }
    }
}

OnsetNetwork::Answer
OnsetNetwork::ask(std::span<const OnsetFeatures::Values, kFrames> frames) const {
    Hidden sums = mBias;
    std::size_t input = 0;
    for (const OnsetFeatures::Values& values : frames) {
        for (const float value : values) {
            const Hidden& weights = mWeights[input++];
            for (std::size_t h = 0; h < kHidden; ++h) {
                sums[h] += weights[h] * value;
            }
        }
    }
    float chance = kOutputBias[0];
    float place = kOutputBias[1];
    for (std::size_t h = 0; h < kHidden; ++h) {
        const float value = std::tanh(sums[h]);
        chance += kOutputWeights[2 * h] * value;
        place += kOutputWeights[2 * h + 1] * value;
    }
    return {1 / (1 + std::exp(-chance)), place};
}

} // namespace qel::readings
