#include "tests/pitch/ChromaRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>

namespace qel::test {
namespace {

bool IsName(const std::string& key) {
    return key == kDominantKey || key == kGlobalKey;
}

UInt32 SizeOf(const std::string& key) {
    return key == kPitchClassKey ? 48 : key == kCorrelationKey ? 96 : key == kCentroidKey ? 24 : 8;
}

std::vector<float> FloatsOf(const QelAudioAnalysisBlock& block) {
    std::vector<float> values(block.mDataByteSize / sizeof(float));
    std::memcpy(values.data(), block.mData, values.size() * sizeof(float));
    return values;
}

std::string NameOf(const QelAudioAnalysisBlock& block) {
    EXPECT_NE(nullptr, block.mData);
    if (block.mData == nullptr) {
        return "(null)";
    }
    EXPECT_EQ(CFStringGetTypeID(), CFGetTypeID(block.mData));
    return ToText(static_cast<CFStringRef>(block.mData));
}

// Distances from a correlation to the best one tell who else might have won.
bool MayBeBest(const KeyCorrelations& expected, std::size_t key) {
    return expected[key] >= expected[BestKey(expected)] - kKeyDoubt;
}

void ExpectNear(std::span<const double> expected, const std::vector<float>& actual, double relative,
                double absolute) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_NEAR(expected[i], static_cast<double>(actual[i]),
                    relative * std::abs(expected[i]) + absolute)
            << "value " << i;
    }
}

} // namespace

bool ChromaDelivery::operator==(const ChromaDelivery& other) const {
    return key == other.key && names == other.names &&
           std::equal(floats.begin(), floats.end(), other.floats.begin(), other.floats.end(),
                      [](const std::vector<float>& a, const std::vector<float>& b) {
                          return a.size() == b.size() &&
                                 std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
                      });
}

ChromaRun::ChromaRun(const std::vector<std::string>& keys, const StreamSetup& setup)
    : mChannels(setup.channels) {
    // The copy that the analyzer makes keeps the strings.
    const CFOwner<CFMutableArrayRef> array(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const std::string& key : keys) {
        CFArrayAppendValue(array.Get(), MakeString(key).Get());
    }
    EXPECT_EQ(0, QelAudioAnalysisNew(array.Get(), Receive, this, &mHandle));
    const AudioStreamBasicDescription format = CanonicalFormat(setup.rateHz, setup.channels);
    const AudioChannelLayout layout = PlainLayout();
    EXPECT_EQ(0, QelAudioAnalysisInitialize(mHandle, setup.maxFrames, &format, &layout,
                                            setup.streamLength));
}

ChromaRun::~ChromaRun() {
    EXPECT_EQ(0, QelAudioAnalysisDispose(mHandle));
}

void ChromaRun::Push(const Audio& audio, UInt32 blockFrames) {
    const std::size_t total = audio.at(0).size();
    for (std::size_t at = 0; at < total; at += blockFrames) {
        const auto frames = static_cast<UInt32>(std::min<std::size_t>(blockFrames, total - at));
        ASSERT_NO_FATAL_FAILURE(PushPart(audio, at, frames));
    }
}

void ChromaRun::PushPart(const Audio& audio, std::size_t firstFrame, UInt32 frames) {
    BufferList list(audio, firstFrame, frames);
    ASSERT_EQ(0, QelAudioAnalysisPushAudio(mHandle, frames, list.Get())) << "at " << firstFrame;
}

SInt32 ChromaRun::Process(UInt8 flush) {
    return QelAudioAnalysisProcess(mHandle, flush, nullptr, nullptr);
}

SInt32 ChromaRun::Reset() {
    return QelAudioAnalysisReset(mHandle);
}

std::vector<std::string> ChromaRun::Order() const {
    std::vector<std::string> order;
    for (const ChromaDelivery& delivery : mDeliveries) {
        order.push_back(delivery.key);
    }
    return order;
}

std::vector<std::vector<float>> ChromaRun::Rows(const std::string& key, std::size_t channel) const {
    std::vector<std::vector<float>> rows;
    for (const ChromaDelivery& delivery : mDeliveries) {
        if (delivery.key == key) {
            rows.push_back(delivery.floats.at(channel));
        }
    }
    return rows;
}

std::vector<std::size_t> ChromaRun::DominantKeys(std::size_t channel) const {
    std::vector<std::size_t> keys;
    for (const ChromaDelivery& delivery : mDeliveries) {
        if (delivery.key == kDominantKey) {
            keys.push_back(KeyIndex(delivery.names.at(channel)));
            EXPECT_LT(keys.back(), kKeys) << delivery.names[channel];
        }
    }
    return keys;
}

std::vector<std::string> ChromaRun::GlobalKeys() const {
    const auto found =
        std::find_if(mDeliveries.rbegin(), mDeliveries.rend(),
                     [](const ChromaDelivery& delivery) { return delivery.key == kGlobalKey; });
    return found == mDeliveries.rend() ? std::vector<std::string>{} : found->names;
}

void ChromaRun::Receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon) {
    auto* self = static_cast<ChromaRun*>(refCon);
    EXPECT_EQ(self->mHandle, handle);
    EXPECT_EQ(self->mChannels, count);
    ChromaDelivery delivery{ToText(key), {}, {}};
    for (UInt32 c = 0; c < count; ++c) {
        // Of "global key" the first size alone is promised.
        if (delivery.key != kGlobalKey || c == 0) {
            EXPECT_EQ(SizeOf(delivery.key), blocks[c].mDataByteSize) << delivery.key;
        }
        if (IsName(delivery.key)) {
            delivery.names.push_back(NameOf(blocks[c]));
        } else {
            delivery.floats.push_back(FloatsOf(blocks[c]));
        }
    }
    if (self->onDelivery) {
        self->onDelivery(key, count, blocks);
    }
    if (IsName(delivery.key)) {
        std::for_each(blocks, blocks + count, [](auto& block) { CFRelease(block.mData); });
    }
    self->mDeliveries.push_back(std::move(delivery));
}

std::vector<ChromaDelivery> DeliverChroma(const Audio& audio, double rateHz, UInt32 blockFrames,
                                          const std::vector<std::string>& keys) {
    ChromaRun run(keys, {rateHz, static_cast<UInt32>(audio.size()), 4096, 0});
    run.Push(audio, blockFrames);
    EXPECT_EQ(0, run.Process());
    return run.Deliveries();
}

ChromaAgreement ExpectReferenceChroma(const ReferenceChroma& reference,
                                      const std::vector<float>& samples, const ChromaRun& run,
                                      std::size_t channel) {
    const auto profiles = run.Rows(kPitchClassKey, channel);
    const auto correlations = run.Rows(kCorrelationKey, channel);
    const auto centroids = run.Rows(kCentroidKey, channel);
    const auto keys = run.DominantKeys(channel);
    ChromaAgreement agreement{ChromaFramesIn(samples.size()), 0};
    EXPECT_EQ(agreement.frames, profiles.size());
    EXPECT_EQ(agreement.frames, correlations.size());
    EXPECT_EQ(agreement.frames, centroids.size());
    EXPECT_EQ(agreement.frames, keys.size());
    for (std::size_t frame = 0; frame < agreement.frames && !testing::Test::HasFailure(); ++frame) {
        SCOPED_TRACE("frame " + std::to_string(frame) + " of channel " + std::to_string(channel));
        const std::span<const float> content(samples.data() + frame * kChromaHop, kChromaFrame);
        const PitchClasses profile = Normalized(reference.Sums(content));
        const KeyCorrelations expected = Correlations(profile);
        ExpectNear(profile, profiles[frame], kProfileError, 0.0);
        ExpectNear(expected, correlations[frame], 0.0, kCorrelationError);
        ExpectNear(Centroid(profile), centroids[frame], 0.0, kCentroidError);
        EXPECT_EQ(BestKey(correlations[frame]), keys[frame]);
        EXPECT_TRUE(MayBeBest(expected, keys[frame])) << KeyName(keys[frame]);
        std::size_t candidates = 0;
        for (std::size_t key = 0; key < kKeys; ++key) {
            candidates += MayBeBest(expected, key) ? 1 : 0;
        }
        agreement.doubtfulKeys += candidates > 1 ? 1 : 0;
    }
    return agreement;
}

} // namespace qel::test
