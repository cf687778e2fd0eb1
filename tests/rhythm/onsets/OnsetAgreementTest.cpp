// The onsets of ten seconds of music-like sound, against a reference of the tests' own.

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/onsets/OnsetAssertions.h"

#include <gtest/gtest.h>

#include <string>

namespace qel::test {
namespace {

constexpr double kSeconds = 10.0;

Audio Music(double rateHz, UInt32 channels) {
    return MusicLike(rateHz, channels, static_cast<std::size_t>(kSeconds * rateHz));
}

struct Stream {
    double rateHz;
    UInt32 channels;
    UInt32 blockFrames;
};

class OnsetAgreementTest : public testing::TestWithParam<Stream> {};

// With two channels the blocks count: what one channel leaves in the filters runs on into the
// other.
TEST_P(OnsetAgreementTest, OnsetsAreThoseOfTheReference) {
    const auto [rateHz, channels, blockFrames] = GetParam();
    const Audio audio = Music(rateHz, channels);
    const OnsetResults results = AnalyzeOnsets(audio, rateHz, blockFrames);
    EXPECT_EQ(0, results.status);
    EXPECT_EQ(1, results.deliveries);
    ExpectReferenceOnsets(audio, rateHz, {.blockFrames = blockFrames}, results);
    for (const std::vector<Event>& list : results.onsets) {
        EXPECT_GT(list.size(), 20u);
    }
}

std::string NameOf(const testing::TestParamInfo<Stream>& stream) {
    return std::to_string(static_cast<int>(stream.param.rateHz)) + "Hz" +
           std::to_string(stream.param.channels) + "Channels" +
           std::to_string(stream.param.blockFrames) + "Frames";
}

INSTANTIATE_TEST_SUITE_P(Music, OnsetAgreementTest,
                         testing::Values(Stream{44100.0, 1, 63}, Stream{44100.0, 1, 4096},
                                         Stream{44100.0, 2, 63}, Stream{44100.0, 2, 512},
                                         Stream{44100.0, 2, 1000}, Stream{44100.0, 2, 4096},
                                         Stream{48000.0, 1, 512}, Stream{48000.0, 1, 1000},
                                         Stream{48000.0, 2, 63}, Stream{48000.0, 2, 512},
                                         Stream{48000.0, 2, 1000}, Stream{48000.0, 2, 4096}),
                         NameOf);

// Windows between 2048 samples and a sixteenth of the stream more, and beyond both ends.
TEST(OnsetSensitivityTest, OnsetsAreThoseOfTheReferenceAtAnySensitivity) {
    const Audio audio = MusicLike(44100.0, 1, 5 * 44100, 3);
    std::size_t last = 0;
    for (const float sensitivity : {-700.0f, -40.0f, 0.0f, 37.5f, 50.0f, 100.0f, 110.0f}) {
        const OnsetResults results = AnalyzeOnsets(audio, 44100.0, 4096, sensitivity);
        ExpectReferenceOnsets(audio, 44100.0, {.sensitivity = sensitivity}, results);
        EXPECT_GE(results.onsets.at(0).size(), last) << sensitivity;
        last = results.onsets[0].size();
    }
}

// Without the silence of a flush the last sample has no difference; it counts as 0.
TEST(OnsetFlushTest, WithoutAFlushTheStreamEndsWhereItEnds) {
    const Audio audio = MusicLike(44100.0, 2, 2 * 44100 + 77, 4);
    OnsetRun run({44100.0, 2, 4096, 0});
    run.Push(audio, 1000);
    const OnsetResults results = run.Process(0);
    EXPECT_EQ(0, results.status);
    ExpectReferenceOnsets(audio, 44100.0, {.blockFrames = 1000, .silentFrames = 0}, results);
}

} // namespace
} // namespace qel::test
