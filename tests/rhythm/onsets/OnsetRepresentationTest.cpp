// Parameter, metadata, payload and dictionary of "onset data".

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/onsets/OnsetRun.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr UInt32 kParameterList = 7;
constexpr UInt32 kParameterValueInfo = 8;

TEST(OnsetParameterTest, TheSensitivityIsTheOnlyOne) {
    OnsetRun run({kRate, 1, 4096, 0});
    CFOwner<CFMutableArrayRef> names(CFArrayCreateMutable(nullptr, 0, nullptr));
    CFMutableArrayRef array = names.Get();
    UInt32 size = 0;
    ASSERT_EQ(0, QelAudioAnalysisGetProperty(run.Analyzer().Handle(), kParameterList, nullptr, 0,
                                             static_cast<void*>(&array), 0, &size));
    ASSERT_EQ(1, CFArrayGetCount(array));
    EXPECT_EQ("Onset Sensitivity",
              ToText(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, 0))));
}

TEST(OnsetParameterTest, AnyValueIsKeptAsItIs) {
    OnsetRun run({kRate, 1, 4096, 0});
    EXPECT_EQ(80.0f, run.Sensitivity());
    const float infinity = std::numeric_limits<float>::infinity();
    for (const float value : {0.0f, 12.3456f, 100.0f, 250.0f, -7.5f, 1e30f, -1e30f, infinity,
                              -infinity, std::nanf("")}) {
        EXPECT_EQ(0, run.SetSensitivity(value));
        EXPECT_EQ(std::bit_cast<std::uint32_t>(value),
                  std::bit_cast<std::uint32_t>(run.Sensitivity()));
    }
}

TEST(OnsetParameterTest, OtherNamesDoNotReachIt) {
    OnsetRun run({kRate, 1, 4096, 0});
    for (const char* name : {"Genre Hint", "onset sensitivity", "Onset Sensitivity "}) {
        float value = -5.0f;
        QelAudioAnalysisSetParameter(run.Analyzer().Handle(), MakeString(name).Get(), 0.0f);
        QelAudioAnalysisGetParameter(run.Analyzer().Handle(), MakeString(name).Get(), &value);
        EXPECT_EQ(-5.0f, value) << name;
    }
    EXPECT_EQ(80.0f, run.Sensitivity());
}

TEST(OnsetParameterTest, NothingOfTheValueInfoReachesTheCaller) {
    OnsetRun run({kRate, 1, 4096, 0});
    std::array<std::uint32_t, 4> info = {11, 12, 13, 14};
    const CFOwner<CFStringRef> name = MakeString("Onset Sensitivity");
    UInt32 size = 0;
    EXPECT_EQ(0, QelAudioAnalysisGetProperty(run.Analyzer().Handle(), kParameterValueInfo,
                                             name.Get(), 8, info.data(), 16, &size));
    EXPECT_EQ(8u, size);
    EXPECT_EQ((std::array<std::uint32_t, 4>{11, 12, 13, 14}), info);
}

TEST(OnsetParameterTest, AResetKeepsTheSensitivity) {
    const Audio audio = MusicLike(kRate, 1, 3 * 44100, 2);
    OnsetRun run({kRate, 1, 4096, 0});
    EXPECT_EQ(0, run.SetSensitivity(100.0f));
    EXPECT_EQ(0, run.Analyzer().Reset());
    EXPECT_EQ(100.0f, run.Sensitivity());
    run.Push(audio);
    EXPECT_EQ(AnalyzeOnsets(audio, kRate, 4096, 100.0f).Bytes(), run.Process().Bytes());
}

// It is read when the stream is processed.
TEST(OnsetParameterTest, ItMayChangeFromOneProcessToTheNext) {
    const Audio audio = MusicLike(kRate, 1, 3 * 44100, 2);
    OnsetRun run({kRate, 1, 4096, 0});
    run.Push(audio);
    run.Push(Silence(1, kFlushFrames));
    std::size_t last = 0;
    for (const float value : {0.0f, 80.0f, 100.0f}) {
        EXPECT_EQ(0, run.SetSensitivity(value));
        const OnsetResults results = run.Process(0);
        EXPECT_EQ(AnalyzeOnsets(audio, kRate, 4096, value).Bytes(), results.Bytes());
        EXPECT_GE(results.onsets.at(0).size(), last);
        last = results.onsets[0].size();
    }
}

// Beyond any length the window takes one onset; far below nothing it takes all local maxima, as
// it does with no reach at all (250 on a stream of 51200 frames).
TEST(OnsetParameterTest, AbsurdValuesAreWindowsBeyondAllLengths) {
    const Audio audio = MusicLike(kRate, 1, 51200 - kFlushFrames, 2);
    const float infinity = std::numeric_limits<float>::infinity();
    const OnsetResults one = AnalyzeOnsets(audio, kRate, 4096, -20000.0f);
    EXPECT_LE(one.onsets.at(0).size(), 1u);
    for (const float value : {-1e10f, -1e30f, -infinity}) {
        EXPECT_EQ(one.Bytes(), AnalyzeOnsets(audio, kRate, 4096, value).Bytes()) << value;
    }
    const OnsetResults all = AnalyzeOnsets(audio, kRate, 4096, 250.0f);
    EXPECT_GT(all.onsets.at(0).size(), 1000u);
    for (const float value : {1e10f, 1e30f, infinity}) {
        EXPECT_EQ(all.Bytes(), AnalyzeOnsets(audio, kRate, 4096, value).Bytes()) << value;
    }
    const OnsetResults none = AnalyzeOnsets(audio, kRate, 4096, std::nanf(""));
    EXPECT_EQ(0, none.status);
    ASSERT_EQ(1u, none.onsets.size());
    for (const Event& onset : none.onsets[0]) {
        EXPECT_LT(onset.timeSeconds * kRate, 51200.0);
    }
}

// The record of the beats: a count and a pointer to entries of a double and a float.
TEST(OnsetPayloadTest, IsACountAndAPointerToEvents) {
    static_assert(sizeof(QelAudioAnalysisEventList) == 16);
    static_assert(offsetof(QelAudioAnalysisEventList, mCount) == 0);
    static_assert(offsetof(QelAudioAnalysisEventList, mEvents) == 8);
    static_assert(sizeof(QelAudioAnalysisEvent) == 16);
    static_assert(offsetof(QelAudioAnalysisEvent, mTime) == 0);
    static_assert(offsetof(QelAudioAnalysisEvent, mStrength) == 8);
    const Audio audio = MusicLike(kRate, 2, 3 * 44100, 2);
    TestAnalyzer analyzer({kOnsetKey}, {kRate, 2, 4096, 0});
    int calls = 0;
    analyzer.onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                              QelAudioAnalysisBlock* blocks) {
        ++calls;
        EXPECT_EQ(analyzer.Handle(), handle);
        EXPECT_EQ(kOnsetKey, ToText(key));
        ASSERT_EQ(2u, count);
        for (UInt32 c = 0; c < count; ++c) {
            EXPECT_EQ(16u, blocks[c].mDataByteSize);
            const auto* list = static_cast<const QelAudioAnalysisEventList*>(blocks[c].mData);
            ASSERT_GT(list->mCount, 5u);
            for (UInt32 i = 0; i < list->mCount; ++i) {
                if (i > 0) {
                    EXPECT_GT(list->mEvents[i].mTime, list->mEvents[i - 1].mTime);
                }
                EXPECT_GT(list->mEvents[i].mStrength, 0.0f);
                EXPECT_LE(list->mEvents[i].mStrength, 1.0f);
            }
        }
    };
    analyzer.PushInBlocks(audio, 4096);
    EXPECT_EQ(0, calls); // not before the end
    EXPECT_EQ(0, analyzer.Process());
    EXPECT_EQ(1, calls);
}

std::vector<float> FloatsOf(CFTypeRef dictionary, const char* name) {
    std::vector<float> floats;
    const CFOwner<CFStringRef> key = MakeString(name);
    const void* array = CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), key.Get());
    EXPECT_NE(nullptr, array) << name;
    if (array == nullptr) {
        return floats;
    }
    EXPECT_EQ(CFArrayGetTypeID(), CFGetTypeID(array));
    const auto typed = static_cast<CFArrayRef>(array);
    for (CFIndex i = 0; i < CFArrayGetCount(typed); ++i) {
        const auto number = static_cast<CFNumberRef>(CFArrayGetValueAtIndex(typed, i));
        EXPECT_EQ(CFNumberGetTypeID(), CFGetTypeID(number));
        EXPECT_EQ(kCFNumberFloat32Type, CFNumberGetType(number));
        float value = std::nanf("");
        EXPECT_TRUE(CFNumberGetValue(number, kCFNumberFloat32Type, &value));
        floats.push_back(value);
    }
    return floats;
}

void ExpectDictionary(CFPropertyListRef result, const std::vector<std::vector<Event>>& onsets) {
    ASSERT_NE(nullptr, result);
    ASSERT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(result));
    const auto dictionary = static_cast<CFDictionaryRef>(result);
    EXPECT_EQ(1, CFDictionaryGetCount(dictionary));
    const CFOwner<CFStringRef> key = MakeString(kOnsetKey);
    const auto channels = static_cast<CFArrayRef>(CFDictionaryGetValue(dictionary, key.Get()));
    ASSERT_NE(nullptr, channels);
    ASSERT_EQ(static_cast<CFIndex>(onsets.size()), CFArrayGetCount(channels));
    for (std::size_t c = 0; c < onsets.size(); ++c) {
        const void* channel = CFArrayGetValueAtIndex(channels, static_cast<CFIndex>(c));
        ASSERT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(channel));
        EXPECT_EQ(2, CFDictionaryGetCount(static_cast<CFDictionaryRef>(channel)));
        std::vector<float> times;
        std::vector<float> strengths;
        for (const Event& onset : onsets[c]) {
            times.push_back(static_cast<float>(onset.timeSeconds));
            strengths.push_back(onset.strength);
        }
        EXPECT_EQ(times, FloatsOf(channel, "onset time"));
        EXPECT_EQ(strengths, FloatsOf(channel, "onset strength"));
    }
}

TEST(OnsetRepresentationTest, EachChannelHasTimesAndStrengths) {
    Audio audio = MusicLike(kRate, 2, 3 * 44100, 2);
    for (const bool isSilent : {false, true}) {
        if (isSilent) {
            audio = Silence(2, 44100);
        }
        OnsetRun run({kRate, 2, 4096, 0});
        const auto decode = run.Analyzer().onDelivery;
        CFPropertyListRef made = nullptr;
        run.Analyzer().onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                                        QelAudioAnalysisBlock* blocks) {
            decode(handle, key, count, blocks);
            made = QelAudioAnalysisCreateCFRepresentation(handle, kCFAllocatorDefault, key, count,
                                                          blocks);
        };
        run.Push(audio);
        const OnsetResults results = run.Process();
        const CFOwner<CFPropertyListRef> owner(made);
        ASSERT_EQ(2u, results.onsets.size());
        EXPECT_EQ(isSilent, results.onsets[0].empty());
        ExpectDictionary(owner.Get(), results.onsets);
    }
}

TEST(OnsetRepresentationTest, BlocksOfTheClientsOwnAreReadAsTheyStand) {
    const QelAudioAnalysisEvent events[] = {{0.1, 0.5f}, {0.25, 1.0f}};
    QelAudioAnalysisEventList list{2, events};
    const QelAudioAnalysisBlock block{&list, sizeof list};
    OnsetRun run({kRate, 1, 4096, 0});
    const CFOwner<CFStringRef> key = MakeString(kOnsetKey);
    const CFOwner<CFPropertyListRef> result(QelAudioAnalysisCreateCFRepresentation(
        run.Analyzer().Handle(), nullptr, key.Get(), 1, &block));
    ExpectDictionary(result.Get(), {{{0.1, 0.5f}, {0.25, 1.0f}}});
}

// A key that stands twice builds the group twice; the first object is given back.
TEST(OnsetRepresentationTest, AKeyThatIsListedTwiceDeliversOnce) {
    const Audio audio = MusicLike(kRate, 1, 44100, 2);
    TestAnalyzer once({kOnsetKey}, {kRate, 1, 4096, 0});
    TestAnalyzer twice({kOnsetKey, kOnsetKey}, {kRate, 1, 4096, 0});
    int calls[2] = {};
    const auto count = [&](int which) {
        return [&calls, which](QelAudioAnalysisRef, CFStringRef, UInt32, QelAudioAnalysisBlock*) {
            ++calls[which];
        };
    };
    once.onDelivery = count(0);
    twice.onDelivery = count(1);
    for (TestAnalyzer* analyzer : {&once, &twice}) {
        analyzer->PushInBlocks(audio, 4096);
        EXPECT_EQ(0, analyzer->Process());
    }
    EXPECT_EQ(1, calls[0]);
    EXPECT_EQ(1, calls[1]);
}

} // namespace
} // namespace qel::test
