#include "rhythm/beats/MeterMatrix.h"

#include "tests/support/runtime/Sanitized.h"

#include <Accelerate/Accelerate.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <random>
#include <string>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kCount = MeterMatrix::kLagCount;

// A rectified signal with a bar of 150 values and three accents in it.
std::vector<float> Pulses(UInt32 frames, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> noise(0.0f, 0.1f);
    std::vector<float> signal(frames);
    for (UInt32 i = 0; i < frames; ++i) {
        const UInt32 inBeat = i % 50;
        const float accent = i % 150 < 50 ? 1.0f : 0.6f;
        signal[i] = accent * std::exp(-0.15f * static_cast<float>(inBeat)) + noise(random);
    }
    return signal;
}

// The matrix by its definition, in double precision: by lag, then phase.
class DirectMatrix {
public:
    DirectMatrix() : mPhases(kCount * kCount), mCounts(kCount * kCount) {}

    void Accumulate(const std::vector<float>& signal) {
        for (UInt32 lag = 1; lag <= kCount; ++lag) {
            double* const row = mPhases.data() + (lag - 1) * std::size_t{kCount};
            double* const counts = mCounts.data() + (lag - 1) * std::size_t{kCount};
            for (std::size_t n = 0; n + lag < signal.size(); ++n) {
                row[n % lag] += double{signal[n + lag]} * double{signal[n]};
                counts[n % lag] += 1.0;
            }
            for (UInt32 p = 0; p < kCount; ++p) {
                if (counts[p] != 0.0) {
                    row[p] /= counts[p];
                }
            }
        }
    }

    // Zero outside of the matrix.
    double Phase(int lag, int phase) const {
        const auto count = static_cast<int>(kCount);
        if (lag < 1 || lag > count || phase < 0 || phase >= count) {
            return 0.0;
        }
        return mPhases[static_cast<std::size_t>(lag - 1) * kCount +
                       static_cast<std::size_t>(phase)];
    }

    double Smoothed(int lag, int phase) const {
        double sum = 0.0;
        for (int l = lag - 1; l <= lag + 1; ++l) {
            for (int p = phase - 1; p <= phase + 1; ++p) {
                sum += Phase(l, p);
            }
        }
        return sum;
    }

private:
    std::vector<double> mPhases;
    std::vector<double> mCounts;
};

// The extended and the smoothed matrix, row after row of lags, as the direct form multiplies them.
struct DirectRows {
    explicit DirectRows(const MeterMatrix& matrix)
        : smoothed(std::size_t{kCount} * kCount), extended(2 * smoothed.size()) {
        for (UInt32 lag = 1; lag <= kCount; ++lag) {
            float* const row = smoothed.data() + (lag - 1) * std::size_t{kCount};
            matrix.SmoothedRow(lag, row);
            for (UInt32 p = 0; p < 2 * kCount; ++p) {
                extended[(lag - 1) * std::size_t{2 * kCount} + p] = row[p % lag];
            }
        }
    }

    double Product(UInt32 shift) const {
        double sum = 0.0;
        for (UInt32 lag = 1; lag <= kCount; ++lag) {
            float product = 0.0f;
            vDSP_dotpr(smoothed.data() + (lag - 1) * std::size_t{kCount}, 1,
                       extended.data() + (lag - 1) * std::size_t{2 * kCount} + shift, 1, &product,
                       kCount);
            sum += double{product};
        }
        return sum;
    }

    std::vector<float> smoothed;
    std::vector<float> extended;
};

bool GoOn(UInt32) {
    return true;
}

TEST(MeterMatrixTest, RowsAreTheMeanProductsByLagAndPhase) {
    for (const UInt32 frames : {2700u, 4001u, 700u}) {
        const std::vector<float> signal = Pulses(frames, frames);
        MeterMatrix matrix(frames);
        matrix.Accumulate(signal.data());
        DirectMatrix direct;
        direct.Accumulate(signal);
        for (UInt32 lag = 1; lag <= kCount; ++lag) {
            for (UInt32 p = 0; p < kCount; ++p) {
                const double expected = direct.Phase(static_cast<int>(lag), static_cast<int>(p));
                // Sums of up to 4000 products below 1.3 in single precision.
                ASSERT_NEAR(matrix.Row(lag)[p], expected, 4e-5) << lag << " " << p;
            }
        }
    }
}

TEST(MeterMatrixTest, LagsAboveTheLengthOfTheSignalStayZero) {
    const std::vector<float> signal(100, 1.0f);
    MeterMatrix matrix(100);
    matrix.Accumulate(signal.data());
    EXPECT_EQ(matrix.Row(99)[0], 1.0f);
    EXPECT_EQ(matrix.Row(99)[1], 0.0f);
    for (UInt32 lag = 100; lag <= kCount; ++lag) {
        EXPECT_TRUE(std::all_of(matrix.Row(lag), matrix.Row(lag) + kCount,
                                [](float value) { return value == 0.0f; }));
    }
    MeterMatrix empty(0);
    empty.Accumulate(nullptr);
    EXPECT_EQ(empty.Row(1)[0], 0.0f);
}

// A second channel adds its sums to the means of the first, over the counts of both.
TEST(MeterMatrixTest, LaterChannelsSumOnTopOfEarlierMeans) {
    const std::vector<float> first = Pulses(3000, 1);
    const std::vector<float> second = Pulses(3000, 2);
    MeterMatrix matrix(3000);
    matrix.Accumulate(first.data());
    matrix.Accumulate(second.data());
    DirectMatrix direct;
    direct.Accumulate(first);
    direct.Accumulate(second);
    for (const UInt32 lag : {1u, 7u, 150u, 1350u}) {
        for (UInt32 p = 0; p < lag; ++p) {
            ASSERT_NEAR(matrix.Row(lag)[p],
                        direct.Phase(static_cast<int>(lag), static_cast<int>(p)), 4e-5)
                << lag << " " << p;
        }
    }
}

TEST(MeterMatrixTest, SmoothingIsABoxOfThreeByThreeWithZerosAround) {
    const std::vector<float> signal = Pulses(2800, 3);
    MeterMatrix matrix(2800);
    matrix.Accumulate(signal.data());
    DirectMatrix direct;
    direct.Accumulate(signal);
    std::vector<float> row(kCount);
    for (const UInt32 lag : {1u, 2u, 3u, 50u, 149u, 1349u, 1350u}) {
        matrix.SmoothedRow(lag, row.data());
        for (UInt32 p = 0; p < kCount; ++p) {
            ASSERT_NEAR(row[p], direct.Smoothed(static_cast<int>(lag), static_cast<int>(p)), 4e-4)
                << lag << " " << p;
        }
    }
}

TEST(MeterMatrixTest, RepetitionAgreesWithTheDirectProducts) {
    for (const UInt32 frames : {4000u, 900u}) {
        const std::vector<float> signal = Pulses(frames, 4);
        MeterMatrix matrix(frames);
        matrix.Accumulate(signal.data());
        const std::vector<float> repetition = matrix.Repetition(GoOn);
        ASSERT_EQ(repetition.size(), kCount);
        const DirectRows direct(matrix);
        double greatest = 0.0;
        double worst = 0.0;
        for (UInt32 shift = 0; shift < kCount; shift += 19) {
            const double expected = direct.Product(shift);
            greatest = std::max(greatest, std::abs(expected));
            worst = std::max(worst, std::abs(double{repetition[shift]} - expected));
        }
        EXPECT_GT(greatest, 0.0);
        EXPECT_LT(worst, double{MeterMatrix::kRelativeError} * greatest);
    }
}

TEST(MeterMatrixTest, TheWorkAsksEveryHundredShiftsAndStopsWhenTold) {
    MeterMatrix matrix(500);
    std::vector<UInt32> asked;
    const auto ask = [&](UInt32 shift) {
        asked.push_back(shift);
        return shift < 300;
    };
    EXPECT_TRUE(matrix.Repetition(ask).empty());
    EXPECT_EQ(asked, (std::vector<UInt32>{0, 100, 200, 300}));
    asked.clear();
    EXPECT_FALSE(matrix
                     .Repetition([&](UInt32 shift) {
                         asked.push_back(shift);
                         return true;
                     })
                     .empty());
    EXPECT_EQ(asked.size(), 14u);
    EXPECT_EQ(asked.back(), 1300u);
}

// CPU time, which other processes do not lengthen much. Direct products of every 90th shift stand
// for all of them. Measured here at 60 to 120 times; a build that checks every access tells
// nothing.
TEST(MeterMatrixTest, RepetitionIsAtLeastFortyTimesAsFastAsTheDirectProducts) {
    if (testing_support::kIsSanitized) {
        GTEST_SKIP() << "a checker slows both by different factors";
    }
    if (std::string(QEL_FFT_BACKEND) != "fftw") {
        GTEST_SKIP() << "forty times is FFTW's figure; other transforms are slower";
    }
    const std::vector<float> signal = Pulses(6000, 5);
    MeterMatrix matrix(6000);
    matrix.Accumulate(signal.data());
    const DirectRows direct(matrix);
    constexpr UInt32 kStep = 90;

    const std::clock_t start = std::clock();
    double sum = 0.0;
    for (UInt32 shift = 0; shift < kCount; shift += kStep) {
        sum += direct.Product(shift);
    }
    const std::clock_t middle = std::clock();
    sum += double{matrix.Repetition(GoOn).front()};
    const std::clock_t end = std::clock();
    EXPECT_GT(sum, 0.0);
    const double directTime = static_cast<double>(middle - start) * kStep;
    const double transformTime = static_cast<double>(end - middle);
    RecordProperty("speedup", std::to_string(directTime / transformTime));
    EXPECT_GT(directTime, 40.0 * transformTime);
}

} // namespace
} // namespace qel::core
