#include "readings/onsets/OnsetNetwork.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace qel::readings {
namespace {

#include "readings/onsets/OnsetWeights.inc"

constexpr std::size_t kHidden = 16;
using Frames = std::array<OnsetFeatures::Values, OnsetNetwork::kFrames>;

// Features around their means, different in every frame.
Frames featuresLike(double seed) {
    Frames frames{};
    for (std::size_t f = 0; f < frames.size(); ++f) {
        for (std::size_t i = 0; i < OnsetFeatures::kCount; ++i) {
            const double away = 1.5 * std::sin(seed + 3.1 * static_cast<double>(f * 64 + i));
            frames[f][i] = static_cast<float>(kInputMeans[i] + kInputSpreads[i] * away);
        }
    }
    return frames;
}

// The same network in double precision, with the features brought to mean 0 and spread 1 first.
std::array<double, 2> outputsOf(const Frames& frames) {
    std::array<double, 2> outputs = {kOutputBias[0], kOutputBias[1]};
    for (std::size_t h = 0; h < kHidden; ++h) {
        double sum = kHiddenBias[h];
        for (std::size_t f = 0; f < frames.size(); ++f) {
            for (std::size_t i = 0; i < OnsetFeatures::kCount; ++i) {
                const double standard = (double{frames[f][i]} - kInputMeans[i]) / kInputSpreads[i];
                const std::size_t input = f * OnsetFeatures::kCount + i;
                sum += standard * kInputUnit * kInputWeights[input * kHidden + h];
            }
        }
        outputs[0] += kOutputWeights[2 * h] * std::tanh(sum);
        outputs[1] += kOutputWeights[2 * h + 1] * std::tanh(sum);
    }
    return outputs;
}

TEST(OnsetNetworkTest, IsTheNetworkInDoublePrecision) {
    const OnsetNetwork network;
    for (int seed = 0; seed < 20; ++seed) {
        const Frames frames = featuresLike(seed);
        const auto answer = network.ask(frames);
        const auto [chance, place] = outputsOf(frames);
        EXPECT_NEAR(answer.chance, 1 / (1 + std::exp(-chance)), 1e-4) << seed;
        EXPECT_NEAR(answer.place, place, 1e-4) << seed;
    }
}

// Frames in another order are another stream.
TEST(OnsetNetworkTest, TheOrderOfTheFramesMatters) {
    const OnsetNetwork network;
    Frames frames = featuresLike(3);
    const auto forwards = network.ask(frames);
    std::swap(frames.front(), frames.back());
    EXPECT_GT(std::abs(forwards.place - network.ask(frames).place), 1e-3f);
}

} // namespace
} // namespace qel::readings
