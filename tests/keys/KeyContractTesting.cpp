#include "tests/keys/KeyContractTesting.h"

#include "tests/harness/TestSignals.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace qel::test {
namespace {

// From here on a sound has a beat.
constexpr std::size_t kFramesWithBeats = 200;

std::size_t Samples(const KeyInfo& key, std::size_t frames) {
    const std::size_t frame = key.frameSamples == 0 ? 1024 : key.frameSamples;
    const std::size_t hop = key.hopSamples == 0 ? 512 : key.hopSamples;
    return frame + (frames - 1) * hop;
}

// Made once, as making it takes longer than analyzing it.
const Audio& StoredSound(bool hasBeats, std::size_t samples) {
    constexpr double kRateHz = 44100.0;
    constexpr UInt32 kChannels = 3;
    static std::map<std::pair<bool, std::size_t>, Audio> sounds;
    Audio& sound = sounds[{hasBeats, samples}];
    if (sound.empty()) {
        sound = hasBeats ? MusicWithStrokes(kRateHz, kChannels, samples)
                         : MusicLike(kRateHz, kChannels, samples, 13);
    }
    return sound;
}

// A value without an end of its range has an infinite one in the table.
void ExpectWithin(const ValueInfo& value, double rateHz, float actual) {
    ASSERT_TRUE(std::isfinite(actual)) << value.name;
    const double unit = value.range.inHalfRates ? rateHz / 2.0 : 1.0;
    // The ends are written in double precision and reached in single precision.
    const double slack = 1e-6 * std::max(1.0, std::abs(static_cast<double>(actual)));
    ASSERT_GE(actual, value.range.minimum * unit - slack) << value.name;
    ASSERT_LE(actual, value.range.maximum * unit + slack) << value.name;
}

} // namespace

std::unique_ptr<KeyRun> KeyContractTest::sKernels;

std::string Difference(const KeyResults& expected, const KeyResults& actual) {
    if (expected.size() != actual.size()) {
        return std::to_string(expected.size()) + " results, and " + std::to_string(actual.size());
    }
    const auto [first, second] = std::ranges::mismatch(expected, actual);
    return first == expected.end()
               ? std::string()
               : "result " + std::to_string(first - expected.begin()) + " differs";
}

std::string Difference(const KeyOutcome& expected, const KeyOutcome& actual) {
    if (expected.status != actual.status) {
        return "status " + std::to_string(expected.status) + ", and " +
               std::to_string(actual.status);
    }
    return Difference(expected.results, actual.results);
}

std::size_t KeyContractTest::FramesIn(std::size_t samples) const {
    return samples < Key().frameSamples ? 0 : (samples - Key().frameSamples) / Key().hopSamples + 1;
}

std::size_t KeyContractTest::Whole(std::size_t samples) const {
    const std::size_t multiple = Key().pushMultiple;
    return (samples + multiple - 1) / multiple * multiple;
}

Audio KeyContractTest::Sound(UInt32 channels) const {
    const std::size_t frames = Contract().soundFrames;
    const std::size_t samples = Whole(Samples(Key(), frames) + 77);
    const Audio& sound = StoredSound(frames >= kFramesWithBeats, samples);
    return {sound.begin(), sound.begin() + channels};
}

Audio KeyContractTest::OtherSound(UInt32 channels) const {
    Audio audio = Sound(channels);
    for (std::vector<float>& channel : audio) {
        std::ranges::reverse(channel);
        for (float& sample : channel) {
            sample *= -0.6f;
        }
    }
    return audio;
}

StreamSetup KeyContractTest::SetupOf(const Audio& audio) const {
    return {kRateHz, static_cast<UInt32>(audio.size()), kMaxFrames,
            static_cast<SInt64>(audio.at(0).size())};
}

void KeyContractTest::SetUpTestSuite() {
    sKernels = std::make_unique<KeyRun>(kKeys[detail::RowOf::ConstantQSpectrum],
                                        StreamSetup{kRateHz, 1, kMaxFrames, 0});
}

void KeyContractTest::TearDownTestSuite() {
    sKernels.reset();
}

void KeyContractTest::ExpectDocumentedRanges(const KeyResults& results, double rateHz) const {
    const bool isRow = Key().payload == PayloadKind::Floats;
    if (!isRow && Key().payload != PayloadKind::Vector &&
        Key().payload != PayloadKind::ComplexPairs) {
        return;
    }
    const std::size_t kinds = Key().values.size();
    for (const KeyResult& result : results) {
        for (std::size_t channel = 0; channel < result.channels.size(); ++channel) {
            const std::vector<float> row = result.Floats(channel);
            for (std::size_t i = 0; i < row.size(); ++i) {
                ExpectWithin(Key().values[i % kinds], rateHz, row[i]);
            }
        }
    }
}

void KeyContractTest::ExpectCount(const KeyOutcome& outcome, std::size_t samples) const {
    switch (Key().delivery) {
    case qel::Delivery::PerPush:
        EXPECT_EQ((samples + BlockFrames() - 1) / BlockFrames(), outcome.results.size());
        break;
    case qel::Delivery::PerFrame:
        EXPECT_EQ(FramesIn(samples) * Key().resultsPerFrame, outcome.results.size());
        break;
    case qel::Delivery::AtEnd:
        EXPECT_EQ(1u, outcome.results.size());
        break;
    case qel::Delivery::FramesAtEnd:
        ASSERT_EQ(1u, outcome.results.size());
        EXPECT_EQ(FramesIn(samples) * outcome.results[0].channels.size(),
                  outcome.results[0].blocks);
        break;
    }
}

} // namespace qel::test
