// Keys whose results are names, and a key that needs a companion.
#include "tests/harness/Waveforms.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <numbers>
#include <stdexcept>

namespace qel {
namespace {

constexpr std::size_t kLength = 8192 + 3 * 512; // four frames
const StreamSetup kMono{.sampleRateHz = 44100, .maxFrames = kLength};
const StreamSetup kStereo{.sampleRateHz = 44100, .channels = 2, .maxFrames = kLength};

// Sines of one level at the given MIDI note numbers.
std::vector<float> chord(const std::vector<int>& notes) {
    std::vector<float> samples(kLength);
    for (const int note : notes) {
        const double hz = 440 * std::exp2((note - 69) / 12.0);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] += static_cast<float>(
                0.2 * std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / 44100));
        }
    }
    return samples;
}

const std::vector<float> kCMajor = chord({60, 64, 67});
const std::vector<float> kAMinor = chord({57, 60, 64});

// The names of one channel, by key.
using Names = std::map<std::string, std::vector<std::string>>;

Names namesOf(const std::vector<std::string>& keys, const std::vector<float>& samples) {
    Names names;
    Analyzer analyzer(keys, kMono);
    analyzer.onResult(
        [&](const Result& result) { names[std::string(result.key())].push_back(result.name()); });
    analyzer.push(samples);
    analyzer.finish();
    return names;
}

TEST(KeysNamesTest, EveryFrameHasTheNameOfItsKey) {
    EXPECT_EQ(namesOf({"dominant key"}, kCMajor),
              (Names{{"dominant key", std::vector<std::string>(4, "C Major")}}));
    EXPECT_EQ(namesOf({"dominant key"}, kAMinor),
              (Names{{"dominant key", std::vector<std::string>(4, "A Minor")}}));
}

TEST(KeysNamesTest, EveryChannelHasItsName) {
    std::vector<StoredResult> results;
    Analyzer analyzer({"dominant key", "global key"}, kStereo);
    analyzer.onResult([&](const Result& result) {
        EXPECT_EQ(result.channels(), 2u);
        EXPECT_THROW(result.name(2), std::out_of_range);
        results.push_back(result.store());
    });
    analyzer.push(std::array<std::span<const float>, 2>{kCMajor, kAMinor});
    analyzer.finish();
    ASSERT_EQ(results.size(), 5u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(results[i].key, "dominant key");
        EXPECT_EQ(results[i].names, (std::vector<std::string>{"C Major", "A Minor"}));
        EXPECT_TRUE(results[i].channels.empty());
    }
    // One key in all frames is key 0 of the stream, and the second block tells no size.
    EXPECT_EQ(results[4].key, "global key");
    EXPECT_EQ(results[4].names, (std::vector<std::string>{"C Major", "C Major"}));
}

TEST(KeysNamesTest, GlobalKeyWorksByItselfAndBringsNothingElse) {
    EXPECT_TRUE(Analyzer::isAvailable("global key"));
    EXPECT_EQ(namesOf({"global key"}, kAMinor), (Names{{"global key", {"C Major"}}}));
}

TEST(KeysNamesTest, GlobalKeyMayStandAnywhereInTheList) {
    const Names expected{{"dominant key", std::vector<std::string>(4, "A Minor")},
                         {"global key", {"C Major"}}};
    EXPECT_EQ(namesOf({"dominant key", "global key"}, kAMinor), expected);
    EXPECT_EQ(namesOf({"global key", "dominant key"}, kAMinor), expected);
}

TEST(KeysNamesTest, ACompanionThatIsWantedIsDelivered) {
    std::map<std::string, int> calls;
    Analyzer analyzer({"global key", "pitch class profile"}, kMono);
    analyzer.onResult([&](const Result& result) { ++calls[std::string(result.key())]; });
    analyzer.push(kCMajor);
    analyzer.finish();
    EXPECT_EQ(calls, (std::map<std::string, int>{{"global key", 1}, {"pitch class profile", 4}}));
}

TEST(KeysNamesTest, UnknownKeyBesideGlobalKeyIsRefused) {
    EXPECT_THROW(Analyzer({"global key", "no such key"}, kMono), Error);
}

TEST(KeysNamesTest, CompanionsAreKeysThatNeedNone) {
    bool hasOne = false;
    for (const KeyInfo& row : kKeys) {
        if (!row.companion.empty()) {
            hasOne = true;
            const KeyInfo* companion = findKey(row.companion);
            ASSERT_NE(companion, nullptr);
            EXPECT_TRUE(companion->companion.empty());
        }
    }
    EXPECT_TRUE(hasOne);
}

TEST(KeysNamesTest, NamesAreGivenBackOnceForEachThatCame) {
    const detail::CFOwner<CFStringRef> name = detail::makeString("A Minor");
    constexpr ValueInfo kValues[] = {{"name", "name", {0, 1}, "", ""}};
    const KeyInfo info{"name", PayloadKind::Name, 8, Delivery::AtEnd, 0, 0, kValues, ""};
    auto* data = const_cast<void*>(static_cast<const void*>(name.get()));
    const std::array<QelAudioAnalysisBlock, 3> blocks{{{data, 8}, {data, 0}, {nullptr, 0}}};
    CFRetain(name.get());
    CFRetain(name.get());
    {
        const detail::ReceivedNames names(&info, blocks);
        const Result result("name", &info, 0, 0, blocks);
        EXPECT_EQ(result.name(0), "A Minor");
        EXPECT_EQ(result.name(1), "A Minor");
        EXPECT_EQ(result.name(2), "");
        EXPECT_EQ(CFGetRetainCount(name.get()), 3);
    }
    EXPECT_EQ(CFGetRetainCount(name.get()), 1);
    const KeyInfo other{"name", PayloadKind::Count, 4, Delivery::AtEnd, 0, 0, kValues, ""};
    { const detail::ReceivedNames none(&other, blocks); }
    EXPECT_EQ(CFGetRetainCount(name.get()), 1);
}

TEST(KeysNamesTest, ANameIsNeitherFloatsNorEventsNorACount) {
    Analyzer analyzer({"dominant key"}, kMono);
    int calls = 0;
    analyzer.onResult([&](const Result& result) {
        ++calls;
        EXPECT_THROW(result.floats(), Error);
        EXPECT_THROW(result.events(), Error);
        EXPECT_THROW(result.count(), Error);
        EXPECT_THROW(result.value("dominant key"), Error);
        EXPECT_EQ(result.bytes().size(), sizeof(CFStringRef));
    });
    analyzer.push(kCMajor);
    EXPECT_EQ(calls, 4);
}

TEST(KeysNamesTest, FloatsAreNoName) {
    Analyzer analyzer({"pitch class profile"}, kMono);
    int calls = 0;
    analyzer.onResult([&](const Result& result) {
        ++calls;
        EXPECT_THROW(result.name(), Error);
        EXPECT_EQ(result.floats().size(), 12u);
    });
    analyzer.push(kCMajor);
    EXPECT_EQ(calls, 4);
}

TEST(KeysNamesTest, AnExceptionOfTheCallbackDoesNotStopTheStream) {
    Analyzer analyzer({"dominant key"}, kMono);
    analyzer.onResult([](const Result&) { throw std::runtime_error("fault"); });
    EXPECT_THROW(analyzer.push(kCMajor), std::runtime_error);
    std::vector<std::string> names;
    analyzer.onResult([&](const Result& result) { names.push_back(result.name()); });
    analyzer.push(kCMajor);
    // 9728 samples more are 19 frames more.
    EXPECT_EQ(names, std::vector<std::string>(19, "C Major"));
}

} // namespace
} // namespace qel
