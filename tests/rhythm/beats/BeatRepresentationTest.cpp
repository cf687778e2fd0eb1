// Parameters, metadata and dictionaries of the beat keys.

#include "tests/rhythm/beats/BeatAssertions.h"

#include <array>
#include <cmath>
#include <map>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr UInt32 kParameterList = 7;
constexpr UInt32 kParameterValueInfo = 8;
constexpr UInt32 kMetaDataForKey = 6;

TEST(BeatParameterTest, TheGenreHintIsTheOnlyOne) {
    BeatRun run({kBeatKey}, {kRate, 1, 4096, 0});
    CFOwner<CFMutableArrayRef> names(CFArrayCreateMutable(nullptr, 0, nullptr));
    CFMutableArrayRef array = names.Get();
    UInt32 size = 0;
    ASSERT_EQ(0, QelAudioAnalysisGetProperty(run.Analyzer().Handle(), kParameterList, nullptr, 0,
                                             static_cast<void*>(&array), 0, &size));
    ASSERT_EQ(1, CFArrayGetCount(array));
    EXPECT_EQ("Genre Hint", ToText(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, 0))));
}

TEST(BeatParameterTest, TheGenreHintIsCutToAWholeNumber) {
    BeatRun run({kBeatKey}, {kRate, 1, 4096, 0});
    EXPECT_EQ(1.0f, run.GenreHint());
    const struct {
        float set;
        float got;
    } kCases[] = {{0.0f, 0.0f}, {0.9f, 0.0f}, {1.0f, 1.0f}, {1.9f, 1.0f},
                  {2.0f, 2.0f}, {7.5f, 7.0f}, {1.0f, 1.0f}};
    for (const auto& [set, got] : kCases) {
        EXPECT_EQ(0, run.SetGenreHint(set));
        EXPECT_EQ(got, run.GenreHint()) << set;
    }
}

TEST(BeatParameterTest, OtherNamesDoNotReachIt) {
    BeatRun run({kBeatKey}, {kRate, 1, 4096, 0});
    for (const char* name : {"Min BPM", "Onset Sensitivity", "genre hint"}) {
        float value = -5.0f;
        QelAudioAnalysisSetParameter(run.Analyzer().Handle(), MakeString(name).Get(), 0.0f);
        QelAudioAnalysisGetParameter(run.Analyzer().Handle(), MakeString(name).Get(), &value);
        EXPECT_EQ(-5.0f, value) << name;
    }
    EXPECT_EQ(1.0f, run.GenreHint());
}

TEST(BeatParameterTest, NothingOfTheValueInfoReachesTheCaller) {
    BeatRun run({kBeatKey}, {kRate, 1, 4096, 0});
    std::array<std::uint32_t, 4> info = {11, 12, 13, 14};
    const CFOwner<CFStringRef> name = MakeString("Genre Hint");
    UInt32 size = 0;
    EXPECT_EQ(0, QelAudioAnalysisGetProperty(run.Analyzer().Handle(), kParameterValueInfo,
                                             name.Get(), 8, info.data(), 16, &size));
    EXPECT_EQ(8u, size);
    EXPECT_EQ((std::array<std::uint32_t, 4>{11, 12, 13, 14}), info);
}

// Any value but 0 and 1 is kept and leaves the range of tempi as it was.
TEST(BeatParameterTest, AnUnknownHintLeavesTheRange) {
    const std::vector<float> samples = DrumTrack(kRate, {});
    const auto tempiWith = [&](std::vector<float> hints) {
        BeatRun run({kTempoKey}, {kRate, 1, 4096, 0});
        for (const float hint : hints) {
            EXPECT_EQ(0, run.SetGenreHint(hint));
        }
        run.Push({samples});
        return run.Process().tempi.at(0);
    };
    EXPECT_EQ(tempiWith({}), tempiWith({2.0f}));
    EXPECT_EQ(tempiWith({0.0f}), tempiWith({0.0f, 5.0f}));
    EXPECT_NE(tempiWith({}), tempiWith({0.0f}));
    EXPECT_EQ(tempiWith({}), tempiWith({0.0f, 1.9f}));
}

TEST(BeatParameterTest, AResetKeepsTheHint) {
    BeatRun run({kTempoKey}, {kRate, 1, 4096, 0});
    EXPECT_EQ(0, run.SetGenreHint(0.0f));
    EXPECT_EQ(0, run.Analyzer().Reset());
    EXPECT_EQ(0.0f, run.GenreHint());
    const std::vector<float> samples = DrumTrack(kRate, {});
    run.Push({samples});
    EXPECT_EQ(Analyze({samples}, kRate, {kTempoKey}, 0.0f).Bytes(), run.Process().Bytes());
}

TEST(BeatMetaDataTest, ReportsRateFrameAndHop) {
    BeatRun run(kAllBeatKeys, {48000.0, 1, 4096, 0});
    for (const std::string& key : kAllBeatKeys) {
        QelAudioAnalysisKeyMetaData data{};
        UInt32 size = 0;
        const CFOwner<CFStringRef> name = MakeString(key);
        EXPECT_EQ(0, QelAudioAnalysisGetProperty(run.Analyzer().Handle(), kMetaDataForKey,
                                                 name.Get(), 8, &data, 24, &size));
        EXPECT_EQ(48000.0, data.mSampleRate);
        EXPECT_EQ(1024u, data.mFrameSize);
        EXPECT_EQ(128u, data.mHopSize);
    }
}

CFTypeRef ValueOf(CFTypeRef dictionary, const std::string& name) {
    EXPECT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(dictionary));
    const CFOwner<CFStringRef> key = MakeString(name);
    return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), key.Get());
}

std::vector<CFTypeRef> Elements(CFTypeRef array) {
    std::vector<CFTypeRef> elements;
    EXPECT_NE(nullptr, array);
    if (array == nullptr) {
        return elements;
    }
    EXPECT_EQ(CFArrayGetTypeID(), CFGetTypeID(array));
    const auto typed = static_cast<CFArrayRef>(array);
    for (CFIndex i = 0; i < CFArrayGetCount(typed); ++i) {
        elements.push_back(CFArrayGetValueAtIndex(typed, i));
    }
    return elements;
}

float FloatOf(CFTypeRef number) {
    float value = std::nanf("");
    EXPECT_NE(nullptr, number);
    if (number != nullptr) {
        EXPECT_EQ(CFNumberGetTypeID(), CFGetTypeID(number));
        EXPECT_EQ(kCFNumberFloat32Type, CFNumberGetType(static_cast<CFNumberRef>(number)));
        CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberFloat32Type, &value);
    }
    return value;
}

void ExpectEvents(const std::vector<Event>& expected, CFTypeRef channel, const std::string& times,
                  const std::string& strengths) {
    EXPECT_EQ(2, CFDictionaryGetCount(static_cast<CFDictionaryRef>(channel)));
    const std::vector<CFTypeRef> timeList = Elements(ValueOf(channel, times));
    const std::vector<CFTypeRef> strengthList = Elements(ValueOf(channel, strengths));
    ASSERT_EQ(expected.size(), timeList.size());
    ASSERT_EQ(expected.size(), strengthList.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(static_cast<float>(expected[i].timeSeconds), FloatOf(timeList[i]));
        EXPECT_EQ(expected[i].strength, FloatOf(strengthList[i]));
    }
}

// Everything of one stereo stream, with the dictionaries that were made in the callback.
class BeatRepresentationTest : public testing::Test {
protected:
    BeatRepresentationTest() {
        BeatRun run(kAllBeatKeys, {kRate, 2, 4096, 0});
        auto decode = run.Analyzer().onDelivery;
        run.Analyzer().onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                                        QelAudioAnalysisBlock* blocks) {
            decode(handle, key, count, blocks);
            mLists.emplace(ToText(key), QelAudioAnalysisCreateCFRepresentation(
                                            handle, kCFAllocatorDefault, key, count, blocks));
        };
        run.Push({DrumTrack(kRate, {.bpm = 120.0, .meter = 3}),
                  DrumTrack(kRate, {.bpm = 150.0, .meter = 4})});
        mResults = run.Process();
    }

    // The entries by channel under the key.
    std::vector<CFTypeRef> Channels(const std::string& key) {
        const auto found = mLists.find(key);
        EXPECT_NE(mLists.end(), found) << key;
        if (found == mLists.end()) {
            return std::vector<CFTypeRef>(2);
        }
        EXPECT_EQ(1, CFDictionaryGetCount(static_cast<CFDictionaryRef>(found->second.Get())));
        std::vector<CFTypeRef> channels = Elements(ValueOf(found->second.Get(), key));
        EXPECT_EQ(2u, channels.size());
        channels.resize(2);
        return channels;
    }

    std::map<std::string, CFOwner<CFPropertyListRef>> mLists;
    BeatResults mResults;
};

TEST_F(BeatRepresentationTest, TempiHaveNames) {
    ASSERT_EQ(2u, mResults.tempi.size());
    const std::vector<CFTypeRef> channels = Channels(kTempoKey);
    for (std::size_t c = 0; c < 2; ++c) {
        EXPECT_EQ(3, CFDictionaryGetCount(static_cast<CFDictionaryRef>(channels[c])));
        EXPECT_EQ(mResults.tempi[c][0], FloatOf(ValueOf(channels[c], "global tempo 1")));
        EXPECT_EQ(mResults.tempi[c][1], FloatOf(ValueOf(channels[c], "global tempo 2")));
        EXPECT_EQ(mResults.tempi[c][2], FloatOf(ValueOf(channels[c], "global tempo 1 confidence")));
    }
}

TEST_F(BeatRepresentationTest, BeatsAreTwoArrays) {
    ASSERT_EQ(2u, mResults.beats.size());
    const std::vector<CFTypeRef> channels = Channels(kBeatKey);
    for (std::size_t c = 0; c < 2; ++c) {
        ASSERT_FALSE(mResults.beats[c].empty());
        ExpectEvents(mResults.beats[c], channels[c], "beat time", "beat confidence");
    }
}

TEST_F(BeatRepresentationTest, DownBeatsAreTwoArrays) {
    ASSERT_EQ(2u, mResults.downBeats.size());
    const std::vector<CFTypeRef> channels = Channels(kDownBeatKey);
    for (std::size_t c = 0; c < 2; ++c) {
        ASSERT_FALSE(mResults.downBeats[c].empty());
        ExpectEvents(mResults.downBeats[c], channels[c], "down beat time", "down beat confidence");
    }
}

TEST_F(BeatRepresentationTest, TheMeterIsANumber) {
    ASSERT_EQ(2u, mResults.meters.size());
    const std::vector<CFTypeRef> channels = Channels(kMeterKey);
    for (std::size_t c = 0; c < 2; ++c) {
        ASSERT_EQ(CFNumberGetTypeID(), CFGetTypeID(channels[c]));
        SInt32 meter = 0;
        EXPECT_TRUE(
            CFNumberGetValue(static_cast<CFNumberRef>(channels[c]), kCFNumberSInt32Type, &meter));
        EXPECT_EQ(mResults.meters[c], static_cast<UInt32>(meter));
        EXPECT_GT(meter, 2);
    }
}

} // namespace
} // namespace qel::test
