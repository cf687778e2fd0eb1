/* Holds the table of keys and the library together. */
#include "TestSignals.h"

#include <QelAudioAnalysis.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

namespace qel {
namespace {

/* One call of the data callback, as the C functions show it. */
struct Call {
    std::uint32_t blockBytes = 0;
    std::vector<float> payload;                       // of the first block
    std::map<std::string, std::vector<float>> values; // of the dictionary: first channel and frame
};

/* Runs the C functions alone: this is about the library, so the client must not be in between. */
class RawRun {
public:
    /* Analyzes `samples` of one channel, in pushes of 1000, for one key. */
    RawRun(std::string_view key, const std::vector<float>& samples)
        : mKey(detail::makeString(key)) {
        const auto keys = detail::makeArray();
        CFArrayAppendValue(keys.get(), mKey.get());
        QelAudioAnalysisNew(keys.get(), receive, this, &mHandle);
        AudioStreamBasicDescription format{};
        format.mSampleRate = 44100;
        format.mFormatID = kAudioFormatLinearPCM;
        format.mFormatFlags = kAudioFormatFlagsNativeFloatPacked;
        format.mBytesPerPacket = format.mBytesPerFrame = sizeof(float);
        format.mFramesPerPacket = format.mChannelsPerFrame = 1;
        format.mBitsPerChannel = 32;
        const AudioChannelLayout layout{};
        EXPECT_EQ(QelAudioAnalysisInitialize(mHandle, kPush, &format, &layout, 0), 0);
        std::vector<float> rest(samples);
        for (std::size_t at = 0; at < rest.size(); at += kPush) {
            const auto frames = static_cast<UInt32>(std::min<std::size_t>(kPush, rest.size() - at));
            AudioBufferList list{1, {{1, static_cast<UInt32>(4 * frames), &rest[at]}}};
            EXPECT_EQ(QelAudioAnalysisPushAudio(mHandle, frames, &list), 0);
        }
        EXPECT_EQ(QelAudioAnalysisProcess(mHandle, 1, nullptr, nullptr), 0);
    }
    ~RawRun() { QelAudioAnalysisDispose(mHandle); }
    RawRun(const RawRun&) = delete;
    RawRun& operator=(const RawRun&) = delete;

    static constexpr UInt32 kPush = 1000;
    std::vector<Call> calls;

private:
    static void receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon) {
        auto& self = *static_cast<RawRun*>(refCon);
        ASSERT_TRUE(CFEqual(key, self.mKey.get()));
        ASSERT_EQ(count, 1u);
        Call call;
        call.blockBytes = blocks[0].mDataByteSize;
        call.payload.resize(call.blockBytes / sizeof(float));
        std::memcpy(call.payload.data(), blocks[0].mData, call.blockBytes);
        const detail::CFOwner<CFTypeRef> dictionary(
            QelAudioAnalysisCreateCFRepresentation(handle, nullptr, key, count, blocks));
        ASSERT_NE(dictionary.get(), nullptr);
        const auto* channels = static_cast<CFArrayRef>(
            CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary.get()), key));
        ASSERT_NE(channels, nullptr);
        const auto* frames = static_cast<CFArrayRef>(CFArrayGetValueAtIndex(channels, 0));
        call.values = valuesOf(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(frames, 0)));
        self.calls.push_back(std::move(call));
    }

    static std::map<std::string, std::vector<float>> valuesOf(CFDictionaryRef frame) {
        const auto count = static_cast<std::size_t>(CFDictionaryGetCount(frame));
        std::vector<const void*> names(count);
        std::vector<const void*> values(count);
        CFDictionaryGetKeysAndValues(frame, names.data(), values.data());
        std::map<std::string, std::vector<float>> result;
        for (std::size_t i = 0; i < count; ++i) {
            std::vector<float>& list = result[detail::textOf(static_cast<CFStringRef>(names[i]))];
            if (CFGetTypeID(values[i]) == CFNumberGetTypeID()) {
                list.push_back(numberOf(values[i]));
                continue;
            }
            const auto* array = static_cast<CFArrayRef>(values[i]);
            for (CFIndex k = 0; k < CFArrayGetCount(array); ++k) {
                list.push_back(numberOf(CFArrayGetValueAtIndex(array, k)));
            }
        }
        return result;
    }

    static float numberOf(const void* number) {
        float value = 0;
        EXPECT_TRUE(
            CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberFloat32Type, &value));
        return value;
    }

    detail::CFOwner<CFStringRef> mKey;
    QelAudioAnalysisRef mHandle = nullptr;
};

TEST(KeysTest, RowsAreTheKeysThatTheLibraryBuildsInItsOrder) {
    std::vector<std::string> rows;
    for (const KeyInfo& row : kKeys) {
        rows.emplace_back(row.key);
    }
    EXPECT_EQ(rows, Analyzer::availableKeys());
}

TEST(KeysTest, FrameAndHopAreThoseOfTheMetaData) {
    for (const KeyInfo& row : kKeys) {
        SCOPED_TRACE(row.key);
        const Analyzer analyzer({row.key}, {.sampleRateHz = 32000});
        const KeyMetaData data = analyzer.metaData(std::string(row.key));
        EXPECT_EQ(data.sampleRateHz, 32000);
        EXPECT_EQ(data.frameSamples, row.frameSamples);
        EXPECT_EQ(data.hopSamples, row.hopSamples);
    }
}

TEST(KeysTest, PayloadHasTheSizeOfTheRow) {
    for (const KeyInfo& row : kKeys) {
        SCOPED_TRACE(row.key);
        const RawRun run(row.key, test::noise(4096, 1));
        ASSERT_FALSE(run.calls.empty());
        for (const Call& call : run.calls) {
            EXPECT_EQ(call.blockBytes, row.payloadBytes);
        }
        if (row.payload == PayloadKind::Floats) {
            EXPECT_EQ(row.payloadBytes, row.values.size() * sizeof(float));
        }
    }
}

TEST(KeysTest, ResultsArriveAsOftenAsTheRowSays) {
    const std::size_t length = 4700;
    for (const KeyInfo& row : kKeys) {
        SCOPED_TRACE(row.key);
        const RawRun run(row.key, test::noise(length, 1));
        // 4700 samples are 5 pushes of at most 1000.
        const std::size_t expected = row.delivery == Delivery::PerPush
                                         ? 5
                                         : (length - row.frameSamples) / row.hopSamples + 1;
        EXPECT_EQ(run.calls.size(), expected);
    }
}

/* The names in the dictionary are those of the row, and each carries the numbers that stand at the
   name's place in the payload. */
TEST(KeysTest, NamesAndOrderOfValuesAreThoseOfTheDictionary) {
    for (const KeyInfo& row : kKeys) {
        SCOPED_TRACE(row.key);
        const RawRun run(row.key, test::noise(2048, 2));
        ASSERT_FALSE(run.calls.empty());
        const Call& call = run.calls.back();
        ASSERT_EQ(call.values.size(), row.values.size());
        for (std::size_t i = 0; i < row.values.size(); ++i) {
            SCOPED_TRACE(row.values[i].name);
            const auto found = call.values.find(std::string(row.values[i].name));
            ASSERT_NE(found, call.values.end());
            std::vector<float> expected;
            for (std::size_t k = i; k < call.payload.size(); k += row.values.size()) {
                expected.push_back(call.payload[k]);
            }
            EXPECT_EQ(found->second, expected);
        }
    }
}

void expectInRange(const ValueInfo& value, float number, double rateHz) {
    // Single precision leaves a ratio of sums of 512 terms a few units of 512 * 2^-24 off.
    const double slack = 1e-4;
    const double scale = value.range.inHalfRates ? rateHz / 2 : 1;
    EXPECT_GE(number, value.range.minimum * scale - slack) << value.name;
    EXPECT_LE(number, value.range.maximum * scale + slack) << value.name;
    EXPECT_TRUE(std::isfinite(number)) << value.name;
}

TEST(KeysTest, ValuesLieInTheirRanges) {
    std::vector<float> click(4096);
    click[2000] = 1;
    const std::vector<std::vector<float>> signals = {
        std::vector<float>(4096), std::vector<float>(4096, 1.0f), click,
        test::noise(4096, 3),     test::sine(4096, 1, 64),        test::sine(4096, 1, 2.01)};
    for (const KeyInfo& row : kKeys) {
        for (const std::vector<float>& signal : signals) {
            for (const Call& call : RawRun(row.key, signal).calls) {
                for (std::size_t k = 0; k < call.payload.size(); ++k) {
                    expectInRange(row.values[k % row.values.size()], call.payload[k], 44100);
                }
            }
        }
    }
}

TEST(KeysTest, EveryValueIsExplainedAndNamedOnce) {
    std::set<std::string_view> names;
    for (const KeyInfo& row : kKeys) {
        EXPECT_FALSE(row.definition.empty()) << row.key;
        EXPECT_FALSE(row.values.empty()) << row.key;
        for (const ValueInfo& value : row.values) {
            EXPECT_TRUE(names.insert(value.name).second) << value.name;
            EXPECT_FALSE(value.unit.empty()) << value.name;
            EXPECT_FALSE(value.definition.empty()) << value.name;
            EXPECT_LT(value.range.minimum, value.range.maximum) << value.name;
        }
    }
}

TEST(KeysTest, FindKeyComparesTheWholeText) {
    static_assert(findKey("spectrum") == &kKeys[5]);
    static_assert(findKey("spectru") == nullptr);
    static_assert(findKey("spectrum ") == nullptr);
    EXPECT_EQ(findKey(std::string("spectrum flux ") + "properties"), &kKeys[4]);
}

} // namespace
} // namespace qel
