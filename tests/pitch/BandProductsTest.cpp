// Products of bands with a spectrum, against plain sums.

#include "pitch/BandProducts.h"

#include "UniformNoise.h"
#include "support/runtime/CAAutoDisposer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <vector>

namespace qel::core {
namespace {

using Number = std::complex<double>;
using testing::UniformNoise;

constexpr UInt32 kBins = 5;
constexpr UInt32 kPlaces = 200;

class BandProductsTest : public ::testing::Test {
protected:
    BandProductsTest()
        : mReal(UniformNoise(kPlaces, 1)), mImag(UniformNoise(kPlaces, 2)),
          mValues(kPlaces * 8, true) {
        const std::vector<float> values = UniformNoise(kPlaces * 8, 3);
        std::copy(values.begin(), values.end(), mValues.get());
    }

    void Expect(const std::vector<KernelBand>& bands) {
        std::vector<Number> expected(kBins);
        for (const KernelBand& band : bands) {
            for (UInt32 n = 0; n < kBandBlock * band.mBlocks; ++n) {
                const UInt32 at = band.mOffset + 2 * (n - n % kBandBlock) + n % kBandBlock;
                expected[band.mBin] += Number(mValues[at], mValues[at + kBandBlock]) *
                                       Number(mReal[band.mFirst + n], mImag[band.mFirst + n]);
            }
        }
        std::vector<float> real(kBins);
        std::vector<float> imag(kBins);
        AddBandProducts(bands.data(), bands.size(), mValues, {mReal.data(), mImag.data()},
                        {real.data(), imag.data()});
        for (UInt32 bin = 0; bin < kBins; ++bin) {
            // Of a hundred terms below 2, in 16 partial sums.
            EXPECT_NEAR(expected[bin].real(), real[bin], 1e-5) << bin;
            EXPECT_NEAR(expected[bin].imag(), imag[bin], 1e-5) << bin;
        }
    }

    std::vector<float> mReal;
    std::vector<float> mImag;
    CAAutoFree<float> mValues;
};

TEST_F(BandProductsTest, EveryBandIsASumOfItsOwn) {
    Expect({{0, 0, 1, 0}, {1, 3, 2, 32}, {2, 17, 4, 96}, {3, 100, 6, 256}, {4, 184, 1, 512}});
}

TEST_F(BandProductsTest, BandsOfOneBinAddUp) {
    Expect({{1, 0, 1, 0}, {1, 50, 2, 32}, {1, 5, 1, 96}});
    Expect({{0, 0, 1, 0}, {2, 7, 1, 0}, {2, 9, 1, 0}, {2, 11, 1, 0}, {2, 13, 1, 0}, {4, 1, 1, 0}});
}

TEST_F(BandProductsTest, BinsWithoutABandStayAsTheyAre) {
    Expect({});
    Expect({{2, 20, 3, 64}});
}

// With values of 1 at the places below 16 and no imaginary parts, the sum of 16 powers of two
// depends on no order.
TEST_F(BandProductsTest, EveryPlaceOfABlockCounts) {
    for (UInt32 n = 0; n < kBandBlock; ++n) {
        mValues[n] = 1.0f;
        mValues[kBandBlock + n] = 0.0f;
        mReal[n] = static_cast<float>(1u << n);
        mImag[n] = -mReal[n];
    }
    const KernelBand band = {0, 0, 1, 0};
    float real = 0.5f;
    float imag = 0.0f;
    AddBandProducts(&band, 1, mValues, {mReal.data(), mImag.data()}, {&real, &imag});
    EXPECT_EQ(real, 65535.5f);
    EXPECT_EQ(imag, -65535.0f);
}

} // namespace
} // namespace qel::core
