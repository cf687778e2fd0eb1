// Which windows share their values, and for how long.

#include "spectral/SpectralWindow.h"

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::core::test {
namespace {

constexpr WindowShape kShapes[] = {WindowShape::Sine, WindowShape::Hanning, WindowShape::Hamming};

SpectralWindow Made(WindowShape shape, UInt32 samples) {
    SpectralWindow window;
    window.SetShape({shape, samples});
    return window;
}

// Asks for as many other designs as are held.
void FillWithOthers() {
    for (UInt32 n = 0; n < SpectralWindow::kHeld; ++n) {
        Made(WindowShape::Sine, 300 + n);
    }
}

TEST(SpectralWindowTest, ThereIsNoneBeforeItIsSet) {
    const SpectralWindow window;
    EXPECT_EQ(window.get(), nullptr);
}

TEST(SpectralWindowTest, WindowsOfOneShapeAndLengthShareTheirValues) {
    for (const WindowShape shape : kShapes) {
        const SpectralWindow first = Made(shape, 64);
        EXPECT_EQ(Made(shape, 64).get(), first.get());
        EXPECT_NE(Made(shape, 65).get(), first.get());
        for (const WindowShape other : kShapes) {
            EXPECT_EQ(Made(other, 64).get() == first.get(), other == shape);
        }
    }
}

TEST(SpectralWindowTest, ValuesInUseAreSharedHoweverManyOthersThereAre) {
    const SpectralWindow used = Made(WindowShape::Hanning, 128);
    FillWithOthers();
    FillWithOthers();
    EXPECT_EQ(Made(WindowShape::Hanning, 128).get(), used.get());
}

TEST(SpectralWindowTest, ValuesThatWereLetGoComeBackTheSame) {
    std::vector<float> values;
    {
        const SpectralWindow window = Made(WindowShape::Hamming, 100);
        values.assign(window.get(), window.get() + 100);
    }
    FillWithOthers();
    const SpectralWindow again = Made(WindowShape::Hamming, 100);
    EXPECT_EQ(std::vector<float>(again.get(), again.get() + 100), values);
}

TEST(SpectralWindowTest, LongWindowsAreNotKept) {
    constexpr UInt32 kLongest = SpectralWindow::kLongestShared;
    const SpectralWindow shared = Made(WindowShape::Sine, kLongest);
    EXPECT_EQ(Made(WindowShape::Sine, kLongest).get(), shared.get());
    const SpectralWindow own = Made(WindowShape::Sine, kLongest + 1);
    EXPECT_NE(Made(WindowShape::Sine, kLongest + 1).get(), own.get());
}

TEST(SpectralWindowTest, AGivenWindowChangesThatOfNoOtherProcessor) {
    TestProcessor one(64, 32, 1, 64);
    TestProcessor other(64, 32, 1, 64);
    const std::vector<float> sine(other.mWindow.get(), other.mWindow.get() + 64);
    ASSERT_EQ(one.mWindow.get(), other.mWindow.get());
    const std::vector<float> ones(64, 1.0f);
    one.SetWindow(ones.data());
    EXPECT_EQ(std::vector<float>(other.mWindow.get(), other.mWindow.get() + 64), sine);
    one.SineWindow();
    EXPECT_EQ(one.mWindow.get(), other.mWindow.get());
}

} // namespace
} // namespace qel::core::test
