// "dominant key", what is delivered for which list of keys, in which order, and whose the strings
// are.

#include "tests/pitch/ChromaRun.h"
#include "tests/pitch/ChromaSounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr UInt32 kMetaDataForKey = 6;

TEST(KeyFiguresTest, ASoundShapedLikeAProfileHasItsKey) {
    for (std::size_t key = 0; key < kKeys; ++key) {
        ChromaRun run(kAllChromaKeys, {kRate, 1, 4096, 0});
        run.Push(KeySound(key, kRate, SamplesForChroma(4)));
        EXPECT_EQ(std::vector<std::size_t>(4, key), run.DominantKeys()) << KeyName(key);
        // The cosine of the profile and itself above its least value.
        double least = 0.0;
        for (std::size_t p = 0; p < kPitchClasses; ++p) {
            least = std::min(least, KeyProfile(key, p));
        }
        PitchClasses shape{};
        for (std::size_t p = 0; p < kPitchClasses; ++p) {
            shape[p] = KeyProfile(key, p) - least;
        }
        const KeyCorrelations expected = Correlations(shape);
        for (const std::vector<float>& actual : run.Rows(kCorrelationKey)) {
            for (std::size_t k = 0; k < kKeys; ++k) {
                // A sine leaks next to nothing beyond its own semitone.
                EXPECT_NEAR(expected[k], static_cast<double>(actual.at(k)), 0.003);
            }
        }
    }
}

TEST(KeyFiguresTest, TwoNamesAreInLowerCase) {
    const auto nameOf = [](std::size_t key) {
        const auto deliveries =
            DeliverChroma(KeySound(key, kRate, kChromaFrame), kRate, 4096, {kDominantKey});
        return deliveries.at(0).names.at(0);
    };
    EXPECT_EQ("E Major", nameOf(4));
    EXPECT_EQ("F major", nameOf(5));
    EXPECT_EQ("F# major", nameOf(6));
    EXPECT_EQ("G Major", nameOf(7));
    EXPECT_EQ("F Minor", nameOf(17));
    EXPECT_EQ("F# Minor", nameOf(18));
}

TEST(KeyFiguresTest, IsTheFirstOfTheLargestCorrelations) {
    ChromaRun run({kDominantKey, kCorrelationKey}, {kRate, 1, 4096, 0});
    run.Push(Joined(Silence(1, 20000), MusicLike(kRate, 1, 88200, 21)));
    const auto correlations = run.Rows(kCorrelationKey);
    const auto keys = run.DominantKeys();
    ASSERT_EQ(correlations.size(), keys.size());
    std::size_t distinct = 0;
    for (std::size_t frame = 0; frame < keys.size(); ++frame) {
        EXPECT_EQ(BestKey(correlations[frame]), keys[frame]) << "frame " << frame;
        distinct += frame > 0 && keys[frame] != keys[frame - 1] ? 1 : 0;
    }
    EXPECT_EQ(0u, keys.front()); // all 24 alike
    EXPECT_GE(distinct, 3u);
}

// Whatever the order of the list.
TEST(KeyOrderTest, AFrameReportsTheKeyThenProfileCorrelationCentroid) {
    const std::vector<std::string> frame = {kDominantKey, kPitchClassKey, kCorrelationKey,
                                            kCentroidKey};
    std::vector<std::string> expected;
    for (int f = 0; f < 3; ++f) {
        expected.insert(expected.end(), frame.begin(), frame.end());
    }
    for (const std::vector<std::string>& keys :
         {kAllChromaKeys,
          {kCentroidKey, kDominantKey, kGlobalKey, kCorrelationKey, kPitchClassKey}}) {
        ChromaRun run(keys, {kRate, 2, 16384, 0});
        run.Push(MusicLike(kRate, 2, SamplesForChroma(3)), 16384);
        EXPECT_EQ(expected, run.Order());
        run.Forget();
        EXPECT_EQ(0, run.Process());
        EXPECT_EQ(std::vector<std::string>{kGlobalKey}, run.Order());
    }
}

TEST(KeyOrderTest, OnlyWhatWasAskedForIsDelivered) {
    const std::vector<std::string> inOrder = {kDominantKey, kPitchClassKey, kCorrelationKey,
                                              kCentroidKey, kGlobalKey};
    const Audio audio = MusicLike(kRate, 1, kChromaFrame);
    const auto all = DeliverChroma(audio, kRate);
    ASSERT_EQ(5u, all.size());
    // Without "global key" at the front, where it would end the list.
    for (unsigned chosen = 1; chosen < 32; ++chosen) {
        std::vector<std::string> keys;
        std::vector<ChromaDelivery> expected;
        for (unsigned i = 0; i < 5; ++i) {
            if ((chosen >> i & 1u) != 0) {
                keys.push_back(inOrder[i]);
                expected.push_back(all[i]);
            }
        }
        if (keys.front() == kGlobalKey) {
            continue;
        }
        EXPECT_EQ(expected, DeliverChroma(audio, kRate, 4096, keys)) << chosen;
    }
}

TEST(KeyListTest, GlobalKeyAloneCreatesNothing) {
    for (const std::vector<std::string>& keys :
         {std::vector<std::string>{kGlobalKey}, {kGlobalKey, kDominantKey}}) {
        EXPECT_EQ(0u, DeliverChroma(MusicLike(kRate, 1, 20000), kRate, 4096, keys).size());
    }
}

// The key after an unknown one creates nothing, yet what exists already sees the whole list.
TEST(KeyListTest, GlobalKeyAfterAnUnknownKeyIsDelivered) {
    const auto deliveries = DeliverChroma(MusicLike(kRate, 1, 5000), kRate, 4096,
                                          {kCentroidKey, "no such key", kGlobalKey});
    ASSERT_EQ(1u, deliveries.size());
    EXPECT_EQ(kGlobalKey, deliveries[0].key);
}

TEST(KeyListTest, MetaDataHasRateFrameAndHop) {
    ChromaRun run(kAllChromaKeys, {48000.0, 1, 4096, 0});
    for (const std::string& name : kAllChromaKeys) {
        QelAudioAnalysisKeyMetaData data{};
        UInt32 size = 0;
        EXPECT_EQ(0, QelAudioAnalysisGetProperty(run.Handle(), kMetaDataForKey,
                                                 MakeString(name).Get(), 8, &data, 24, &size));
        EXPECT_EQ(48000.0, data.mSampleRate) << name;
        EXPECT_EQ(8192u, data.mFrameSize) << name;
        EXPECT_EQ(512u, data.mHopSize) << name;
    }
}

// The receiver owns a reference to each name: it may keep it beyond the analyzer's life.
TEST(KeyStringTest, NamesOutliveTheAnalyzer) {
    std::vector<CFOwner<CFStringRef>> names;
    std::vector<std::size_t> keys;
    {
        ChromaRun run({kDominantKey, kGlobalKey}, {kRate, 2, 4096, 0});
        run.onDelivery = [&](CFStringRef, UInt32 count, QelAudioAnalysisBlock* blocks) {
            for (UInt32 c = 0; c < count; ++c) {
                CFRetain(blocks[c].mData); // the run gives its own reference back
                names.emplace_back(static_cast<CFStringRef>(blocks[c].mData));
            }
        };
        Audio audio = KeySound(16, kRate, SamplesForChroma(5));
        audio.push_back(KeySound(9, kRate, SamplesForChroma(5))[0]);
        run.Push(audio);
        EXPECT_EQ(0, run.Process());
    }
    ASSERT_EQ(12u, names.size());
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(i % 2 == 0 ? "E Minor" : "A Major", ToText(names[i].Get()));
    }
    EXPECT_EQ("C Major", ToText(names[10].Get()));
}

// To give every name back at once must not take it from a later frame.
TEST(KeyStringTest, ReleasedNamesComeAgain) {
    ChromaRun run({kDominantKey}, {kRate, 1, 4096, 0});
    run.Push(KeySound(21, kRate, SamplesForChroma(300)));
    EXPECT_EQ(std::vector<std::size_t>(300, 21), run.DominantKeys());
}

// The leak checker looks on: nobody receives the names here.
TEST(KeyStringTest, NamesWithoutAReceiverAreGivenBack) {
    const Audio audio = MusicLike(kRate, 1, 40000);
    for (const char* name : {"pitch class profile", "dominant key"}) {
        const bool hasCallback = std::string(name) != kDominantKey;
        const CFOwner<CFMutableArrayRef> keys(
            CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
        CFArrayAppendValue(keys.Get(), MakeString(name).Get());
        CFArrayAppendValue(keys.Get(), MakeString(kGlobalKey).Get());
        int calls = 0;
        const auto count = [](QelAudioAnalysisRef, CFStringRef key, UInt32,
                              QelAudioAnalysisBlock* blocks, void* refCon) {
            ++*static_cast<int*>(refCon);
            if (ToText(key) == kGlobalKey) {
                CFRelease(blocks[0].mData);
            }
        };
        QelAudioAnalysisRef handle = nullptr;
        ASSERT_EQ(0,
                  QelAudioAnalysisNew(keys.Get(), hasCallback ? +count : nullptr, &calls, &handle));
        const AudioStreamBasicDescription format = CanonicalFormat(kRate, 1);
        const AudioChannelLayout layout = PlainLayout();
        ASSERT_EQ(0, QelAudioAnalysisInitialize(handle, 40000, &format, &layout, 0));
        BufferList list(audio, 0, 40000);
        EXPECT_EQ(0, QelAudioAnalysisPushAudio(handle, 40000, list.Get()));
        EXPECT_EQ(0, QelAudioAnalysisProcess(handle, 1, nullptr, nullptr));
        EXPECT_EQ(0, QelAudioAnalysisDispose(handle));
        EXPECT_EQ(hasCallback ? static_cast<int>(ChromaFramesIn(40000)) + 1 : 0, calls) << name;
    }
}

} // namespace
} // namespace qel::test
