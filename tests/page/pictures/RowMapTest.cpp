#include "page/pictures/RowMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qel::page {
namespace {

double Mel(double hz) {
    return 2595 * std::log10(1 + hz / 700);
}

// A line in one bin lights the row that its frequency lies in, or, low down where rows are narrower
// than bins, rows within half a bin of it.
TEST(RowMapTest, ABinLightsTheRowOfItsFrequency) {
    constexpr std::size_t kBins = 512;
    constexpr std::size_t kRows = 192;
    const RowMap map(44100, kBins, kRows);
    const auto rowOf = [](double hz) {
        return std::clamp(Mel(hz) / Mel(22050) * kRows, 0.0, kRows - 1.0);
    };
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        std::vector<float> bins(kBins, 0.0f);
        std::vector<float> rows(kRows);
        bins[bin] = 1;
        map.Fill(bins, rows);
        const double binHz = 44100.0 / 1024;
        const double hz = static_cast<double>(bin) * binHz;
        EXPECT_EQ(rows[static_cast<std::size_t>(rowOf(hz))], 1.0f) << bin;
        for (std::size_t row = 0; row < kRows; ++row) {
            const auto number = static_cast<double>(row);
            const bool isFar =
                number < rowOf(hz - binHz / 2) - 1.5 || number > rowOf(hz + binHz / 2) + 1.5;
            EXPECT_TRUE(rows[row] == 0 || !isFar) << bin << ' ' << row;
        }
    }
}

TEST(RowMapTest, ARowOfSeveralBinsHasTheGreatest) {
    const RowMap map(44100, 512, 2);
    std::vector<float> bins(512, 0.25f);
    bins[500] = 3;
    std::vector<float> rows(2);
    map.Fill(bins, rows);
    EXPECT_EQ(rows, (std::vector<float>{0.25f, 3}));
}

} // namespace
} // namespace qel::page
