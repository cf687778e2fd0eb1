// The two sources of a peak's frequency and phase.

#include "timbre/AAPartialTrackGenerator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace qel::core {
namespace {

constexpr double kRateHz = 44100.0;
constexpr UInt32 kFrame = 1024;

class OpenGenerator : public AAPartialTrackGenerator {
public:
    explicit OpenGenerator(bool useInstantaneousFrequency)
        : AAPartialTrackGenerator(1, kRateHz, kFrame, 512, kFrame, 0, Receive, this) {
        mUseInstantaneousFrequency = useInstantaneousFrequency;
        mComputeFlags.alloc(kNumFlags, true);
        mComputeFlags[kPartials] = true;
        ReadyAnalysis();
    }

    void Push(std::vector<float> samples) {
        AudioBufferList list{1, {{1, static_cast<UInt32>(4 * samples.size()), samples.data()}}};
        EXPECT_EQ(PushAudio(&list, static_cast<UInt32>(samples.size())), 0);
    }

    std::vector<PartialRecord> records; // of the last frame

private:
    static void Receive(void*, CFStringRef, UInt32, QelAudioAnalysisBlock* blocks, void* refCon) {
        const auto& list = *static_cast<const PartialList*>(blocks[0].mData);
        static_cast<OpenGenerator*>(refCon)->records.assign(list.mPartials,
                                                            list.mPartials + list.mCount);
    }
};

std::vector<float> Sine(double frequencyHz, double phase) {
    std::vector<float> samples(kFrame);
    for (std::size_t n = 0; n < samples.size(); ++n) {
        samples[n] = static_cast<float>(std::cos(
            2 * std::numbers::pi * frequencyHz * static_cast<double>(n) / kRateHz + phase));
    }
    return samples;
}

// The largest of the records; a window's side lobes make small ones.
PartialRecord LoudestOf(const std::vector<PartialRecord>& records) {
    PartialRecord loudest{};
    for (const PartialRecord& record : records) {
        if (record.mMagnitude > loudest.mMagnitude) {
            loudest = record;
        }
    }
    return loudest;
}

// The parabola is up to 0.016 bins off, by the lobe of a Hann window.
TEST(AAPartialTrackGeneratorTest, FrequenciesAreThoseOfTheVertexAndPhasesAreZero) {
    OpenGenerator generator(false);
    generator.Push(Sine(100.3 * kRateHz / kFrame, 0.7));
    const PartialRecord record = LoudestOf(generator.records);
    EXPECT_EQ(record.mIndex, 100);
    EXPECT_NEAR(record.mFrequency, 100.3 * kRateHz / kFrame, 0.017 * kRateHz / kFrame);
    EXPECT_EQ(record.mPhase, 0.0f);
    EXPECT_EQ(record.mTime, 0.0);
}

// Nothing in the library chooses this. The derivative of the window has another offset than the
// window itself, and so is some 1e-3 bins off.
TEST(AAPartialTrackGeneratorTest, InstantaneousFrequenciesAreMoreExact) {
    OpenGenerator generator(true);
    generator.Push(Sine(100.3 * kRateHz / kFrame, 0.7));
    const PartialRecord record = LoudestOf(generator.records);
    EXPECT_EQ(record.mIndex, 100);
    EXPECT_NEAR(record.mFrequency, 100.3 * kRateHz / kFrame, 0.004 * kRateHz / kFrame);
    EXPECT_NE(record.mPhase, 0.0f);
}

} // namespace
} // namespace qel::core
