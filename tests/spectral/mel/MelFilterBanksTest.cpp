// Which banks of filters are shared. MelFilterBankDesignTest compares their weights.

#include "spectral/mel/MelFilterBanks.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::core {
namespace {

constexpr MelDesign kDesign = {MelSpacing::Mel, 13, 13, 1024, 44100.0};

std::vector<float> Weights(const MelFilterBanks::Pointer& bank) {
    std::vector<float> dense(std::size_t{bank->NumBins()} * bank->NumFilters());
    bank->FillDense(dense.data());
    return dense;
}

TEST(MelFilterBanksTest, EqualDesignsShareOneBank) {
    const MelFilterBanks::Pointer first = MelFilterBanks::Find(kDesign);
    EXPECT_EQ(MelFilterBanks::Find(kDesign), first);
}

TEST(MelFilterBanksTest, EveryPartOfADesignCounts) {
    const std::vector<float> weights = Weights(MelFilterBanks::Find(kDesign));
    std::vector<MelDesign> others(4, kDesign);
    others[0].spacing = MelSpacing::LinearThenLog;
    others[1].filters = 12;
    others[2].frameSize = 512;
    others[3].sampleRateHz = 48000.0;
    for (const MelDesign& other : others) {
        EXPECT_NE(Weights(MelFilterBanks::Find(other)), weights);
    }
    MelDesign later = others[0];
    later.linearFilters = 10;
    EXPECT_NE(Weights(MelFilterBanks::Find(later)), Weights(MelFilterBanks::Find(others[0])));
}

// More sample rates than are held, there and back.
TEST(MelFilterBanksTest, WeightsThatWereLetGoComeBackTheSame) {
    const std::vector<float> weights = Weights(MelFilterBanks::Find(kDesign));
    for (std::size_t n = 0; n < MelFilterBanks::kHeld; ++n) {
        MelDesign other = kDesign;
        other.sampleRateHz = 8000.0 + static_cast<double>(n);
        MelFilterBanks::Find(other);
    }
    EXPECT_EQ(Weights(MelFilterBanks::Find(kDesign)), weights);
}

TEST(MelFilterBanksTest, LargeDesignsAreNotShared) {
    MelDesign many = kDesign;
    many.filters = MelFilterBanks::kMostShared + 1;
    EXPECT_NE(MelFilterBanks::Find(many), MelFilterBanks::Find(many));
    MelDesign longer = kDesign;
    longer.frameSize = 2 * MelFilterBanks::kLongestShared;
    EXPECT_NE(MelFilterBanks::Find(longer), MelFilterBanks::Find(longer));
}

TEST(MelFilterBanksTest, AnEmptyBankHasBinsAndNoFilters) {
    const MelFilterBanks::Pointer empty = MelFilterBanks::Empty(512);
    EXPECT_EQ(empty->NumBins(), 512u);
    EXPECT_EQ(empty->NumFilters(), 0u);
}

} // namespace
} // namespace qel::core
