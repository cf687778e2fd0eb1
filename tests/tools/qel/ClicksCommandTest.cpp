#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <QelMedia.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

std::vector<float> Samples(const std::string& path) {
    media::Reader file(path);
    std::vector<float> samples;
    for (media::Block block = file.read(); block.frames > 0; block = file.read()) {
        samples.insert(samples.end(), block.channels[0], block.channels[0] + block.frames);
    }
    return samples;
}

// Where the mix differs from the song after a stretch in which it does not.
std::vector<double> ClickTimes(const std::vector<float>& song, const std::vector<float>& mix) {
    constexpr std::size_t kQuiet = 2000;
    std::vector<double> times;
    std::size_t same = kQuiet;
    for (std::size_t i = 0; i < song.size(); ++i) {
        const bool differs = std::abs(mix[i] - song[i]) > 0.01f;
        if (differs && same >= kQuiet) {
            times.push_back(static_cast<double>(i) / 44100);
        }
        same = differs ? 0 : same + 1;
    }
    return times;
}

std::vector<double> BeatTimes(const std::string& path) {
    const Json json = Json::parse(RunTool({"read", path, "--beats", "--format", "json"}).out);
    std::vector<double> times;
    for (const Json beat : json["files"][0]["beats"]) {
        times.push_back(beat["seconds"].get<double>());
    }
    return times;
}

class ClicksCommandTest : public testing::Test {
protected:
    ClicksCommandTest() { WriteWav(mSong, 44100, {Drums(8, 120, 4)}); }

    ChildResult Clicks(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{"clicks", mSong, "--output", mMix, "--overwrite"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTool(arguments);
    }

    const TempDirectory mDirectory;
    const std::string mSong = mDirectory.File("song.wav");
    const std::string mMix = mDirectory.File("mix.wav");
};

TEST_F(ClicksCommandTest, AClickIsOnEveryBeatToTheSample) {
    const ChildResult run = Clicks();
    ASSERT_EQ(run.status, 0) << run.err;
    const std::vector<float> song = Samples(mSong);
    const std::vector<float> mix = Samples(mMix);
    ASSERT_EQ(mix.size(), song.size());
    const std::vector<double> beats = BeatTimes(mSong);
    const std::vector<double> clicks = ClickTimes(song, mix);
    ASSERT_GT(beats.size(), 10u);
    ASSERT_EQ(clicks.size(), beats.size());
    for (std::size_t i = 0; i < beats.size(); ++i) {
        EXPECT_NEAR(clicks[i], beats[i], 1.5 / 44100) << i;
    }
}

TEST_F(ClicksCommandTest, AShiftMovesThem) {
    ASSERT_EQ(Clicks({"--shift", "50"}).status, 0);
    const std::vector<double> beats = BeatTimes(mSong);
    const std::vector<double> clicks = ClickTimes(Samples(mSong), Samples(mMix));
    ASSERT_FALSE(clicks.empty());
    EXPECT_NEAR(clicks.front(), beats.front() + 0.05, 1.5 / 44100);
}

TEST_F(ClicksCommandTest, AShiftIsANumberInItsRange) {
    for (const char* shift : {"nan", "inf", "1001", "x"}) {
        EXPECT_EQ(Clicks({"--shift", shift}).status, 2) << shift;
    }
}

TEST_F(ClicksCommandTest, OnlyWhatIsNamedClicks) {
    ASSERT_EQ(Clicks({"--on", "downbeats"}).status, 0);
    const std::size_t downBeats = ClickTimes(Samples(mSong), Samples(mMix)).size();
    EXPECT_LT(downBeats, BeatTimes(mSong).size());
    EXPECT_EQ(Clicks({"--on", "offbeats"}).status, 2);
}

TEST_F(ClicksCommandTest, TheSongIsNotReplaced) {
    EXPECT_EQ(RunTool({"clicks", mSong, "--overwrite", "--output", mSong}).status, 2);
}

} // namespace
} // namespace qel::tool
