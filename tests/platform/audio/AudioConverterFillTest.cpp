// How the audio converter asks for input, keeps its place in it, and fills its caller's buffers.

#include "AudioConverterTesting.h"

#include <AudioToolbox/AudioConverter.h>

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <stdexcept>

namespace qel::testing {
namespace {

using Codes = std::vector<std::int16_t>;

constexpr OSStatus kNoMoreForNow = 5;

Codes Ramp(std::size_t count) {
    Codes codes(count);
    std::iota(codes.begin(), codes.end(), std::int16_t{-7});
    return codes;
}

void Enter(AudioBufferList& list, std::int16_t* codes, std::size_t count) {
    list.mBuffers[0].mData = codes;
    list.mBuffers[0].mDataByteSize = static_cast<UInt32>(count * sizeof *codes);
}

// A converter of mono 16-bit integers, its output, and what came out of it.
class AudioConverterFillTest : public ::testing::Test {
protected:
    Filled FillOnce(Source& source, UInt32 packets) {
        BufferList output = OutputList(1, true, packets);
        const Filled filled = Fill(mConverter, source, packets, output);
        EXPECT_EQ(output.Buffer(0).mDataByteSize, filled.packets * sizeof(float));
        for (UInt32 i = 0; i < filled.packets && filled.packets <= packets; ++i) {
            mValues.push_back(output.Float(0, i));
        }
        return filled;
    }

    // That the values so far are the first codes.
    void ExpectValuesAreFirst(const Codes& codes, std::size_t count) const {
        ASSERT_EQ(mValues.size(), count);
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(mValues[i], static_cast<float>(codes[i]) / 32768.0f) << i;
        }
    }

    Converter mConverter = NewConverter(PCM(16, kSigned16), Canonical());
    std::vector<float> mValues;
};

TEST_F(AudioConverterFillTest, TheCallbackIsAskedForWhatIsMissing) {
    Codes codes = Ramp(10);
    std::size_t place = 0;
    Source source{[&](UInt32& packets, AudioBufferList& list) {
        EXPECT_EQ(list.mNumberBuffers, 1u);
        EXPECT_EQ(list.mBuffers[0].mNumberChannels, 1u);
        EXPECT_EQ(list.mBuffers[0].mDataByteSize, 0u);
        EXPECT_EQ(list.mBuffers[0].mData, nullptr);
        packets = std::min(packets, 4u);
        Enter(list, codes.data() + place, packets);
        place += packets;
        return noErr;
    }};
    const Filled filled = FillOnce(source, 10);
    EXPECT_EQ(filled.status, noErr);
    EXPECT_EQ(filled.packets, 10u);
    EXPECT_EQ(source.asked, (std::vector<UInt32>{10, 6, 2}));
    EXPECT_FALSE(source.hadDescriptions);
    EXPECT_FALSE(source.hadOtherConverter);
    ExpectValuesAreFirst(codes, 10);
}

TEST_F(AudioConverterFillTest, MoreThanWasAskedForLastsOverLaterCalls) {
    Codes codes = Ramp(10);
    Source source{[&](UInt32& packets, AudioBufferList& list) {
        packets = 10;
        Enter(list, codes.data(), codes.size());
        return noErr;
    }};
    for (const UInt32 wanted : {3u, 1u, 4u, 2u}) {
        EXPECT_EQ(FillOnce(source, wanted).packets, wanted);
    }
    EXPECT_EQ(source.asked, (std::vector<UInt32>{3}));
    ExpectValuesAreFirst(codes, 10);
    // Now all is used.
    EXPECT_EQ(FillOnce(source, 1).packets, 1u);
    EXPECT_EQ(source.asked, (std::vector<UInt32>{3, 1}));
    EXPECT_EQ(mValues.back(), mValues.front());
}

TEST_F(AudioConverterFillTest, ACallsRestAndNewInputMakeOneOutput) {
    Codes codes = Ramp(10);
    std::size_t place = 0;
    Source source{[&](UInt32& packets, AudioBufferList& list) {
        packets = 5;
        Enter(list, codes.data() + place, 5);
        place += 5;
        return noErr;
    }};
    EXPECT_EQ(FillOnce(source, 3).packets, 3u);
    EXPECT_EQ(FillOnce(source, 6).packets, 6u);
    EXPECT_EQ(source.asked, (std::vector<UInt32>{3, 4}));
    ExpectValuesAreFirst(codes, 9);
}

TEST_F(AudioConverterFillTest, NoPacketsEndTheStream) {
    Codes codes = Ramp(4);
    UInt32 left = 4;
    Source source{[&](UInt32& packets, AudioBufferList& list) {
        packets = left;
        Enter(list, codes.data(), left);
        left = 0;
        return noErr;
    }};
    Filled filled = FillOnce(source, 10);
    EXPECT_EQ(filled.status, noErr);
    EXPECT_EQ(filled.packets, 4u);
    filled = FillOnce(source, 10);
    EXPECT_EQ(filled.status, noErr);
    EXPECT_EQ(filled.packets, 0u);
    EXPECT_EQ(source.asked, (std::vector<UInt32>{10, 6, 10}));
    ExpectValuesAreFirst(codes, 4);
}

TEST_F(AudioConverterFillTest, AStatusOfTheCallbackComesWithWhatWasMadeAndALaterCallGoesOn) {
    Codes codes = Ramp(7);
    std::size_t place = 0;
    std::size_t available = 4;
    Source source{[&](UInt32& packets, AudioBufferList& list) {
        if (place == available) {
            return kNoMoreForNow; // with the count as it was asked for, which is not looked at
        }
        packets = static_cast<UInt32>(available - place);
        Enter(list, codes.data() + place, packets);
        place = available;
        return OSStatus{noErr};
    }};
    Filled filled = FillOnce(source, 10);
    EXPECT_EQ(filled.status, kNoMoreForNow);
    EXPECT_EQ(filled.packets, 4u);
    filled = FillOnce(source, 10);
    EXPECT_EQ(filled.status, kNoMoreForNow);
    EXPECT_EQ(filled.packets, 0u);
    available = 7;
    filled = FillOnce(source, 10);
    EXPECT_EQ(filled.status, kNoMoreForNow);
    EXPECT_EQ(filled.packets, 3u);
    ExpectValuesAreFirst(codes, 7);
}

TEST_F(AudioConverterFillTest, AnExceptionOfTheCallbackLeavesAConverterThatGoesOn) {
    Codes codes = Ramp(2);
    Source raising{[](UInt32&, AudioBufferList&) -> OSStatus { throw std::runtime_error("none"); }};
    BufferList output = OutputList(1, true, 2);
    EXPECT_THROW(Fill(mConverter, raising, 2, output), std::runtime_error);
    Source source{[&](UInt32&, AudioBufferList& list) {
        Enter(list, codes.data(), 2);
        return noErr;
    }};
    EXPECT_EQ(FillOnce(source, 2).packets, 2u);
    ExpectValuesAreFirst(codes, 2);
}

TEST_F(AudioConverterFillTest, PacketsThatTheSizesDoNotHoldAreNotThere) {
    Codes codes = Ramp(4);
    const std::vector<UInt32> sizes = {7, 3, 2, 1};
    std::size_t call = 0;
    Source source{[&](UInt32& packets, AudioBufferList& list) {
        packets = 0xFFFFFFFF;
        list.mBuffers[0] = {1, sizes[call++], codes.data()};
        return noErr;
    }};
    const Filled filled = FillOnce(source, 10);
    EXPECT_EQ(filled.status, noErr);
    EXPECT_EQ(filled.packets, 5u) << "of 7 bytes three samples, of 3 and 2 one, of 1 none: the end";
    EXPECT_EQ(source.asked, (std::vector<UInt32>{10, 7, 6, 5}));
    EXPECT_EQ(mValues[2], static_cast<float>(codes[2]) / 32768.0f);
    EXPECT_EQ(mValues[3], mValues[0]);
    EXPECT_EQ(mValues[4], mValues[0]);
}

TEST_F(AudioConverterFillTest, TheShortestChannelCounts) {
    BufferList input({std::vector<std::uint8_t>(8, 0x40), std::vector<std::uint8_t>(5, 0x40)});
    const Converter converter =
        NewConverter(PCM(16, kSigned16 | kAudioFormatFlagIsNonInterleaved, 2), Canonical(2));
    Source source = AllAtOnce(input, 4);
    BufferList output = OutputList(2, true, 4);
    const Filled filled = Fill(converter, source, 4, output);
    EXPECT_EQ(filled.status, noErr);
    EXPECT_EQ(filled.packets, 2u);
    EXPECT_EQ(output.Buffer(0).mDataByteSize, 16u);
    EXPECT_EQ(output.Float(0, 3), 16448.0f / 32768.0f) << "0x4040";
    EXPECT_EQ(output.Float(0, 4), 0.0f) << "not written";
}

TEST_F(AudioConverterFillTest, AWrongInputListIsAParameterError) {
    Codes codes = Ramp(4);
    bool isWrong = false;
    Source source{[&](UInt32& packets, AudioBufferList& list) {
        Enter(list, codes.data(), 2);
        list.mNumberBuffers = isWrong ? 0 : 1;
        packets = 2;
        isWrong = true;
        return noErr;
    }};
    const Filled filled = FillOnce(source, 4);
    EXPECT_EQ(filled.status, kAudio_ParamError);
    ASSERT_EQ(filled.packets, 2u);
    ExpectValuesAreFirst(codes, 2);
    Source dataless{[&](UInt32&, AudioBufferList& list) {
        list.mBuffers[0].mDataByteSize = 8;
        return noErr;
    }};
    EXPECT_EQ(FillOnce(dataless, 4).status, kAudio_ParamError);
    isWrong = false;
    EXPECT_EQ(FillOnce(source, 2).packets, 2u) << "the converter goes on";
}

TEST_F(AudioConverterFillTest, AskingForNothingMakesNothing) {
    Source source{[](UInt32&, AudioBufferList&) { return kNoMoreForNow; }};
    BufferList output = OutputList(1, true, 4);
    output.Buffer(0).mData = nullptr;
    const Filled filled = Fill(mConverter, source, 0, output);
    EXPECT_EQ(filled.status, noErr);
    EXPECT_EQ(filled.packets, 0u);
    EXPECT_EQ(output.Buffer(0).mDataByteSize, 0u);
    EXPECT_TRUE(source.asked.empty());
}

TEST_F(AudioConverterFillTest, BuffersThatAreTooSmallAreRefusedBeforeAnythingIsAskedFor) {
    Codes codes = Ramp(4);
    Source source{[&](UInt32&, AudioBufferList& list) {
        Enter(list, codes.data(), 4);
        return noErr;
    }};
    for (const UInt32 bytes : {0u, 4u, 15u}) {
        BufferList output = OutputList(1, true, 4);
        output.Buffer(0).mDataByteSize = bytes;
        const Filled filled = Fill(mConverter, source, 4, output);
        EXPECT_EQ(filled.status, kAudioConverterErr_InvalidOutputSize);
        EXPECT_EQ(filled.packets, 0u);
        EXPECT_EQ(output.Buffer(0).mDataByteSize, bytes);
        EXPECT_EQ(output.Float(0, 0), 0.0f);
    }
    BufferList output = OutputList(1, true, 4);
    EXPECT_EQ(Fill(mConverter, source, 0x40000004, output).status,
              kAudioConverterErr_InvalidOutputSize)
        << "four times that, in 32 bits, is 16";
    EXPECT_TRUE(source.asked.empty());
}

TEST_F(AudioConverterFillTest, EveryOutputBufferNeedsRoom) {
    const Converter converter = NewConverter(PCM(16, kSigned16, 2), Canonical(2, false));
    Source source{[](UInt32&, AudioBufferList&) { return kNoMoreForNow; }};
    BufferList output = OutputList(2, false, 4);
    output.Buffer(1).mDataByteSize = 12;
    EXPECT_EQ(Fill(converter, source, 4, output).status, kAudioConverterErr_InvalidOutputSize);
    EXPECT_EQ(Fill(converter, source, 3, output).status, kNoMoreForNow);
}

TEST_F(AudioConverterFillTest, WrongOutputListsAreParameterErrors) {
    Source source{[](UInt32&, AudioBufferList&) { return kNoMoreForNow; }};
    BufferList output = OutputList(2, false, 4);
    for (const UInt32 buffers : {0u, 2u, 0xFFFFFFFFu}) {
        output.Get().mNumberBuffers = buffers;
        const Filled filled = Fill(mConverter, source, 4, output);
        EXPECT_EQ(filled.status, kAudio_ParamError);
        EXPECT_EQ(filled.packets, 0u);
    }
    output.Get().mNumberBuffers = 1;
    output.Buffer(0).mData = nullptr;
    EXPECT_EQ(Fill(mConverter, source, 4, output).status, kAudio_ParamError);
    EXPECT_TRUE(source.asked.empty());
}

TEST_F(AudioConverterFillTest, NullPointersAreParameterErrorsAndCountNothing) {
    Source source{[](UInt32&, AudioBufferList&) { return kNoMoreForNow; }};
    BufferList output = OutputList(1, true, 4);
    const auto call = [&](AudioConverterRef converter, AudioConverterComplexInputDataProc proc,
                          AudioBufferList* list) {
        UInt32 packets = 4;
        EXPECT_EQ(
            AudioConverterFillComplexBuffer(converter, proc, &source, &packets, list, nullptr),
            kAudio_ParamError);
        EXPECT_EQ(packets, 0u);
    };
    call(nullptr, Source::Proc, &output.Get());
    call(mConverter.get(), nullptr, &output.Get());
    call(mConverter.get(), Source::Proc, nullptr);
    EXPECT_EQ(AudioConverterFillComplexBuffer(mConverter.get(), Source::Proc, &source, nullptr,
                                              &output.Get(), nullptr),
              kAudio_ParamError);
    EXPECT_TRUE(source.asked.empty());
}

// Any portions in, any portions out, with pauses and with too much: the same samples, and never one
// read that the callback took back, which the address checks would see.
TEST_F(AudioConverterFillTest, PortionsDoNotChangeTheSamples) {
    constexpr std::size_t kFrames = 5000;
    const Codes codes = Ramp(2 * kFrames);
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937 random(seed);
        const Converter converter = NewConverter(PCM(16, kSigned16, 2), Canonical(2));
        std::unique_ptr<Codes> portion;
        std::size_t place = 0;
        Source source{[&](UInt32& packets, AudioBufferList& list) {
            portion.reset();
            if (random() % 3 == 0) {
                return kNoMoreForNow;
            }
            const std::size_t frames = std::min<std::size_t>(1 + random() % 700, kFrames - place);
            const auto first = codes.begin() + static_cast<std::ptrdiff_t>(2 * place);
            portion =
                std::make_unique<Codes>(first, first + static_cast<std::ptrdiff_t>(2 * frames));
            packets = static_cast<UInt32>(frames);
            Enter(list, portion->data(), portion->size());
            place += frames;
            return OSStatus{noErr};
        }};
        std::size_t made = 0;
        for (bool atEnd = false; !atEnd;) {
            const auto wanted = static_cast<UInt32>(1 + random() % 500);
            BufferList output = OutputList(2, true, wanted);
            const Filled filled = Fill(converter, source, wanted, output);
            ASSERT_TRUE(filled.status == noErr || filled.status == kNoMoreForNow);
            ASSERT_LE(made + filled.packets, kFrames);
            for (std::size_t i = 0; i < 2 * filled.packets; ++i) {
                ASSERT_EQ(output.Float(0, i), static_cast<float>(codes[2 * made + i]) / 32768.0f);
            }
            made += filled.packets;
            atEnd = filled.status == noErr && filled.packets < wanted;
        }
        EXPECT_EQ(made, kFrames) << seed;
    }
}

TEST_F(AudioConverterFillTest, AllAtOnceThenNoMoreForNowIsDrainedInSteps) {
    constexpr UInt32 kStep = 32768;
    constexpr UInt32 kFrames = 3 * kStep + 100;
    Codes codes(kFrames);
    for (UInt32 i = 0; i < kFrames; ++i) {
        codes[i] = static_cast<std::int16_t>(i * 31 % 65521 - 32768);
    }
    UInt32 pending = kFrames;
    Source source{[&](UInt32& packets, AudioBufferList& list) {
        if (pending == 0) {
            return kNoMoreForNow;
        }
        packets = pending;
        Enter(list, codes.data(), pending);
        pending = 0;
        return OSStatus{noErr};
    }};
    std::vector<UInt32> steps;
    for (OSStatus status = noErr; status == noErr;) {
        const Filled filled = FillOnce(source, kStep);
        status = filled.status;
        steps.push_back(filled.packets);
    }
    EXPECT_EQ(steps, (std::vector<UInt32>{kStep, kStep, kStep, 100}));
    ExpectValuesAreFirst(codes, kFrames);
}

} // namespace
} // namespace qel::testing
