#include "tests/loudness/soundcheck/LoudnessAgreementTesting.h"

#include "tests/harness/TestSignals.h"
#include "tests/loudness/soundcheck/LoudnessFiguresTesting.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qel::test {
namespace {

Cut Even(std::size_t frames, std::size_t size) {
    Cut cut{"pushes of " + std::to_string(size), {}};
    for (std::size_t left = frames; left > 0; left -= cut.pushes.back()) {
        cut.pushes.push_back(std::min(size, left));
    }
    return cut;
}

Cut Mixed(std::size_t frames, std::uint32_t seed) {
    constexpr std::size_t kSizes[] = {0,     1,     7,     512,   1024,  4410,   16384,
                                      32767, 32768, 32769, 65535, 65536, 100000, 131072};
    Cut cut{"mixed pushes", {}};
    std::mt19937 generator(seed);
    for (std::size_t left = frames; left > 0; left -= cut.pushes.back()) {
        cut.pushes.push_back(std::min(kSizes[generator() % std::size(kSizes)], left));
    }
    return cut;
}

} // namespace

Stream MusicWithQuietPassages(unsigned rateHz, unsigned channels, std::size_t frames,
                              std::uint32_t seed) {
    constexpr float kLevels[] = {0.9f, 0.4f, 0.0005f, 0.02f, 1.1f, 0.0f, 0.2f};
    // Over and over again; no two steps begin at the same place of it.
    constexpr std::size_t kMusicFrames = 100003;
    const Audio music = MusicLike(rateHz, channels, kMusicFrames, seed);
    Stream stream;
    stream.reserve(channels * frames);
    for (std::size_t i = 0; i < frames; ++i) {
        for (unsigned c = 0; c < channels; ++c) {
            // Five levels to four steps, so that steps, their halves and levels don't go together.
            const std::size_t passage = (i + 7000 * c) / 26214;
            stream.push_back(
                std::clamp(kLevels[passage % 7] * music[c][i % kMusicFrames], -1.0f, 1.0f));
        }
    }
    return stream;
}

core::CAStreamBasicDescription FloatFormat(unsigned rateHz, unsigned channels) {
    core::CAStreamBasicDescription format;
    format.SetCanonical(channels, true);
    format.mSampleRate = rateHz;
    return format;
}

std::vector<Cut> Cuts(std::size_t frames) {
    std::vector<Cut> cuts{{"one push", {frames}}};
    for (const std::size_t size : {333u, 1024u, 32767u, 32768u, 32769u, 50000u, 65536u, 163845u}) {
        cuts.push_back(Even(frames, size));
    }
    for (const std::uint32_t seed : {1u, 2u, 3u, 4u}) {
        cuts.push_back(Mixed(frames, seed));
    }
    return cuts;
}

void ExpectAgreement(const ReferenceLoudness& reference, const core::SoundCheckAnalyzer& analyzer,
                     unsigned channels) {
    const core::NormalizationData* data = analyzer.GetData();
    ASSERT_NE(nullptr, data);
    for (unsigned c = 0; c < channels; ++c) {
        SCOPED_TRACE("channel " + std::to_string(c));
        const ReferenceFigures expected = reference.Figures(c);
        EXPECT_GT(expected.energyCount, 0u);
        EXPECT_LT(expected.energyCount, expected.excerpts);
        ExpectFigures(expected, *data, c);
        ExpectStatistics(expected, *data, c);
    }
}

} // namespace qel::test
