// Sound in the formats that recordings come in, through the converter, against the reference on the
// floats that its samples stand for.

#include "tests/loudness/soundcheck/LoudnessAgreementTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace qel::test {
namespace {

constexpr unsigned kRate = 48000;
constexpr std::size_t kFrames = 20 * kStepFrames + 777;

constexpr UInt32 kFloat = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
constexpr UInt32 kBig = kAudioFormatFlagIsBigEndian;
constexpr UInt32 kSigned = kAudioFormatFlagIsSignedInteger;
constexpr UInt32 kPacked = kAudioFormatFlagIsPacked;
constexpr UInt32 kHigh = kAudioFormatFlagIsAlignedHigh;

struct SampleFormat {
    const char* name;
    UInt32 flags, bits, bytes;
};

constexpr SampleFormat kFormats[] = {
    {"8 bits", kSigned | kPacked, 8, 1},
    {"8 bits without a sign", kPacked, 8, 1},
    {"16 bits", kSigned | kPacked, 16, 2},
    {"16 bits, big-endian", kSigned | kPacked | kBig, 16, 2},
    {"24 bits", kSigned | kPacked, 24, 3},
    {"24 bits, big-endian", kSigned | kPacked | kBig, 24, 3},
    {"24 bits of 32, low", kSigned, 24, 4},
    {"24 bits of 32, high", kSigned | kHigh, 24, 4},
    {"16 bits of 32, high, big-endian", kSigned | kHigh | kBig, 16, 4},
    {"32 bits", kSigned | kPacked, 32, 4},
    {"float, big-endian", kFloat | kBig, 32, 4},
    {"double", kFloat, 64, 8},
};

core::CAStreamBasicDescription Describe(const SampleFormat& format, unsigned channels) {
    core::CAStreamBasicDescription description;
    description.mSampleRate = kRate;
    description.mFormatID = kAudioFormatLinearPCM;
    description.mFormatFlags = format.flags;
    description.mBitsPerChannel = format.bits;
    description.mChannelsPerFrame = channels;
    description.mFramesPerPacket = 1;
    description.mBytesPerFrame = description.mBytesPerPacket = format.bytes * channels;
    return description;
}

// One sample, rounded to the format, as the bits of its container; `value` becomes what they
// stand for.
std::uint64_t Encode(const SampleFormat& format, float& value) {
    if (format.flags & kAudioFormatFlagIsFloat) {
        return format.bits == 64 ? std::bit_cast<std::uint64_t>(double{value})
                                 : std::bit_cast<std::uint32_t>(value);
    }
    const double fullScale = std::ldexp(1.0, static_cast<int>(format.bits) - 1);
    const double whole =
        std::clamp(std::round(double{value} * fullScale), -fullScale, fullScale - 1.0);
    value = static_cast<float>(whole / fullScale);
    const bool isSigned = (format.flags & kSigned) != 0;
    const auto integer = static_cast<std::int64_t>(isSigned ? whole : whole + fullScale);
    const UInt32 shift = format.flags & kHigh ? 8 * format.bytes - format.bits : 0;
    return static_cast<std::uint64_t>(integer) << shift;
}

// Replaces every sample of the stream by what its encoding stands for.
std::vector<unsigned char> Encode(const SampleFormat& format, Stream& stream) {
    std::vector<unsigned char> encoded;
    for (float& sample : stream) {
        const std::uint64_t bits = Encode(format, sample);
        for (UInt32 b = 0; b < format.bytes; ++b) {
            const UInt32 place = format.flags & kBig ? format.bytes - 1 - b : b;
            encoded.push_back(static_cast<unsigned char>(bits >> (8 * place)));
        }
    }
    return encoded;
}

void ExpectFormatAgreement(const SampleFormat& format, unsigned channels,
                           std::span<const std::size_t> pushes) {
    Stream stream = MusicWithQuietPassages(kRate, channels, kFrames, 31);
    const std::vector<unsigned char> encoded = Encode(format, stream);
    ReferenceLoudness reference(kRate, channels);
    reference.AddStream(stream, RunsOfConvertedPushes(pushes));
    core::BufferedSoundCheckAnalyzer analyzer("formats");
    ASSERT_EQ(0, analyzer.Start(Describe(format, channels), nullptr, nullptr, 0));
    const std::size_t frameBytes = format.bytes * channels;
    std::size_t start = 0;
    for (const std::size_t frames : pushes) {
        // Bytes of their own, which are gone after the push.
        std::vector<unsigned char> piece(
            encoded.begin() + static_cast<std::ptrdiff_t>(start),
            encoded.begin() + static_cast<std::ptrdiff_t>(start + frames * frameBytes));
        const std::size_t bytes = piece.size();
        piece.resize(std::max<std::size_t>(bytes, 1));
        AudioBufferList list{1, {{channels, static_cast<UInt32>(bytes), piece.data()}}};
        ASSERT_EQ(0, analyzer.ProcessBuffer(static_cast<UInt32>(frames), list, nullptr));
        start += bytes;
    }
    EXPECT_EQ(0, analyzer.Finish());
    ExpectAgreement(reference, analyzer, channels);
}

TEST(LoudnessFormatsAgreementTest, EveryFormatAgrees) {
    const std::vector<std::size_t> pushes{1, 40000, 0, 300000, 32768, kFrames - 372769};
    for (const SampleFormat& format : kFormats) {
        for (const unsigned channels : {1u, 2u}) {
            SCOPED_TRACE(testing::Message() << format.name << ", " << channels << " channels");
            ExpectFormatAgreement(format, channels, pushes);
        }
    }
}

// Unlike floats, which are handed on where they lie, a long push of stereo is looked at step by
// step: the cut makes no difference.
TEST(LoudnessFormatsAgreementTest, SixteenAndTwentyFourBitsAgreeHoweverTheyAreCut) {
    for (const Cut& cut : Cuts(kFrames)) {
        SCOPED_TRACE(cut.name);
        ExpectFormatAgreement(kFormats[2], 2, cut.pushes);
        ExpectFormatAgreement(kFormats[4], 1, cut.pushes);
    }
}

} // namespace
} // namespace qel::test
