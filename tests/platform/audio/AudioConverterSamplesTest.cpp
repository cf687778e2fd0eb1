// The values of converted samples. Expected values are computed from the codes in double precision:
// every integer of up to 32 bits and its quotient by a power of two are exact there, so that the
// cast to float is the only rounding.

#include "AudioConverterTesting.h"

#include <AudioToolbox/AudioConverter.h>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>

namespace qel::testing {
namespace {

constexpr AudioFormatFlags kFloatFlag = kAudioFormatFlagIsFloat;
constexpr AudioFormatFlags kBig = kAudioFormatFlagIsBigEndian;

// Appends the lowest `count` bytes of a word.
void Append(std::vector<std::uint8_t>& bytes, std::uint64_t word, UInt32 count, bool isBig) {
    for (UInt32 i = 0; i < count; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(word >> 8 * (isBig ? count - 1 - i : i)));
    }
}

struct IntegerKind {
    UInt32 bits;
    UInt32 bytes;
    AudioFormatFlags flags;

    std::string Name() const {
        return std::to_string(bits) + " bits in " + std::to_string(bytes) + " bytes, flags " +
               std::to_string(flags);
    }
    double FullScale() const { return std::ldexp(1.0, static_cast<int>(bits) - 1); }
    std::int64_t Lowest() const {
        return (flags & kSigned) != 0 ? -(std::int64_t{1} << (bits - 1)) : 0;
    }
    std::int64_t Highest() const { return Lowest() + (std::int64_t{1} << bits) - 1; }
    float Value(std::int64_t code) const {
        const double offset = (flags & kSigned) != 0 ? 0.0 : FullScale();
        return static_cast<float>((static_cast<double>(code) - offset) / FullScale());
    }
    // The container of a code; bits that are not the code's are taken from `padding`.
    void AppendCode(std::vector<std::uint8_t>& to, std::int64_t code, std::uint64_t padding) const {
        const UInt32 shift = (flags & kHigh) != 0 ? 8 * bytes - bits : 0;
        const std::uint64_t mask = ((std::uint64_t{1} << bits) - 1) << shift;
        const std::uint64_t word =
            (static_cast<std::uint64_t>(code) << shift & mask) | (padding & ~mask);
        Append(to, word, bytes, (flags & kBig) != 0);
    }
};

std::vector<IntegerKind> IntegerKinds() {
    std::vector<IntegerKind> kinds;
    for (const AudioFormatFlags sign : {AudioFormatFlags{0}, AudioFormatFlags{kSigned}}) {
        for (const AudioFormatFlags order : {AudioFormatFlags{0}, AudioFormatFlags{kBig}}) {
            for (UInt32 bytes = 1; bytes <= 4; ++bytes) {
                kinds.push_back({8 * bytes, bytes, sign | order | kPacked});
                for (UInt32 bits = 8; bits < 8 * bytes; bits += 8) {
                    kinds.push_back({bits, bytes, sign | order});
                    kinds.push_back({bits, bytes, sign | order | kHigh});
                }
            }
        }
    }
    return kinds;
}

// Extremes and their neighbours, the middle, and codes whose every byte differs.
std::vector<std::int64_t> CodesOf(const IntegerKind& kind) {
    const std::int64_t span = kind.Highest() - kind.Lowest();
    std::vector<std::int64_t> codes;
    for (const std::int64_t place :
         {std::int64_t{0}, std::int64_t{1}, span / 2 - 1, span / 2, span / 2 + 1, span / 2 + 2,
          span - 1, span, span & 0x12345678, span & 0xFEDCBA98, span & 0x89674523}) {
        codes.push_back(kind.Lowest() + place);
    }
    // Every step of small formats, an even spread over the codes of large ones.
    for (std::int64_t i = 0; i < 509; ++i) {
        codes.push_back(kind.Lowest() + span / 508 * i);
    }
    return codes;
}

std::vector<float> Converted(const AudioStreamBasicDescription& format,
                             const std::vector<std::uint8_t>& bytes, std::size_t count) {
    const Converter converter = NewConverter(format, Canonical());
    BufferList input({bytes});
    BufferList output = OutputList(1, true, count);
    Source source = AllAtOnce(input, static_cast<UInt32>(count));
    const Filled filled = Fill(converter, source, static_cast<UInt32>(count), output);
    std::vector<float> values;
    for (std::size_t i = 0; filled.status == noErr && i < filled.packets; ++i) {
        values.push_back(output.Float(0, i));
    }
    return values;
}

TEST(AudioConverterSamplesTest, IntegersOfEveryKindAreTheirCodesByAPowerOfTwo) {
    for (const IntegerKind& kind : IntegerKinds()) {
        const std::vector<std::int64_t> codes = CodesOf(kind);
        for (const std::uint64_t padding : {0uLL, ~0uLL, 0xA5C35A3CuLL}) {
            std::vector<std::uint8_t> bytes;
            for (const std::int64_t code : codes) {
                kind.AppendCode(bytes, code, padding);
            }
            const std::vector<float> values =
                Converted(PCM(kind.bits, kind.flags, 1, kind.bytes), bytes, codes.size());
            ASSERT_EQ(values.size(), codes.size()) << kind.Name();
            for (std::size_t i = 0; i < codes.size(); ++i) {
                ASSERT_EQ(values[i], kind.Value(codes[i])) << kind.Name() << ", " << codes[i];
            }
        }
    }
}

TEST(AudioConverterSamplesTest, KnownBytesGiveKnownValues) {
    using Bytes = std::vector<std::uint8_t>;
    using Floats = std::vector<float>;
    EXPECT_EQ(Converted(PCM(8, kPacked), Bytes{0x00, 0x80, 0xFF, 0xC0}, 4),
              (Floats{-1.0f, 0.0f, 127.0f / 128.0f, 0.5f}));
    EXPECT_EQ(Converted(PCM(8, kPacked | kSigned), Bytes{0x80, 0x00, 0x7F, 0x40}, 4),
              (Floats{-1.0f, 0.0f, 127.0f / 128.0f, 0.5f}));
    EXPECT_EQ(Converted(PCM(16, kPacked | kSigned), Bytes{0x00, 0x80, 0xFF, 0x7F}, 2),
              (Floats{-1.0f, 32767.0f / 32768.0f}));
    EXPECT_EQ(Converted(PCM(16, kPacked | kSigned | kBig), Bytes{0x80, 0x00, 0x00, 0x01}, 2),
              (Floats{-1.0f, 0x1p-15f}));
    EXPECT_EQ(Converted(PCM(24, kPacked | kSigned), Bytes{0, 0, 0x80, 0xFF, 0xFF, 0x7F}, 2),
              (Floats{-1.0f, 1.0f - 0x1p-23f}));
    EXPECT_EQ(Converted(PCM(24, kPacked | kSigned | kBig), Bytes{0x7F, 0xFF, 0xFF, 0, 0, 1}, 2),
              (Floats{1.0f - 0x1p-23f, 0x1p-23f}));
}

TEST(AudioConverterSamplesTest, ThirtyTwoBitsRoundToTheNearestFloat) {
    const IntegerKind kind = {32, 4, kSigned | kPacked};
    // The largest code rounds up to 1. Beside 2^30 floats are 2^7 codes apart: a half goes to the
    // even neighbour.
    const std::vector<std::int64_t> codes = {0x7FFFFFFF, 0x7FFFFF80,    0x40000040, 0x40000041,
                                             0x400000C0, -0x80000000LL, -1};
    const std::vector<float> expected = {
        1.0f, 1.0f - 0x1p-24f, 0.5f, 0.5f + 0x1p-24f, 0.5f + 0x1p-23f, -1.0f, -0x1p-31f};
    std::vector<std::uint8_t> bytes;
    for (const std::int64_t code : codes) {
        kind.AppendCode(bytes, code, 0);
    }
    EXPECT_EQ(Converted(PCM(32, kind.flags), bytes, codes.size()), expected);
}

TEST(AudioConverterSamplesTest, FloatsKeepEveryBit) {
    std::vector<std::uint32_t> patterns = {
        0x00000000, 0x80000000, 0x00000001, 0x807FFFFF, // zeros, denormals
        0x3F800000, 0xBF800000, 0x7F800000, 0xFF800000, // one, infinity
        0x7FC12345, 0x7F812345, 0x12345678, 0xFEDCBA98, // NaN quiet and signalling, any
    };
    for (std::uint32_t i = 0; i < 100; ++i) {
        patterns.push_back(i * 2654435761u); // spread over all exponents
    }
    for (const AudioFormatFlags order : {AudioFormatFlags{0}, AudioFormatFlags{kBig}}) {
        std::vector<std::uint8_t> bytes;
        for (const std::uint32_t pattern : patterns) {
            Append(bytes, pattern, 4, order != 0);
        }
        BufferList input({bytes});
        BufferList output = OutputList(1, true, patterns.size());
        const auto count = static_cast<UInt32>(patterns.size());
        Source source = AllAtOnce(input, count);
        const Converter converter =
            NewConverter(PCM(32, kFloatFlag | kPacked | order), Canonical());
        ASSERT_EQ(Fill(converter, source, count, output).packets, count);
        for (std::size_t i = 0; i < patterns.size(); ++i) {
            std::uint32_t bits;
            std::memcpy(&bits, output.Bytes(0).data() + 4 * i, 4);
            EXPECT_EQ(bits, patterns[i]) << i;
        }
    }
}

TEST(AudioConverterSamplesTest, DoublesRoundToTheNearestFloat) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kLargestFloat = 0x1.FFFFFEp127;
    const std::vector<double> numbers = {
        0.0,          -1.0,      0.1,      1.0 + 0x1p-24, 1.0 + 0x1.8p-23, 1.0 + 0x1.1p-24,
        -0.999999999, 0x1p-149,  0x1p-151, kLargestFloat, 1e300,           -1e300,
        kInfinity,    -kInfinity};
    const std::vector<float> expected = {0.0f,
                                         -1.0f,
                                         0.1f,
                                         1.0f,
                                         1.0f + 0x1p-22f,
                                         1.0f + 0x1p-23f,
                                         -1.0f,
                                         0x1p-149f,
                                         0.0f,
                                         0x1.FFFFFEp127f,
                                         HUGE_VALF,
                                         -HUGE_VALF,
                                         HUGE_VALF,
                                         -HUGE_VALF};
    for (const AudioFormatFlags order : {AudioFormatFlags{0}, AudioFormatFlags{kBig}}) {
        std::vector<std::uint8_t> bytes;
        for (const double number : numbers) {
            Append(bytes, std::bit_cast<std::uint64_t>(number), 8, order != 0);
        }
        EXPECT_EQ(Converted(PCM(64, kFloatFlag | kPacked | order), bytes, numbers.size()),
                  expected);
        bytes.clear();
        Append(bytes, std::bit_cast<std::uint64_t>(std::nan("")), 8, order != 0);
        EXPECT_TRUE(std::isnan(Converted(PCM(64, kFloatFlag | order), bytes, 1).at(0)));
    }
}

// A code that tells frame and channel.
std::int64_t CodeAt(const IntegerKind& kind, std::size_t frame, UInt32 channel) {
    const std::int64_t span = kind.Highest() - kind.Lowest() + 1;
    return kind.Lowest() + static_cast<std::int64_t>(frame * 8 + channel) * 977 % span;
}

void ExpectChannelsInPlace(const IntegerKind& kind, UInt32 channels, bool fromInterleaved,
                           bool toInterleaved) {
    constexpr std::size_t kFrames = 531; // two whole blocks and a part
    std::vector<std::vector<std::uint8_t>> bytes(fromInterleaved ? 1 : channels);
    for (std::size_t frame = 0; frame < kFrames; ++frame) {
        for (UInt32 channel = 0; channel < channels; ++channel) {
            kind.AppendCode(bytes[fromInterleaved ? 0 : channel], CodeAt(kind, frame, channel), 0);
        }
    }
    const AudioFormatFlags apart = fromInterleaved ? 0 : kNonInterleaved;
    const Converter converter =
        NewConverter(PCM(kind.bits, kind.flags | apart, channels, kind.bytes),
                     Canonical(channels, toInterleaved));
    ASSERT_NE(converter, nullptr);
    BufferList input(bytes);
    BufferList output = OutputList(channels, toInterleaved, kFrames);
    Source source = AllAtOnce(input, kFrames);
    ASSERT_EQ(Fill(converter, source, kFrames, output).packets, kFrames);
    for (std::size_t frame = 0; frame < kFrames; ++frame) {
        for (UInt32 channel = 0; channel < channels; ++channel) {
            const float value = toInterleaved ? output.Float(0, frame * channels + channel)
                                              : output.Float(channel, frame);
            ASSERT_EQ(value, kind.Value(CodeAt(kind, frame, channel)))
                << kind.Name() << ", " << channels << ", " << frame << ' ' << channel;
        }
    }
}

TEST(AudioConverterSamplesTest, ChannelsKeepTheirPlaces) {
    for (const IntegerKind& kind : IntegerKinds()) {
        for (UInt32 channels = 1; channels <= 8; ++channels) {
            for (const bool fromInterleaved : {true, false}) {
                for (const bool toInterleaved : {true, false}) {
                    ExpectChannelsInPlace(kind, channels, fromInterleaved, toInterleaved);
                    ASSERT_FALSE(HasFatalFailure());
                }
            }
        }
    }
}

TEST(AudioConverterSamplesTest, FloatChannelsComeTogetherAndApart) {
    for (const UInt32 bits : {32u, 64u}) {
        const AudioFormatFlags flags = kAudioFormatFlagsNativeFloatPacked;
        const auto pattern = [bits](float value) {
            return bits == 32 ? std::uint64_t{std::bit_cast<std::uint32_t>(value)}
                              : std::bit_cast<std::uint64_t>(static_cast<double>(value));
        };
        std::vector<std::vector<std::uint8_t>> apart(2);
        std::vector<std::vector<std::uint8_t>> together(1);
        for (const float value : {0.25f, 0.5f, 0.75f}) {
            for (const float sign : {1.0f, -1.0f}) {
                const std::uint64_t word = pattern(sign * value);
                Append(apart[sign > 0.0f ? 0 : 1], word, bits / 8, IsNativeBigEndian());
                Append(together[0], word, bits / 8, IsNativeBigEndian());
            }
        }
        BufferList apartInput(apart);
        Source apartSource = AllAtOnce(apartInput, 3);
        BufferList togetherOutput = OutputList(2, true, 3);
        Fill(NewConverter(PCM(bits, flags | kNonInterleaved, 2), Canonical(2)), apartSource, 3,
             togetherOutput);
        BufferList togetherInput(together);
        Source togetherSource = AllAtOnce(togetherInput, 3);
        BufferList apartOutput = OutputList(2, false, 3);
        Fill(NewConverter(PCM(bits, flags, 2), Canonical(2, false)), togetherSource, 3,
             apartOutput);
        for (std::size_t i = 0; i < 3; ++i) {
            const float value = 0.25f * static_cast<float>(i + 1);
            EXPECT_EQ(togetherOutput.Float(0, 2 * i), value);
            EXPECT_EQ(togetherOutput.Float(0, 2 * i + 1), -value);
            EXPECT_EQ(apartOutput.Float(0, i), value);
            EXPECT_EQ(apartOutput.Float(1, i), -value);
        }
    }
}

TEST(AudioConverterSamplesTest, NothingNeedsToBeAligned) {
    alignas(8) std::uint8_t input[1 + 5 * sizeof(double)];
    alignas(8) std::uint8_t output[1 + 5 * sizeof(float)];
    for (const UInt32 bits : {32u, 64u}) {
        std::vector<std::uint8_t> bytes;
        for (int i = 0; i < 5; ++i) {
            const auto value = static_cast<float>(i);
            Append(bytes,
                   bits == 32 ? std::bit_cast<std::uint32_t>(value)
                              : std::bit_cast<std::uint64_t>(static_cast<double>(i)),
                   bits / 8, IsNativeBigEndian());
        }
        std::memcpy(input + 1, bytes.data(), bytes.size());
        const Converter converter =
            NewConverter(PCM(bits, kAudioFormatFlagsNativeFloatPacked), Canonical());
        Source source{[&](UInt32&, AudioBufferList& list) {
            list.mBuffers[0].mData = input + 1;
            list.mBuffers[0].mDataByteSize = static_cast<UInt32>(bytes.size());
            return noErr;
        }};
        AudioBufferList list = {1, {{1, 5 * sizeof(float), output + 1}}};
        UInt32 packets = 5;
        ASSERT_EQ(AudioConverterFillComplexBuffer(converter.get(), Source::Proc, &source, &packets,
                                                  &list, nullptr),
                  noErr);
        for (int i = 0; i < 5; ++i) {
            float value;
            std::memcpy(&value, output + 1 + 4 * i, 4);
            EXPECT_EQ(value, static_cast<float>(i));
        }
    }
}

} // namespace
} // namespace qel::testing
