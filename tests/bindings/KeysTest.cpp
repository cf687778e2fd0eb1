// Holds the table of keys and the library together.
#include "tests/harness/Waveforms.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <utility>

namespace qel {
namespace {

// One call of the data callback, as the C functions show it.
struct Call {
    std::uint32_t blockBytes = 0;
    // Numbers of the first block: for events time, strength, time, ..., likewise for partials, for
    // a name its characters.
    std::vector<float> payload;
    std::map<std::string, std::vector<float>> values; // of the dictionary: first channel and frame
};

// Runs the C functions alone: this is about the library, so the client must not be in between.
class RawRun {
public:
    // Analyzes `samples` of one channel, in pushes of 1000, for one key.
    RawRun(const KeyInfo& row, const std::vector<float>& samples)
        : mRow(row), mKey(detail::makeString(row.key)) {
        const auto keys = detail::makeArray();
        if (!row.companion.empty()) {
            CFArrayAppendValue(keys.get(), detail::makeString(row.companion).get());
        }
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
        const auto length = static_cast<SInt64>(samples.size());
        EXPECT_EQ(QelAudioAnalysisInitialize(mHandle, kPush, &format, &layout, length), 0);
        const std::size_t push = kPush - kPush % row.pushMultiple;
        std::vector<float> rest(samples);
        for (std::size_t at = 0; at < rest.size(); at += push) {
            const auto frames = static_cast<UInt32>(std::min(push, rest.size() - at));
            AudioBufferList list{1, {{1, static_cast<UInt32>(4 * frames), &rest[at]}}};
            EXPECT_EQ(QelAudioAnalysisPushAudio(mHandle, frames, &list),
                      frames % row.pushMultiple == 0 ? 0 : -1);
        }
        status = QelAudioAnalysisProcess(mHandle, 1, nullptr, nullptr);
    }
    ~RawRun() { QelAudioAnalysisDispose(mHandle); }
    RawRun(const RawRun&) = delete;
    RawRun& operator=(const RawRun&) = delete;

    static constexpr UInt32 kPush = 1000;
    std::vector<Call> calls;
    SInt32 status = 0; // of the end

private:
    static void receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon) {
        auto& self = *static_cast<RawRun*>(refCon);
        if (detail::textOf(key) == self.mRow.companion) {
            return;
        }
        ASSERT_TRUE(CFEqual(key, self.mKey.get()));
        const detail::ReceivedNames names(&self.mRow, {blocks, count});
        const bool isMatrix = self.mRow.delivery == Delivery::FramesAtEnd;
        ASSERT_TRUE(isMatrix || count == 1u);
        for (UInt32 f = 0; f < count; ++f) {
            // The first block of a channel holds all of its frames.
            const UInt32 bytes = blocks[0].mDataByteSize;
            auto* start = isMatrix ? static_cast<char*>(blocks[0].mData) + std::size_t{f} * bytes
                                   : blocks[0].mData;
            self.calls.push_back({bytes, numbersOf({start, bytes}, self.mRow.payload), {}});
        }
        if (count != 0) {
            self.calls[self.calls.size() - count].values = self.valuesOf(handle, count, blocks);
        }
    }

    // Those of the first frame in the dictionary.
    std::map<std::string, std::vector<float>> valuesOf(QelAudioAnalysisRef handle, UInt32 count,
                                                       const QelAudioAnalysisBlock* blocks) const {
        const detail::CFOwner<CFTypeRef> dictionary(
            QelAudioAnalysisCreateCFRepresentation(handle, nullptr, mKey.get(), count, blocks));
        if (mRow.payload == PayloadKind::Range) {
            EXPECT_EQ(dictionary.get(), nullptr);
            return {};
        }
        const auto* channels = static_cast<CFArrayRef>(
            CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary.get()), mKey.get()));
        return channelOf(CFArrayGetValueAtIndex(channels, 0), mRow);
    }

    static std::vector<float> numbersOf(const QelAudioAnalysisBlock& block, PayloadKind payload) {
        if (payload == PayloadKind::Count) {
            return {static_cast<float>(*static_cast<const UInt32*>(block.mData))};
        }
        if (payload == PayloadKind::Name) {
            return charactersOf(block.mData);
        }
        if (payload == PayloadKind::Range) {
            const auto& range = *static_cast<const QelAudioAnalysisRange*>(block.mData);
            return {range.mHeadroom, range.mNoiseFloor, range.mCutoff};
        }
        std::vector<float> numbers;
        if (payload == PayloadKind::Events) {
            const auto& list = *static_cast<const QelAudioAnalysisEventList*>(block.mData);
            for (UInt32 i = 0; i < list.mCount; ++i) {
                numbers.push_back(static_cast<float>(list.mEvents[i].mTime));
                numbers.push_back(list.mEvents[i].mStrength);
            }
            return numbers;
        }
        if (payload == PayloadKind::Partials) {
            const auto& list = *static_cast<const PartialList*>(block.mData);
            for (UInt32 i = 0; i < list.mCount; ++i) {
                const PartialRecord& record = list.mPartials[i];
                numbers.insert(numbers.end(), {static_cast<float>(record.mIndex), record.mFrequency,
                                               record.mMagnitude, record.mPhase,
                                               static_cast<float>(record.mTime)});
            }
            return numbers;
        }
        numbers.resize(block.mDataByteSize / sizeof(float));
        std::memcpy(numbers.data(), block.mData, block.mDataByteSize);
        return numbers;
    }

    static std::vector<float> charactersOf(const void* string) {
        const std::string text = detail::textOf(static_cast<CFStringRef>(string));
        return {text.begin(), text.end()};
    }

    // What is about the stream as a whole has no level of frames; a count, a vector and a name have
    // no name of a value but the key's.
    static std::map<std::string, std::vector<float>> channelOf(const void* channel,
                                                               const KeyInfo& row) {
        if (row.payload == PayloadKind::Count) {
            return {{std::string(row.values[0].name), {numberOf(channel)}}};
        }
        const void* frame = row.delivery == Delivery::AtEnd
                                ? channel
                                : CFArrayGetValueAtIndex(static_cast<CFArrayRef>(channel), 0);
        if (row.payload == PayloadKind::Name) {
            return {{std::string(row.values[0].name), charactersOf(frame)}};
        }
        if (CFGetTypeID(frame) == CFArrayGetTypeID()) {
            return byName(numbersOf(static_cast<CFArrayRef>(frame)), row);
        }
        return valuesOf(static_cast<CFDictionaryRef>(frame));
    }

    // Numbers of which the values of the row take turns.
    static std::map<std::string, std::vector<float>> byName(const std::vector<float>& numbers,
                                                            const KeyInfo& row) {
        std::map<std::string, std::vector<float>> values;
        for (std::size_t k = 0; k < numbers.size(); ++k) {
            values[std::string(row.values[k % row.values.size()].name)].push_back(numbers[k]);
        }
        return values;
    }

    static std::vector<float> numbersOf(CFArrayRef array) {
        std::vector<float> numbers;
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
            numbers.push_back(numberOf(CFArrayGetValueAtIndex(array, i)));
        }
        return numbers;
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
            list = numbersOf(static_cast<CFArrayRef>(values[i]));
        }
        return result;
    }

    static float numberOf(const void* number) {
        float value = 0;
        EXPECT_TRUE(
            CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberFloat32Type, &value));
        return value;
    }

    const KeyInfo& mRow;
    detail::CFOwner<CFStringRef> mKey;
    QelAudioAnalysisRef mHandle = nullptr;
};

// Audio that the key finds something in: `length` samples of noise, or for results at the end
// music of some bars.
std::vector<float> audioFor(const KeyInfo& row, std::size_t length) {
    return row.delivery == Delivery::AtEnd ? test::Drums(12, 120, 3) : test::Noise(length, 1.0f, 1);
}

TEST(KeysTest, RowsAreTheKeysThatTheLibraryBuildsInItsOrder) {
    std::vector<std::string> rows;
    for (const KeyInfo& row : kKeys) {
        rows.emplace_back(row.key);
    }
    EXPECT_EQ(rows, Analyzer::availableKeys());
}

// A part of the library that keeps frames without telling of them.
bool hidesItsFrames(const KeyInfo& row) {
    return row.key == "audio range";
}

TEST(KeysTest, FrameAndHopAreThoseOfTheMetaData) {
    for (const KeyInfo& row : kKeys) {
        if (hidesItsFrames(row)) {
            continue;
        }
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
        const RawRun run(row, audioFor(row, 9216));
        EXPECT_EQ(run.status, 0);
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
    const std::size_t length = 9700; // more than the longest frame
    for (const KeyInfo& row : kKeys) {
        SCOPED_TRACE(row.key);
        const RawRun run(row, audioFor(row, length));
        std::size_t expected = 1;
        if (row.delivery == Delivery::PerPush) {
            expected = 10; // 9700 samples in pushes of at most 1000
        } else if (row.delivery != Delivery::AtEnd) {
            expected = ((length - row.frameSamples) / row.hopSamples + 1) * row.resultsPerFrame;
        }
        EXPECT_EQ(run.calls.size(), expected);
    }
}

// The names in the dictionary are those of the row, and each carries the numbers that stand at the
// name's place in the payload.
TEST(KeysTest, NamesAndOrderOfValuesAreThoseOfTheDictionary) {
    for (const KeyInfo& row : kKeys) {
        SCOPED_TRACE(row.key);
        const RawRun run(row, audioFor(row, 9216));
        ASSERT_FALSE(run.calls.empty());
        if (row.payload == PayloadKind::Range) { // which has no dictionary
            continue;
        }
        const bool isMatrix = row.delivery == Delivery::FramesAtEnd; // only its first frame is told
        const Call& call = isMatrix ? run.calls.front() : run.calls.back();
        ASSERT_GE(call.payload.size(), row.values.size());
        ASSERT_EQ(call.values.size(), row.values.size());
        for (std::size_t i = 0; i < row.values.size(); ++i) {
            SCOPED_TRACE(row.values[i].name);
            const auto found = call.values.find(std::string(row.values[i].name));
            ASSERT_NE(found, call.values.end());
            std::vector<float> expected;
            for (std::size_t k = i; k < call.payload.size(); k += row.values.size()) {
                expected.push_back(call.payload[k]);
            }
            if (row.payload == PayloadKind::Partials) { // the dictionary has the last one only
                expected = {expected.back()};
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

// A bin without any magnitude, as all bins of digital silence are, has no frequency; what reaches
// nowhere is marked.
bool isWithoutValue(const KeyInfo& row, float number) {
    return (row.key == "instantaneous frequency" && std::isnan(number)) ||
           (row.key == "audio range" && (number == 100 || number == -1));
}

void expectInRange(const KeyInfo& row, const std::vector<std::vector<float>>& signals) {
    for (const auto& signal : signals) {
        const RawRun run(row, signal);
        for (const Call& call : run.calls) {
            for (std::size_t k = 0; k < call.payload.size(); ++k) {
                if (!isWithoutValue(row, call.payload[k])) {
                    expectInRange(row.values[k % row.values.size()], call.payload[k], 44100);
                }
            }
        }
    }
}

// Silence and a constant have no pitch classes.
bool hasNumbersWithoutPitch(const KeyInfo& row) {
    return row.key != "pitch class profile" && row.key != "pitch class profile tonal centroid";
}

TEST(KeysTest, ValuesLieInTheirRanges) {
    constexpr std::size_t kLength = 9216; // more than the longest frame
    std::vector<float> click(kLength);
    click[2000] = 1;
    const std::vector<std::vector<float>> unpitched = {std::vector<float>(kLength),
                                                       std::vector<float>(kLength, 1.0f)};
    const std::vector<std::vector<float>> shortSignals = {click, test::Noise(kLength, 1.0f, 3),
                                                          test::Sine(kLength, 64, 1),
                                                          test::Sine(kLength, 2.01, 1)};
    const std::vector<std::vector<float>> longSignals = {
        test::Drums(12, 120, 3), test::Drums(6, 37, 4), test::Drums(6, 230, 4),
        test::Noise(150000, 1.0f, 3), test::Sine(150000, 64, 1)};
    for (const KeyInfo& row : kKeys) {
        const bool isShort = row.delivery != Delivery::AtEnd;
        expectInRange(row, isShort ? shortSignals : longSignals);
        if (isShort && hasNumbersWithoutPitch(row)) {
            expectInRange(row, unpitched);
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
    static_assert(findKey("spectrum")->key == "spectrum");
    static_assert(findKey("spectru") == nullptr);
    static_assert(findKey("spectrum ") == nullptr);
    EXPECT_EQ(findKey(std::string("spectrum flux ") + "properties"), &kKeys[4]);
}

} // namespace
} // namespace qel
