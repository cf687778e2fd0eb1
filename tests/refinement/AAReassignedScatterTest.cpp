// Frames of chosen values, scattered as they come.

#include "refinement/AAReassignedScatter.h"

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <optional>
#include <random>
#include <utility>
#include <vector>

namespace qel::core {
namespace {

using Complex = std::complex<float>;
using test::Signal;

constexpr UInt32 kBins = 4;
constexpr UInt64 kMostFrames = 50;

struct ChosenFrame {
    std::vector<Complex> spectrum;
    Signal frequencies;
    Signal times;
};

void AddFrame(AAReassignedScatter& scatter, ChosenFrame& frame) {
    frame.spectrum.resize(kBins);
    frame.frequencies.resize(kBins);
    frame.times.resize(kBins);
    const auto list = [](void* data, std::size_t bytes) {
        return AudioBufferList{1, {{1, static_cast<UInt32>(bytes), data}}};
    };
    const AudioBufferList spectra = list(frame.spectrum.data(), kBins * sizeof(Complex));
    const AudioBufferList frequencies = list(frame.frequencies.data(), kBins * sizeof(float));
    const AudioBufferList times = list(frame.times.data(), kBins * sizeof(float));
    scatter.Add({spectra, frequencies, times});
}

std::vector<Complex> Finished(AAReassignedScatter& scatter) {
    AAReassignedMatrix& matrix = scatter.Finish();
    const auto* const cells = reinterpret_cast<const Complex*>(matrix.Channel(0));
    return {cells, cells + scatter.Frames() * kBins};
}

class ChosenFramesTest : public testing::Test {
protected:
    void Start() { mScatter.emplace(1, kBins, kMostFrames); }
    void Add(std::vector<Complex> spectrum, Signal frequencies, Signal times) {
        ChosenFrame frame{std::move(spectrum), std::move(frequencies), std::move(times)};
        AddFrame(*mScatter, frame);
    }
    std::vector<Complex> Matrix() { return Finished(*mScatter); }

private:
    std::optional<AAReassignedScatter> mScatter;
};

// Places are whole numbers from 1 on; half of one goes to the even neighbour.
TEST_F(ChosenFramesTest, ValuesGoToTheNearestPlace) {
    Start();
    Add({{1, 2}, {3, 4}, {5, 6}, {7, 8}}, {1.4f, 2.6f, 2.5f, 3.5f}, {1.0f, 1.6f, 2.4f, 2.5f});
    Add({}, {}, {});
    Add({}, {}, {});
    std::vector<Complex> expected(3 * kBins);
    expected[0] = {1, 2};
    expected[kBins + 2] = {3, 4};
    expected[kBins + 1] = {5, 6};
    expected[kBins + 3] = {7, 8};
    EXPECT_EQ(Matrix(), expected);
}

TEST_F(ChosenFramesTest, WhatLiesOutsideGoesToTheEdge) {
    Start();
    Add({{1, 0}, {2, 0}, {4, 0}, {8, 0}}, {0.4f, 4.6f, -7.0f, 1e9f}, {1.0f, 1.0f, 2.6f, -3.0f});
    Add({{16, 0}, {32, 0}, {64, 0}, {128, 0}}, {2.0f, 3.0f, 2.0f, 3.0f},
        {0.4f, 100.0f, -0.6f, 1e9f});
    const std::vector<Complex> expected = {{1, 0}, {16 + 64, 0}, {0, 0},        {2 + 8, 0},
                                           {4, 0}, {0, 0},       {32 + 128, 0}, {0, 0}};
    EXPECT_EQ(Matrix(), expected);
}

// No number, and more than 32 bits hold on either side: all of them come first.
TEST_F(ChosenFramesTest, WhatIsNoIntegerGoesToTheFirstPlace) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    Start();
    Add({}, {}, {});
    Add({{1, 1}, {2, 2}, {4, 4}, {8, 8}}, {kNaN, kInfinity, -kInfinity, 2147483648.0f},
        {2.0f, 2.0f, 2.0f, 2.0f});
    EXPECT_EQ(Matrix()[kBins], Complex(15, 15));

    Start();
    Add({}, {}, {});
    Add({{1, 1}, {2, 2}, {4, 4}, {8, 8}}, {1.0f, 1.0f, 1.0f, 1.0f},
        {kNaN, kInfinity, -kInfinity, 3e9f});
    EXPECT_EQ(Matrix()[0], Complex(15, 15));
}

TEST_F(ChosenFramesTest, ValuesOfOnePlaceAddUpAndOppositeOnesCancel) {
    Start();
    Add({{1, 2}, {3, -5}, {0, 0}, {0, 0}}, {2.0f, 3.0f, 1.0f, 1.0f}, {2.0f, 1.0f, 1.0f, 1.0f});
    Add({{10, 20}, {-3, 5}, {0, 0}, {0, 0}}, {2.0f, 3.0f, 1.0f, 1.0f}, {2.0f, 1.0f, 1.0f, 1.0f});
    std::vector<Complex> expected(2 * kBins);
    expected[kBins + 1] = {11, 22};
    EXPECT_EQ(Matrix(), expected);
}

// The plain way: all frames at the end, in their order.
std::vector<Complex> ScatteredAtTheEnd(const std::vector<ChosenFrame>& frames, std::size_t count) {
    const auto place = [](float value, std::size_t most) {
        const double rounded = std::nearbyint(static_cast<double>(value));
        return static_cast<std::size_t>(std::clamp(rounded, 1.0, static_cast<double>(most))) - 1;
    };
    std::vector<Complex> cells(count * kBins);
    for (std::size_t f = 0; f < count; ++f) {
        for (UInt32 k = 0; k < kBins; ++k) {
            cells[place(frames[f].times[k], count) * kBins +
                  place(frames[f].frequencies[k], kBins)] += frames[f].spectrum[k];
        }
    }
    return cells;
}

// Values of different sizes, so that each order of additions gives another sum.
TEST(AAReassignedScatterTest, EveryLengthOfAStreamGivesTheSumsOfScatteringAtItsEnd) {
    constexpr std::size_t kFrames = 40;
    std::mt19937 random(11);
    const auto uniform = [&random](float from, float to) {
        return std::uniform_real_distribution<float>(from, to)(random);
    };
    std::vector<ChosenFrame> frames;
    for (std::size_t f = 0; f < kFrames; ++f) {
        ChosenFrame& frame = frames.emplace_back();
        for (UInt32 k = 0; k < kBins; ++k) {
            frame.spectrum.emplace_back(std::exp(uniform(-8, 8)), -std::exp(uniform(-8, 8)));
            frame.frequencies.push_back(uniform(0, kBins + 1));
            const float distance = uniform(0, 1) < 0.2f ? 50.0f : 3.0f;
            frame.times.push_back(static_cast<float>(f + 1) + uniform(-distance, distance));
        }
    }
    for (std::size_t count = 1; count <= kFrames; ++count) {
        AAReassignedScatter scatter(1, kBins, kMostFrames);
        for (std::size_t f = 0; f < count; ++f) {
            AddFrame(scatter, frames[f]);
        }
        EXPECT_EQ(Finished(scatter), ScatteredAtTheEnd(frames, count)) << count << " frames";
    }
}

// More than there is room for at first.
TEST(AAReassignedScatterTest, AnyNumberOfValuesMayWaitForALaterRow) {
    constexpr std::size_t kFrames = 50;
    AAReassignedScatter scatter(1, kBins, kMostFrames);
    std::vector<ChosenFrame> frames(kFrames);
    for (std::size_t f = 0; f < kFrames; ++f) {
        const auto size = static_cast<float>(f + 1);
        frames[f] = {std::vector<Complex>(kBins, {1.0f / size, size}),
                     {1, 2, 2, 4},
                     Signal(kBins, f % 2 == 0 ? 49.0f : 1e6f)};
        AddFrame(scatter, frames[f]);
    }
    EXPECT_EQ(Finished(scatter), ScatteredAtTheEnd(frames, kFrames));
}

} // namespace
} // namespace qel::core
