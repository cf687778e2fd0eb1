// Only "temporal properties" depend on the size of the blocks.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

constexpr int kRateHz = 44100;
constexpr std::size_t kSamples = 22050 + 300;
const std::string kPerPush = "temporal properties";

class AnalyzeBlocksTest : public testing::Test {
protected:
    AnalyzeBlocksTest() {
        std::vector<float> samples = Drums(2, 300, 3);
        samples.resize(kSamples);
        WriteFloatWav(mPath, kRateHz, {samples});
    }

    Json KeysOf(const std::vector<std::string>& choice, std::size_t block) const {
        std::vector<std::string> arguments{"analyze", mPath, "--block", std::to_string(block)};
        arguments.insert(arguments.end(), choice.begin(), choice.end());
        const ChildResult result = RunTool(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return Json::parse(result.out)["files"][0]["keys"];
    }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("music.wav");
};

TEST_F(AnalyzeBlocksTest, AllOtherKeysHaveTheSameBytesAtAnySize) {
    const Json expected = KeysOf({"--all"}, 4096);
    EXPECT_EQ(expected.size(), std::size(kKeys));
    for (const std::size_t block : {512u, 1024u, 8192u, 1048576u}) {
        const Json keys = KeysOf({"--all"}, block);
        for (const std::string& key : expected.names()) {
            if (key != kPerPush) {
                EXPECT_EQ(keys[key].dump() == expected[key].dump(), true) << key << " at " << block;
            }
        }
    }
}

TEST_F(AnalyzeBlocksTest, SizesOfAnyKindLeaveEventsWhereTheyAre) {
    const std::vector<std::string> choice{"--keys", kPerPush + ",onset data,beat data,tempo"};
    const Json expected = KeysOf(choice, 4096);
    EXPECT_FALSE(expected["onset data"]["values"][0][0][0].empty());
    for (const std::size_t block : {1u, 1000u, 4097u, 99999u}) {
        const Json keys = KeysOf(choice, block);
        EXPECT_EQ(keys[kPerPush]["count"], (kSamples + block - 1) / block);
        EXPECT_EQ(keys.without(kPerPush), expected.without(kPerPush)) << block;
    }
}

// However long, and whatever other keys are pushed in smaller pieces beside it.
TEST_F(AnalyzeBlocksTest, ABlockHasOneResultAboutAllOfIt) {
    for (const std::string& keys : {kPerPush, kPerPush + ",spectrum flux properties"}) {
        for (const std::size_t block : {512u, 15000u}) {
            const Json values = KeysOf({"--keys", keys}, block)[kPerPush]["values"];
            std::vector<float> samples = Drums(2, 300, 3);
            ASSERT_EQ(values.size(), (kSamples + block - 1) / block);
            double energy = 0;
            for (std::size_t n = 0; n < block; ++n) {
                energy += static_cast<double>(samples[n]) * static_cast<double>(samples[n]);
            }
            const double expected = std::sqrt(energy / static_cast<double>(block));
            // Sums in single precision of some ten thousand terms.
            EXPECT_NEAR(values[0][0][1].get<double>(), expected, 1e-3 * expected) << block;
        }
    }
}

} // namespace
} // namespace qel::tool
