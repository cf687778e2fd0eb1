#include "output/RegionCollector.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qel::output {
namespace {

constexpr ValueInfo kMoodValues[] = {{"mood", "name", {}, "", ""}};
constexpr KeyInfo kMood{"mood", PayloadKind::Name, 8, Delivery::PerFrame, 1024,
                        512,    kMoodValues,       ""};

// One result, with a name per channel.
void Add(RegionCollector& collector, double timeSeconds, const std::vector<std::string>& names) {
    std::vector<detail::CFOwner<CFStringRef>> strings;
    std::vector<QelAudioAnalysisBlock> blocks;
    for (const std::string& name : names) {
        strings.push_back(detail::makeString(name));
        const void* const reference = strings.back().get();
        blocks.push_back({const_cast<void*>(reference), 8});
    }
    collector.Add(Result("mood", &kMood, 0, timeSeconds, blocks), 0.75);
}

// "start-end text" for each region.
std::vector<std::string> Texts(const RegionCollector& collector, std::size_t channel) {
    std::vector<std::string> texts;
    for (const Region& region : collector.Regions("mood", channel)) {
        texts.push_back(std::to_string(region.startSeconds) + "-" +
                        std::to_string(region.endSeconds) + " " + region.text);
    }
    return texts;
}

using Strings = std::vector<std::string>;

TEST(RegionCollectorTest, ARegionEndsWhereTheNextOneBeginsAndTheLastWithItsFrame) {
    RegionCollector collector;
    Add(collector, 0, {"calm"});
    Add(collector, 0.5, {"calm"});
    Add(collector, 1, {"wild"});
    Add(collector, 1.5, {"calm"});
    Add(collector, 2, {"calm"});
    EXPECT_EQ(Texts(collector, 0), (Strings{"0.000000-1.000000 calm", "1.000000-1.500000 wild",
                                            "1.500000-2.750000 calm"}));
}

TEST(RegionCollectorTest, ChannelsHaveRegionsOfTheirOwn) {
    RegionCollector collector;
    Add(collector, 0, {"calm", "wild"});
    Add(collector, 0.5, {"wild", "wild"});
    EXPECT_EQ(Texts(collector, 0), (Strings{"0.000000-0.500000 calm", "0.500000-1.250000 wild"}));
    EXPECT_EQ(Texts(collector, 1), (Strings{"0.000000-1.250000 wild"}));
}

TEST(RegionCollectorTest, ThereAreNoneBeforeTheFirstResultAndAfterClear) {
    RegionCollector collector;
    EXPECT_TRUE(collector.Regions("mood", 0).empty());
    Add(collector, 0, {"calm"});
    EXPECT_EQ(collector.Regions("mood", 0).size(), 1u);
    EXPECT_TRUE(collector.Regions("mood", 1).empty());
    collector.Clear();
    EXPECT_TRUE(collector.Regions("mood", 0).empty());
}

} // namespace
} // namespace qel::output
