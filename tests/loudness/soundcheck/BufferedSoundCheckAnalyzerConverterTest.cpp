// How the sound check deals with a converter, held to a converter of the test's own: it takes
// 16-bit samples, keeps what it was given until it needs more, and does as it is told. It stands in
// place of the platform's in this executable.

#include "loudness/soundcheck/BufferedSoundCheckAnalyzer.h"
#include "tests/loudness/soundcheck/SoundCheckTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace qel::core {
namespace {

// What the converter does, and what was done with it.
struct Script {
    OSStatus newStatus = 0, propertyStatus = 0;
    // Stands in for the status of the input's end.
    std::optional<OSStatus> endStatus;
    bool asksForDescriptions = true;

    int made = 0, disposed = 0;
    AudioStreamBasicDescription from{}, to{};
    std::vector<AudioConverterPropertyID> properties;
    std::vector<unsigned char> cookie;
    std::vector<UInt32> produced; // packets per call
    std::vector<AudioStreamPacketDescription*> descriptions;
};
Script gScript;

} // namespace
} // namespace qel::core

using qel::core::gScript;

struct OpaqueAudioConverter {
    UInt32 channels;
    const SInt16* input = nullptr;
    UInt32 packetsLeft = 0;
};

OSStatus AudioConverterNew(const AudioStreamBasicDescription* inSourceFormat,
                           const AudioStreamBasicDescription* inDestinationFormat,
                           AudioConverterRef* outAudioConverter) {
    gScript.from = *inSourceFormat;
    gScript.to = *inDestinationFormat;
    if (gScript.newStatus != 0) {
        return gScript.newStatus;
    }
    ++gScript.made;
    *outAudioConverter = new OpaqueAudioConverter{inDestinationFormat->mChannelsPerFrame};
    return 0;
}

OSStatus AudioConverterDispose(AudioConverterRef inAudioConverter) {
    ++gScript.disposed;
    delete inAudioConverter;
    return 0;
}

OSStatus AudioConverterSetProperty(AudioConverterRef, AudioConverterPropertyID inPropertyID,
                                   UInt32 inPropertyDataSize, const void* inPropertyData) {
    gScript.properties.push_back(inPropertyID);
    const auto* bytes = static_cast<const unsigned char*>(inPropertyData);
    gScript.cookie.assign(bytes, bytes + inPropertyDataSize);
    return gScript.propertyStatus;
}

OSStatus AudioConverterFillComplexBuffer(AudioConverterRef converter,
                                         AudioConverterComplexInputDataProc proc, void* userData,
                                         UInt32* ioPackets, AudioBufferList* output,
                                         AudioStreamPacketDescription* outDescriptions) {
    const UInt32 wanted = *ioPackets;
    *ioPackets = 0;
    EXPECT_EQ(32768u, wanted);
    EXPECT_EQ(1u, output->mNumberBuffers);
    EXPECT_EQ(converter->channels, output->mBuffers[0].mNumberChannels);
    EXPECT_EQ(converter->channels * 4 * 32768, output->mBuffers[0].mDataByteSize);
    EXPECT_EQ(nullptr, outDescriptions);
    auto* to = static_cast<float*>(output->mBuffers[0].mData);
    OSStatus status = 0;
    while (*ioPackets < wanted && status == 0) {
        if (converter->packetsLeft == 0) {
            UInt32 packets = wanted - *ioPackets;
            AudioBufferList input{};
            AudioStreamPacketDescription* descriptions = nullptr;
            status = proc(converter, &packets, &input,
                          gScript.asksForDescriptions ? &descriptions : nullptr, userData);
            if (status != 0) {
                break;
            }
            EXPECT_EQ(1u, input.mNumberBuffers);
            gScript.descriptions.push_back(descriptions);
            converter->packetsLeft = packets;
            converter->input = static_cast<const SInt16*>(input.mBuffers[0].mData);
        }
        const UInt32 packets = std::min(converter->packetsLeft, wanted - *ioPackets);
        for (UInt32 i = 0; i < packets * converter->channels; ++i) {
            *to++ = static_cast<float>(*converter->input++) / 32768.0f;
        }
        converter->packetsLeft -= packets;
        *ioPackets += packets;
    }
    gScript.produced.push_back(*ioPackets);
    return status != 0 ? gScript.endStatus.value_or(status) : 0;
}

namespace qel::core {
namespace {

using test::FiguresOf;
using test::Interleaved16Bit;
using test::InterleavedFloat;
using test::kStep;

constexpr double kRateHz = 48000.0;

class OpenAnalyzer : public BufferedSoundCheckAnalyzer {
public:
    using BufferedSoundCheckAnalyzer::BufferedSoundCheckAnalyzer;
    // From here on every whole step fails with -50.
    void LoseEngine() {
        NormalizationClose(mNormalizationData);
        mNormalizationData = nullptr;
    }
};

class BufferedSoundCheckAnalyzerConverterTest : public testing::Test {
protected:
    BufferedSoundCheckAnalyzerConverterTest() { gScript = Script(); }
    ~BufferedSoundCheckAnalyzerConverterTest() override {
        mAnalyzer.reset();
        EXPECT_EQ(gScript.made, gScript.disposed);
    }

    OSStatus Start(UInt32 channels) {
        mChannels = channels;
        return mAnalyzer->Start(Interleaved16Bit(kRateHz, channels), nullptr, nullptr, 0);
    }

    OSStatus Push(const std::vector<SInt16>& samples, std::size_t firstFrame, std::size_t frames) {
        const AudioBufferList list = test::ListOf(samples.data() + firstFrame * mChannels,
                                                  frames * mChannels * 2, mChannels);
        return mAnalyzer->ProcessBuffer(static_cast<UInt32>(frames), list, mDescriptions);
    }

    std::unique_ptr<OpenAnalyzer> mAnalyzer = std::make_unique<OpenAnalyzer>("a name");
    AudioStreamPacketDescription* mDescriptions = nullptr;
    UInt32 mChannels = 0;
};

std::vector<SInt16> RoughIntegers(std::size_t count, std::uint32_t seed) {
    std::vector<SInt16> samples;
    for (const float sample : test::RoughNoise(count, seed)) {
        samples.push_back(static_cast<SInt16>(sample * 32768.0f));
    }
    return samples;
}

// The figures of the same audio as floats, step by step.
std::array<test::Figures, 2> Walked(const std::vector<SInt16>& samples, UInt32 channels) {
    SoundCheckAnalyzer analyzer;
    const CAStreamBasicDescription format = InterleavedFloat(kRateHz, channels);
    EXPECT_EQ(0, analyzer.Start(&format, nullptr));
    const std::size_t stride = std::size_t{kStep} * channels;
    std::vector<float> step(stride);
    for (std::size_t at = 0; at + stride <= samples.size(); at += stride) {
        for (std::size_t i = 0; i < stride; ++i) {
            step[i] = static_cast<float>(samples[at + i]) / 32768.0f;
        }
        EXPECT_EQ(0, analyzer.Process(kStep, step.data()));
    }
    return FiguresOf(*analyzer.GetData());
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, CanonicalAudioNeedsNone) {
    EXPECT_EQ(0, mAnalyzer->Start(InterleavedFloat(kRateHz, 2), nullptr, nullptr, 0));
    EXPECT_EQ(0, gScript.made);
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest,
       AnyOtherFormatIsConvertedToInterleavedFloatAtItsOwnRate) {
    for (const UInt32 channels : {1u, 2u}) {
        EXPECT_EQ(0, Start(channels));
        EXPECT_TRUE(Interleaved16Bit(kRateHz, channels).IsEqual(gScript.from));
        EXPECT_TRUE(InterleavedFloat(kRateHz, channels).IsEqual(gScript.to));
    }
    EXPECT_EQ(2, gScript.made);
    EXPECT_EQ(1, gScript.disposed); // the first, by the second start
    EXPECT_TRUE(gScript.properties.empty());
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, EverySizeOfPiecesGivesSingleSteps) {
    for (const UInt32 channels : {1u, 2u}) {
        const std::vector<SInt16> samples = RoughIntegers((4 * kStep + 999) * channels, channels);
        const std::size_t frames = samples.size() / channels;
        const auto expected = Walked(samples, channels);
        ASSERT_GT(expected[channels - 1].peak, 0);
        for (const std::size_t piece : {std::size_t{1}, std::size_t{1000}, std::size_t{kStep},
                                        std::size_t{kStep + 1}, std::size_t{100000}, frames}) {
            ASSERT_EQ(0, Start(channels));
            for (std::size_t at = 0; at < frames; at += piece) {
                ASSERT_EQ(0, Push(samples, at, std::min(piece, frames - at)));
            }
            EXPECT_EQ(expected, FiguresOf(*mAnalyzer->GetData())) << channels << ' ' << piece;
        }
    }
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, APushIsConvertedInRoundsOfAStep) {
    const std::vector<SInt16> samples = RoughIntegers(100000, 3);
    ASSERT_EQ(0, Start(1));
    EXPECT_EQ(0, Push(samples, 0, 100000));
    EXPECT_EQ((std::vector<UInt32>{kStep, kStep, kStep, 100000 - 3 * kStep}), gScript.produced);
    EXPECT_EQ(1u, gScript.descriptions.size()); // the input was taken once
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, AnEmptyPushAsksTheConverterAndGivesIt) {
    ASSERT_EQ(0, Start(1));
    EXPECT_EQ(0, mAnalyzer->ProcessBuffer(0, test::ListOf(nullptr, 0, 1), nullptr));
    EXPECT_EQ(std::vector<UInt32>{0}, gScript.produced);
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, PacketDescriptionsReachAConverterThatAsksForThem) {
    const std::vector<SInt16> samples = RoughIntegers(100, 4);
    AudioStreamPacketDescription description{};
    ASSERT_EQ(0, Start(1));
    mDescriptions = &description;
    EXPECT_EQ(0, Push(samples, 0, 50));
    gScript.asksForDescriptions = false;
    EXPECT_EQ(0, Push(samples, 50, 50));
    EXPECT_EQ((std::vector<AudioStreamPacketDescription*>{&description, nullptr}),
              gScript.descriptions);
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, WithoutPendingInputTheInputsStatusIs5) {
    ASSERT_EQ(0, Start(1));
    UInt32 packets = 17;
    AudioBufferList list = test::ListOf(nullptr, 0, 9);
    EXPECT_EQ(5, BufferedSoundCheckAnalyzer::ACInputProc(nullptr, &packets, &list, nullptr,
                                                         mAnalyzer.get()));
    EXPECT_EQ(17u, packets);
    EXPECT_EQ(9u, list.mBuffers[0].mNumberChannels);
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, ARefusedFormatStopsTheAnalyzer) {
    gScript.newStatus = kAudioConverterErr_FormatNotSupported;
    EXPECT_EQ(kAudioConverterErr_FormatNotSupported, Start(1));
    EXPECT_EQ(kAudioConverterErr_FormatNotSupported, mAnalyzer->StartStatus());
    const std::vector<SInt16> samples = RoughIntegers(kStep, 5);
    EXPECT_EQ(kAudioConverterErr_FormatNotSupported, Push(samples, 0, kStep));
    EXPECT_EQ(nullptr, mAnalyzer->GetData());
    EXPECT_EQ(0, mAnalyzer->Finish());
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, ACookieIsHandedToTheConverter) {
    const unsigned char cookie[] = {3, 1, 4, 1, 5};
    EXPECT_EQ(0, mAnalyzer->Start(Interleaved16Bit(kRateHz, 1), nullptr, cookie, sizeof cookie));
    EXPECT_EQ(std::vector<AudioConverterPropertyID>{0x646D6763}, gScript.properties);
    EXPECT_EQ((std::vector<unsigned char>{3, 1, 4, 1, 5}), gScript.cookie);
    // Canonical audio has no converter to take it.
    EXPECT_EQ(0, mAnalyzer->Start(InterleavedFloat(kRateHz, 1), nullptr, cookie, sizeof cookie));
    EXPECT_EQ(1u, gScript.properties.size());
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, ACookieThatIsRefusedStopsTheAnalyzer) {
    const unsigned char cookie[] = {3, 1, 4};
    gScript.propertyStatus = kAudioConverterErr_BadPropertySizeError;
    EXPECT_EQ(kAudioConverterErr_BadPropertySizeError,
              mAnalyzer->Start(Interleaved16Bit(kRateHz, 1), nullptr, cookie, sizeof cookie));
    EXPECT_EQ(nullptr, mAnalyzer->GetData());
    mChannels = 1;
    EXPECT_EQ(kAudioConverterErr_BadPropertySizeError, Push(RoughIntegers(10, 6), 0, 10));
    EXPECT_TRUE(gScript.produced.empty());
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest, MoreThanTwoChannelsAreRefusedBehindTheConverter) {
    EXPECT_EQ(-50, Start(3));
    EXPECT_EQ(1, gScript.made);
    EXPECT_EQ(-50, Push(RoughIntegers(30, 7), 0, 10));
    EXPECT_EQ(-50, mAnalyzer->ProcessFloats(10, nullptr));
    EXPECT_TRUE(gScript.produced.empty());
    EXPECT_EQ(nullptr, mAnalyzer->GetData());
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest,
       AStatusOfTheConverterIsPassedUpBehindWhatItProduced) {
    const std::vector<SInt16> samples = RoughIntegers(kStep + 2000, 8);
    ASSERT_EQ(0, Start(1));
    gScript.endStatus = kAudioConverterErr_InvalidInputSize;
    EXPECT_EQ(kAudioConverterErr_InvalidInputSize, Push(samples, 0, kStep + 2000));
    EXPECT_EQ((std::vector<UInt32>{kStep, 2000}), gScript.produced);
    EXPECT_EQ(Walked(samples, 1), FiguresOf(*mAnalyzer->GetData()));
    // The 2000 frames were kept: with as many as fill a step there is another excerpt.
    gScript.endStatus.reset();
    EXPECT_EQ(0, Push(std::vector<SInt16>(kStep - 2000, 0), 0, kStep - 2000));
    EXPECT_EQ(2u, mAnalyzer->GetData()->energyCount[0]);
}

TEST_F(BufferedSoundCheckAnalyzerConverterTest,
       WhereTheAnalysisFailsTheConvertersStatusIsReturned) {
    const std::vector<SInt16> samples = RoughIntegers(2 * kStep, 9);
    ASSERT_EQ(0, Start(1));
    mAnalyzer->LoseEngine();
    // A step that fills a round: the converter has nothing to say. The rest of the input is taken
    // out of it, so that it keeps no place in memory that is not its own any more.
    EXPECT_EQ(0, Push(samples, 0, kStep + 7));
    EXPECT_EQ((std::vector<UInt32>{kStep, 7}), gScript.produced);
    // A round that ends with the input.
    EXPECT_EQ(0, Push(samples, 0, 1000));
    EXPECT_EQ(5, Push(samples, 0, kStep - 1000));
    // Without a converter the analysis' own status would come.
    EXPECT_EQ(-50, mAnalyzer->ProcessFloats(0, nullptr));
}

} // namespace
} // namespace qel::core
