#include "media/AudioDecoder.h"

#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

struct Decoded {
    Planes planes;
    int rateHz = 0;
    Report report;

    std::size_t Frames() const { return planes.front().size(); }
    std::size_t PeakPosition() const {
        const auto larger = [](float a, float b) { return std::abs(a) < std::abs(b); };
        const std::vector<float>& first = planes.front();
        return static_cast<std::size_t>(std::max_element(first.begin(), first.end(), larger) -
                                        first.begin());
    }
};

Decoded DecodeAll(const std::string& path, std::size_t block = 1000) {
    AudioDecoder decoder(path);
    Planes buffers(decoder.Channels(), std::vector<float>(block));
    std::vector<float*> pointers;
    for (std::vector<float>& buffer : buffers) {
        pointers.push_back(buffer.data());
    }
    Decoded decoded{Planes(decoder.Channels()), decoder.SampleRateHz(), {}};
    while (const std::size_t count = decoder.Read(pointers, block)) {
        for (std::size_t c = 0; c < buffers.size(); ++c) {
            decoded.planes[c].insert(decoded.planes[c].end(), buffers[c].begin(),
                                     buffers[c].begin() + static_cast<std::ptrdiff_t>(count));
        }
    }
    EXPECT_EQ(decoder.Read(pointers, block), 0u) << "the end stays the end";
    decoded.report = decoder.Report();
    return decoded;
}

std::string FaultOf(const std::string& path) {
    AudioDecoder::SilenceLibrary();
    try {
        DecodeAll(path);
    } catch (const Error& error) {
        return error.what();
    }
    return "no fault";
}

struct Coding {
    const char* extension;
    std::vector<std::string> arguments;
    bool lossless;
    bool delayed; // the encoder needs samples of its own in front

    friend void PrintTo(const Coding& coding, std::ostream* out) { *out << coding.extension; }
};

class CodedClick : public testing::TestWithParam<Coding> {};

// Lengths that end everywhere in a codec's last frame. Odd thirds make times that a clock of
// milliseconds cannot tell; 16000 makes a Vorbis stream of a single page.
constexpr std::size_t kLengths[] = {16000, 48001, 60000, 96577};
constexpr int kRateHz = 48000;

TEST_P(CodedClick, StandsWhereItStoodBeforeCodingAndTheLengthIsTheSame) {
    const TempDirectory directory;
    const std::string wav = directory.File("click.wav");
    const std::string coded = directory.File(std::string("click.") + GetParam().extension);
    for (const std::size_t frames : kLengths) {
        WriteWav(wav, kRateHz, {Click(frames, frames / 2)});
        Encode(wav, coded, GetParam().arguments);
        const Decoded decoded = DecodeAll(coded);
        EXPECT_EQ(decoded.rateHz, kRateHz);
        EXPECT_EQ(decoded.Frames(), frames);
        // A codec may smear the click, but not move it: one millisecond is 48 samples.
        const auto offset =
            static_cast<long>(decoded.PeakPosition()) - static_cast<long>(frames / 2);
        EXPECT_LE(std::abs(offset), kRateHz / 1000) << "length " << frames;
        EXPECT_EQ(decoded.report.leadingFramesTrimmed > 0, GetParam().delayed);
        EXPECT_EQ(decoded.report.damagedPackets, 0);
    }
}

TEST_P(CodedClick, KeepsItsChannelsApart) {
    const TempDirectory directory;
    const std::string wav = directory.File("sines.wav");
    const std::string coded = directory.File(std::string("sines.") + GetParam().extension);
    WriteWav(wav, kRateHz, {Sine(24000, 96, 0.5), Sine(24000, 96, 0.125)});
    Encode(wav, coded, GetParam().arguments);
    const Decoded decoded = DecodeAll(coded);
    ASSERT_EQ(decoded.planes.size(), 2u);
    // Far from the ends a lossy codec keeps a sine's level within a few percent.
    const auto levelOf = [&](std::size_t c) {
        const auto begin = decoded.planes[c].begin() + 9600;
        return *std::max_element(begin, begin + 4800);
    };
    const float tolerance = GetParam().lossless ? 0.001f : 0.05f;
    EXPECT_NEAR(levelOf(0), 0.5f, tolerance);
    EXPECT_NEAR(levelOf(1), 0.125f, tolerance);
}

INSTANTIATE_TEST_SUITE_P(AudioDecoderTest, CodedClick,
                         testing::Values(Coding{"flac", {"-c:a", "flac"}, true, false},
                                         Coding{"aiff", {"-c:a", "pcm_s16be"}, true, false},
                                         Coding{"mp3", {"-c:a", "libmp3lame"}, false, true},
                                         Coding{"ogg", {"-c:a", "libvorbis"}, false, false},
                                         Coding{"opus", {"-c:a", "libopus"}, false, true},
                                         Coding{"m4a", {"-c:a", "aac"}, false, true}),
                         [](const auto& param) { return std::string(param.param.extension); });

TEST(AudioDecoderTest, SamplesOfFloatsPassUnchangedBeyondFullScaleToo) {
    const TempDirectory directory;
    const std::string path = directory.File("floats.wav");
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> samples{0.1f, -1.5f, 1e-30f, infinity, 3e38f};
    WriteFloatWav(path, 44100, {samples});
    EXPECT_EQ(DecodeAll(path).planes.front(), samples);
}

TEST(AudioDecoderTest, SixteenBitsAreDividedByTheirFullScale) {
    const TempDirectory directory;
    const std::string path = directory.File("integers.wav");
    WriteWav(path, 44100, {{1.0f, -1.0f, 0.5f}});
    const std::vector<float> expected{32767 / 32768.0f, -32767 / 32768.0f, 16384 / 32768.0f};
    EXPECT_EQ(DecodeAll(path).planes.front(), expected);
}

TEST(AudioDecoderTest, ElevenChannelsKeepTheirOrder) {
    const TempDirectory directory;
    const std::string path = directory.File("eleven.wav");
    Planes planes;
    for (int c = 0; c < 11; ++c) {
        planes.emplace_back(500, static_cast<float>(c + 1) / 16);
    }
    WriteFloatWav(path, 44100, planes);
    EXPECT_EQ(DecodeAll(path).planes, planes);
}

TEST(AudioDecoderTest, BlocksOfAnySizeGiveTheSameSamples) {
    const TempDirectory directory;
    const std::string wav = directory.File("noise.wav");
    const std::string coded = directory.File("noise.mp3");
    WriteWav(wav, 44100, {Noise(20000, 0.5f)});
    Encode(wav, coded, {"-c:a", "libmp3lame"});
    const Planes expected = DecodeAll(coded, 100000).planes;
    EXPECT_EQ(DecodeAll(coded, 1).planes, expected);
    EXPECT_EQ(DecodeAll(coded, 777).planes, expected);
}

TEST(AudioDecoderTest, ReportsDecoderAndWhatWasTrimmed) {
    const TempDirectory directory;
    const std::string wav = directory.File("click.wav");
    WriteWav(wav, kRateHz, {Click(60000, 20000)});
    Encode(wav, directory.File("click.m4a"), {"-c:a", "aac"});
    const Report report = DecodeAll(directory.File("click.m4a")).report;
    EXPECT_EQ(report.container, "mov");
    EXPECT_EQ(report.codec, "aac");
    EXPECT_EQ(report.decoder, "aac");
    EXPECT_EQ(report.library.substr(0, 11), "libavcodec ");
    // Frames of 1024, the first of which is the encoder's delay: 60 of them hold 1024 + 60000.
    EXPECT_EQ(report.leadingFramesTrimmed, 1024);
    EXPECT_EQ(report.trailingFramesTrimmed, 60 * 1024 - 1024 - 60000);
}

// Adds size bytes to the length of the last box of a name: four big-endian bytes in front of it.
void GrowBox(std::string& file, const std::string& name, std::size_t size) {
    const std::size_t field = file.rfind(name) - 4;
    std::size_t length = size;
    for (std::size_t i = 0; i < 4; ++i) {
        length += std::size_t{static_cast<unsigned char>(file[field + i])} << (24 - 8 * i);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        file[field + i] = static_cast<char>(length >> (24 - 8 * i) & 0xFF);
    }
}

std::string MakeBox(const std::string& name, const std::string& content) {
    std::string box = std::string(4, '\0') + name + content;
    GrowBox(box, name, box.size());
    return box;
}

TEST(AudioDecoderTest, AnM4AWithoutEditListIsTrimmedByItsGaplessComment) {
    const TempDirectory directory;
    const std::string wav = directory.File("click.wav");
    const std::string coded = directory.File("click.m4a");
    WriteWav(wav, kRateHz, {Click(60001, 20000)});
    Encode(wav, coded, {"-c:a", "aac", "-use_editlist", "0"});
    // 0x400 samples of delay, then 0xEA61 = 60001 of music.
    const std::string text = " 00000000 00000400 0000019F 000000000000EA61";
    const std::string zeros(4, '\0');
    const std::string comment = MakeBox(
        "----", MakeBox("mean", zeros + "com.apple.iTunes") + MakeBox("name", zeros + "iTunSMPB") +
                    MakeBox("data", std::string("\0\0\0\1", 4) + zeros + text));
    // The boxes stand one in the other at the end of the file, after the audio.
    std::string file = ReadFile(coded) + comment;
    for (const char* name : {"ilst", "meta", "udta", "moov"}) {
        GrowBox(file, name, comment.size());
    }
    WriteFile(coded, file);

    const Decoded decoded = DecodeAll(coded);
    EXPECT_EQ(decoded.Frames(), 60001u);
    EXPECT_EQ(decoded.report.leadingFramesTrimmed, 1024);
    EXPECT_EQ(decoded.report.trailingFramesTrimmed, 60 * 1024 - 1024 - 60001);
    EXPECT_NEAR(static_cast<double>(decoded.PeakPosition()), 20000, kRateHz / 1000);
}

TEST(AudioDecoderTest, RefusesARateThatChangesOnTheWay) {
    const TempDirectory directory;
    WriteWav(directory.File("a.wav"), 44100, {Noise(30000, 0.3f)});
    WriteWav(directory.File("b.wav"), 48000, {Noise(30000, 0.3f)});
    Encode(directory.File("a.wav"), directory.File("a.aac"), {"-c:a", "aac"});
    Encode(directory.File("b.wav"), directory.File("b.aac"), {"-c:a", "aac"});
    WriteFile(directory.File("both.aac"),
              ReadFile(directory.File("a.aac")) + ReadFile(directory.File("b.aac")));
    const std::string fault = FaultOf(directory.File("both.aac"));
    EXPECT_NE(fault.find("its sample rate changes from 44100 to 48000 Hz"), std::string::npos)
        << fault;
}

TEST(AudioDecoderTest, RefusesChannelsThatChangeOnTheWay) {
    const TempDirectory directory;
    WriteWav(directory.File("a.wav"), 44100, {Noise(30000, 0.3f)});
    WriteWav(directory.File("b.wav"), 44100, {Noise(30000, 0.3f), Noise(30000, 0.2f)});
    Encode(directory.File("a.wav"), directory.File("a.aac"), {"-c:a", "aac"});
    Encode(directory.File("b.wav"), directory.File("b.aac"), {"-c:a", "aac"});
    WriteFile(directory.File("both.aac"),
              ReadFile(directory.File("a.aac")) + ReadFile(directory.File("b.aac")));
    const std::string fault = FaultOf(directory.File("both.aac"));
    EXPECT_NE(fault.find("its channels change from 1 to 2"), std::string::npos) << fault;
}

TEST(AudioDecoderTest, DetectsATruncatedFileByTheLengthItStates) {
    const TempDirectory directory;
    const std::string wav = directory.File("noise.wav");
    WriteWav(wav, 44100, {Noise(88200, 0.5f)});
    Encode(wav, directory.File("noise.flac"), {"-c:a", "flac"});
    Encode(wav, directory.File("noise.aiff"), {});
    Encode(wav, directory.File("noise.mp3"), {"-c:a", "libmp3lame"});
    Encode(wav, directory.File("noise.m4a"), {"-c:a", "aac", "-movflags", "faststart"});
    Encode(wav, directory.File("noise.ogg"), {"-c:a", "libvorbis"});
    Encode(wav, directory.File("noise.opus"), {"-c:a", "libopus"});
    for (const char* name : {"noise.wav", "noise.flac", "noise.aiff", "noise.mp3", "noise.m4a",
                             "noise.ogg", "noise.opus"}) {
        const std::string whole = ReadFile(directory.File(name));
        EXPECT_EQ(FaultOf(directory.File(name)), "no fault") << name;
        WriteFile(directory.File(name), whole.substr(0, whole.size() * 3 / 4));
        const std::string fault = FaultOf(directory.File(name));
        EXPECT_TRUE(fault.starts_with("is truncated: ") || fault.starts_with("is damaged: "))
            << name << ": " << fault;
    }
}

TEST(AudioDecoderTest, AStreamedWavStatesNoLengthAndIsWhole) {
    const TempDirectory directory;
    const std::string path = directory.File("streamed.wav");
    WriteWav(path, 44100, {Noise(5000, 0.5f)});
    std::string bytes = ReadFile(path);
    for (const std::size_t field : {std::size_t{4}, std::size_t{40}}) { // sizes of form and data
        bytes.replace(field, 4, "\xFF\xFF\xFF\xFF");
    }
    WriteFile(path, bytes);
    EXPECT_EQ(DecodeAll(path).Frames(), 5000u);
}

TEST(AudioDecoderTest, RefusesWhatHoldsNoAudio) {
    const TempDirectory directory;
    WriteFile(directory.File("empty.wav"), "");
    WriteFile(directory.File("text.wav"), "This is no audio file, whatever its name says.\n");
    WriteWav(directory.File("silent.wav"), 44100, {{}});
    EXPECT_EQ(FaultOf(directory.File("missing.wav")), "No such file or directory");
    EXPECT_EQ(FaultOf(directory.Path()), "is a directory, not an audio file");
    EXPECT_EQ(FaultOf(directory.File("empty.wav")), "the file is empty");
    EXPECT_EQ(FaultOf(directory.File("text.wav")),
              "is not an audio file, or is damaged or truncated");
    EXPECT_EQ(FaultOf(directory.File("silent.wav")), "holds no audio that can be decoded");
    EXPECT_EQ(FaultOf("/dev/null"), "is not a regular file");
    EXPECT_EQ(FaultOf("http://127.0.0.1/x.wav"), "No such file or directory");
}

} // namespace
} // namespace qel::media
