// The reader as clients see it. What it decodes is tried in AudioDecoderTest.

#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <QelMedia.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

constexpr int kRateHz = 8000;

// Samples that 16 bits hold exactly, different in every channel and place.
Planes Steps(std::size_t channels, std::size_t frames) {
    Planes planes(channels);
    for (std::size_t c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < frames; ++i) {
            planes[c].push_back(static_cast<float>(i + 100 * c) / 32768.0f);
        }
    }
    return planes;
}

Planes ReadAll(Reader& reader) {
    Planes planes(reader.channels());
    for (Block block = reader.read(); block.frames > 0; block = reader.read()) {
        EXPECT_EQ(block.channels.size(), planes.size());
        for (std::size_t c = 0; c < planes.size(); ++c) {
            planes[c].insert(planes[c].end(), block.channels[c], block.channels[c] + block.frames);
        }
    }
    return planes;
}

Fault FaultOf(const std::string& path) {
    silenceLibraries();
    try {
        Reader reader(path);
        ReadAll(reader);
    } catch (const Error& error) {
        EXPECT_STRNE(error.what(), "");
        return error.fault();
    }
    ADD_FAILURE() << path << " has no fault";
    return Fault::Cancelled;
}

class ReaderTest : public testing::Test {
protected:
    ReaderTest() { WriteFloatWav(mPath, kRateHz, mPlanes); }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("steps.wav");
    Planes mPlanes = Steps(2, 1001);
};

TEST_F(ReaderTest, BlocksOfAnySizeGiveTheSamplesOfTheFile) {
    for (const std::size_t block : {1u, 7u, 1000u, 1001u, 1002u, 65536u}) {
        Reader reader(mPath, {.blockFrames = block});
        EXPECT_EQ(reader.sampleRateHz(), kRateHz);
        EXPECT_EQ(reader.channels(), 2u);
        EXPECT_EQ(reader.fileChannels(), 2u);
        EXPECT_EQ(reader.expectedFrames(), 1001);
        EXPECT_EQ(ReadAll(reader), mPlanes) << block;
        EXPECT_EQ(reader.read().frames, 0u) << "the end stays the end";
    }
}

TEST_F(ReaderTest, MonoIsTheMeanOfTheChannels) {
    Reader reader(mPath, {.mix = ChannelMix::Mono, .blockFrames = 64});
    EXPECT_EQ(reader.channels(), 1u);
    EXPECT_EQ(reader.fileChannels(), 2u);
    const Planes mono = ReadAll(reader);
    ASSERT_EQ(mono.front().size(), 1001u);
    for (std::size_t i = 0; i < mono.front().size(); ++i) {
        ASSERT_EQ(mono[0][i], static_cast<float>(i + 50) / 32768.0f) << i;
    }
}

TEST_F(ReaderTest, TheReportSaysWhatTheFileIs) {
    Reader reader(mPath);
    ReadAll(reader);
    const Report report = reader.report();
    EXPECT_EQ(report.container, "wav");
    EXPECT_EQ(report.codec, "pcm_f32le");
    EXPECT_EQ(report.decoder, "pcm_f32le");
    EXPECT_EQ(report.library, libraryVersions().front());
    EXPECT_EQ(report.leadingFramesTrimmed, 0);
    EXPECT_EQ(report.damagedPackets, 0);
    EXPECT_TRUE(report.warnings.empty());
}

TEST_F(ReaderTest, AMovedReaderReadsOn) {
    Reader first(mPath, {.blockFrames = 1000});
    EXPECT_EQ(first.read().frames, 1000u);
    Reader second(std::move(first));
    const Block block = second.read();
    ASSERT_EQ(block.frames, 1u);
    EXPECT_EQ(block.channels[1][0], 1100.0f / 32768.0f);
}

TEST_F(ReaderTest, FramesAreCountedByDecodingAllOfThem) {
    EXPECT_EQ(countFrames(mPath), 1001);
}

// An AAC file with other bytes at these places.
Report ReportOfDamage(const std::string& path, const std::vector<std::size_t>& places) {
    const std::string whole = ReadFile(path);
    std::string bytes = whole;
    for (const std::size_t place : places) {
        for (std::size_t i = place; i < place + 40; ++i) {
            bytes[i] = static_cast<char>(bytes[i] ^ 0x5A);
        }
    }
    WriteFile(path, bytes);
    Reader reader(path);
    ReadAll(reader);
    WriteFile(path, whole);
    return reader.report();
}

// A raw stream states no length that damage could be held against.
TEST_F(ReaderTest, DamageToLossyAudioIsAWarningWithItsCount) {
    silenceLibraries();
    const std::string path = mDirectory.File("noise.aac");
    WriteWav(mDirectory.File("noise.wav"), 44100, {Noise(200000, 0.5f)});
    Encode(mDirectory.File("noise.wav"), path, {"-c:a", "aac"});
    std::vector<std::size_t> places;
    for (std::size_t place = 1000; place + 1000 < ReadFile(path).size(); place += 1000) {
        places.push_back(place);
    }
    const Report report = ReportOfDamage(path, places);
    ASSERT_GT(report.damagedPackets, 1);
    ASSERT_EQ(report.warnings.size(), 1u);
    EXPECT_EQ(report.warnings[0].count, report.damagedPackets);
    EXPECT_EQ(report.warnings[0].text,
              std::to_string(report.damagedPackets) + " damaged packets were left out");
}

TEST_F(ReaderTest, OneDamagedPacketIsToldAsOne) {
    silenceLibraries();
    const std::string path = mDirectory.File("noise.m4a");
    WriteWav(mDirectory.File("noise.wav"), 44100, {Noise(200000, 0.5f)});
    Encode(mDirectory.File("noise.wav"), path, {"-c:a", "aac"});
    // Not all bytes of a packet tell that it is damaged.
    std::size_t place = ReadFile(path).size() / 2;
    Report report = ReportOfDamage(path, {place});
    for (int more = 0; more < 50 && report.damagedPackets != 1; ++more) {
        report = ReportOfDamage(path, {place += 61});
    }
    ASSERT_EQ(report.damagedPackets, 1);
    ASSERT_EQ(report.warnings.size(), 1u);
    EXPECT_EQ(report.warnings[0].text, "1 damaged packet was left out");
}

TEST_F(ReaderTest, AFaultSaysOfWhatKindItIs) {
    EXPECT_EQ(FaultOf(mDirectory.File("missing.wav")), Fault::Unreadable);
    EXPECT_EQ(FaultOf(mDirectory.Path()), Fault::Unreadable);
    WriteFile(mDirectory.File("empty.wav"), "");
    EXPECT_EQ(FaultOf(mDirectory.File("empty.wav")), Fault::Unreadable);
    WriteFile(mDirectory.File("text.wav"), "This is no audio file, whatever its name says.\n");
    EXPECT_EQ(FaultOf(mDirectory.File("text.wav")), Fault::NotAudio);
    const std::string whole = ReadFile(mPath);
    WriteFile(mDirectory.File("cut.wav"), whole.substr(0, whole.size() / 2));
    EXPECT_EQ(FaultOf(mDirectory.File("cut.wav")), Fault::Damaged);
}

TEST_F(ReaderTest, ItGivesUpWhereItIsAskedTo) {
    try {
        Reader reader(mPath, {.isCancelled = [] { return true; }});
        ADD_FAILURE() << "it was opened";
    } catch (const Error& error) {
        EXPECT_EQ(error.fault(), Fault::Cancelled);
    }
    // Not before the file is open, but on the way to its end.
    bool isCancelled = false;
    Reader reader(mPath, {.isCancelled = [&isCancelled] { return isCancelled; }});
    isCancelled = true;
    try {
        ReadAll(reader);
        ADD_FAILURE() << "it was read to its end";
    } catch (const Error& error) {
        EXPECT_EQ(error.fault(), Fault::Cancelled);
    }
    EXPECT_THROW(countFrames(mPath, [] { return true; }), Error);
}

TEST_F(ReaderTest, BlocksOfNoFramesAreRefused) {
    EXPECT_THROW(Reader(mPath, {.blockFrames = 0}), std::invalid_argument);
}

TEST(MediaLibraryTest, AllFourLibrariesHaveAVersion) {
    const std::vector<std::string> versions = libraryVersions();
    const std::vector<std::string> names = {"libavcodec", "libavformat", "libswresample",
                                            "libavutil"};
    ASSERT_EQ(versions.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_TRUE(versions[i].starts_with(names[i] + " ")) << versions[i];
        EXPECT_EQ(versions[i].find_first_not_of("0123456789.", names[i].size() + 1),
                  std::string::npos)
            << versions[i];
    }
}

} // namespace
} // namespace qel::media
